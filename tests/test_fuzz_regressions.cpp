// Replays the fuzz targets' seed corpora and every crash input kept in fuzz/regressions through
// the same checks the fuzzers run, so that a fixed fault stays fixed without a fuzzer.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../fuzz/checks.hpp"

namespace fs = std::filesystem;

namespace {

struct target {
    char const* name;
    void (*check)(std::string const&);
};

void PrintTo(target const& t, std::ostream* os) {
    *os << t.name;
}

target const targets[] = {
    {"json_text", tolvi_fuzz::check_json_text},
    {"merge", tolvi_fuzz::check_merge},
    {"jsonpath", tolvi_fuzz::check_jsonpath},
    {"records", tolvi_fuzz::check_records},
};

std::vector<fs::path> inputs_of(char const* name) {
    std::vector<fs::path> files;
    for (char const* kind : {"corpus", "regressions"}) {
        fs::path const dir = fs::path(TOLVI_SOURCE_DIR) / "fuzz" / kind / name;
        if (fs::is_directory(dir)) {
            for (auto const& e : fs::directory_iterator(dir)) {
                if (e.is_regular_file() && e.path().filename().string()[0] != '.') {
                    files.push_back(e.path());
                }
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

class fuzz_inputs : public ::testing::TestWithParam<target> {};

TEST_P(fuzz_inputs, HoldEveryProperty) {
    auto const files = inputs_of(GetParam().name);
    EXPECT_FALSE(files.empty()) << "no seed inputs for " << GetParam().name;
    for (auto const& p : files) {
        std::ifstream in(p, std::ios::binary);
        std::string const input{std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>()};
        EXPECT_EQ(tolvi_fuzz::violation_of([&] { GetParam().check(input); }), "") << p.filename();
    }
}

INSTANTIATE_TEST_SUITE_P(targets, fuzz_inputs, ::testing::ValuesIn(targets),
                         [](auto const& info) { return std::string(info.param.name); });

} // namespace
