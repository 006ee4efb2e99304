// Typed three-way comparisons of opaque blocks and of the values found in them.

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <tolvi/errors.hpp>
#include <tolvi/opaque_json_block.hpp>

#include "test_support.hpp"

namespace {

using korvax::tolvi::json_type_mismatch;
using korvax::tolvi::opaque_json_block;

opaque_json_block block_of(char const* text) {
    return opaque_json_block::from_string(text);
}

int sign(int v) {
    return (v > 0) - (v < 0);
}

std::string mismatch_text(char const* requested, char const* actual) {
    return std::string("requested JSON type: ") + requested + "; actual JSON type: " + actual;
}

TEST(OpaqueCompare, NumbersAcrossIntegerAndDouble) {
    opaque_json_block const five = block_of("5");
    EXPECT_EQ(five.compare(5.0), 0);
    EXPECT_EQ(five.compare(6LL), -1);
    EXPECT_EQ(five.compare(-1), 1);
    opaque_json_block const half = block_of("2.5");
    EXPECT_EQ(half.compare(2LL), 1);
    EXPECT_EQ(half.compare(3), -1);
    EXPECT_EQ(half.compare(2.5), 0);
    // Exact: no tolerance as in the double codec.
    EXPECT_EQ(block_of("1.0").compare(1.0 + 1e-12), -1);
    // Integer against integer stays exact beyond 2^53 and at the ends of the range.
    EXPECT_EQ(block_of("9007199254740993").compare(9007199254740992LL), 1);
    EXPECT_EQ(block_of("-9223372036854775808").compare(LLONG_MAX), -1);
    EXPECT_EQ(block_of("9223372036854775807").compare(LLONG_MIN), 1);
    // A Double held meets the integer converted to the nearest double.
    EXPECT_EQ(block_of("9007199254740992.0").compare(9007199254740993LL), 0);
}

// Other arithmetic types reach an overload without ambiguity, on LP64 and ILP32 alike.
TEST(OpaqueCompare, OtherArithmeticArguments) {
    opaque_json_block const b = block_of("4000000000");
    EXPECT_EQ(b.compare(static_cast<long>(INT_MAX)), 1);
    EXPECT_EQ(block_of("-3").compare(-3L), 0);
    EXPECT_EQ(b.compare(4000000000u), 0);
    EXPECT_EQ(b.compare(std::int64_t{4000000001}), -1);
    EXPECT_EQ(b.compare(std::uint64_t{3999999999}), 1);
    EXPECT_EQ(b.compare(std::size_t{7}), 1);
    EXPECT_EQ(b.compare(4e9f), 0);
    EXPECT_EQ(block_of("65").compare('A'), 0);
    EXPECT_EQ(block_of("-2").compare(static_cast<short>(-2)), 0);
    EXPECT_EQ(block_of("0.5").compare(0.5L), 0);
}

TEST(OpaqueCompare, NanEqualsEveryNumber) {
    opaque_json_block b = opaque_json_block::empty_object();
    b.set_attribute("n", std::nan(""));
    auto const nan = b.attribute_at_path("$.n");
    EXPECT_EQ(nan.compare(1.0), 0);
    EXPECT_EQ(nan.compare(-5LL), 0);
    EXPECT_EQ(nan.compare(7), 0);
    EXPECT_EQ(nan.compare(block_of("1")), 0);
    EXPECT_EQ(block_of("1").compare(nan), 0);
    EXPECT_EQ(nan.compare(nan), 0);
}

TEST(OpaqueCompare, FlagsTextsAndNull) {
    EXPECT_EQ(block_of("true").compare(false), 1);
    EXPECT_EQ(block_of("false").compare(true), 1);
    EXPECT_EQ(block_of("true").compare(true), 0);
    // Any nonzero payload byte is true.
    opaque_json_block odd;
    odd.json.type = Variant::Boolean;
    unsigned char const two = 2;
    std::memcpy(&odd.json.value, &two, 1);
    EXPECT_EQ(odd.compare(true), 0);
    EXPECT_EQ(odd.compare(block_of("true")), 0);

    opaque_json_block const ab = block_of("\"ab\"");
    EXPECT_LT(ab.compare("abc"), 0);
    EXPECT_EQ(ab.compare(std::string("ab")), 0);
    EXPECT_GT(ab.compare("a"), 0);
    EXPECT_GT(ab.compare("B"), 0);
    opaque_json_block nul = opaque_json_block::empty_object();
    nul.set_attribute("s", "a\0b", 3u);
    EXPECT_EQ(nul.attribute_at_path("$.s").compare(std::string("a\0b", 3)), 0);
    EXPECT_GT(nul.attribute_at_path("$.s").compare("a"), 0);

    EXPECT_EQ(opaque_json_block().compare(nullptr), 0);
}

TEST(OpaqueCompare, BlockAgainstBlock) {
    struct {
        char const* held;
        char const* other;
        int sign;
    } const cases[] = {
        {"1", "2.0", -1},
        {"2.0", "1", 1},
        {"1", "1.0", 0}, // equal here, although the deep equality says otherwise
        {"3", "3", 0},
        {"9007199254740993", "9007199254740992", 1},
        {"1.5", "-1.5", 1},
        {"\"a\"", "\"b\"", -1},
        {"\"b\"", "\"ab\"", 1},
        {"true", "false", 1},
        {"false", "true", 1},
        {"false", "false", 0},
        {R"({"a":1})", R"({"b":[2]})", 0}, // Objects, Arrays and nulls are not looked into
        {"[1]", "[1,2]", 0},
        {"null", "null", 0},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(sign(block_of(c.held).compare(block_of(c.other))), c.sign)
            << c.held << " vs " << c.other;
    }
}

TEST(OpaqueCompare, MismatchNamesBothTypes) {
    struct {
        char const* held;
        char const* other;
        char const* requested;
        char const* actual;
    } const pairs[] = {
        {"null", "{}", "Object", "null"},   {"{}", "[]", "Array", "Object"},
        {"1", "\"1\"", "String", "Number"}, {"\"x\"", "1.5", "Number", "String"},
        {"true", "1", "Number", "Boolean"}, {"[]", "null", "null", "Array"},
    };
    for (auto const& c : pairs) {
        opaque_json_block const held = block_of(c.held);
        EXPECT_THROW_MSG(held.compare(block_of(c.other)), json_type_mismatch,
                         mismatch_text(c.requested, c.actual));
    }
    opaque_json_block const text = block_of("\"s\"");
    EXPECT_THROW_MSG(text.compare(1.0), json_type_mismatch, mismatch_text("Number", "String"));
    EXPECT_THROW_MSG(text.compare(1LL), json_type_mismatch, mismatch_text("Number", "String"));
    EXPECT_THROW_MSG(text.compare(1), json_type_mismatch, mismatch_text("Number", "String"));
    EXPECT_THROW_MSG(text.compare(1u), json_type_mismatch, mismatch_text("Number", "String"));
    EXPECT_THROW_MSG(text.compare(true), json_type_mismatch, mismatch_text("Boolean", "String"));
    EXPECT_THROW_MSG(text.compare(nullptr), json_type_mismatch, mismatch_text("null", "String"));
    opaque_json_block const number = block_of("0");
    EXPECT_THROW_MSG(number.compare(false), json_type_mismatch, mismatch_text("Boolean", "Number"));
    EXPECT_THROW_MSG(number.compare("0"), json_type_mismatch, mismatch_text("String", "Number"));
    EXPECT_THROW_MSG(number.compare(std::string("0")), json_type_mismatch,
                     mismatch_text("String", "Number"));
    EXPECT_THROW_MSG(opaque_json_block::empty_object().compare(nullptr), json_type_mismatch,
                     mismatch_text("null", "Object"));
    opaque_json_block const doc = block_of(R"({"a":[1]})");
    auto const found = doc.attribute_at_path("$.a");
    EXPECT_THROW_MSG(found.compare(1), json_type_mismatch, mismatch_text("Number", "Array"));
}

} // namespace
