#include <tolvi/files.hpp>
#include <tolvi/json_text.hpp>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

[[noreturn]] void saveFailure(std::string const& path, char const* step, int error) {
    throw std::runtime_error("unable to save file \u201C" + path + "\u201D: " + step + ": " +
                             std::strerror(error));
}

// The directory that will hold `path`, for the temporary file and the final fsync.
std::string directoryOf(std::string const& path) {
    std::string::size_type const slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A temporary file beside the target, created exclusively with the mode a new file gets
// (0666 less the umask), so the saved file has the permissions a plain write would give it.
int createTemporary(std::string const& path, std::string& name) {
    static std::atomic<unsigned> counter{0};
    std::string const stem = path + ".tmp-" + std::to_string(::getpid()) + "-";
    for (;;) {
        name = stem + std::to_string(counter.fetch_add(1, std::memory_order_relaxed));
        int const fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
        }
    }
}

// Writes all of `text`; false with errno set on a short write that cannot go on.
bool writeAll(int fd, std::string const& text) {
    char const* p = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        ssize_t const n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (n == 0) {
            errno = ENOSPC;
            return false;
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    return true;
}

// Makes the rename itself durable. File systems that cannot sync a directory say EINVAL; the
// rename is then as durable as they make it.
int syncDirectory(std::string const& directory) {
    int const fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    int error = ::fsync(fd) == 0 || errno == EINVAL ? 0 : errno;
    ::close(fd);
    return error;
}

} // namespace

void to_file(Variant const& value, std::string const& path) {
    std::string const text = to_json(value);
    if (text.empty()) {
        // A value that prints as nothing (NaN, text that is not UTF-8, no memory) would save an
        // empty file over a good one.
        throw std::runtime_error("unable to save file \u201C" + path +
                                 "\u201D: the value has no JSON text");
    }
    std::string temporary;
    int const fd = createTemporary(path, temporary);
    if (fd < 0) {
        saveFailure(path, "cannot create a temporary file", errno);
    }
    char const* step = nullptr;
    int error = 0;
    if (!writeAll(fd, text)) {
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
    if (step == nullptr && ::rename(temporary.c_str(), path.c_str()) != 0) {
        step = "rename failed";
        error = errno;
    }
    if (step != nullptr) {
        ::unlink(temporary.c_str());
        saveFailure(path, step, error);
    }
    if (int const e = syncDirectory(directoryOf(path))) {
        saveFailure(path, "the new file is in place, but syncing its directory failed", e);
    }
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
