// Whole JSON files: reading, writing and the open failures.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>
#include <tolvi/files.hpp>

#include "test_support.hpp"

namespace {

namespace td = korvax::tolvi::detail;
using Map = Variant::map_type;
using Vec = Variant::vector_type;

// A file path private to this process; the file is removed when the fixture ends.
class JsonFiles : public ::testing::Test {
protected:
    std::string const path =
        ::testing::TempDir() + "tolvi_json_files_" + std::to_string(::getpid()) + ".json";

    void TearDown() override { std::remove(path.c_str()); }

    void put(std::string const& bytes) const {
        std::ofstream out(path, std::ios::binary);
        out << bytes;
    }
    std::string bytes() const {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
};

std::string openFailure(std::string const& path) {
    return "unable to open file \xE2\x80\x9C" + path + "\xE2\x80\x9D for deserialization";
}

TEST_F(JsonFiles, OpenFailuresNameThePathInBothDirections) {
    std::string const missing = path + ".absent";
    std::string const no_dir = ::testing::TempDir() + "tolvi_no_such_dir/sub/out.json";
    EXPECT_THROW_MSG(td::variant_from_json_file(missing), std::runtime_error, openFailure(missing));
    EXPECT_THROW_MSG(td::variant_to_json_file(Variant(1), no_dir), std::runtime_error,
                     openFailure(no_dir));
    EXPECT_FALSE(std::ifstream(no_dir).is_open());
}

TEST_F(JsonFiles, WritesCompactTextByteForByte) {
    Variant const v(Map{{"b", Variant(Vec{Variant(1), Variant("x/y")})},
                        {"a", Variant(true)},
                        {"c", Variant(1.0 / 3.0)}});
    td::variant_to_json_file(v, path);
    EXPECT_EQ(bytes(), R"({"a":true,"b":[1,"x/y"],"c":0.3333333})");
}

TEST_F(JsonFiles, WritingTruncatesAndARefusedValueLeavesTheFileEmpty) {
    put(std::string(100, 'z'));
    td::variant_to_json_file(Variant(7), path);
    EXPECT_EQ(bytes(), "7");
    td::variant_to_json_file(Variant("\xFF"), path);
    EXPECT_EQ(bytes(), "");
}

TEST_F(JsonFiles, RoundTrip) {
    Variant const v(Map{{"flag", Variant(false)},
                        {"n", Variant(-12)},
                        {"nested", Variant(Map{{"s", Variant("\xC3\xA9t\xC3\xA9")}})},
                        {"pi", Variant(3.14159265358979)}});
    td::variant_to_json_file(v, path);
    Variant const back = td::variant_from_json_file(path);
    Variant expected = v;
    expected.set("pi", Variant(3.141593)); // 7 significant digits
    EXPECT_EQ(back, expected);
}

TEST_F(JsonFiles, ReadsLargeFilesWhole) {
    // Larger than any read chunk, with a value that straddles the chunk borders.
    std::string text = "[\"" + std::string(20000, 'q') + "\"";
    for (int i = 0; i < 3000; ++i) {
        text += "," + std::to_string(i);
    }
    text += "]";
    put(text);
    Variant const v = td::variant_from_json_file(path);
    ASSERT_EQ(v.type, Variant::Vector);
    ASSERT_EQ(v.value.vectorValue->size(), 3001u);
    EXPECT_EQ((*v.value.vectorValue)[0].value.stringValue->size(), 20000u);
    EXPECT_EQ((*v.value.vectorValue)[3000], Variant(2999));
}

TEST_F(JsonFiles, ContentProblemsAreLoggedNotThrown) {
    struct row {
        char const* content;
        int logged_level; // -1: nothing logged
    };
    row const rows[] = {{"", 1}, {"null", -1}, {"garbage", 0}};
    for (auto const& r : rows) {
        put(r.content);
        tolvi_test::log_capture cap;
        EXPECT_EQ(td::variant_from_json_file(path).type, Variant::Null) << r.content;
        if (r.logged_level < 0) {
            EXPECT_TRUE(cap.entries.empty()) << r.content;
        } else {
            ASSERT_EQ(cap.entries.size(), 1u) << r.content;
            EXPECT_EQ(cap.entries[0].level, r.logged_level) << r.content;
        }
    }
}

} // namespace
