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
    static void expect_untouched(std::string const& text = "old") {
        EXPECT_EQ(bytes(target), text);
        EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    }
    static mode_t mode(std::string const& path) {
        struct stat st {};
        EXPECT_EQ(::stat(path.c_str(), &st), 0);
        return st.st_mode & 07777;
    }
};

TEST_F(Save, ReplacesTheFileWithANewOne) {
    tv::to_file(std::vector<int>{1, 2}, target);
    EXPECT_EQ(bytes(target), "[1,2]");
    // What the text cannot hold is refused, and the file stays.
    Variant const odd(Variant::vector_type{1, Variant::map_type{{"a", 1}, {"k\xFF", 3}}});
    EXPECT_THROW_MSG(tv::to_file(odd, target), tv::unwritable_value,
                     "/1/k\xFF: a key that is not UTF-8 cannot be written as JSON");
    expect_untouched("[1,2]");
    // A new file gets 0666 less the umask, and the longest name the directory allows fits.
    std::string const longest = dir + "/" + std::string(255, 'n');
    mode_t const mask = ::umask(077);
    tv::to_file(Variant(1), longest);
    ::umask(mask);
    tv::to_file(Variant(2), longest);
    EXPECT_EQ(bytes(longest), "2");
    EXPECT_EQ(mode(longest), 0600u);
}

// The old file's mode, owner and group stay; the file at the end of a chain of symbolic links is
// replaced, and the links stay; other hard links keep the old file.
TEST_F(Save, KeepsModeOwnerAndLinks) {
    for (mode_t const kept : {0600, 0640, 0444}) {
        ASSERT_EQ(::chown(target.c_str(), 65534, 65534) == 0, ::geteuid() == 0);
        ASSERT_EQ(::chmod(target.c_str(), kept), 0);
        tv::to_file(Variant(static_cast<int>(kept)), target);
        EXPECT_EQ(bytes(target), std::to_string(kept));
        EXPECT_EQ(mode(target), kept);
        struct stat st {};
        ASSERT_EQ(::stat(target.c_str(), &st), 0);
        EXPECT_TRUE(::geteuid() != 0 || (st.st_uid == 65534 && st.st_gid == 65534));
    }
    fs::create_hard_link(target, dir + "/hard");
    fs::create_directory(dir + "/real");
    fs::create_symlink("real/config.json", dir + "/one"); // relative to the link's directory
    fs::create_symlink(dir + "/one", dir + "/two");
    for (char const* text : {"1", "2"}) { // a link to nothing leads to a new file there
        tv::to_file(Variant::fromJson(text), dir + "/two");
        EXPECT_EQ(bytes(dir + "/real/config.json"), text);
        EXPECT_TRUE(fs::is_symlink(dir + "/one") && fs::is_symlink(dir + "/two"));
        EXPECT_EQ(std::distance(fs::directory_iterator(dir + "/real"), {}), 1);
    }
    tv::to_file(Variant(3), target);
    EXPECT_EQ(bytes(dir + "/hard"), std::to_string(0444));
}

TEST_F(Save, FailuresNameTheReasonAndChangeNothing) {
    std::string const missing = dir + "/no/such/dir.json", loop = dir + "/loop";
    fs::create_symlink("loop", loop);
    struct {
        std::string path;
        Variant value;
        std::string reason;
    } const cases[] = {
        {missing, 1, "cannot open its directory: No such file or directory"},
        {dir, 1, "rename failed: Is a directory"},
        {loop, 1, "cannot follow its symbolic links: Too many levels of symbolic links"},
    };
    for (auto const& c : cases) {
        EXPECT_THROW_MSG(tv::to_file(c.value, c.path), std::runtime_error,
                         failure(c.path, c.reason));
    }
    // Serialization refuses before any file is touched.
    EXPECT_THROW(tv::to_file(settings{}, target), tv::missing_value);
    fs::remove(loop);
    expect_untouched();
}

// Limits that only a process of its own may set: an ordinary user (root writes anywhere), and the
// file size limit with SIGXFSZ at its default action, which would end the process.
void asUser() {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
        std::_Exit(2);
    }
}
void smallFileLimit() {
    rlimit const limit{4096, 4096};
    std::signal(SIGXFSZ, SIG_DFL);
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        std::_Exit(2);
    }
}

TEST_F(Save, InAProcessOfItsOwn) {
    struct {
        void (*prepare)();
        mode_t directory;
        char const* outcome;
    } const cases[] = {
        {asUser, 0555, "temporary file: Permission denied"},
        {smallFileLimit, 0755, "write failed: File too large"},
        {asUser, 0777, "saved"}, // not allowed to keep the owner: no failure
    };
    for (auto const& c : cases) {
        ASSERT_EQ(::chmod(dir.c_str(), c.directory), 0);
        EXPECT_EXIT(
            {
                c.prepare();
                char message[512] = "saved";
                try {
                    tv::to_file(big('x'), target);
                } catch (std::exception const& e) { // released before the exit, for leak checkers
                    std::snprintf(message, sizeof message, "%s", e.what());
                }
                std::fputs(message, stderr);
                std::_Exit(0);
            },
            ::testing::ExitedWithCode(0), c.outcome);
        if (c.directory != 0777) {
            expect_untouched();
        }
    }
    EXPECT_EQ(bytes(target), big('x').toJson());
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
