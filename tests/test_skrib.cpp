// The logging stand-in: thresholds, sinks and the formatter's buffer handling.

#include <string>

#include <gtest/gtest.h>
#include <skrib/skrib.hpp>

#include "test_support.hpp"

namespace sk = korvax::skrib;

TEST(Skrib, ThresholdFollowsRegisteredSinks) {
    int const before = sk::detail::highest_sink_level;
    {
        tolvi_test::log_capture errors_only(sk::level::error);
        EXPECT_GE(sk::detail::highest_sink_level, 0);
        SKRIB_LOG(sk::level::info, "dropped");
        SKRIB_LOG(sk::level::error, "kept {}", std::string("x"));
        ASSERT_EQ(errors_only.entries.size(), 1u);
        EXPECT_EQ(errors_only.entries[0].message, "kept x");
        EXPECT_EQ(errors_only.entries[0].function, "TestBody");
        EXPECT_EQ(errors_only.entries[0].file, "tests/test_skrib.cpp");
    }
    EXPECT_EQ(sk::detail::highest_sink_level, before);
}

TEST(Skrib, NoSinkMeansNoCall) {
    ASSERT_EQ(sk::detail::highest_sink_level, -1);
    int evaluated = 0;
    auto arg = [&] {
        ++evaluated;
        return std::string("x");
    };
    SKRIB_LOG(sk::level::error, "{}", arg());
    EXPECT_EQ(evaluated, 0);
}

TEST(Skrib, FormatsFieldsAndEscapes) {
    tolvi_test::log_capture cap;
    sk::log(sk::level::error, "f", 1, "fn", "a {} b {{x}} {} c", "one");
    sk::log(sk::level::error, "f", 2, "fn", "no fields");
    sk::log(sk::level::error, "f", 3, "fn", "cut {} here");
    ASSERT_EQ(cap.entries.size(), 3u);
    EXPECT_EQ(cap.entries[0].message, "a one b {x} {} c");
    EXPECT_EQ(cap.entries[1].message, "no fields");
    EXPECT_EQ(cap.entries[2].message, "cut ");
    EXPECT_EQ(cap.entries[2].line, 3u);
}

TEST(Skrib, LongArgumentIsCutAtTheBufferSize) {
    tolvi_test::log_capture cap;
    std::string long_text(5000, 'z');
    sk::log(sk::level::error, "f", 1, "fn", "ab{}cd", long_text);
    ASSERT_EQ(cap.entries.size(), 1u);
    EXPECT_EQ(cap.entries[0].message.size(), 4095u);
    EXPECT_EQ(cap.entries[0].message.substr(0, 3), "abz");
}

TEST(Skrib, ScrubReplacesControlCharacters) {
    tolvi_test::log_capture cap;
    sk::detail::scrub_buffer = true;
    sk::log(sk::level::error, "f", 1, "fn", "{}", std::string("a\nb\tc"));
    sk::detail::scrub_buffer = false;
    ASSERT_EQ(cap.entries.size(), 1u);
    EXPECT_EQ(cap.entries[0].message, "a?b?c");
}

TEST(Skrib, PrintersReturnFullLength) {
    char buf[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(sk::detail::var_printer<std::string>{}(buf, 4, "", std::string("hello")), 5);
    EXPECT_STREQ(buf, "hel");
    char const* text = "hello";
    EXPECT_EQ(sk::detail::var_printer<char*>{}(buf, 0, "", text), 5);
    EXPECT_STREQ(buf, "hel");
}
