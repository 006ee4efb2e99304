// Enumeration codec: table lookups both ways, type check of the JSON side, error reports.

#include <tolvi/codecs.hpp>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace tv = korvax::tolvi;
using entry = tv::enum_impl_base::entry;
using bimap = tv::enum_impl_base::bimap_t;

namespace {

// Duplicates on purpose: "red" twice (0 first), value 2 twice ("green" first).
entry const colour_entries[] = {{0, "red"}, {1, "red"}, {2, "green"}, {2, "verde"}, {-1, "none"}};
bimap const colours{colour_entries, 5};
bimap const empty{nullptr, 0};

struct enum_context : tv::enum_impl_base {
    enum_context(tv::mode m, Variant* d, Variant const* top) {
        set_operation(m, tv::as_data(top));
        set_data(nullptr, nullptr, tv::as_data(d));
    }
};

} // namespace

TEST(EnumCodec, FirstEntryWinsBothWays) {
    EXPECT_EQ(tv::enum_impl_base::bimap_lookup("red", colours, nullptr), 0);
    EXPECT_EQ(tv::enum_impl_base::bimap_lookup("verde", colours, nullptr), 2);
    EXPECT_STREQ(tv::enum_impl_base::bimap_lookup(2, colours), "green");
    EXPECT_EQ(tv::enum_impl_base::bimap_lookup(-1, colours), colour_entries[4].name)
        << "the table's own text";
}

TEST(EnumCodec, NamesMatchExactly) {
    for (char const* near_miss : {"Red", "red ", " red", "re", ""}) {
        EXPECT_THROW_MSG(tv::enum_impl_base::bimap_lookup(near_miss, colours, nullptr),
                         tv::bad_deserialization_source,
                         std::string("bad source provided for deserialization; top-level: \"") +
                             near_miss + "\"");
    }
}

TEST(EnumCodec, UnknownValueIsARuntimeError) {
    EXPECT_THROW_MSG(tv::enum_impl_base::bimap_lookup(7, colours), std::runtime_error,
                     "value 7 not member of enumeration");
    EXPECT_THROW_MSG(tv::enum_impl_base::bimap_lookup(-1, empty), std::runtime_error,
                     "value -1 not member of enumeration");
    EXPECT_THROW_MSG(tv::enum_impl_base::bimap_lookup(-2147483647 - 1, colours), std::runtime_error,
                     "value -2147483648 not member of enumeration");
    EXPECT_THROW(tv::enum_impl_base::bimap_lookup("red", empty, nullptr),
                 tv::bad_deserialization_source);
}

TEST(EnumCodec, NameToValueReadsStringsWhenDeserializing) {
    Variant doc(Variant::map_type{{"c", Variant("verde")}});
    Variant& member = doc[std::string("c")];
    enum_context c(tv::deserialize_from_json, &member, &doc);
    EXPECT_EQ(c.name_to_value(colours), 2);

    member = Variant("blue");
    EXPECT_THROW_MSG(c.name_to_value(colours), tv::bad_deserialization_source,
                     "bad source provided for deserialization; element `\"blue\"` top-level: "
                     "{\"c\":\"blue\"}");
    // A number is not taken for a name, even a valid enumerator value.
    member = Variant(2);
    EXPECT_THROW_MSG(c.name_to_value(colours), tv::bad_deserialization_source,
                     "bad source provided for deserialization; element `2` top-level: {\"c\":2}");
}

TEST(EnumCodec, NameToValueIsZeroOutsideDeserialization) {
    for (tv::mode m : {tv::serialize_to_json, tv::compare, tv::collect_attr_names}) {
        Variant not_a_name(Variant::map_type{});
        enum_context c(m, &not_a_name, nullptr);
        EXPECT_EQ(c.name_to_value(colours), 0);
    }
}

TEST(EnumCodec, ValueToNameWritesOnlyWhenSerializing) {
    Variant out(Variant::map_type{{"old", Variant(1)}});
    enum_context s(tv::serialize_to_json, &out, nullptr);
    s.value_to_name(2, colours);
    EXPECT_EQ(out, Variant("green"));
    s.value_to_name(0, colours);
    EXPECT_EQ(out, Variant("red"));

    Variant untouched(5);
    enum_context d(tv::deserialize_from_json, &untouched, nullptr);
    d.value_to_name(2, colours);
    EXPECT_EQ(untouched, Variant(5));
}

TEST(EnumCodec, ValueToNameValidatesInEveryMode) {
    for (tv::mode m : {tv::serialize_to_json, tv::deserialize_from_json, tv::compare}) {
        Variant data(5);
        enum_context c(m, &data, nullptr);
        EXPECT_THROW_MSG(c.value_to_name(9, colours), std::runtime_error,
                         "value 9 not member of enumeration");
        EXPECT_EQ(data, Variant(5));
    }
}
