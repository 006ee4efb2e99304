// JSONPath lookup in opaque blocks: the grammar's corners, match order, errors and their log lines.

#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <tolvi/opaque_json_block.hpp>

#include "test_support.hpp"

namespace {

using korvax::tolvi::opaque_json_block;

opaque_json_block block_of(char const* text) {
    return opaque_json_block::from_string(text);
}

// The match's compact JSON, or "-" when nothing matches.
std::string found(opaque_json_block const& b, char const* path) {
    auto const hit = b.attribute_at_path(path);
    return hit ? hit->toJson() : "-";
}

TEST(JsonPath, FindsTheFirstMatch) {
    // Keys in byte order: "", "'name'", "*x", "0", "B", "a", "a b", "arr", "e", "name", "o", "x.y".
    opaque_json_block const b = block_of(R"({"": 1, "'name'": 2, "*x": 3, "0": 4, "B": {"id": 5},
        "a": {"b": "s", "id": 6}, "a b": 7, "arr": [{"x": 1}, {"id": 8}, {"id": 9}, [10, 11]],
        "e": [], "name": 12, "o": {}, "x.y": 13})");
    // Quotes belong to a bracketed key, and on an Object the brackets always hold a key. A
    // wildcard backtracks past candidates that lack the rest of the path, and tries members in
    // byte order ("B" before "a").
    std::pair<char const*, char const*> const cases[] = {
        {"$.name", "12"},      {"$[name]", "12"},     {"$['name']", "2"},
        {"$[0]", "4"},         {"$.", "1"},           {"$[]", "1"},
        {"$.a b", "7"},        {"$[x.y]", "13"},      {"$[*x]", "3"},
        {"$.arr[ 1].id", "8"}, {"$.arr[+1].id", "8"}, {"$.arr[]", "{\"x\":1}"},
        {"$.arr[3][1]", "11"}, {"$.arr[*].id", "8"},  {"$.*.id", "5"},
        {"$[*].id", "5"}};
    for (auto const& c : cases) {
        EXPECT_EQ(found(b, c.first), c.second) << c.first;
    }
    // Syntax is read only as far as the walk gets.
    for (char const* path : {"$.x.y", "$.arr[-1]", "$.arr[4]", "$.arr[99999999999999999999999]",
                             "$.a.b.c", "$.arr.x", "$.name[", "$.e[*]bad", "$.o[*]bad"}) {
        EXPECT_FALSE(b.attribute_at_path(path)) << path;
    }
    // A match points into the block, and is searched further from its own "$".
    EXPECT_EQ(b.attribute_at_path("$.arr[1].id").get(),
              &b.json.get("arr").value.vectorValue->at(1).get("id"));
    EXPECT_EQ(b.attribute_at_path("$.arr").attribute_at_path("$[1].id").get(),
              b.attribute_at_path("$.arr[1].id").get());
}

TEST(JsonPath, RootOfAnyBlock) {
    for (char const* text : {"", "3", "\"s\"", "true"}) {
        opaque_json_block const b = block_of(text);
        EXPECT_EQ(b.attribute_at_path("$").get(), &b.json);
        EXPECT_EQ(found(b, "$[0]") + found(b, "$.a") + found(b, "$["), "---") << text;
    }
}

// The last case: a wildcard meets the error in its first candidate and does not backtrack past it.
TEST(JsonPath, MalformedPathsThrowAfterTheirLogLine) {
    // The JSON, the path and the line of the log entry: 0 for an invalid path, which is not logged.
    std::tuple<char const*, char const*, unsigned> const cases[] = {
        {"{}", "", 123},          {"[1]", ".a", 123},          {"{}", "$x", 0},
        {"null", "$x", 0},        {"[1]", "$[0]x", 0},         {"{\"a\":[1]}", "$.a[0]x", 0},
        {"[1,2,3]", "$[2 ]", 50}, {"[1]", "$[", 50},           {"[1]", "$[*x]", 50},
        {"{}", "$[", 68},         {"{\"a\":{}}", "$.a[b", 68}, {"{\"a\":{},\"b\":1}", "$.*[k", 68}};
    for (auto const& [json, path, line] : cases) {
        SCOPED_TRACE(std::string(json) + " " + path);
        opaque_json_block const b = block_of(json);
        std::string const message = line == 123 ? "unsupported JSONPath expression"
                                    : line == 0 ? "invalid JSONPath expression"
                                                : "missing “]” in JSONPath expression";
        tolvi_test::log_capture cap;
        EXPECT_THROW_MSG(b.attribute_at_path(path), std::runtime_error, message);
        EXPECT_EQ(b.json, Variant::fromJson(json));
        ASSERT_EQ(cap.entries.size(), line == 0 ? 0u : 1u);
        if (line != 0) {
            auto const& e = cap.entries[0];
            EXPECT_TRUE(e.level == 0 && e.line == line) << e.level << " " << e.line;
            EXPECT_EQ(e.file, "src/main/tolvi/opaque_json_block.cpp");
            EXPECT_EQ(e.function, line == 123  ? "attribute_at_path"
                                  : line == 50 ? "ojb_descend_into_array"
                                               : "ojb_descend_into_object");
            EXPECT_EQ(e.message, line == 123 ? message + ": " + path : message);
        }
    }
}

TEST(JsonPath, EmptyViewRefusesTypedUse) {
    korvax::tolvi::opaque_json_view const none;
    char const* const message = "empty tolvi::opaque_json_view";
    EXPECT_THROW_MSG(none.json_type(), std::logic_error, message);
    EXPECT_THROW_MSG(none.compare(1), std::logic_error, message);
    EXPECT_THROW_MSG(none.attribute_at_path("$"), std::logic_error, message);
    EXPECT_THROW_MSG(block_of("1").compare(none), std::logic_error, message);
}

} // namespace
