// 64-bit file offsets, inode numbers and directory offsets also on 32-bit builds, where stat and
// readdir would otherwise fail with EOVERFLOW on large file systems.
#define _FILE_OFFSET_BITS 64

#include <tolvi/files.hpp>
#include <tolvi/json_text.hpp>

#include "../json_trees.hpp"
#include "descriptor.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

using internal::descriptor;

constexpr char unsynced_step[] =
    "the new file is in place but may not survive a power cut: syncing its directory failed";

std::string failure_text(std::string const& path, std::string const& step) {
    return "unable to save file \u201C" + path + "\u201D: " + step;
}

// "path: step: reason", with the errno as the exception's code().
[[noreturn]] void save_failure(std::string const& path, std::string const& step, int error) {
    throw std::system_error(error, std::generic_category(), failure_text(path, step));
}

// The directory part of a path, as the kernel reads it.
std::string directory_of(std::string const& path) {
    std::string::size_type const slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A link in a sticky world-writable directory (/tmp) is followed only when it belongs to this
// process's effective user or to the directory's owner, as the kernel's protected_symlinks rule
// has it, whatever the running kernel's setting: otherwise another user could plant a link there
// that sends the save over a file of ours.
void refuse_planted_link(std::string const& path, std::string const& link, struct stat const& st) {
    struct stat directory {};
    if (st.st_uid == ::geteuid() || ::stat(directory_of(link).c_str(), &directory) != 0) {
        return;
    }
    bool const shared = (directory.st_mode & (S_ISVTX | S_IWOTH)) == (S_ISVTX | S_IWOTH);
    if (shared && st.st_uid != directory.st_uid) {
        save_failure(path,
                     "will not follow the symbolic link \u201C" + link +
                         "\u201D: another user owns it in a sticky world-writable directory",
                     EACCES);
    }
}

// The file that a save to `path` replaces: `path`, or where its chain of symbolic links ends.
// Only the last component needs following: the kernel follows the directories. A link to a name
// that does not exist leads there, and the save creates that file, as a plain write would.
std::string follow_links(std::string const& path) {
    std::string file = path;
    char link[PATH_MAX];
    for (int hops = 0;; ++hops) {
        struct stat st {};
        if (::lstat(file.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) {
            return file; // not a link, or nothing there: the next steps say what is wrong
        }
        if (hops == 40) {
            save_failure(path, "cannot follow its symbolic links", ELOOP);
        }
        refuse_planted_link(path, file, st);
        ssize_t const n = ::readlink(file.c_str(), link, sizeof link);
        if (n < 0) {
            return file; // gone meanwhile
        }
        if (static_cast<std::size_t>(n) == sizeof link) {
            save_failure(path, "cannot follow its symbolic links", ENAMETOOLONG);
        }
        std::string const target(link, static_cast<std::size_t>(n));
        file = link[0] == '/' ? target : directory_of(file) + "/" + target;
    }
}

// What `<pid>-<n>` may take: a 32-bit pid and a 32-bit counter in decimal, and the dash.
constexpr std::size_t temporary_number_room = 10 + 1 + 10;

// The start of every temporary name of a save to `name`: `<name>.tmp-`, followed by
// `<pid>-<n>`. Where the whole could be longer than the directory's longest name, the target's
// name is cut (at a whole UTF-8 character) by what the longest pid and counter need, so that the
// start is the same for every process and stray temporary files are known by it.
std::string temporary_stem(int directory, std::string const& name) {
    std::string const tmp = ".tmp-";
    long const longest = ::fpathconf(directory, _PC_NAME_MAX);
    std::size_t const room = longest > 0 ? static_cast<std::size_t>(longest) : NAME_MAX;
    std::size_t const needed = tmp.size() + temporary_number_room;
    std::size_t keep = std::min(name.size(), room > needed ? room - needed : 0);
    while (keep > 0 && keep < name.size() &&
           (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) {
        --keep;
    }
    return name.substr(0, keep) + tmp;
}

// Whether `entry` is exactly `<stem><digits>-<digits>`: a temporary name of a save to the same
// target, and not a user's file that merely starts like one.
bool is_temporary_name(char const* entry, std::string const& stem) {
    if (std::strncmp(entry, stem.c_str(), stem.size()) != 0) {
        return false;
    }
    char const* p = entry + stem.size();
    auto const digits = [&p] {
        char const* const start = p;
        while (*p >= '0' && *p <= '9') {
            ++p;
        }
        return p != start;
    };
    return digits() && *p++ == '-' && digits() && *p == '\0';
}

// Removes a temporary file that an interrupted save left: one that no live save holds locked,
// a regular file of this process's user or of the target's owner (never another user's).
void remove_if_abandoned(int directory, char const* name, uid_t owner) {
    struct stat named {};
    struct stat held {};
    if (::fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(named.st_mode) ||
        (named.st_uid != ::geteuid() && named.st_uid != owner)) {
        return;
    }
    descriptor const file{
        ::openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (file.fd >= 0 && ::flock(file.fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(file.fd, &held) == 0 &&
        held.st_ino == named.st_ino && held.st_dev == named.st_dev) {
        ::unlinkat(directory, name, 0);
    }
}

// Removes the temporary files of earlier saves of the same target that were killed before they
// renamed them. Best effort: a directory that cannot be listed keeps them.
void remove_strays(int directory, std::string const& stem, uid_t owner) {
    int const listing = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const entries = listing < 0 ? nullptr : ::fdopendir(listing);
    if (entries == nullptr) {
        if (listing >= 0) {
            ::close(listing);
        }
        return;
    }
    while (dirent const* const entry = ::readdir(entries)) {
        if (is_temporary_name(entry->d_name, stem)) {
            remove_if_abandoned(directory, entry->d_name, owner);
        }
    }
    ::closedir(entries);
}

// The new text's file until it takes the target's name. It is locked from its creation to the
// rename, so that no other save takes it for a stray; it is closed, and removed while it has a
// name of its own, however the save ends.
struct temporary {
    explicit temporary(int d) noexcept : directory(d) {}
    int const directory;
    int fd = -1;
    std::string name; // empty while it has none
    temporary(temporary const&) = delete;
    temporary& operator=(temporary const&) = delete;
    ~temporary() { drop(); }
    void drop() noexcept {
        if (!name.empty()) {
            ::unlinkat(directory, name.c_str(), 0);
            name.clear();
        }
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
};

// Calls `make` with `<stem><pid>-0`, `-1`, ... until it succeeds or fails otherwise than with
// EEXIST; `name` is the name tried last. Returns what `make` returned last.
template <class F>
int with_free_name(std::string const& stem, std::string& name, F make) {
    std::string const own = stem + std::to_string(::getpid()) + "-";
    for (unsigned n = 0;; ++n) {
        name = own + std::to_string(n);
        int const result = make(name.c_str());
        if (result >= 0 || errno != EEXIST) {
            return result;
        }
    }
}

// Where the file system has no locks, no other save can lock the file to remove it either.
void hold_lock(int fd) {
    ::flock(fd, LOCK_EX);
}

// An unnamed file in the directory (O_TMPFILE), which nobody else can open at all; false where
// the file system or the kernel has none.
bool open_unnamed(temporary& t, mode_t mode) {
#ifdef O_TMPFILE
    t.fd = ::openat(t.directory, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
    if (t.fd >= 0) {
        hold_lock(t.fd);
    }
    return t.fd >= 0;
#else
    (void)t;
    (void)mode;
    return false;
#endif
}

// Gives the unnamed file, once it holds the whole text, a temporary name beside the target.
// Through /proc, where linkat needs no privilege; false where that fails (no /proc, a security
// policy that refuses it): the caller then writes a named file instead.
bool link_unnamed(temporary& t, std::string const& stem) {
    char proc_path[32];
    std::snprintf(proc_path, sizeof proc_path, "/proc/self/fd/%d", t.fd);
    std::string name;
    if (with_free_name(stem, name, [&](char const* n) {
            return ::linkat(AT_FDCWD, proc_path, t.directory, n, AT_SYMLINK_FOLLOW);
        }) != 0) {
        return false;
    }
    t.name = std::move(name);
    return true;
}

// A new file of its own name, created exclusively and locked. Another save that removes strays
// may have removed it between the two: it then has no name left, and another is taken.
void create_named(temporary& t, std::string const& stem, mode_t mode, std::string const& path) {
    for (;;) {
        t.drop();
        std::string name;
        int const fd = with_free_name(stem, name, [&](char const* n) {
            return ::openat(t.directory, n, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        });
        if (fd < 0) {
            save_failure(path, "cannot create a temporary file", errno);
        }
        t.fd = fd;
        t.name = std::move(name);
        hold_lock(fd);
        struct stat st {};
        if (::fstat(fd, &st) != 0 || st.st_nlink > 0) {
            return;
        }
        t.name.clear(); // the name may be another save's by now
    }
}

// Gives the new file the old one's owner and group where the process may (root may; others may
// give their own file a group they belong to), then its mode: after the owner, which clears the
// set-ID bits. False with errno set when the mode cannot be kept.
bool take_over(int fd, struct stat const& old) {
    if (::fchown(fd, old.st_uid, old.st_gid) != 0 &&
        ::fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0) {
        // Not allowed: the saving process owns the new file.
    }
    return ::fchmod(fd, old.st_mode & 07777) == 0;
}

// The text goes to the file through a buffer of this size: it never stands whole in memory.
constexpr std::size_t write_buffer = 64 * 1024;

// Writes the text of `value` through `buffer`; false with errno set on a short write that cannot
// go on. Past the file size limit the kernel raises SIGXFSZ, whose default action ends the
// process: this thread holds it back meanwhile (its own mask; the process's dispositions stay as
// they are), so that the write fails with EFBIG, and then takes the signal the write raised,
// unless a handler was set for it.
bool write_all(int fd, Variant const& value, char* buffer) {
    sigset_t xfsz, before;
    sigemptyset(&xfsz);
    sigaddset(&xfsz, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &xfsz, &before);
    int const error = json_trees::write_exact(fd, value, buffer, write_buffer);
    struct sigaction action {};
    if (error == EFBIG && sigismember(&before, SIGXFSZ) == 0 &&
        ::sigaction(SIGXFSZ, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
        timespec const now{0, 0};
        ::sigtimedwait(&xfsz, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return error == 0;
}

// The old file's owner and mode first (`old` is null for a new target), then the text, flushed to
// storage: no byte of it is in the file before its mode is final.
void fill(temporary const& t, struct stat const* old, Variant const& value, char* buffer,
          std::string const& path) {
    if (old != nullptr && !take_over(t.fd, *old)) {
        save_failure(path, "cannot keep the old file's mode", errno);
    }
    if (!write_all(t.fd, value, buffer)) {
        save_failure(path, "write failed", errno);
    }
    if (::fsync(t.fd) != 0) {
        save_failure(path, "fsync failed", errno);
    }
}

} // namespace

void to_file(Variant const& value, std::string const& path) {
    // What the text could not hold (a NaN, text that is not UTF-8) is refused, not left out; then
    // the text is printed straight into the file, which allocates nothing.
    check_writable(value);
    std::unique_ptr<char[]> const buffer(new char[write_buffer]);

    // Everything that can fail otherwise is made ready before the rename, and nothing after it
    // allocates: an exception means the old file is there.
    std::string const file = follow_links(path);
    std::string::size_type const slash = file.rfind('/');
    std::string const name = file.substr(slash == std::string::npos ? 0 : slash + 1);
    std::string const directory_name = directory_of(file);
    descriptor const directory{::open(directory_name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (directory.fd < 0) {
        save_failure(path, "cannot open its directory", errno);
    }
    struct stat old {};
    bool const replaces = ::fstatat(directory.fd, name.c_str(), &old, 0) == 0;
    std::runtime_error const unsynced(failure_text(path, unsynced_step));
    std::string const stem = temporary_stem(directory.fd, name);
    remove_strays(directory.fd, stem, replaces ? old.st_uid : ::geteuid());

    // Nobody but this process's user can open the new file before it has the old one's owner and
    // mode; a new target is created as any new file is (0666 less the umask). Where it can, the
    // text goes into an unnamed file, which gets a name only once it holds the whole text.
    mode_t const mode = replaces ? 0600 : 0666;
    struct stat const* const keep = replaces ? &old : nullptr;
    temporary t{directory.fd};
    bool named = false;
    if (open_unnamed(t, mode)) {
        fill(t, keep, value, buffer.get(), path);
        named = link_unnamed(t, stem);
    }
    if (!named) {
        create_named(t, stem, mode, path);
        fill(t, keep, value, buffer.get(), path);
    }
    if (::renameat(directory.fd, t.name.c_str(), directory.fd, name.c_str()) != 0) {
        save_failure(path, "rename failed", errno);
    }
    // Its name is the target's now. The lock was held up to here so that no other save took the
    // file for a stray; closing has nothing left to report, as fsync put the text on storage.
    t.name.clear();
    t.drop();

    // The rename itself survives a power cut once the directory is synced. File systems that
    // cannot sync a directory say EINVAL; the rename is then as durable as they make it.
    if (::fsync(directory.fd) != 0 && errno != EINVAL) {
        int const e = errno;
        try {
            save_failure(path, unsynced_step, e);
        } catch (std::bad_alloc const&) {
            throw unsynced; // the same without the reason; copying it cannot fail
        }
    }
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
