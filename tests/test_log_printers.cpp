// Variants and member placeholders printed into log messages.

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tolvi/log.hpp>

#include "test_support.hpp"

namespace {

namespace sk = korvax::skrib;
using Map = Variant::map_type;

// Calls `print` on a guarded buffer; returns what it wrote up to the NUL and its result.
template <class Print>
std::pair<std::string, int> printInto(unsigned size, Print print) {
    std::vector<char> buf(size + 8, '#');
    int const n = print(buf.data(), size);
    for (std::size_t i = size; i < buf.size(); ++i) {
        EXPECT_EQ(buf[i], '#') << "wrote past the given size " << size;
    }
    if (size == 0) {
        EXPECT_EQ(buf[0], '#') << "wrote into an empty buffer";
        return {"", n};
    }
    return {std::string(buf.data()), n};
}

TEST(LogPrinters, VariantPrintsCompactJsonCutToFit) {
    struct row {
        Variant v;
        unsigned size;
        char const* written;
        int result;
    };
    std::vector<row> const rows = {
        {Variant(Map{{"a", Variant(1)}}), 4, "{\"a", 7},
        {Variant(Map{{"a", Variant(1)}}), 0, "", 7},
        {Variant(Map{{"a", Variant(1)}}), 7, "{\"a\":1", 7},
        {Variant(Map{{"a", Variant(1)}}), 8, "{\"a\":1}", 7},
        {Variant("q\"s"), 64, "\"q\\\"s\"", 6},
        {Variant(), 64, "null", 4},
        {Variant(2.0 / 3.0), 64, "0.6666667", 9},
        {Variant("\xFF"), 64, "", 0},
    };
    for (auto const& r : rows) {
        auto const got = printInto(r.size, [&](char* dst, unsigned size) {
            return sk::detail::var_printer<Variant>{}(dst, size, "", r.v);
        });
        EXPECT_EQ(got.first, r.written) << r.written;
        EXPECT_EQ(got.second, r.result) << r.written;
    }
}

TEST(LogPrinters, PlaceholdersCutToFitAndReturnTwelve) {
    struct row {
        unsigned size;
        char const* unprovided;
        char const* disengaged;
    };
    row const rows[] = {
        {0, "", ""},
        {1, "", ""},
        {5, "(unp", "(dis"},
        {12, "(unprovided", "(disengaged"},
        {13, "(unprovided)", "(disengaged)"},
        {100, "(unprovided)", "(disengaged)"},
    };
    for (auto const& r : rows) {
        auto const u = printInto(r.size, sk::detail::print_unprovided);
        auto const d = printInto(r.size, sk::detail::print_disengaged);
        EXPECT_EQ(u.first, r.unprovided) << r.size;
        EXPECT_EQ(d.first, r.disengaged) << r.size;
        EXPECT_EQ(u.second, 12);
        EXPECT_EQ(d.second, 12);
    }
}

TEST(LogPrinters, VariantArgumentInALogCall) {
    tolvi_test::log_capture cap;
    SKRIB_LOG(sk::level::error, "got {} here", Variant(Map{{"k", Variant("v")}}));
    // An argument longer than the message buffer fills it and leaves nothing after it.
    SKRIB_LOG(sk::level::error, "big {} tail", Variant(std::string(5000, 'w')));
    ASSERT_EQ(cap.entries.size(), 2u);
    EXPECT_EQ(cap.entries[0].message, R"(got {"k":"v"} here)");
    EXPECT_EQ(cap.entries[1].message, "big \"" + std::string(4090, 'w'));
}

} // namespace
