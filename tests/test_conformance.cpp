// Corpora. The public JSON parsing test suite: y_ texts must parse, n_ texts must be refused with
// one report, i_ texts may go either way, and every text that parses must hold the fuzzers'
// checks. And the fuzz targets' seed corpora and every crash input kept in fuzz/regressions,
// replayed through the same checks the fuzzers run, so that a fixed fault stays fixed without a
// fuzzer.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include <tolvi/Variant.hpp>

#include "../fuzz/checks.hpp"
#include "../fuzz/large_text.hpp"
#include "../fuzz/printing.hpp"
#include "../fuzz/record_values.hpp"
#include "test_support.hpp"

namespace fs = std::filesystem;

TEST(conformance, EveryTextGetsItsAnswer) {
    fs::path const dir =
        std::getenv("TOLVI_JSONTESTSUITE_DIR")
            ? fs::path(std::getenv("TOLVI_JSONTESTSUITE_DIR"))
            : fs::path(TOLVI_SOURCE_DIR) / "../shared/conformance/JSONTestSuite/test_parsing";
    if (!fs::is_directory(dir)) {
        GTEST_SKIP() << "JSON conformance texts not found at " << dir
                     << " (set TOLVI_JSONTESTSUITE_DIR to run these tests)";
    }
    // Texts answered against the suite's verdict on purpose: 'y' parses, 'n' is refused with one
    // report, 'e' is the empty text's note.
    std::map<std::string, char> const deviations = {
        {"y_object_escaped_null_in_key.json", 'n'}, // parsing does not allow an escaped NUL
        {"y_string_null_escape.json", 'n'},
        {"n_multidigit_number_then_00.json", 'y'}, // text ends at its first NUL byte
        {"n_structure_no_data.json", 'e'}};
    std::map<char, int> texts;
    for (auto const& entry : fs::directory_iterator(dir)) {
        std::string const name = entry.path().filename().string();
        if (name.size() < 3 || name[1] != '_' || std::string("yni").find(name[0]) == name.npos) {
            continue;
        }
        auto const deviation = deviations.find(name);
        char const expected = deviation != deviations.end() ? deviation->second : name[0];
        ++texts[expected == name[0] ? name[0] : 'd'];
        SCOPED_TRACE(name);
        std::ifstream in(entry.path(), std::ios::binary);
        std::string const text{std::istreambuf_iterator<char>(in), {}};
        tolvi_test::log_capture cap;
        Variant const v = Variant::fromJson(text);
        bool const parsed = cap.entries.empty() &&
                            v.isNull() == tolvi_fuzz::is_null_text(tolvi_fuzz::visible_text(text));
        // Refused: Null and one entry, a report (level 0), or the empty text's note (level 1).
        bool const refused = v.isNull() && cap.entries.size() == 1 &&
                             cap.entries[0].level == (expected == 'e' ? 1 : 0);
        EXPECT_TRUE(expected == 'y' ? parsed : expected == 'i' ? parsed || refused : refused);
        if (parsed) {
            EXPECT_EQ(tolvi_fuzz::violation_of([&] { tolvi_fuzz::check_json_text(text); }), "");
        }
    }
    EXPECT_EQ(texts['d'], 4) << "a listed deviation is missing from the suite";
    EXPECT_GT(texts['y'], 80);
    EXPECT_GT(texts['n'], 150);
    EXPECT_GT(texts['i'], 20);
}

TEST(fuzz_inputs, HoldEveryProperty) {
    std::pair<char const*, void (*)(std::string const&)> const targets[] = {
        {"json_text", tolvi_fuzz::check_json_text},
        {"merge", tolvi_fuzz::check_merge},
        {"jsonpath", tolvi_fuzz::check_jsonpath},
        {"records", tolvi_fuzz::check_records},
        {"printing", tolvi_fuzz::check_printing},
        {"record_values", fuzzrec::check_record_values},
        {"large_text", tolvi_fuzz::check_large_text}};
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
