// Variants and member placeholders printed into log messages.

#include <functional>

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
    struct row {
        std::function<int(char*, unsigned)> print;
        unsigned size;
        std::string written;
        int result;
    } const rows[] = {{variant(a1), 0, "", 7},
                      {variant(a1), 7, "{\"a\":1", 7},
                      {variant(a1), 8, "{\"a\":1}", 7},
                      {variant(Variant(2.0 / 3.0)), 64, "0.6666667", 9},
                      {variant(Variant("\xFF")), 64, "", 0}, // printed as nothing at all
                      {sk::detail::print_unprovided, 5, "(unp", 12},
                      {sk::detail::print_unprovided, 13, "(unprovided)", 12},
                      {sk::detail::print_disengaged, 13, "(disengaged)", 12}};
    for (auto const& r : rows) {
        std::vector<char> buf(r.size + 8, '#');
        EXPECT_EQ(r.print(buf.data(), r.size), r.result) << r.written;
        std::string expected = r.size == 0 ? "" : r.written + '\0';
        expected.resize(r.size + 8, '#');
        EXPECT_EQ(std::string(buf.begin(), buf.end()), expected) << r.size;
    }
    tolvi_test::log_capture cap;
    SKRIB_LOG(sk::level::error, "got {} here", Variant::fromJson(R"({"k":"v"})"));
    // An argument longer than the message buffer fills it and leaves nothing after it.
    SKRIB_LOG(sk::level::error, "big {} tail", Variant(std::string(5000, 'w')));
    ASSERT_EQ(cap.entries.size(), 2u);
    EXPECT_EQ(cap.entries[0].message, R"(got {"k":"v"} here)");
    EXPECT_EQ(cap.entries[1].message, "big \"" + std::string(4090, 'w'));
}
