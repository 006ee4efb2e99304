// JSON text to Variant and back, and the parse error report.

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <skrib/skrib.hpp>
#include <tolvi/Variant.hpp>

#include "alloc_probe.hpp"
#include "test_support.hpp"

namespace {

namespace sk = korvax::skrib;
using Map = Variant::map_type;
using Vec = Variant::vector_type;

TEST(JsonText, ParsesValues) {
    struct row {
        std::string text;
        Variant expected;
    };
    std::vector<row> const rows = {
        {"42", Variant(42)},
        {"-9223372036854775808", Variant(std::numeric_limits<std::int64_t>::min())},
        {"9223372036854775807", Variant(std::numeric_limits<std::int64_t>::max())},
        {"4.2", Variant(4.2)},
        {"1.0", Variant(1.0)},
        {"1e2", Variant(100.0)},
        {"true", Variant(true)},
        {"false", Variant(false)},
        {"null", Variant()},
        {R"("a\"\u00e9\/")", Variant("a\"\xC3\xA9/")},
        {"{}", Variant(Map{})},
        {"[]", Variant(Vec{})},
        {" \n[1, \"x\", null, [], {}]\t",
         Variant(Vec{Variant(1), Variant("x"), Variant(), Variant(Vec{}), Variant(Map{})})},
        {R"({"b":1,"b":2})", Variant(Map{{"b", Variant(2)}})},
        {R"({"b":{"y":[true]},"a":1})",
         Variant(Map{{"a", Variant(1)}, {"b", Variant(Map{{"y", Variant(Vec{Variant(true)})}})}})},
        {std::string("[1]\0 garbage", 12), Variant(Vec{Variant(1)})},
    };
    tolvi_test::log_capture cap;
    for (auto const& r : rows) {
        Variant const v = Variant::fromJson(r.text);
        EXPECT_EQ(v.type, r.expected.type) << r.text;
        EXPECT_EQ(v, r.expected) << r.text;
    }
    EXPECT_TRUE(cap.entries.empty());
}

TEST(JsonText, MalformedTextIsReportedAtLevelZero) {
    struct row {
        std::string text;
        char const* report; // everything before "full JSON: "
    };
    std::vector<row> const rows = {
        {" ", "JSON error [unexpected token near end of file] at 1 bytes; "},
        {"{} x", "JSON error [end of file expected near 'x'] at 4 bytes; "},
        {"9223372036854775808",
         "JSON error [too big integer near '9223372036854775808'] at 19 bytes; "},
        {R"("a\u0000b")", "JSON error [\\u0000 is not allowed without JSON_ALLOW_NUL near "
                          "'\"a\\u0000b\"'] at 10 bytes; "},
        {"[1,2,]", "JSON error [unexpected token near ']'] at 6 bytes; "},
        {R"({"a":1)", "JSON error ['}' expected near end of file] at 6 bytes; "},
        {"\"\xff\"", "JSON error [unable to decode byte 0xff near '\"'] at 1 bytes; "},
        {std::string("\0x", 2), "JSON error [unexpected token near end of file] at 0 bytes; "},
    };
    for (auto const& r : rows) {
        tolvi_test::log_capture cap;
        Variant const v = Variant::fromJson(r.text);
        EXPECT_EQ(v.type, Variant::Null) << r.text;
        ASSERT_EQ(cap.entries.size(), 1u) << r.text;
        auto const& e = cap.entries[0];
        EXPECT_EQ(e.level, 0);
        EXPECT_EQ(e.function, "fromJson");
        EXPECT_EQ(e.file, "src/main/Variant.cpp");
        EXPECT_GT(e.line, 0u);
        // The sink sees the message up to its first NUL byte.
        EXPECT_EQ(e.message, std::string(r.report) + "full JSON: " + r.text.c_str());
    }
}

// Jansson places the error one byte past an invalid token: `pad` spaces then "x," give pad + 1.
TEST(JsonText, ReportShowsAWindowOnlyPastByte3072) {
    struct row {
        std::size_t pad;
        std::size_t tail;
        int position;
        bool window;
    };
    row const rows[] = {
        {3071, 300, 3072, false},
        {3072, 300, 3073, true},  // window is bytes 2973 up to 3172
        {3072, 10, 3073, true},   // window cut at the end of the input
        {3500, 1000, 3501, true}, // report longer than a log line: only its start is logged
    };
    for (auto const& r : rows) {
        std::string text(r.pad, ' ');
        text += "x,";
        for (std::size_t i = 0; i < r.tail; ++i) {
            text += static_cast<char>('a' + i % 26);
        }
        std::string expected =
            "JSON error [invalid token near 'x'] at " + std::to_string(r.position) + " bytes; ";
        if (r.window) {
            expected += "JSON substring [-100,100) bytes around offset: `" +
                        text.substr(static_cast<std::size_t>(r.position) - 100, 200) + "`; ";
        }
        expected += "full JSON: " + text;

        tolvi_test::log_capture cap;
        EXPECT_EQ(Variant::fromJson(text).type, Variant::Null);
        ASSERT_EQ(cap.entries.size(), 1u);
        EXPECT_EQ(cap.entries[0].message, expected.substr(0, 4095)) << "position " << r.position;
    }
}

