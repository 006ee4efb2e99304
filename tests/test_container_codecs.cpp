// Container steps shared by every element codec: checking, opening and creating lists and maps.

#include <tolvi/codecs.hpp>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace tv = korvax::tolvi;

TEST(ContainerCodec, GetReturnsTheHeldContainer) {
    tv::data_t list(Variant::vector_type{Variant(1), Variant("b")});
    tv::data_t map(Variant::map_type{{"k", Variant(2)}});
    EXPECT_EQ(&tv::vector_impl::get_vector(nullptr, &list), list.value.vectorValue);
    EXPECT_EQ(&tv::map_impl::get_map(nullptr, &map), map.value.mapValue);

    tv::data_t empty_list(Variant::vector_type{});
    tv::data_t empty_map(Variant::map_type{});
    EXPECT_TRUE(tv::vector_impl::get_vector(&empty_list, &empty_list).empty());
    EXPECT_TRUE(tv::map_impl::get_map(&empty_map, &empty_map).empty());
}

TEST(ContainerCodec, GetRefusesOtherTypes) {
    tv::data_t doc(Variant::map_type{{"k", Variant(Variant::vector_type{Variant(1)})}});
    tv::data_t list(Variant::vector_type{Variant(1)});
    EXPECT_THROW_MSG(tv::map_impl::get_map(&doc, &list), tv::bad_deserialization_source,
                     "bad source provided for deserialization; element `[1]` top-level: "
                     "{\"k\":[1]}");
    EXPECT_THROW_MSG(tv::vector_impl::get_vector(&doc, &doc), tv::bad_deserialization_source,
                     "bad source provided for deserialization; top-level: {\"k\":[1]}");
    tv::data_t null;
    EXPECT_THROW_MSG(tv::map_impl::get_map(nullptr, &null), tv::bad_deserialization_source,
                     "bad source provided for deserialization; element `null`");
    tv::data_t text("[1]");
    EXPECT_THROW(tv::vector_impl::get_vector(nullptr, &text), tv::bad_deserialization_source);
}

TEST(ContainerCodec, SetReplacesWhateverWasThere) {
    tv::data_t d(Variant::map_type{{"k", Variant(1)}});
    std::vector<Variant>& list = tv::vector_impl::set_vector(&d, 17);
    ASSERT_EQ(d.type, Variant::Vector);
    EXPECT_EQ(&list, d.value.vectorValue);
    EXPECT_TRUE(list.empty());
    EXPECT_GE(list.capacity(), 17u);

    list.push_back(Variant(1));
    std::map<std::string, Variant>& map = tv::map_impl::set_map(&d, 40);
    ASSERT_EQ(d.type, Variant::Map);
    EXPECT_EQ(&map, d.value.mapValue);
    EXPECT_TRUE(map.empty());

    map["x"] = Variant(1);
    EXPECT_TRUE(tv::map_impl::set_map(&d, 0).empty());
    EXPECT_TRUE(tv::vector_impl::set_vector(&d, 0).empty());
}
