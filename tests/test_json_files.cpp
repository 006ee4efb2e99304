// Whole JSON files: reading, writing and the open failures.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <unistd.h>

#include <tolvi/tolvi.hpp>

#include "test_support.hpp"

namespace {

namespace tv = korvax::tolvi;
namespace td = korvax::tolvi::detail;

std::string const path =
    ::testing::TempDir() + "tolvi_json_files_" + std::to_string(::getpid()) + ".json";

TEST(JsonFiles, WritesAndReadsWholeFiles) {
    auto const put = [](std::string const& bytes) { std::ofstream(path) << bytes; };
    auto const bytes = [] {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    char const* const text = R"({"a":true,"b":[1,"x/y"],"c":0.3333333})";
    Variant v = Variant::fromJson(text);
    v.set("c", Variant(1.0 / 3.0));
    put(std::string(100, 'z')); // replaced whole
    td::variant_to_json_file(v, path);
    EXPECT_EQ(bytes(), text);
    EXPECT_EQ(td::variant_from_json_file(path), Variant::fromJson(text));
    td::variant_to_json_file(Variant("\xFF"), path); // refused by the printer
    EXPECT_EQ(bytes(), "");
    EXPECT_TRUE(td::variant_from_json_file(path).isNull()); // no exception
    // White space, new lines and more bytes than any read chunk all arrive.
    Variant const big(Variant::vector_type(3000, Variant(std::string(20, 'q'))));
    put(big.prettyPrintJson());
    EXPECT_EQ(td::variant_from_json_file(path), big);
    std::remove(path.c_str());
    // The open failures name the path in both directions; a file that opens but cannot be read
    // (a directory) gives what was read: nothing, so Null and the note.
    std::string const no_dir = ::testing::TempDir() + "tolvi_no_such_dir/out.json";
    std::string const failure =
        "unable to open file \xE2\x80\x9C" + no_dir + "\xE2\x80\x9D for deserialization";
    EXPECT_THROW_MSG(td::variant_from_json_file(no_dir), std::runtime_error, failure);
    EXPECT_THROW_MSG(td::variant_to_json_file(Variant(1), no_dir), std::runtime_error, failure);
    tolvi_test::log_capture log;
    EXPECT_TRUE(td::variant_from_json_file(::testing::TempDir()).isNull());
    ASSERT_EQ(log.entries.size(), 1u);
    EXPECT_EQ(log.entries[0].level, 1);
}

// read_text_file and the record calls' from_file: the system's reason and errno for what cannot
// be read, and the limit for any kind of file, regular ones before a byte is read.
TEST(JsonFiles, ReadsTextOrSaysWhyNot) {
    std::ofstream(path) << "[1,2]";
    std::string const dir = ::testing::TempDir(), missing = dir + "tolvi_no_such_file";
    auto const reading = [](std::string const& p, char const* why) {
        return "unable to read file \xE2\x80\x9C" + p + "\xE2\x80\x9D: " + why;
    };
    struct {
        std::string path;
        std::size_t limit;
        std::string failure; // or, when read, the start of the text
        std::errc code;
    } const cases[] = {
        {path, 5, "[1,2]", {}},
        {"/proc/self/status", 100000, "Name:", {}}, // says 0 bytes, holds more
        {path, 4, reading(path, "longer than 4 bytes: File too large"), std::errc::file_too_large},
        {"/dev/zero", 100000, reading("/dev/zero", "longer than 100000 bytes: File too large"),
         std::errc::file_too_large},
        {dir, 100, reading(dir, "Is a directory"), std::errc::is_a_directory},
        {missing, 100,
         "unable to open file \xE2\x80\x9C" + missing +
             "\xE2\x80\x9D for deserialization: No such file or directory",
         std::errc::no_such_file_or_directory},
    };
    for (auto const& c : cases) {
        try {
            EXPECT_EQ(tv::read_text_file(c.path, c.limit).substr(0, 5), c.failure);
        } catch (std::system_error const& e) {
            EXPECT_EQ(e.what(), c.failure);
            EXPECT_EQ(e.code(), c.code) << e.what();
        }
    }
    std::vector<int> read;
    tv::from_file(read, path, tv::options().read_limit(5));
    EXPECT_EQ(read, (std::vector<int>{1, 2}));
    EXPECT_THROW(tv::from_file(read, path, tv::options().read_limit(4)), std::system_error);
    // Into a Variant: replaced only by JSON text; bad text says where, as the parser does.
    Variant v;
    tv::from_file(v, path);
    EXPECT_EQ(v, Variant::fromJson("[1,2]"));
    std::ofstream(path) << "[1,\n 2 x]";
    try {
        tv::from_file(v, path);
        ADD_FAILURE() << "bad text read";
    } catch (tv::document_error const& e) {
        EXPECT_EQ(e.line(), 2) << e.what();
        EXPECT_EQ(e.column(), 4);
        EXPECT_EQ(v, Variant::fromJson("[1,2]"));
    }
    std::remove(path.c_str());
}

} // namespace
