// The record codec: map handling, get_attr's decisions, the serialization-needed tables and their
// log lines.

#include <algorithm>
#include <tuple>

#include "codec_driver.hpp"

using tolvi_test::json;

namespace {

tv::source_type_t const from_cloud = 1, from_peer = 2;

using record = tv::composite_impl;
using tolvi_test::context;

// Deserializes `doc` from source type `st`; the next member refuses `refused`.
record reader(Variant& doc, std::initializer_list<tv::source_type_t const*> refused,
              tv::source_type_t const* st = &from_cloud) {
    record c = context<record>(tv::deserialize_from_json, &doc, &doc);
    c.set_source_type(st);
    std::copy(refused.begin(), refused.end(), c.unacceptable_source_types);
    c.unacceptable_count = static_cast<unsigned>(refused.size());
    return c;
}

void expect_log(tolvi_test::log_capture const& cap, unsigned line, std::string const& function,
                std::string const& message) {
    ASSERT_EQ(cap.entries.size(), 1u);
    auto const& e = cap.entries[0];
    EXPECT_EQ(
        std::tie(e.level, e.file, e.line, e.function, e.message),
        std::make_tuple(0, std::string("src/main/tolvi/composite.cpp"), line, function, message));
}

// One serialization decision about member "m". Optional: `first` and `own` are the first
// quality and the quality; required: the first flag and whether the member was provided.
struct decision {
    bool optional, patch;
    int first, own;
    char expected; // 'w' write, '-' leave out, 'n' leave out after setting "m" to Null,
                   // '!' missing_value after the log line
};

// Asks on an output where "m" holds 5 and tells what happened.
char decide(decision const& d) {
    Variant const before = json(R"({"m":5})");
    Variant out = before;
    tolvi_test::log_capture cap;
    record c = context<record>(tv::serialize_to_json, &out, &out);
    c.patch = d.patch;
    try {
        bool const needed =
            d.optional ? c.optional_member_serialization_needed(tv::optional_quality(d.first),
                                                                tv::optional_quality(d.own), "m")
                       : c.required_member_serialization_needed(d.first != 0, d.own != 0, "m");
        EXPECT_TRUE(cap.entries.empty());
        return out == before ? (needed ? 'w' : '-')
                             : (!needed && out == json(R"({"m":null})") ? 'n' : '?');
    } catch (tv::missing_value const&) {
        std::string const kind = d.optional ? "optional" : "required";
        expect_log(cap, d.optional ? 149 : 182, kind + "_member_serialization_needed",
                   "cannot serialize unprovided value m");
        return out == before ? '!' : '?';
    }
}

} // namespace

TEST(Composite, GetAttrOnlyReadsOrWrites) {
    Variant out = json(R"({"keep":1})");
    for (tv::mode m : {tv::compare, tv::collect_attr_names, static_cast<tv::mode>(9)}) {
        EXPECT_THROW_MSG(context<record>(m, &out, &out).get_attr("keep", tv::optional_member),
                         std::logic_error,
                         "tolvi::composite_impl::get_attr() called for unsupported tolvi::mode");
    }
}

TEST(Composite, UnacceptableSourceTypes) {
    Variant doc = json(R"({"a":1})");
    for (tv::get_attr_policy policy : {tv::optional_member, tv::required_member}) {
        tolvi_test::log_capture cap;
        record c = reader(doc, {&from_peer, &from_cloud});
        EXPECT_BAD_SOURCE(c.get_attr("a", policy), R"(; attribute "a" top-level: {"a":1})");
        expect_log(cap, 67, "get_attr", "rejecting field a from unacceptable source type");
        EXPECT_EQ(*c.get_attr("a", policy), Variant(1)) << "the list was consumed";
        c = reader(doc, {&from_cloud});
        c.patch = true; // an absent member is not blamed on its source, and consumes the list
        EXPECT_EQ(c.get_attr("b", policy), nullptr);
        EXPECT_EQ(*c.get_attr("a", policy), Variant(1));
    }
    static tv::source_type_t const also_one = 1; // told apart by address, not by byte
    EXPECT_EQ(*reader(doc, {&also_one}).get_attr("a", tv::required_member), Variant(1));
    record c = reader(doc, {&from_peer, &tv::_ac::source_type::unspecified}, nullptr);
    EXPECT_THROW(c.get_attr("a", tv::optional_member), tv::bad_deserialization_source);
}

// Optional members: {1, patch, first quality, quality, outcome}; required members: {0, patch,
// first flag, provided, outcome}.
TEST(Composite, SerializationDecisions) {
    constexpr int U = tv::unprovided, D = tv::disengaged, E = tv::engaged;
    decision const rows[] = {
        {1, 0, U, E, 'w'}, {1, 0, D, E, 'w'}, {1, 0, E, E, 'w'}, {1, 0, U, U, '!'},
        {1, 0, D, U, '!'}, {1, 0, E, U, '!'}, {1, 0, U, D, '-'}, {1, 0, D, D, '-'},
        {1, 0, E, D, '-'}, {1, 1, U, E, 'w'}, {1, 1, D, E, 'w'}, {1, 1, E, E, 'w'},
        {1, 1, D, U, '-'}, {1, 1, D, D, '-'}, {1, 1, U, U, '-'}, {1, 1, E, U, '-'},
        {1, 1, U, D, 'n'}, {1, 1, E, D, 'n'}, {0, 1, 0, 0, '-'}, {0, 1, 1, 0, '-'},
        {0, 1, 0, 1, 'w'}, {0, 1, 1, 1, 'w'}, {0, 0, 0, 1, 'w'}, {0, 0, 1, 1, '!'},
        {0, 0, 0, 0, '!'}, {0, 0, 1, 0, '!'}};
    for (decision const& r : rows) {
        EXPECT_EQ(decide(r), r.expected) << r.optional << r.patch << r.first << r.own;
    }
}
