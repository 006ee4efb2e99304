// Opaque JSON blocks: factories, attributes, the block codec, the typed three-way comparisons and
// the JSONPath lookup.

#include <climits>
#include <cmath>
#include <cstdint>
#include <tuple>

#include <tolvi/opaque_json_block.hpp>

#include "codec_driver.hpp"

namespace {

using tv::json_type_mismatch;
using tv::opaque_json_block;

opaque_json_block block_of(std::string const& text) {
    return opaque_json_block::from_string(text);
}

TEST(OpaqueBlock, FactoriesAndAttributes) {
    EXPECT_STREQ(block_of("{\"a\":").json_type(), "null");
    EXPECT_STREQ(opaque_json_block::empty_object().json_type(), "Object");
    // The counted form reads exactly `length` bytes: a prefix parses, a cut value does not.
    EXPECT_EQ(opaque_json_block::from_string("[1,2]xyz", 5).json, Variant::fromJson("[1,2]"));
    EXPECT_TRUE(opaque_json_block::from_string("[1,2]", 3).json.isNull());
    opaque_json_block b = block_of(R"({"blk":"replaced"})"), inner = block_of(R"({"x":[1]})");
    std::string moved(40, 'q');
    b.set_attribute("blk", inner);
    b.set_attribute("nul", nullptr);
    b.set_attribute("t", true);
    b.set_attribute("ll", -(1LL << 40));
    b.set_attribute("d", 1e-12); // not flushed like the double codec
    b.set_attribute("nb", "a\0b", 3u);
    b.set_attribute("txt", "text"); // a bare text is a String, not a Boolean
    b.set_attribute("mv", std::move(moved));
    b.set_attribute("self", b);  // ignored
    inner.set_attribute("x", 0); // the stored copies are deep
    Variant expected = Variant::fromJson(R"({"blk":{"x":[1]},"nul":null,"t":true,
        "ll":-1099511627776,"d":1e-12,"txt":"text","mv":"qqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqq"})");
    expected.set("nb", Variant(std::string("a\0b", 3)));
    EXPECT_EQ(b.json, expected);
    EXPECT_EQ(moved, ""); // a deep copy of a moved argument, then moved from
    // A default block holds null, which Variant::set alone would turn into an Object.
    opaque_json_block c;
    std::string moved_in = "must survive";
    EXPECT_THROW_MSG(c.set_attribute("k", 1), std::logic_error,
                     "cannot set_attribute() on JSON storing a non-Object");
    EXPECT_THROW(c.set_attribute("k", std::move(moved_in)), std::logic_error);
    EXPECT_TRUE(c.json.isNull());
    EXPECT_EQ(moved_in, "must survive");
}

// The codec writes the compare flag both ways, by deep equality. Driven by hand with patch set,
// it merges, and a merge refused keeps the block as it was, without a word.
TEST(OpaqueBlock, CodecCompareAndPatch) {
    using codec = tv::impl<opaque_json_block>;
    EXPECT_TRUE(tolvi_test::compare<codec>(block_of("[{}]"), block_of("[{}]"), false));
    EXPECT_FALSE(tolvi_test::compare<codec>(block_of("1"), block_of("1.0"), true));
    std::pair<char const*, char const*> const patches[] = {{R"({"b":2})", R"({"a":1,"b":2})"},
                                                           {R"({"a":"x"})", R"({"a":1})"}};
    for (auto const& [patch, merged] : patches) {
        opaque_json_block b = block_of(R"({"a":1})");
        Variant doc = Variant::fromJson(patch);
        codec c = tolvi_test::context<codec>(tv::deserialize_from_json, &doc, &doc, &b);
        c.patch = true;
        c.apply();
        EXPECT_EQ(b.json, Variant::fromJson(merged));
    }
}

// ---- typed comparisons

TEST(OpaqueCompare, AgainstScalars) {
    opaque_json_block const five = block_of("5"), big = block_of("4000000000");
    EXPECT_EQ(five.compare(5.0), 0);
    EXPECT_EQ(five.compare(6LL), -1);
    EXPECT_EQ(five.compare(-1), 1);
    EXPECT_EQ(block_of("1.0").compare(1.0 + 1e-12), -1); // exact, unlike the double codec
    // Integers stay exact beyond 2^53; a Double meets the integer as the nearest double.
    EXPECT_EQ(block_of("9007199254740993").compare(9007199254740992LL), 1);
    EXPECT_EQ(block_of("9007199254740992.0").compare(9007199254740993LL), 0);
    // Other arithmetic types reach an overload without ambiguity, on LP64 and ILP32 alike.
    EXPECT_EQ(big.compare(static_cast<long>(INT_MAX)), 1);
    EXPECT_EQ(big.compare(4000000000u), 0);
    opaque_json_block nan; // NaN equals every number
    nan.json = Variant(std::nan(""));
    EXPECT_EQ(nan.compare(1.0), 0);
    EXPECT_EQ(nan.compare(-5LL), 0);
    EXPECT_EQ(block_of("1").compare(nan), 0);
    // Flags compare as equal or different; texts as the standard string comparison does.
    EXPECT_EQ(block_of("true").compare(false), 1);
    EXPECT_EQ(block_of("false").compare(true), 1);
    opaque_json_block const ab = block_of("\"ab\"");
    EXPECT_LT(ab.compare("abc"), 0);
    EXPECT_EQ(ab.compare(std::string("ab")), 0);
    EXPECT_GT(ab.compare("B"), 0);
    EXPECT_EQ(opaque_json_block().compare(nullptr), 0);
}

