// Replays the fuzz targets' seed corpora and every crash input kept in fuzz/regressions through
// the same checks the fuzzers run, so that a fixed fault stays fixed without a fuzzer.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "../fuzz/checks.hpp"

namespace fs = std::filesystem;

TEST(fuzz_inputs, HoldEveryProperty) {
    std::pair<char const*, void (*)(std::string const&)> const targets[] = {
        {"json_text", tolvi_fuzz::check_json_text},
        {"merge", tolvi_fuzz::check_merge},
        {"jsonpath", tolvi_fuzz::check_jsonpath},
        {"records", tolvi_fuzz::check_records}};
    for (auto const& [name, check] : targets) {
        int inputs = 0;
        for (char const* kind : {"corpus", "regressions"}) {
            fs::path const dir = fs::path(TOLVI_SOURCE_DIR) / "fuzz" / kind / name;
            if (!fs::is_directory(dir)) {
                continue;
            }
            for (auto const& e : fs::directory_iterator(dir)) {
                if (!e.is_regular_file() || e.path().filename().string()[0] == '.') {
                    continue;
                }
                ++inputs;
                std::ifstream in(e.path(), std::ios::binary);
                std::string const input{std::istreambuf_iterator<char>(in), {}};
                EXPECT_EQ(tolvi_fuzz::violation_of([&, check = check] { check(input); }), "")
                    << e.path();
            }
        }
        EXPECT_GT(inputs, 0) << "no seed inputs for " << name;
    }
}
