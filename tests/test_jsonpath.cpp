// JSONPath lookup in opaque blocks: the grammar's corners, match order, errors and their log lines.

#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <tolvi/opaque_json_block.hpp>

#include "test_support.hpp"

[[maybe_unused]] static void PrintTo(Variant const& v, std::ostream* os) {
    *os << v.toJson();
}

namespace {

using korvax::tolvi::opaque_json_block;
using korvax::tolvi::opaque_json_view;

// Keys in byte order: "", "'name'", "*x", "0", "B", "a", "a b", "arr", "e", "name", "o", "x.y".
char const* const document = R"({
    "": "empty", "'name'": "quoted", "*x": "starx", "0": "zero", "B": {"id": "upper"},
    "a": {"b": "s", "id": "lower"}, "a b": "blank", "arr": [{"x": 1}, {"id": 7}, {"id": 8}, [10, 11]],
    "e": [], "name": "plain", "o": {}, "x.y": "dotted"})";

char const* const source_file = "src/main/tolvi/opaque_json_block.cpp";
char const* const missing = "missing “]” in JSONPath expression";

TEST(JsonPath, FindsTheFirstMatch) {
    opaque_json_block const b = opaque_json_block::from_string(document);
    ASSERT_STREQ(b.json_type(), "Object");
    struct {
        char const* path;
        char const* found; // compact JSON of the match; null when nothing matches
    } const cases[] = {
        {"$.name", "\"plain\""},
        {"$[name]", "\"plain\""},
        {"$['name']", "\"quoted\""}, // quotes belong to the key
        {"$[0]", "\"zero\""},        // on an Object, brackets hold a key
        {"$.", "\"empty\""},
        {"$[]", "\"empty\""},
        {"$.a b", "\"blank\""},
        {"$[x.y]", "\"dotted\""},
        {"$.x.y", nullptr},
        {"$[*x]", "\"starx\""},
        {"$.*x", "\"starx\""},
        {"$.a.b", "\"s\""},
        {"$.arr[1].id", "7"},
        {"$.arr[ 1].id", "7"},
        {"$.arr[+1].id", "7"},
        {"$.arr[]", "{\"x\":1}"},
        {"$.arr[3][1]", "11"},
        {"$.arr[*].id", "7"}, // backtracks past the element without "id"
        {"$.arr[*][1]", "11"},
        {"$.*.id", "\"upper\""}, // "B" sorts before "a"
        {"$[*].id", "\"upper\""},
        {"$.arr[-1]", nullptr},
        {"$.arr[4]", nullptr},
        {"$.arr[99999999999999999999999]", nullptr},
        {"$.missing", nullptr},
        {"$.a.b.c", nullptr},
        {"$.a.b[0]", nullptr},
        {"$.arr.x", nullptr},
        {"$.o.*", nullptr},
        // Syntax is read only as far as the walk gets.
        {"$.name[", nullptr},
        {"$.missing[x", nullptr},
        {"$.e[*]bad", nullptr},
        {"$.o[*]bad", nullptr},
        {"$.*.nothing[", nullptr},
    };
    for (auto const& c : cases) {
        opaque_json_view const hit = b.attribute_at_path(c.path);
        EXPECT_EQ(hit ? hit->toJson() : "(none)", c.found ? c.found : "(none)") << c.path;
    }
}

TEST(JsonPath, PointsIntoTheBlockWithoutCopying) {
    opaque_json_block const b = opaque_json_block::from_string(R"({"a":[5,{"k":true}]})");
    EXPECT_EQ(b.attribute_at_path("$").get(), &b.json);
    EXPECT_EQ(b.attribute_at_path("$.a[1].k").get(),
              &b.json.get("a").value.vectorValue->at(1).get("k"));
    // A found value is searched further from its own "$".
    EXPECT_EQ(b.attribute_at_path("$.a").attribute_at_path("$[1].k").get(),
              b.attribute_at_path("$.a[1].k").get());
}

