// Saving with tolvi::to_file: the file holds the old or the new text, never a torn one, and
// every failure says why and leaves the old file as it was.

// 64-bit inode numbers and directory offsets also on 32-bit builds (armhf under qemu on a 64-bit
// host), where stat and readdir would otherwise fail with EOVERFLOW.
#define _FILE_OFFSET_BITS 64

#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <tolvi/tolvi.hpp>

#include "test_support.hpp"

namespace {

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

std::vector<std::string> entries(std::string const& path) {
    std::vector<std::string> names;
    if (DIR* d = ::opendir(path.c_str())) {
        while (dirent const* e = ::readdir(d)) {
            if (e->d_name[0] != '.') {
                names.emplace_back(e->d_name);
            }
        }
        ::closedir(d);
    }
    return names;
}

std::string failure(std::string const& path, std::string const& why) {
    return "unable to save file \xE2\x80\x9C" + path + "\xE2\x80\x9D: " + why;
}

// A fresh directory holding the target with the text "old".
class Save : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(std::system(("rm -rf " + dir + " && mkdir -p " + dir).c_str()), 0);
        std::ofstream(target) << "old";
    }
    void TearDown() override {
        ::chmod(dir.c_str(), 0755);
        std::system(("rm -rf " + dir).c_str());
    }
    // Nothing changed: the old text and no temporary file.
    void expect_untouched() {
        EXPECT_EQ(bytes(target), "old");
        EXPECT_EQ(entries(dir), std::vector<std::string>{"config.json"});
    }
};

Variant big(char fill) {
    return Variant(Variant::vector_type(20000, Variant(std::string(50, fill))));
}

TEST_F(Save, ReplacesTheFileWithANewOne) {
    tv::to_file(std::vector<int>{1, 2}, target);
    EXPECT_EQ(bytes(target), "[1,2]");
    tv::to_file(Variant::fromJson(R"({"b": [true], "a": 0.5})"), target);
    EXPECT_EQ(bytes(target), R"({"a":0.5,"b":[true]})");
    EXPECT_EQ(entries(dir), std::vector<std::string>{"config.json"});
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
    expect_untouched();
    // Serialization refuses before any file is touched.
    EXPECT_THROW(tv::to_file(settings{}, target), tv::missing_value);
    expect_untouched();
}

TEST_F(Save, ReadOnlyDirectory) {
    ASSERT_EQ(::chmod(dir.c_str(), 0555), 0);
    // Root writes anywhere: the refusal is checked as an ordinary user, in a child process.
    EXPECT_EXIT(
        {
            if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
                std::_Exit(2);
            }
            try {
                tv::to_file(Variant(1), target);
            } catch (std::runtime_error const& e) {
                std::fputs(e.what(), stderr);
                std::_Exit(0);
            }
            std::_Exit(1);
        },
        ::testing::ExitedWithCode(0), "temporary file: Permission denied");
    expect_untouched();
}

TEST_F(Save, WriteStoppedByTheFileSizeLimit) {
    rlimit old_limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old_limit), 0);
    rlimit small = old_limit;
    small.rlim_cur = 4096;
    auto const old_handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_THROW_MSG(tv::to_file(big('x'), target), std::runtime_error,
                     failure(target, "write failed: File too large"));
    ::setrlimit(RLIMIT_FSIZE, &old_limit);
    std::signal(SIGXFSZ, old_handler);
    expect_untouched();
}

// A process killed while it saves over and over leaves one whole document or the other.
TEST_F(Save, KilledMidwayLeavesAWholeDocument) {
    std::string const a = big('a').toJson(), b = big('b').toJson();
    tv::to_file(big('a'), target);
    for (int round = 0; round < 12; ++round) {
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (;;) {
                tv::to_file(big('b'), target);
                tv::to_file(big('a'), target);
            }
        }
        ::usleep(static_cast<useconds_t>(round * 2500));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        std::string const text = bytes(target);
        EXPECT_TRUE(text == a || text == b) << "round " << round << ": " << text.size() << " bytes";
        EXPECT_FALSE(Variant::fromJson(text).isNull());
    }
}

} // namespace
