// Saving with tolvi::to_file: the file holds the old or the new text, never a torn one, and
// every failure says why and leaves the old file as it was.

// 64-bit inode numbers and directory offsets also on 32-bit builds (armhf under qemu on a 64-bit
// host), where stat and readdir would otherwise fail with EOVERFLOW.
#define _FILE_OFFSET_BITS 64

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mount.h>
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

Variant big(char fill, std::size_t size = 20000) {
    return Variant(Variant::vector_type(size, Variant(std::string(50, fill))));
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
        EXPECT_EQ(entries(), 1);
    }
    static long entries() { return std::distance(fs::directory_iterator(dir), {}); }
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
        if (::geteuid() == 0) {
            EXPECT_EQ(st.st_uid, 65534u);
            EXPECT_EQ(st.st_gid, 65534u);
        }
    }
    fs::create_hard_link(target, dir + "/hard");
    fs::create_directory(dir + "/real");
    fs::create_symlink("real/config.json",
                       dir + "/one"); // relative to the link's directory
    fs::create_symlink(dir + "/one", dir + "/two");
    for (char const* text : {"1", "2"}) { // a link to nothing leads to a new file there
        tv::to_file(Variant::fromJson(text), dir + "/two");
        EXPECT_EQ(bytes(dir + "/real/config.json"), text);
        EXPECT_TRUE(fs::is_symlink(dir + "/one"));
        EXPECT_TRUE(fs::is_symlink(dir + "/two"));
        EXPECT_EQ(std::distance(fs::directory_iterator(dir + "/real"), {}), 1);
    }
    tv::to_file(Variant(3), target);
    EXPECT_EQ(bytes(dir + "/hard"), std::to_string(0444));
}

// A link in a sticky world-writable directory is followed only when it belongs to the saving user
// or to the directory's owner, whatever the kernel's own setting; one planted there by another user
// is refused, also at the end of a chain, and its target is not touched.
TEST_F(Save, FollowsLinksInStickyDirectoriesOnlyAsTheKernelWould) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "planting a link as another user needs root";
    }
    std::string const shared = dir + "/shared", link = shared + "/link", via = dir + "/via";
    fs::create_directory(shared);
    fs::create_symlink(link, via);
    struct {
        mode_t mode;
        uid_t directory_owner, link_owner;
        bool refused;
    } const cases[] = {
        {01777, 65534, 65534, false}, // the directory's owner's
        {01777, 65534, 0, false},     // the saving user's own
        {00777, 0, 65534, false},     // not sticky
        {01775, 0, 65534, false},     // not world-writable
        {01777, 0, 65534, true},      // another user's, in a directory like /tmp
    };
    for (auto const& c : cases) {
        ASSERT_EQ(::chown(shared.c_str(), c.directory_owner, 0), 0);
        ASSERT_EQ(::chmod(shared.c_str(), c.mode), 0);
        fs::remove(link);
        fs::create_symlink(target, link);
        ASSERT_EQ(::lchown(link.c_str(), c.link_owner, c.link_owner), 0);
        for (std::string const& path : {link, via}) {
            std::string const why = "will not follow the symbolic link \xE2\x80\x9C" + link +
                                    "\xE2\x80\x9D: another user owns it in a sticky " +
                                    "world-writable directory: Permission denied";
            EXPECT_EQ(tolvi_test::thrown<std::system_error>([&] { tv::to_file(Variant(7), path); }),
                      c.refused ? failure(path, why) : "no exception");
            EXPECT_EQ(bytes(target), c.refused ? "old" : "7");
            std::ofstream(target) << "old";
        }
    }
}

TEST_F(Save, FailuresNameTheReasonAndChangeNothing) {
    std::string const missing = dir + "/no/such/dir.json", loop = dir + "/loop", sub = dir + "/sub";
    fs::create_symlink("loop", loop);
    fs::create_directory(sub); // renamed over at the last step: the temporary file must go
    struct {
        std::string path;
        std::string reason;
        std::errc code;
    } const cases[] = {
        {missing, "cannot open its directory: No such file or directory",
         std::errc::no_such_file_or_directory},
        {sub, "rename failed: Is a directory", std::errc::is_a_directory},
        {loop, "cannot follow its symbolic links: Too many levels of symbolic links",
         std::errc::too_many_symbolic_link_levels},
    };
    for (auto const& c : cases) {
        try {
            tv::to_file(Variant(1), c.path);
            ADD_FAILURE() << c.path;
        } catch (std::system_error const& e) {
            EXPECT_EQ(e.what(), failure(c.path, c.reason));
            EXPECT_EQ(e.code(), c.code) << e.what();
        }
    }
    // Serialization refuses before any file is touched.
    EXPECT_THROW(tv::to_file(settings{}, target), tv::missing_value);
    fs::remove(loop);
    fs::remove(sub);
    expect_untouched();
}

