// Typed three-way comparisons of opaque blocks and of the values found in them.

#include <climits>
#include <cmath>
#include <cstdint>
#include <string>
#include <tuple>

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

TEST(OpaqueCompare, AgainstScalars) {
    opaque_json_block const five = block_of("5"), half = block_of("2.5"),
                            big = block_of("4000000000");
    EXPECT_EQ(five.compare(5.0), 0);
    EXPECT_EQ(five.compare(6LL), -1);
    EXPECT_EQ(five.compare(-1), 1);
    EXPECT_EQ(half.compare(2LL), 1);
    EXPECT_EQ(block_of("1.0").compare(1.0 + 1e-12), -1); // exact, unlike the double codec
    // Integers stay exact beyond 2^53; a Double meets the integer as the nearest double.
    EXPECT_EQ(block_of("9007199254740993").compare(9007199254740992LL), 1);
    EXPECT_EQ(block_of("-9223372036854775808").compare(LLONG_MAX), -1);
    EXPECT_EQ(block_of("9007199254740992.0").compare(9007199254740993LL), 0);
    // Other arithmetic types reach an overload without ambiguity, on LP64 and ILP32 alike.
    EXPECT_EQ(big.compare(static_cast<long>(INT_MAX)), 1);
    EXPECT_EQ(big.compare(4000000000u), 0);
    EXPECT_EQ(big.compare(std::uint64_t{4000000001}), -1);
    // NaN compares as equal to every number.
    opaque_json_block nan;
    nan.json = Variant(std::nan(""));
    EXPECT_TRUE(nan.compare(1.0) == 0 && nan.compare(-5LL) == 0 && nan.compare(7) == 0);
    EXPECT_TRUE(nan.compare(block_of("1")) == 0 && block_of("1").compare(nan) == 0);
    // Flags compare as equal or different; texts as the standard string comparison does.
    EXPECT_EQ(block_of("true").compare(false), 1);
    EXPECT_EQ(block_of("false").compare(true), 1);
    opaque_json_block odd = block_of("true");
    odd.json.value.intValue = 2; // any nonzero payload byte is true
    EXPECT_EQ(odd.compare(true) + odd.compare(block_of("true")), 0);
    opaque_json_block const ab = block_of("\"ab\"");
    EXPECT_LT(ab.compare("abc"), 0);
    EXPECT_EQ(ab.compare(std::string("ab")), 0);
    EXPECT_GT(ab.compare("B"), 0);
    opaque_json_block nul;
    nul.json = Variant(std::string("a\0b", 3));
    EXPECT_TRUE(nul.compare(std::string("a\0b", 3)) == 0 && nul.compare("a") > 0);
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
}

TEST(OpaqueCompare, MismatchNamesBothTypes) {
    auto const mismatch = [](std::string const& requested, std::string const& actual) {
        return "requested JSON type: " + requested + "; actual JSON type: " + actual;
    };
    std::tuple<char const*, char const*, char const*, char const*> const pairs[] = {
        {"null", "{}", "Object", "null"},   {"{}", "[]", "Array", "Object"},
        {"1", "\"1\"", "String", "Number"}, {"\"x\"", "1.5", "Number", "String"},
        {"true", "1", "Number", "Boolean"}, {"[]", "null", "null", "Array"}};
    for (auto const& [held, other, requested, actual] : pairs) {
        EXPECT_THROW_MSG(block_of(held).compare(block_of(other)), json_type_mismatch,
                         mismatch(requested, actual));
    }
    opaque_json_block const text = block_of("\"s\""), number = block_of("0");
    EXPECT_THROW_MSG(text.compare(1.0), json_type_mismatch, mismatch("Number", "String"));
    EXPECT_THROW_MSG(text.compare(1), json_type_mismatch, mismatch("Number", "String"));
    EXPECT_THROW_MSG(text.compare(nullptr), json_type_mismatch, mismatch("null", "String"));
    EXPECT_THROW_MSG(number.compare(false), json_type_mismatch, mismatch("Boolean", "Number"));
    EXPECT_THROW_MSG(number.compare("0"), json_type_mismatch, mismatch("String", "Number"));
}

} // namespace
