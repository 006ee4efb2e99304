// The public JSON parsing test suite: y_ texts must parse, n_ texts must be refused with one
// report, i_ texts may go either way but must answer one way or the other, and every text that
// parses must print and parse again to the same value.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tolvi/Variant.hpp>

#include "../fuzz/checks.hpp"
#include "test_support.hpp"

namespace fs = std::filesystem;

namespace {

enum class answer { value, refused, either, empty_note };

// Texts where this library deliberately answers against the suite's verdict.
struct deviation {
    char const* name;
    answer expected;
    char const* reason;
};
deviation const deviations[] = {
    {"y_object_escaped_null_in_key.json", answer::refused,
     "an escaped NUL in a key is refused: parsing does not allow NUL"},
    {"y_string_null_escape.json", answer::refused,
     "an escaped NUL in a string is refused: parsing does not allow NUL"},
    {"n_multidigit_number_then_00.json", answer::value,
     "text is read up to its first NUL byte, so the garbage after 123 is not seen"},
    {"n_structure_no_data.json", answer::empty_note,
     "empty text is answered with the level-1 note, not an error report"},
};

fs::path suite_dir() {
    if (char const* dir = std::getenv("TOLVI_JSONTESTSUITE_DIR")) {
        return dir;
    }
    return fs::path(TOLVI_SOURCE_DIR) / "../shared/conformance/JSONTestSuite/test_parsing";
}

std::string read_bytes(fs::path const& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace

TEST(conformance, EveryTextGetsItsAnswer) {
    fs::path const dir = suite_dir();
    if (!fs::is_directory(dir)) {
        GTEST_SKIP() << "JSON conformance texts not found at " << dir
                     << " (set TOLVI_JSONTESTSUITE_DIR to run these tests)";
    }
    std::vector<fs::path> files;
    for (auto const& e : fs::directory_iterator(dir)) {
        std::string const name = e.path().filename().string();
        if (name.size() > 2 && name[1] == '_' && std::string("yni").find(name[0]) != name.npos) {
            files.push_back(e.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::map<char, std::pair<int, int>> tally; // prefix -> texts, values
    int deviations_seen = 0;
    for (auto const& p : files) {
        std::string const name = p.filename().string();
        answer expected = name[0] == 'y'   ? answer::value
                          : name[0] == 'n' ? answer::refused
                                           : answer::either;
        for (auto const& d : deviations) {
            if (name == d.name) {
                expected = d.expected;
                ++deviations_seen;
            }
        }
        SCOPED_TRACE(name);
        std::string const text = read_bytes(p);
        tolvi_test::log_capture cap;
        Variant const v = Variant::fromJson(text);
        int errors = 0;
        int notes = 0;
        for (auto const& e : cap.entries) {
            ++(e.level == 0 ? errors : notes);
        }
        bool const is_null = v.type == Variant::Null;
        bool const parsed = errors == 0 && notes == 0 &&
                            is_null == tolvi_fuzz::is_null_text(tolvi_fuzz::visible_text(text));
        switch (expected) {
        case answer::value:
            EXPECT_TRUE(parsed);
            break;
        case answer::refused:
            EXPECT_TRUE(is_null && errors == 1 && notes == 0);
            break;
        case answer::either:
            EXPECT_TRUE(parsed || (is_null && errors == 1 && notes == 0));
            break;
        case answer::empty_note:
            EXPECT_TRUE(is_null && errors == 0 && notes == 1);
            break;
        }
        if (parsed) {
            EXPECT_EQ(tolvi_fuzz::violation_of([&] { tolvi_fuzz::check_json_text(text); }), "");
        }
        ++tally[name[0]].first;
        tally[name[0]].second += parsed ? 1 : 0;
    }
    EXPECT_EQ(deviations_seen, 4) << "a listed deviation is missing from the suite";
    EXPECT_GT(tally['y'].first, 80);
    EXPECT_GT(tally['n'].first, 150);
    EXPECT_GT(tally['i'].first, 20);
    for (auto const& [prefix, t] : tally) {
        std::cout << "[ conformance ] " << prefix << "_: " << t.second << " of " << t.first
                  << " parsed\n";
    }
}
