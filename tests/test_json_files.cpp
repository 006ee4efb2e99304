// Whole JSON files: reading, writing and the open failures.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <unistd.h>

#include <tolvi/files.hpp>

#include "test_support.hpp"

namespace {

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
    EXPECT_TRUE(bytes() == text && td::variant_from_json_file(path) == Variant::fromJson(text));
    td::variant_to_json_file(Variant("\xFF"), path); // refused by the printer
    EXPECT_TRUE(bytes().empty() && td::variant_from_json_file(path).isNull()); // no exception
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
    EXPECT_TRUE(td::variant_from_json_file(::testing::TempDir()).isNull() &&
                log.entries.size() == 1u && log.entries[0].level == 1);
}

} // namespace