TEST(JsonText, EmptyTextIsANoteAtLevelOne) {
    {
        tolvi_test::log_capture cap;
        EXPECT_EQ(Variant::fromJson("").type, Variant::Null);
        ASSERT_EQ(cap.entries.size(), 1u);
        EXPECT_EQ(cap.entries[0].level, 1);
        EXPECT_EQ(cap.entries[0].function, "fromJson");
        EXPECT_EQ(cap.entries[0].message,
                  "attempting to parse empty string; returning empty object");
    }
    {
        tolvi_test::log_capture errors_only(sk::level::error);
        Variant::fromJson("");
        EXPECT_TRUE(errors_only.entries.empty());
    }
    ASSERT_LT(sk::detail::highest_sink_level, 0);
    EXPECT_EQ(Variant::fromJson("[").type, Variant::Null); // no sink at all: silently Null
}

TEST(JsonText, PrintsCompactAndPretty) {
    Variant two_true(true);
    two_true.value.intValue = 2;
    struct row {
        Variant v;
        char const* compact;
        char const* pretty;
    };
    std::vector<row> const rows = {
        {Variant(), "null", "null"},
        {Variant(42), "42", "42"},
        {Variant(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808",
         "-9223372036854775808"},
        {Variant(1.0 / 3.0), "0.3333333", "0.33333333333333331"},
        {Variant(1.0), "1.0", "1.0"},
        {Variant(-2.5e-8), "-2.5e-8", "-2.4999999999999999e-8"},
        {Variant(false), "false", "false"},
        {two_true, "true", "true"},
        {Variant("a\"b\\/\xC3\xA9\n"),
         R"("a\"b\\/)"
         "\xC3\xA9"
         R"(\n")",
         R"("a\"b\\/)"
         "\xC3\xA9"
         R"(\n")"},
        {Variant(Map{{"b", Variant(1)}, {"a", Variant(true)}}), R"({"a":true,"b":1})",
         "{\n    \"a\": true,\n    \"b\": 1\n}"},
        {Variant(Map{{"a", Variant(Vec{Variant(1), Variant(Map{{"c", Variant()}})})}}),
         R"({"a":[1,{"c":null}]})",
         "{\n    \"a\": [\n        1,\n        {\n            \"c\": null\n        }\n    ]\n}"},
        {Variant(Map{}), "{}", "{}"},
        {Variant(Vec{}), "[]", "[]"},
        // Jansson refuses invalid UTF-8 and non-finite reals: left out, or nothing at the top.
        {Variant(Map{{"bad", Variant("\xFF")}, {"ok", Variant(1)}}), R"({"ok":1})",
         "{\n    \"ok\": 1\n}"},
        {Variant(Map{{"\xC3", Variant(1)}, {"ok", Variant(2)}}), R"({"ok":2})",
         "{\n    \"ok\": 2\n}"},
        {Variant(Vec{Variant(1), Variant(std::nan("")), Variant(HUGE_VAL), Variant("\xC3"),
                     Variant(2)}),
         "[1,2]", "[\n    1,\n    2\n]"},
        {Variant("\xFF"), "", ""},
        {Variant(std::nan("")), "", ""},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].v.toJson(), rows[i].compact) << "row " << i;
        EXPECT_EQ(rows[i].v.prettyPrintJson(), rows[i].pretty) << "row " << i;
    }
}

TEST(JsonText, RoundTripKeepsNumberKinds) {
    Variant const v(Map{{"d", Variant(2.0)},
                        {"i", Variant(std::int64_t{1} << 62)},
                        {"s", Variant("\xE2\x80\x9C")},
                        {"v", Variant(Vec{Variant(0.5), Variant(-1)})}});
    EXPECT_EQ(Variant::fromJson(v.toJson()), v);
    EXPECT_EQ(Variant::fromJson(v.prettyPrintJson()), v);
    EXPECT_EQ(Variant::fromJson(Variant(1.0 / 3.0).toJson()), Variant(0.3333333));
}

TEST(JsonText, RefusedTopLevelValueGivesNoTree) {
    EXPECT_EQ(toJansson(Variant("\xFF")), nullptr);
    EXPECT_EQ(toJansson(Variant(-HUGE_VAL)), nullptr);
}

TEST(JsonText, FailedAllocationsLeakNothing) {
    std::string const text =
        R"({"list":[1,"a string that does not fit a small buffer",{"k":[true,null,2.5]}],"m":{}})";
    Variant const expected = Variant::fromJson(text);
    Variant parsed;
    std::size_t failures =
        tolvi_test::fail_each_allocation([&] { parsed = Variant::fromJson(text); }, [] {});
    EXPECT_GT(failures, 5u);
    EXPECT_EQ(parsed, expected);
    std::string printed;
    failures = tolvi_test::fail_each_allocation([&] { printed = expected.toJson(); }, [] {});
    EXPECT_GT(failures, 0u);
    EXPECT_EQ(printed, text);
}

} // namespace