// Objects, Arrays and nulls are not looked into.
TEST(OpaqueCompare, BlockAgainstBlock) {
    std::tuple<char const*, char const*, int> const cases[] = {
        {"1", "2.0", -1},     {"2.0", "1", 1},        {"1", "1.0", 0},        {"3", "3", 0},
        {"1.5", "-1.5", 1},   {"\"a\"", "\"b\"", -1}, {"\"b\"", "\"ab\"", 1}, {"true", "false", 1},
        {"false", "true", 1}, {"false", "false", 0},  {"{\"a\":1}", "{}", 0}, {"[1]", "[1,2]", 0},
        {"null", "null", 0}};
    EXPECT_EQ(block_of("9007199254740993").compare(block_of("9007199254740992")), 1);
    for (auto const& [held, other, sign] : cases) {
        int const result = block_of(held).compare(block_of(other));
        EXPECT_EQ((result > 0) - (result < 0), sign) << held << " vs " << other;
    }
    auto const mismatch = [](std::string const& requested, std::string const& actual) {
        return "requested JSON type: " + requested + "; actual JSON type: " + actual;
    };
    std::tuple<char const*, char const*, char const*, char const*> const pairs[] = {
        {"null", "{}", "Object", "null"},
        {"{}", "[]", "Array", "Object"},
        {"1", "\"1\"", "String", "Number"},
        {"true", "1", "Number", "Boolean"}};
    for (auto const& [held, other, requested, actual] : pairs) {
        EXPECT_THROW_MSG(block_of(held).compare(block_of(other)), json_type_mismatch,
                         mismatch(requested, actual));
    }
    opaque_json_block const text = block_of("\"s\""), number = block_of("0");
    EXPECT_THROW_MSG(text.compare(1), json_type_mismatch, mismatch("Number", "String"));
    EXPECT_THROW_MSG(text.compare(nullptr), json_type_mismatch, mismatch("null", "String"));
    EXPECT_THROW_MSG(number.compare(false), json_type_mismatch, mismatch("Boolean", "Number"));
    EXPECT_THROW_MSG(number.compare("0"), json_type_mismatch, mismatch("String", "Number"));
}

// ---- JSONPath lookup

// The match's compact JSON, or "-" when nothing matches.
std::string found(opaque_json_block const& b, char const* path) {
    auto const hit = b.attribute_at_path(path);
    return hit ? hit->toJson() : "-";
}

TEST(JsonPath, FindsTheFirstMatch) {
    // Keys in byte order: "", "'name'", "*x", "0", "B", "a", "a b", "arr", "e", "name", "o", "x.y".
    opaque_json_block const b = block_of(R"({"": 1, "'name'": 2, "*x": 3, "0": 4, "B": {"id": 5},
        "a": {"b": "s", "id": 6}, "a b": 7, "arr": [{"x": 1}, {"id": 8}, {"id": 9}, [10, 11], 4,
        5, 6, 7, 8, 9, 10], "e": [], "name": 12, "o": {}, "x.y": 13})");
    // Quotes belong to a bracketed key, and on an Object the brackets always hold a key. A
    // wildcard backtracks past candidates that lack the rest of the path, and tries members in
    // byte order ("B" before "a"). Indexes are decimal, leading zeros and all. "-": not found;
    // syntax is read only as far as the walk gets.
    std::pair<char const*, char const*> const cases[] = {
        {"$.name", "12"},      {"$[name]", "12"},     {"$['name']", "2"},
        {"$[0]", "4"},         {"$.", "1"},           {"$[]", "1"},
        {"$.a b", "7"},        {"$[x.y]", "13"},      {"$[*x]", "3"},
        {"$.arr[ 1].id", "8"}, {"$.arr[+1].id", "8"}, {"$.arr[]", "{\"x\":1}"},
        {"$.arr[3][1]", "11"}, {"$.arr[*].id", "8"},  {"$.*.id", "5"},
        {"$.arr[010]", "10"},  {"$[*].id", "5"},      {"$.x.y", "-"},
        {"$.arr[-1]", "-"},    {"$.arr[011]", "-"},   {"$.a.b.c", "-"},
        {"$.arr.x", "-"},      {"$.name[", "-"},      {"$.e[*]bad", "-"},
        {"$.o[*]bad", "-"}};
    for (auto const& c : cases) {
        EXPECT_EQ(found(b, c.first), c.second) << c.first;
    }
    EXPECT_EQ(found(b, "$.arr[99999999999999999999999]"), "-");
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
            EXPECT_EQ(e.level, 0);
            EXPECT_EQ(e.line, line);
            EXPECT_EQ(e.file, "src/main/tolvi/opaque_json_block.cpp");
            EXPECT_EQ(e.function, line == 123  ? "attribute_at_path"
                                  : line == 50 ? "ojb_descend_into_array"
                                               : "ojb_descend_into_object");
            EXPECT_EQ(e.message, line == 123 ? message + ": " + path : message);
        }
    }
}

} // namespace
