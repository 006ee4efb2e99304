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
#include <new>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

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

// Whether Jansson takes `s` as a string: well-formed UTF-8 (no overlong forms, no surrogates,
// nothing past U+10FFFF) up to its first NUL, where Jansson takes the text to end.
bool takenAsText(std::string const& s) noexcept {
    auto const* p = reinterpret_cast<unsigned char const*>(s.data());
    std::size_t const n = s.size();
    for (std::size_t i = 0; i < n && p[i] != 0;) {
        unsigned char const c = p[i];
        std::size_t const length = c < 0x80                 ? 1
                                   : c >= 0xC2 && c <= 0xDF ? 2
                                   : c >= 0xE0 && c <= 0xEF ? 3
                                   : c >= 0xF0 && c <= 0xF4 ? 4
                                                            : 0;
        if (length == 0 || n - i < length) {
            return false;
        }
        unsigned char const low = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
        unsigned char const high = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
        if (length > 1 && (p[i + 1] < low || p[i + 1] > high)) {
            return false;
        }
        for (std::size_t k = 2; k < length; ++k) {
            if ((p[i + k] & 0xC0) != 0x80) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

// The values (containers included) that the text of `v` holds. The printer leaves out what Jansson
// refuses (a NaN or an infinity, a string or a key that is not UTF-8), and also, saying nothing,
// what Jansson had no memory for: a text holding fewer values than this is a failed print. Keys
// that agree up to a NUL are one key to Jansson: the last member it took stays.
std::size_t valuesOf(Variant const& v) noexcept {
    switch (v.type) {
    case Variant::Double:
        return std::isfinite(v.value.doubleValue) ? 1 : 0;
    case Variant::String:
        return takenAsText(*v.value.stringValue) ? 1 : 0;
    case Variant::Vector: {
        std::size_t n = 1;
        for (Variant const& element : *v.value.vectorValue) {
            n += valuesOf(element);
        }
        return n;
    }
    case Variant::Map: {
        std::size_t n = 1, last = 0;
        std::string const* previous = nullptr;
        for (auto const& entry : *v.value.mapValue) {
            std::size_t const values = takenAsText(entry.first) ? valuesOf(entry.second) : 0;
            if (values == 0) {
                continue;
            }
            std::string const& key = entry.first;
            std::size_t const length = std::strlen(key.c_str());
            bool const same = previous != nullptr && std::strlen(previous->c_str()) == length &&
                              previous->compare(0, length, key, 0, length) == 0;
            n += values - (same ? last : 0);
            last = values;
            previous = &key;
        }
        return n;
    }
    default:
        return 1;
    }
}

// The values in compact JSON text: containers, scalars and strings other than keys.
std::size_t valuesIn(std::string const& text) noexcept {
    std::size_t n = 0;
    std::size_t const size = text.size();
    for (std::size_t i = 0; i < size; ++i) {
        char const c = text[i];
        if (c == '"') {
            for (++i; i < size && text[i] != '"'; ++i) {
                i += text[i] == '\\';
            }
            n += i + 1 >= size || text[i + 1] != ':';
        } else if (c == '[' || c == '{') {
            ++n;
        } else if (c != ',' && c != ':' && c != ']' && c != '}') {
            ++n;
            while (i + 1 < size && std::strchr(",:]}", text[i + 1]) == nullptr) {
                ++i;
            }
        }
    }
    return n;
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

// Writes all of `text`; false with errno set on a short write that cannot go on. Past the file
// size limit the kernel raises SIGXFSZ, whose default action ends the process: this thread holds
// it back meanwhile (its own mask; the process's dispositions stay as they are), so that the write
// fails with EFBIG, and then takes the signal the write raised, unless a handler was set for it.
bool writeAll(int fd, std::string const& text) {
    sigset_t xfsz, before;
    sigemptyset(&xfsz);
    sigaddset(&xfsz, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &xfsz, &before);
    char const* p = text.data();
    std::size_t left = text.size();
    int error = 0;
    while (left > 0 && error == 0) {
        ssize_t const n = ::write(fd, p, left);
        if (n < 0) {
            error = errno == EINTR ? 0 : errno;
            continue;
        }
        if (n == 0) {
            error = ENOSPC;
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
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
    std::string const text = to_json(value);
    std::size_t const values = valuesOf(value);
    if (values == 0) {
        // A value that prints as nothing (a NaN, text that is not UTF-8) would save an empty
        // file over a good one.
        throw std::runtime_error(failureText(path, "the value has no JSON text"));
    }
    if (valuesIn(text) != values) {
        throw std::bad_alloc(); // Jansson ran out of memory while printing, and left values out
    }

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
    } else if (!writeAll(fd, text)) {
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
