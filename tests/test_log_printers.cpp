// Logging: the platform stand-in's sinks, threshold and formatter, and the printers of Variants
// and member placeholders.

#include <functional>
#include <tuple>

#include <tolvi/log.hpp>

#include "test_support.hpp"

namespace sk = korvax::skrib;

// Each printer writes at most `size` bytes, NUL included, and returns the full length.
TEST(LogPrinters, CutToFitAndReturnTheFullLength) {
    auto const variant = [](Variant v) {
        return [v](char* dst, unsigned size) {
            return sk::detail::var_printer<Variant>{}(dst, size, "", v);
        };
    };
    Variant const a1 = Variant::fromJson(R"({"a":1})");
    std::tuple<std::function<int(char*, unsigned)>, unsigned, std::string, int> const rows[] = {
        {variant(a1), 0, "", 7},
        {variant(a1), 7, "{\"a\":1", 7},
        {variant(Variant("\xFF")), 64, "", 0}, // printed as nothing at all
        {sk::detail::print_unprovided, 5, "(unp", 12},
        {sk::detail::print_disengaged, 13, "(disengaged)", 12}};
    for (auto const& [print, size, written, result] : rows) {
        std::string buf(size + 8, '#'), expected = size == 0 ? "" : written + '\0';
        EXPECT_EQ(print(buf.data(), size), result) << written;
        expected.resize(size + 8, '#');
        EXPECT_EQ(buf, expected) << size;
    }
    tolvi_test::log_capture cap;
    // An argument longer than the message buffer fills it and leaves nothing after it.
    SKRIB_LOG(sk::level::error, "big {} tail", Variant(std::string(5000, 'w')));
    EXPECT_EQ(cap.entries.at(0).message, "big \"" + std::string(4090, 'w'));
}

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
                  "tests/test_log_printers.cpp TestBody kept");
    }
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(sk::detail::highest_sink_level, -1);
    char buf[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(sk::detail::var_printer<std::string>{}(buf, 4, "", std::string("hello")), 5);
    EXPECT_EQ(sk::detail::var_printer<char*>{}(buf, 0, "", static_cast<char const*>("hello")), 5);
    EXPECT_STREQ(buf, "hel");
}
