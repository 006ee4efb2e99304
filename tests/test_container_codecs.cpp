// Container steps shared by every element codec: checking, opening and creating lists and maps.

#include "codec_driver.hpp"

TEST(ContainerCodec, GetReturnsTheHeldContainerOrRefuses) {
    tv::data_t doc(tolvi_test::json(R"({"k":[1]})")), null;
    tv::data_t* list = tv::as_data(&doc[std::string("k")]);
    EXPECT_EQ(&tv::vector_impl::get_vector(nullptr, list), list->value.vectorValue);
    EXPECT_BAD_SOURCE(tv::map_impl::get_map(&doc, list), R"(; element `[1]` top-level: {"k":[1]})");
    EXPECT_BAD_SOURCE(tv::vector_impl::get_vector(&doc, &doc), R"(; top-level: {"k":[1]})");
    EXPECT_BAD_SOURCE(tv::map_impl::get_map(nullptr, &null), "; element `null`");
}

TEST(ContainerCodec, SetReplacesWhateverWasThere) {
    tv::data_t d(tolvi_test::json(R"({"k":1})"));
    std::vector<Variant>& list = tv::vector_impl::set_vector(&d, 17);
    EXPECT_EQ(&list, d.value.vectorValue);
    EXPECT_TRUE(list.empty());
    list.push_back(Variant(1));
    std::map<std::string, Variant>& map = tv::map_impl::set_map(&d, 40);
    EXPECT_EQ(&map, d.value.mapValue);
    EXPECT_TRUE(map.empty());
    map["x"] = Variant(1);
    EXPECT_TRUE(tv::map_impl::set_map(&d, 0).empty());
    tv::vector_impl::set_vector(&d, 1).push_back(Variant(1));
    EXPECT_TRUE(tv::vector_impl::set_vector(&d, 1).empty());
}
