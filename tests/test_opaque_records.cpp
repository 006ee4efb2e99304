// Opaque blocks as record members: required and optional blocks through the record API.

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tolvi/tolvi.hpp>

#include "test_support.hpp"

[[maybe_unused]] static void PrintTo(Variant const& v, std::ostream* os) {
    *os << v.toJson();
}

namespace tv = korvax::tolvi;

namespace opaque_rec {

struct device {
    tv::required<tv::opaque_json_block> config;
    tv::optional<tv::opaque_json_block> extra;
    tv::required<int> id;
};
TOLVI_RECORD(device, config, extra, id);

} // namespace opaque_rec

namespace {

using opaque_rec::device;
using tv::opaque_json_block;

Variant parsed(char const* text) {
    return Variant::fromJson(text);
}

device make(char const* config, char const* extra) {
    device d;
    d.config = opaque_json_block::from_string(config);
    if (extra != nullptr) {
        d.extra = opaque_json_block::from_string(extra);
    }
    d.id = 1;
    return d;
}

device read(char const* text, tv::options const& o = {}) {
    device d;
    tv::from_json(d, text, o);
    return d;
}

TEST(OpaqueRecords, Names) {
    std::vector<std::string> names;
    for (char const* n : tv::member_names<device>()) {
        names.emplace_back(n);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"config", "extra", "id"}));
}

TEST(OpaqueRecords, SerializeWritesBlocksWhole) {
    EXPECT_EQ(tv::to_variant(make(R"({"a":[1,{"b":null}]})", "\"s\"")),
              parsed(R"({"config":{"a":[1,{"b":null}]},"extra":"s","id":1})"));
    // A block holding JSON null is still a value of a required member.
    EXPECT_EQ(tv::to_variant(make("null", "[]")), parsed(R"({"config":null,"extra":[],"id":1})"));
    device d = make("{}", nullptr);
    d.extra = tv::none;
    EXPECT_EQ(tv::to_variant(d), parsed(R"({"config":{},"id":1})"));
}

TEST(OpaqueRecords, DeserializeTakesAnyJson) {
    for (char const* value : {"5", "2.5", "\"s\"", "true", "[1,[2]]", R"({"k":{}})"}) {
        std::string const text =
            std::string(R"({"id":1,"config":)") + value + R"(,"extra":)" + value + "}";
        device const d = read(text.c_str());
        EXPECT_EQ(d.config->json, parsed(value)) << value;
        ASSERT_TRUE(d.extra.engaged()) << value;
        EXPECT_EQ(d.extra->json, parsed(value)) << value;
    }
    // Null disengages an optional block and is refused for a required one.
    device const d = read(R"({"id":1,"config":{},"extra":null})");
    EXPECT_TRUE(d.extra.provided());
    EXPECT_FALSE(d.extra.engaged());
    device e;
    EXPECT_THROW(tv::from_json(e, R"({"id":1,"config":null})"), tv::bad_deserialization_source);
}

// A held block is merged with the patch; a conflict leaves it as it was, silently.
TEST(OpaqueRecords, PatchMergesHeldBlocks) {
    struct {
        char const* held;
        char const* patch;
        char const* result;
    } const cases[] = {
        {R"({"a":1,"b":2})", R"({"b":null,"c":3})", R"({"a":1,"c":3})"},
        {R"({"a":{"x":1}})", R"({"a":{"y":2}})", R"({"a":{"x":1,"y":2}})"},
        {R"({"a":1})", R"({"0":5,"a":"s"})", R"({"a":1})"},
        {"1", "2.0", "1"},
        {"[1,2]", "[3]", "[3]"},
    };
    for (auto const& c : cases) {
        tolvi_test::log_capture cap;
        device d = make(c.held, c.held);
        std::string const text =
            std::string(R"({"config":)") + c.patch + R"(,"extra":)" + c.patch + "}";
        EXPECT_NO_THROW(tv::from_json(d, text, tv::options().as_patch()));
        EXPECT_EQ(d.config->json, parsed(c.result)) << c.held << " <- " << c.patch;
        EXPECT_EQ(d.extra->json, parsed(c.result)) << c.held << " <- " << c.patch;
        EXPECT_EQ(*d.id, 1);
        EXPECT_TRUE(cap.entries.empty());
    }
    // A block the record did not hold yet takes the patch's value whole.
    device d = make("{}", nullptr);
    tv::from_json(d, R"({"extra":7})", tv::options().as_patch());
    EXPECT_EQ(d.extra->json, parsed("7"));
}

// Records compare blocks by deep equality; an equal block must not hide a difference elsewhere.
TEST(OpaqueRecords, Compare) {
    EXPECT_TRUE(tv::equal(make(R"({"a":[1]})", "1"), make(R"({"a":[1]})", "1")));
    EXPECT_FALSE(tv::equal(make(R"({"a":1})", "1"), make(R"({"a":1.0})", "1")));
    EXPECT_FALSE(tv::equal(make(R"({"a":1})", "1"), make(R"({"a":2})", "1")));
    EXPECT_FALSE(tv::equal(make("{}", "1"), make("{}", nullptr)));
    device other_id = make("{}", "1");
    other_id.id = 2;
    EXPECT_FALSE(tv::equal(make("{}", "1"), other_id));
}

} // namespace
