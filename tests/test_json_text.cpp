// JSON text to Variant and back, and the parse error report.

#include <cmath>
#include <cstdint>
#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/json_text.hpp>

#include "test_support.hpp"

namespace {

using Map = Variant::map_type;
using Vec = Variant::vector_type;

TEST(JsonText, ParsesValues) {
    std::vector<std::pair<std::string, Variant>> const rows = {
        {"-9223372036854775808", Variant(INT64_MIN)},
        {"1.0", Variant(1.0)},
        {R"("a\"\u00e9\/")", Variant("a\"\xC3\xA9/")},
        {" \n[null, false, [], {}]\t", Vec{Variant(), Variant(false), Vec{}, Map{}}},
        {R"({"b":{"y":1},"a":1,"b":2})", Map{{"a", Variant(1)}, {"b", Variant(2)}}},
        {std::string("[1]\0 garbage", 12), Vec{Variant(1)}},
    };
    tolvi_test::log_capture cap;
    for (auto const& r : rows) {
        EXPECT_EQ(Variant::fromJson(r.first), r.second) << r.first;
    }
    EXPECT_TRUE(cap.entries.empty());
}

// One log entry from fromJson; the sink sees the message up to its first NUL byte.
void expectReport(std::string const& text, std::string const& message, int level = 0) {
    tolvi_test::log_capture cap;
    EXPECT_TRUE(Variant::fromJson(text).isNull());
    ASSERT_EQ(cap.entries.size(), 1u);
    auto const& e = cap.entries[0];
    EXPECT_EQ(e.level, level);
    EXPECT_EQ(e.file + ' ' + e.function, "src/main/Variant.cpp fromJson");
    EXPECT_GT(e.line, 0);
    EXPECT_EQ(e.message, message);
}

TEST(JsonText, BadTextIsReportedAndGivesNull) {
    std::pair<std::string, char const*> const rows[] = {
        {" ", "JSON error [unexpected token near end of file] at 1 bytes; "},
        {"{} x", "JSON error [end of file expected near 'x'] at 4 bytes; "},
        {"9223372036854775808",
         "JSON error [too big integer near '9223372036854775808'] at 19 bytes; "},
        {R"("a\u0000b")", "JSON error [\\u0000 is not allowed without JSON_ALLOW_NUL near "
                          "'\"a\\u0000b\"'] at 10 bytes; "},
        {std::string("\0x", 2), "JSON error [unexpected token near end of file] at 0 bytes; "},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(r.first);
        expectReport(r.first, r.second + ("full JSON: " + std::string(r.first.c_str())));
    }
    SCOPED_TRACE("empty text: a note");
    expectReport("", "attempting to parse empty string; returning empty object", 1);
}

// Jansson places the error one byte past an invalid token: `pad` spaces then "x," give pad + 1.
TEST(JsonText, ReportShowsAWindowOnlyPastByte3072) {
    // Errors at 3072 and 3073; at 3073 the window is bytes 2973 up to 3172, or to the end.
    for (auto const& [pad, tail] :
         {std::pair<std::size_t, std::size_t>{3071, 300}, {3072, 300}, {3072, 10}}) {
        std::string const text = std::string(pad, ' ') + "x," + std::string(tail, 'a');
        std::string const window = pad < 3072 ? ""
                                              : "JSON substring [-100,100) bytes around offset: `" +
                                                    text.substr(pad + 1 - 100, 200) + "`; ";
        expectReport(text, "JSON error [invalid token near 'x'] at " + std::to_string(pad + 1) +
                               " bytes; " + window + "full JSON: " + text);
    }
}

TEST(JsonText, PrintsCompactAndPretty) {
    struct row {
        Variant v;
        char const* compact;
        char const* pretty;
    } const rows[] = {
        {Variant(INT64_MIN), "-9223372036854775808", "-9223372036854775808"},
        {Variant(1.0 / 3.0), "0.3333333", "0.33333333333333331"},
        {Variant(1.0), "1.0", "1.0"},
        {Variant("a\"b\\/\xC3\xA9\n"), "\"a\\\"b\\\\/\xC3\xA9\\n\"", "\"a\\\"b\\\\/\xC3\xA9\\n\""},
        {Map{{"b", Variant(1)}, {"a", Variant(true)}}, R"({"a":true,"b":1})",
         "{\n    \"a\": true,\n    \"b\": 1\n}"},
        // Jansson refuses non-finite reals: left out, or nothing at the top.
        {Vec{Variant(1), Variant(std::nan("")), Variant(HUGE_VAL), Variant(2)}, "[1,2]",
         "[\n    1,\n    2\n]"},
        {Variant(std::nan("")), "", ""},
    };
    for (auto const& r : rows) {
        EXPECT_EQ(r.v.toJson(), r.compact);
        EXPECT_EQ(r.v.prettyPrintJson(), r.pretty) << r.compact;
    }
    EXPECT_EQ(toJansson(Variant("\xFF")), nullptr);
}

// The exact text: each double with its own fewest digits, in the form Jansson gives reals; all
// else as toJson prints it.
TEST(JsonText, ExactTextGivesEachDoubleItsFewestDigits) {
    struct row {
        Variant v;
        char const* text;
        bool jansson; // no double to round: toJson prints the same
    } const rows[] = {
        {Vec{Variant(0.1), Variant(1.0 / 3.0), Variant(0.1 + 0.2)},
         "[0.1,0.3333333333333333,0.30000000000000004]", false},
        {Vec{Variant(1.0), Variant(-0.0), Variant(100.0), Variant(123456789.0), Variant(1e16)},
         "[1.0,-0.0,100.0,123456789.0,10000000000000000.0]", false},
        {Vec{Variant(1e17), Variant(1.5e-7), Variant(5e-324), Variant(1.7976931348623157e308)},
         "[1e17,1.5e-7,5e-324,1.7976931348623157e308]", false},
        // The shortest digits, rounded to nearest, read back as another double: one more.
        {Variant(std::ldexp(1.0, -957)), "8.2090736025967525e-289", false},
        {Map{{"b", Variant(std::nan(""))}, {"a\x01\x1F\x7F", Variant("\"\\/\b\f\n\r\t\xC3\xA9")}},
         R"({"a\u0001\u001F)"
         "\x7F"
         R"(":"\"\\/\b\f\n\r\t)"
         "\xC3\xA9\"}",
         true},
        {Vec{Variant(HUGE_VAL), Variant("\xFF"), Variant(Map{{"\xFF", Variant(1)}}),
             Variant(std::string("a\0b", 3))},
         "[{},\"a\"]", true},
        // Keys cut at a NUL byte come to one: the last value that prints.
        {Map{{"a", Variant(1)},
             {std::string("a\0x", 3), Variant(2)},
             {std::string("a\0y", 3), Variant(std::nan(""))},
             {"b", Variant(3)}},
         R"({"a":2,"b":3})", true},
        {Variant(std::nan("")), "", true},
    };
    for (auto const& r : rows) {
        EXPECT_EQ(korvax::tolvi::to_json(r.v), r.text);
        if (r.jansson) {
            EXPECT_EQ(r.v.toJson(), r.text);
        }
    }
}

} // namespace
