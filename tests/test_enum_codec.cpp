// Enumeration codec: table lookups both ways, type check of the JSON side, error reports.

#include "codec_driver.hpp"

namespace {

using base = tv::enum_impl_base;
using tolvi_test::context;

// Duplicates on purpose: "red" twice (0 first), value 2 twice ("green" first).
base::entry const entries[] = {{0, "red"}, {1, "red"}, {2, "green"}, {2, "verde"}, {-1, "x"}};
base::bimap_t const colours{entries, 5};

} // namespace

TEST(EnumCodec, LookupsBothWays) {
    EXPECT_EQ(base::bimap_lookup("red", colours, nullptr), 0);
    EXPECT_EQ(base::bimap_lookup("verde", colours, nullptr), 2);
    EXPECT_STREQ(base::bimap_lookup(2, colours), "green");
    for (char const* near_miss : {"Red", "red ", "re", ""}) { // reported alone
        EXPECT_BAD_SOURCE(base::bimap_lookup(near_miss, colours, nullptr),
                          std::string("; top-level: \"") + near_miss + "\"");
    }
    EXPECT_THROW_MSG(base::bimap_lookup(INT32_MIN, colours), std::runtime_error,
                     "value -2147483648 not member of enumeration");
    // Names are read only when deserializing, and a number is not taken for a name.
    Variant doc = tolvi_test::json(R"({"c":"verde"})");
    Variant& member = doc[std::string("c")];
    base c = context<base>(tv::deserialize_from_json, &member, &doc);
    EXPECT_EQ(c.name_to_value(colours), 2);
    member = Variant(2);
    EXPECT_BAD_SOURCE(c.name_to_value(colours), R"(; element `2` top-level: {"c":2})");
    EXPECT_EQ(context<base>(tv::compare, &member).name_to_value(colours), 0);
    // Values are checked in every mode and written only when serializing.
    for (tv::mode m : {tv::serialize_to_json, tv::compare}) {
        Variant data = tolvi_test::json(R"({"old":1})");
        EXPECT_THROW(context<base>(m, &data).value_to_name(9, colours), std::runtime_error);
        context<base>(m, &data).value_to_name(2, colours);
        EXPECT_EQ(data, m == tv::compare ? tolvi_test::json(R"({"old":1})") : Variant("green"));
    }
}