// A save removes what killed saves of the same target left, and nothing else: not a name that only
// starts alike, not a live save's file (locked), not another user's file, not a directory.
TEST_F(Save, RemovesOnlyStrayTemporaryFiles) {
    std::string const stem = "config.json.tmp-";
    for (char const* name :
         {"12-0", "4194304-4294967295", "12-", "-3", "1-2.bak", "1-2-3", "x-1", "9-1", "9-2"}) {
        std::ofstream(dir + "/" + stem + name) << "left";
    }
    fs::create_directory(dir + "/" + stem + "5-5");
    int const live = ::open((dir + "/" + stem + "9-1").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(live, LOCK_EX), 0);
    bool const root = ::geteuid() == 0; // and then 9-2 another user's
    ASSERT_TRUE(!root || ::chown((dir + "/" + stem + "9-2").c_str(), 65534, 65534) == 0);
    tv::to_file(Variant(1), target);
    std::set<std::string> left, kept{"config.json"};
    for (char const* name :
         {"12-", "-3", "1-2.bak", "1-2-3", "x-1", "9-1", "5-5", root ? "9-2" : "5-5"}) {
        kept.insert(stem + name);
    }
    for (auto const& entry : fs::directory_iterator(dir)) {
        left.insert(entry.path().filename());
    }
    EXPECT_EQ(left, kept);
    ::close(live);
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

// Makes the saves of this process take their other road, a named temporary file, as on a file
// system without unnamed ones: /proc, through which an unnamed file gets its name, is hidden in a
// mount namespace of its own. False where the process may not do that.
bool hide_proc() {
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", "/proc", "tmpfs", 0, nullptr) == 0;
}

// A child process that saves `value` to the target over and over, on the named road where it can.
pid_t saving_child(bool named, Variant const& value) {
    pid_t const child = ::fork();
    if (child == 0) {
        if (named) {
            hide_proc();
        }
        try {
            for (;;) {
                tv::to_file(value, target);
            }
        } catch (...) {
            std::_Exit(4); // never back into the test's own code
        }
    }
    return child;
}

// Ends a child of saving_child; true when nothing but the kill ended it.
bool stop(pid_t child) {
    int status = 0;
    ::kill(child, SIGKILL);
    return ::waitpid(child, &status, 0) == child && WIFSIGNALED(status) &&
           WTERMSIG(status) == SIGKILL;
}

// Another user watching the directory with inotify opens every file that appears there and reads it
// once the saves are done: no byte of a 0600 file's new text reaches it, on either road.
TEST_F(Save, AnotherUserReadsNothingOfAPrivateFile) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "watching as another user needs root";
    }
    mode_t const mask = ::umask(022);
    ASSERT_EQ(::chmod(target.c_str(), 0600), 0);
    int const watch = ::inotify_init();
    ASSERT_GE(::inotify_add_watch(watch, dir.c_str(), IN_CREATE | IN_MOVED_TO), 0);
    pid_t const watcher = ::fork();
    if (watcher == 0) {
        asUser();
        ::alarm(60); // whatever happens to the test
        std::vector<int> opened;
        alignas(inotify_event) char events[8192];
        for (bool done = false; !done;) {
            ssize_t const n = ::read(watch, events, sizeof events);
            done = n <= 0;
            for (ssize_t at = 0; at < n;) {
                auto const* const e = reinterpret_cast<inotify_event const*>(events + at);
                at += static_cast<ssize_t>(sizeof(inotify_event) + e->len);
                done = done || std::string(e->name) == "done";
                opened.push_back(::open((dir + "/" + e->name).c_str(), O_RDONLY));
            }
        }
        int leaks = 0;
        for (int const fd : opened) {
            char text[64] = {};
            leaks +=
                fd >= 0 && ::read(fd, text, sizeof text - 1) > 0 && std::strstr(text, "secret");
        }
        std::_Exit(std::min(leaks, 100));
    }
    ::close(watch);
    for (int i = 0; i < 300; ++i) {
        tv::to_file(Variant("secret-" + std::to_string(i)), target);
    }
    pid_t const named = saving_child(true, Variant("secret-named"));
    ::usleep(300000);
    EXPECT_TRUE(stop(named));
    EXPECT_EQ(mode(target), 0600u);
    std::ofstream(dir + "/done").put('x');
    int status = 0;
    ASSERT_EQ(::waitpid(watcher, &status, 0), watcher);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "files in which the watcher read a secret";
    ::umask(mask);
}

// A process killed while it saves over and over, at random points and on either road, leaves one
// whole document or the other, and the next save removes the temporary file it may have left (about
// one round in five leaves one). Meanwhile a save of this process takes no live save's file for a
// stray, nor the other way round: neither save fails.
TEST_F(Save, KilledMidwayLeavesAWholeDocumentAndNoStray) {
    Variant const a = big('a', 2000), b = big('b', 2000);
    tv::to_file(a, target);
    std::minstd_rand random(20240611);
    for (int round = 0; round < 30; ++round) {
        pid_t const child = saving_child(round % 2 == 1, b);
        ASSERT_GE(child, 0);
        ::usleep(std::uniform_int_distribution<useconds_t>(0, 40000)(random));
        tv::to_file(a, target);
        EXPECT_TRUE(stop(child)) << "round " << round;
        Variant const text = Variant::fromJson(bytes(target));
        EXPECT_TRUE(text == a || text == b) << "round " << round;
        tv::to_file(a, target);
        EXPECT_EQ(entries(), 1) << "round " << round;
    }
}

} // namespace