TEST(JsonPath, RootOfAnyBlock) {
    opaque_json_block const null_block;
    EXPECT_EQ(null_block.attribute_at_path("$").get(), &null_block.json);
    for (char const* text : {"3", "\"s\"", "true", "null"}) {
        opaque_json_block const b = opaque_json_block::from_string(text);
        EXPECT_EQ(b.attribute_at_path("$").get(), &b.json);
        EXPECT_FALSE(b.attribute_at_path("$[0]")) << text;
        EXPECT_FALSE(b.attribute_at_path("$.a")) << text;
        EXPECT_FALSE(b.attribute_at_path("$[")) << text;
    }
    opaque_json_block const arr = opaque_json_block::from_string("[\"first\"]");
    EXPECT_EQ(arr.attribute_at_path("$[0]")->toJson(), "\"first\"");
}

struct bad_path {
    char const* json;
    char const* path;
    char const* message;
    unsigned line; // 0: nothing is logged
    char const* function;
    char const* logged;
};

TEST(JsonPath, MalformedPathsThrowAfterTheirLogLine) {
    bad_path const cases[] = {
        {"{}", "", "unsupported JSONPath expression", 123, "attribute_at_path",
         "unsupported JSONPath expression: "},
        {"{}", ".a", "unsupported JSONPath expression", 123, "attribute_at_path",
         "unsupported JSONPath expression: .a"},
        {"[1]", "[0]", "unsupported JSONPath expression", 123, "attribute_at_path",
         "unsupported JSONPath expression: [0]"},
        {"{}", "$x", "invalid JSONPath expression", 0, "", ""},
        {"null", "$x", "invalid JSONPath expression", 0, "", ""},
        {"[1]", "$[0]x", "invalid JSONPath expression", 0, "", ""},
        {R"({"a":[1]})", "$.a[0]x", "invalid JSONPath expression", 0, "", ""},
        {"[1,2,3]", "$[2 ]", missing, 50, "ojb_descend_into_array", missing},
        {"[1]", "$[", missing, 50, "ojb_descend_into_array", missing},
        {"[1]", "$[*x]", missing, 50, "ojb_descend_into_array", missing},
        {"[1]", "$[0", missing, 50, "ojb_descend_into_array", missing},
        {"{}", "$[", missing, 68, "ojb_descend_into_object", missing},
        {R"({"a":{}})", "$.a[b", missing, 68, "ojb_descend_into_object", missing},
        // A wildcard meets the error in its first candidate; it does not backtrack past it.
        {R"({"a":{},"b":{"k":1}})", "$.*[k.k", missing, 68, "ojb_descend_into_object", missing},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.json) + " " + c.path);
        opaque_json_block const b = opaque_json_block::from_string(c.json);
        Variant const before = b.json;
        tolvi_test::log_capture cap;
        EXPECT_THROW_MSG(b.attribute_at_path(c.path), std::runtime_error, c.message);
        EXPECT_EQ(b.json, before);
        if (c.line == 0) {
            EXPECT_TRUE(cap.entries.empty());
            continue;
        }
        ASSERT_EQ(cap.entries.size(), 1u);
        EXPECT_EQ(cap.entries[0].level, 0);
        EXPECT_EQ(cap.entries[0].file, source_file);
        EXPECT_EQ(cap.entries[0].line, c.line);
        EXPECT_EQ(cap.entries[0].function, c.function);
        EXPECT_EQ(cap.entries[0].message, c.logged);
    }
}

TEST(JsonPath, EmptyViewRefusesTypedUse) {
    opaque_json_view const none;
    char const* const message = "empty tolvi::opaque_json_view";
    EXPECT_THROW_MSG(none.json_type(), std::logic_error, message);
    EXPECT_THROW_MSG(none.compare(1), std::logic_error, message);
    EXPECT_THROW_MSG(none.attribute_at_path("$"), std::logic_error, message);
    opaque_json_block const b = opaque_json_block::from_string("1");
    EXPECT_THROW_MSG(b.compare(none), std::logic_error, message);
}

} // namespace
