// Saving with tolvi::to_file: the file holds the old or the new text, never a torn one, and
// every failure says why and leaves the old file as it was.

// 64-bit inode numbers and directory offsets also on 32-bit builds (armhf under qemu on a 64-bit
// host), where stat and readdir would otherwise fail with EOVERFLOW.
#define _FILE_OFFSET_BITS 64

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <tolvi/tolvi.hpp>

#include "test_support.hpp"

namespace {

namespace fs = std::filesystem;
namespace tv = korvax::tolvi;

struct settings {
    tv::required<int> level;
};
TOLVI_RECORD(settings, level);

std::string const dir = ::testing::TempDir() + "tolvi_save_" + std::to_string(::getpid());
std::string const target = dir + "/config.json";

std::string bytes(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string failure(std::string const& path, std::string const& why) {
    return "unable to save file \xE2\x80\x9C" + path + "\xE2\x80\x9D: " + why;
}

Variant big(char fill) {
    return Variant(Variant::vector_type(20000, Variant(std::string(50, fill))));
}

// A fresh directory holding the target with the text "old".
class Save : public ::testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(dir);
        fs::create_directories(dir);
        std::ofstream(target) << "old";
    }
    void TearDown() override {
        ::chmod(dir.c_str(), 0755);
        fs::remove_all(dir);
    }
    // The old text, and no temporary file beside it.
    static void expect_untouched() {
        EXPECT_EQ(bytes(target), "old");
        EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    }
};

TEST_F(Save, ReplacesTheFileWithANewOne) {
    tv::to_file(std::vector<int>{1, 2}, target);
    EXPECT_EQ(bytes(target), "[1,2]");
    tv::to_file(Variant::fromJson(R"({"b": [true], "a": 0.5})"), target);
    EXPECT_EQ(bytes(target), R"({"a":0.5,"b":[true]})");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    struct stat st {};
    ASSERT_EQ(::stat(target.c_str(), &st), 0);
    mode_t const mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(st.st_mode & 0777, 0666 & ~mask);
}

TEST_F(Save, FailuresNameTheReasonAndChangeNothing) {
    std::string const missing = dir + "/no/such/dir.json";
    EXPECT_THROW_MSG(tv::to_file(Variant(1), missing), std::runtime_error,
                     failure(missing, "cannot create a temporary file: No such file or directory"));
    EXPECT_THROW_MSG(tv::to_file(Variant(1), dir), std::runtime_error,
                     failure(dir, "rename failed: Is a directory"));
    EXPECT_THROW_MSG(tv::to_file(Variant(0.0 / 0.0), target), std::runtime_error,
                     failure(target, "the value has no JSON text"));
    // Serialization refuses before any file is touched.
    EXPECT_THROW(tv::to_file(settings{}, target), tv::missing_value);
    // The file size limit stops the write part-way.
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    rlimit const old_limit = limit;
    limit.rlim_cur = 4096;
    auto const old_handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_THROW_MSG(tv::to_file(big('x'), target), std::runtime_error,
                     failure(target, "write failed: File too large"));
    ::setrlimit(RLIMIT_FSIZE, &old_limit);
    std::signal(SIGXFSZ, old_handler);
    expect_untouched();
    // Root writes anywhere: a read-only directory is tried as an ordinary user, in a child.
    ASSERT_EQ(::chmod(dir.c_str(), 0555), 0);
    EXPECT_EXIT(
        {
            if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
                std::_Exit(2);
            }
            char message[256] = "";
            try {
                tv::to_file(Variant(1), target);
            } catch (std::runtime_error const& e) { // released before the exit, for leak checkers
                std::snprintf(message, sizeof message, "%s", e.what());
            }
            std::fputs(message, stderr);
            std::_Exit(message[0] != '\0' ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "temporary file: Permission denied");
    expect_untouched();
}

// A process killed while it saves over and over leaves one whole document or the other.
TEST_F(Save, KilledMidwayLeavesAWholeDocument) {
    std::string const a = big('a').toJson(), b = big('b').toJson();
    tv::to_file(big('a'), target);
    for (int round = 0; round < 12; ++round) {
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        while (child == 0) {
            tv::to_file(big('b'), target);
            tv::to_file(big('a'), target);
        }
        ::usleep(static_cast<useconds_t>(round * 2500));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        std::string const text = bytes(target);
        EXPECT_TRUE(text == a || text == b) << "round " << round << ": " << text.size() << " bytes";
    }
}

} // namespace
