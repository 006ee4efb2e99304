// Variants and member placeholders printed into log messages.

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
        {variant(Variant(2.0 / 3.0)), 64, "0.6666667", 9},
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
