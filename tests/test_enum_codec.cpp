// Enumeration codec: table lookups both ways, type check of the JSON side, error reports.

#include "codec_driver.hpp"

namespace {

using base = tv::enum_impl_base;
using tolvi_test::context;

// Duplicates on purpose: "red" twice (0 first), value 2 twice ("green" first).
base::entry const entries[] = {{0, "red"}, {1, "red"}, {2, "green"}, {2, "verde"}, {-1, "x"}};
base::bimap_t const colours{entries, 5}, empty{nullptr, 0};

} // namespace

TEST(EnumCodec, FirstEntryWinsBothWaysAndNamesMatchExactly) {
    EXPECT_EQ(base::bimap_lookup("red", colours, nullptr), 0);
    EXPECT_EQ(base::bimap_lookup("verde", colours, nullptr), 2);
    EXPECT_STREQ(base::bimap_lookup(2, colours), "green");
    EXPECT_EQ(base::bimap_lookup(-1, colours), entries[4].name) << "the table's own text";
    for (char const* near_miss : {"Red", "red ", " red", "re", ""}) { // reported alone
        EXPECT_BAD_SOURCE(base::bimap_lookup(near_miss, colours, nullptr),
                          std::string("; top-level: \"") + near_miss + "\"");
    }
    EXPECT_THROW(base::bimap_lookup("red", empty, nullptr), tv::bad_deserialization_source);
    EXPECT_THROW_MSG(base::bimap_lookup(-1, empty), std::runtime_error,
                     "value -1 not member of enumeration");
    EXPECT_THROW_MSG(base::bimap_lookup(INT32_MIN, colours), std::runtime_error,
                     "value -2147483648 not member of enumeration");
}

TEST(EnumCodec, NameToValueReadsStringsOnlyWhenDeserializing) {
    Variant doc = tolvi_test::json(R"({"c":"verde"})");
    Variant& member = doc[std::string("c")];
    base c = context<base>(tv::deserialize_from_json, &member, &doc);
    EXPECT_EQ(c.name_to_value(colours), 2);
    member = Variant("blue");
    EXPECT_BAD_SOURCE(c.name_to_value(colours), R"(; element `"blue"` top-level: {"c":"blue"})");
    member = Variant(2); // a number is not taken for a name, even a valid enumerator value
    EXPECT_BAD_SOURCE(c.name_to_value(colours), R"(; element `2` top-level: {"c":2})");
    for (tv::mode m : {tv::serialize_to_json, tv::compare, tv::collect_attr_names}) {
        EXPECT_EQ(context<base>(m, &member).name_to_value(colours), 0);
    }
}

TEST(EnumCodec, ValueToNameValidatesAlwaysAndWritesOnlyWhenSerializing) {
    for (tv::mode m : {tv::serialize_to_json, tv::deserialize_from_json, tv::compare}) {
        Variant data = tolvi_test::json(R"({"old":1})");
        EXPECT_THROW_MSG(context<base>(m, &data).value_to_name(9, colours), std::runtime_error,
                         "value 9 not member of enumeration");
        context<base>(m, &data).value_to_name(2, colours);
        EXPECT_EQ(data,
                  m == tv::serialize_to_json ? Variant("green") : tolvi_test::json(R"({"old":1})"));
    }
}
