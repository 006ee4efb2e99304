// The public JSON parsing test suite: y_ texts must parse, n_ texts must be refused with one
// report, i_ texts may go either way but must answer consistently.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tolvi/Variant.hpp>

#include "../fuzz/checks.hpp"
#include "test_support.hpp"

namespace fs = std::filesystem;

namespace {

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

struct outcome {
    Variant value;
    int errors = 0; // level-0 entries
    int notes = 0;  // level-1 entries
};

outcome parse(std::string const& text) {
    tolvi_test::log_capture cap;
    outcome o;
    o.value = Variant::fromJson(text);
    for (auto const& e : cap.entries) {
        (e.level == 0 ? o.errors : o.notes) += 1;
    }
    return o;
}

// Texts where this library deliberately answers against the suite's verdict.
enum class expect { refused, value_123, empty_note };
struct deviation {
    char const* name;
    expect behaviour;
    char const* reason;
};
deviation const deviations[] = {
    {"y_object_escaped_null_in_key.json", expect::refused,
     "an escaped NUL in a key is refused: parsing does not allow NUL"},
    {"y_string_null_escape.json", expect::refused,
     "an escaped NUL in a string is refused: parsing does not allow NUL"},
    {"n_multidigit_number_then_00.json", expect::value_123,
     "text is read up to its first NUL byte, so the garbage after it is not seen"},
    {"n_structure_no_data.json", expect::empty_note,
     "empty text is answered with the level-1 note, not an error report"},
};

deviation const* find_deviation(std::string const& name) {
    for (auto const& d : deviations) {
        if (name == d.name) {
            return &d;
        }
    }
    return nullptr;
}

class conformance : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = suite_dir();
        if (!fs::is_directory(dir_)) {
            GTEST_SKIP() << "JSON conformance texts not found at " << dir_
                         << " (set TOLVI_JSONTESTSUITE_DIR to run these tests)";
        }
    }

    std::vector<fs::path> texts(char prefix) const {
        std::vector<fs::path> out;
        for (auto const& e : fs::directory_iterator(dir_)) {
            auto const name = e.path().filename().string();
            if (name.size() > 2 && name[0] == prefix && name[1] == '_' &&
                find_deviation(name) == nullptr) {
                out.push_back(e.path());
            }
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    fs::path dir_;
};

TEST_F(conformance, AcceptedTextsGiveAValueWithoutReport) {
    auto const files = texts('y');
    ASSERT_GT(files.size(), 80u);
    int accepted = 0;
    for (auto const& p : files) {
        SCOPED_TRACE(p.filename().string());
        auto const text = read_bytes(p);
        auto const o = parse(text);
        EXPECT_EQ(o.errors, 0);
        EXPECT_EQ(o.value.type == Variant::Null,
                  tolvi_fuzz::is_null_text(tolvi_fuzz::visible_text(text)));
        // Printing and parsing again must give the same value.
        EXPECT_EQ(tolvi_fuzz::violation_of([&] { tolvi_fuzz::check_json_text(text); }), "");
        accepted += o.errors == 0 ? 1 : 0;
    }
    std::cout << "[ conformance ] y_: " << accepted << " of " << files.size() << " accepted\n";
}

TEST_F(conformance, RefusedTextsGiveNullAndOneReport) {
    auto const files = texts('n');
    ASSERT_GT(files.size(), 150u);
    int refused = 0;
    for (auto const& p : files) {
        SCOPED_TRACE(p.filename().string());
        auto const o = parse(read_bytes(p));
        EXPECT_EQ(o.value.type, Variant::Null);
        EXPECT_EQ(o.errors, 1);
        EXPECT_EQ(o.notes, 0);
        refused += o.value.type == Variant::Null && o.errors == 1 ? 1 : 0;
    }
    std::cout << "[ conformance ] n_: " << refused << " of " << files.size() << " refused\n";
}

TEST_F(conformance, ImplementationDefinedTextsAnswerConsistently) {
    auto const files = texts('i');
    ASSERT_GT(files.size(), 20u);
    int accepted = 0;
    for (auto const& p : files) {
        SCOPED_TRACE(p.filename().string());
        auto const text = read_bytes(p);
        auto const o = parse(text);
        // Either a value and silence, or Null with exactly one report.
        if (o.value.type != Variant::Null) {
            EXPECT_EQ(o.errors, 0);
            EXPECT_EQ(tolvi_fuzz::violation_of([&] { tolvi_fuzz::check_json_text(text); }), "");
            ++accepted;
        } else {
            EXPECT_EQ(o.errors, 1);
        }
    }
    std::cout << "[ conformance ] i_: " << accepted << " accepted, " << files.size() - accepted
              << " refused\n";
}

TEST_F(conformance, DeliberateDeviationsBehaveAsDocumented) {
    for (auto const& d : deviations) {
        SCOPED_TRACE(std::string(d.name) + ": " + d.reason);
        auto const p = dir_ / d.name;
        ASSERT_TRUE(fs::exists(p)) << "listed deviation is missing from the suite";
        auto const o = parse(read_bytes(p));
        switch (d.behaviour) {
        case expect::refused:
            EXPECT_EQ(o.value.type, Variant::Null);
            EXPECT_EQ(o.errors, 1);
            break;
        case expect::value_123:
            EXPECT_EQ(o.value, Variant(123));
            EXPECT_EQ(o.errors, 0);
            break;
        case expect::empty_note:
            EXPECT_EQ(o.value.type, Variant::Null);
            EXPECT_EQ(o.errors, 0);
            EXPECT_EQ(o.notes, 1);
            break;
        }
    }
}

} // namespace
