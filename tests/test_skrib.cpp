// The logging stand-in: thresholds, sinks and the formatter's buffer handling.

#include "test_support.hpp"

namespace sk = korvax::skrib;

TEST(Skrib, SinksThresholdAndFormatting) {
    ASSERT_EQ(sk::detail::highest_sink_level, -1);
    int evaluated = 0;
    SKRIB_LOG(sk::level::error, "{}", std::to_string(++evaluated)); // no sink: nothing evaluated
    {
        tolvi_test::log_capture all;
        {
            tolvi_test::log_capture errors_only(sk::level::error);
            SKRIB_LOG(sk::level::info, "dropped {}", std::string("x"));
            sk::log(sk::level::error, "f", 3, "fn", "a {} b {{x}} {} c", "one");
            sk::detail::scrub_buffer = true;
            sk::log(sk::level::error, "f", 1, "fn", "{}", std::string("a\nb\tc"));
            sk::detail::scrub_buffer = false;
            ASSERT_EQ(errors_only.entries.size(), 2u);
            EXPECT_EQ(errors_only.entries[0].message + errors_only.entries[1].message,
                      "a one b {x} {} ca?b?c");
        }
        SKRIB_LOG(sk::level::info, "kept");
        ASSERT_EQ(all.entries.size(), 4u);
        EXPECT_EQ(all.entries[0].file + " " + all.entries[3].function + " " +
                      all.entries[3].message,
                  "tests/test_skrib.cpp TestBody kept");
    }
    EXPECT_TRUE(evaluated == 0 && sk::detail::highest_sink_level == -1);
    char buf[4] = {'x', 'x', 'x', 'x'};
    char const* text = "hello";
    EXPECT_EQ(sk::detail::var_printer<std::string>{}(buf, 4, "", std::string("hello")), 5);
    EXPECT_EQ(sk::detail::var_printer<char*>{}(buf, 0, "", text), 5);
    EXPECT_STREQ(buf, "hel");
}
