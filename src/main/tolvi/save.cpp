#include <tolvi/files.hpp>
#include <tolvi/json_text.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../json_trees.hpp"

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

constexpr char unsynced_step[] =
    "the new file is in place but may not survive a power cut: syncing its directory failed";

std::string failureText(std::string const& path, char const* step) {
    return "unable to save file \u201C" + path + "\u201D: " + step;
}

[[noreturn]] void saveFailure(std::string const& path, char const* step, int error) {
    throw std::runtime_error(failureText(path, step) + ": " + std::strerror(error));
}

// The directory part of a path, as the kernel reads it.
std::string directoryOf(std::string const& path) {
    std::string::size_type const slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file that a save to `path` replaces: `path`, or where its chain of symbolic links ends.
// Only the last component needs following: the kernel follows the directories. A link to a name
// that does not exist leads there, and the save creates that file, as a plain write would.
std::string followLinks(std::string const& path) {
    std::string file = path;
    char link[PATH_MAX];
    for (int hops = 0;; ++hops) {
        ssize_t const n = ::readlink(file.c_str(), link, sizeof link);
        if (n < 0) {
            return file; // not a link, or nothing there: the next steps say what is wrong
        }
        if (hops == 40) {
            saveFailure(path, "cannot follow its symbolic links", ELOOP);
        }
        if (static_cast<std::size_t>(n) == sizeof link) {
            saveFailure(path, "cannot follow its symbolic links", ENAMETOOLONG);
        }
        std::string const target(link, static_cast<std::size_t>(n));
        file = link[0] == '/' ? target : directoryOf(file) + "/" + target;
    }
}

// Closes a descriptor however the save ends.
struct descriptor {
    explicit descriptor(int f) noexcept : fd(f) {}
    int const fd;
    descriptor(descriptor const&) = delete;
    descriptor& operator=(descriptor const&) = delete;
    ~descriptor() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

// The temporary file's name but for its counter: `<name>.tmp-<pid>-`. Where the whole would be
// longer than the directory's longest name, the target's name is cut (at a whole UTF-8
// character), so that the temporary fits wherever the target does; the pid and the counter keep
// it unique.
std::string temporaryStem(int directory, std::string const& name) {
    std::string const suffix = ".tmp-" + std::to_string(::getpid()) + "-";
    long const longest = ::fpathconf(directory, _PC_NAME_MAX);
    std::size_t const room = longest > 0 ? static_cast<std::size_t>(longest) : NAME_MAX;
    std::size_t const needed = suffix.size() + 10; // and the counter's digits
    std::size_t keep = std::min(name.size(), room > needed ? room - needed : 0);
    while (keep > 0 && keep < name.size() &&
           (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) {
        --keep;
    }
    return name.substr(0, keep) + suffix;
}

// Creates the temporary file exclusively, with the mode a new file gets (0666 less the umask).
int createTemporary(int directory, std::string const& stem, std::string& temporary) {
    static std::atomic<unsigned> counter{0};
    for (;;) {
        temporary = stem + std::to_string(counter.fetch_add(1, std::memory_order_relaxed));
        int const fd =
            ::openat(directory, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
        }
    }
}

// Gives the new file the old one's owner and group where the process may (root may; others may
// give their own file a group they belong to), then its mode: after the owner, which clears the
// set-ID bits. False with errno set when the mode cannot be kept.
bool takeOver(int fd, struct stat const& old) {
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
bool writeAll(int fd, Variant const& value, char* buffer) {
    sigset_t xfsz, before;
    sigemptyset(&xfsz);
    sigaddset(&xfsz, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &xfsz, &before);
    int const error = json_trees::writeExact(fd, value, buffer, write_buffer);
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

} // namespace

void to_file(Variant const& value, std::string const& path) {
    // What the text could not hold (a NaN, text that is not UTF-8) is refused, not left out; then
    // the text is printed straight into the file, which allocates nothing.
    check_writable(value);
    std::unique_ptr<char[]> const buffer(new char[write_buffer]);

    // Everything that can fail otherwise is made ready before the temporary file exists, and
    // nothing after the rename allocates: an exception means the old file is there.
    std::string const file = followLinks(path);
    std::string::size_type const slash = file.rfind('/');
    std::string const name = file.substr(slash == std::string::npos ? 0 : slash + 1);
    std::string const directoryName = directoryOf(file);
    descriptor const directory{::open(directoryName.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (directory.fd < 0) {
        saveFailure(path, "cannot open its directory", errno);
    }
    struct stat old {};
    bool const replaces = ::fstatat(directory.fd, name.c_str(), &old, 0) == 0;
    std::runtime_error const unsynced(failureText(path, unsynced_step));
    std::string const stem = temporaryStem(directory.fd, name);
    std::string temporary;
    int const fd = createTemporary(directory.fd, stem, temporary);
    if (fd < 0) {
        saveFailure(path, "cannot create a temporary file", errno);
    }
    char const* step = nullptr;
    int error = 0;
    if (replaces && !takeOver(fd, old)) {
        step = "cannot keep the old file's mode";
        error = errno;
    } else if (!writeAll(fd, value, buffer.get())) {
        step = "write failed";
        error = errno;
    } else if (::fsync(fd) != 0) {
        step = "fsync failed";
        error = errno;
    }
    if (::close(fd) != 0 && step == nullptr) {
        step = "close failed";
        error = errno;
    }
    if (step == nullptr &&
        ::renameat(directory.fd, temporary.c_str(), directory.fd, name.c_str()) != 0) {
        step = "rename failed";
        error = errno;
    }
    if (step != nullptr) {
        ::unlinkat(directory.fd, temporary.c_str(), 0);
        saveFailure(path, step, error);
    }
    // The rename itself survives a power cut once the directory is synced. File systems that
    // cannot sync a directory say EINVAL; the rename is then as durable as they make it.
    if (::fsync(directory.fd) != 0 && errno != EINVAL) {
        int const e = errno;
        try {
            saveFailure(path, unsynced_step, e);
        } catch (std::bad_alloc const&) {
            throw unsynced; // the same without the reason; copying it cannot fail
        }
    }
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
