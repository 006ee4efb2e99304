// 64-bit file sizes also on 32-bit builds: open and fstat would otherwise fail with EOVERFLOW on a
// file past 2 GiB instead of saying it is past the limit.
#define _FILE_OFFSET_BITS 64

#include <tolvi/files.hpp>

#include "descriptor.hpp"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace {

std::string open_failure_text(std::string const& path) {
    return "unable to open file \u201C" + path + "\u201D for deserialization";
}

// One wording for both directions of the plain file functions.
[[noreturn]] void throw_open_failure(std::string const& path) {
    throw std::runtime_error(open_failure_text(path));
}

// "unable to read file “path”: reason", with the errno as the exception's code().
[[noreturn]] void read_failure(std::string const& path, int error, std::string const& what = "") {
    throw std::system_error(error, std::generic_category(),
                            "unable to read file \u201C" + path + "\u201D" +
                                (what.empty() ? "" : ": " + what));
}

[[noreturn]] void too_long(std::string const& path, std::size_t limit) {
    read_failure(path, EFBIG, "longer than " + std::to_string(limit) + " bytes");
}

// Reads up to `size` bytes into `data`, fewer only at the end of the file.
std::size_t read_up_to(int fd, char* data, std::size_t size, std::string const& path) {
    std::size_t got = 0;
    while (got < size) {
        ssize_t const n = ::read(fd, data + got, size - got);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            read_failure(path, errno);
        }
        if (n == 0) {
            break;
        }
        got += static_cast<std::size_t>(n);
    }
    return got;
}

// The plain reader: a read error (a directory, a failing device) ends the text there without an
// exception, and what was read is kept; no limit.
std::string read_until_error(std::string const& path) {
    std::FILE* const in = std::fopen(path.c_str(), "r");
    if (in == nullptr) {
        throw_open_failure(path);
    }
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const closer(in, &std::fclose);
    std::string text;
    char chunk[8192];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, in)) > 0;) {
        text.append(chunk, n);
    }
    return text;
}

} // namespace

std::string read_text_file(std::string const& path, std::size_t limit) {
    int const fd = ::open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), open_failure_text(path));
    }
    internal::descriptor const closer{fd};
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        read_failure(path, errno);
    }
    // A regular file is read at its size, in one allocation. Anything else (a pipe, a device,
    // a file of /proc that says 0) is read in chunks up to the limit.
    if (S_ISREG(st.st_mode) && st.st_size > 0) {
        if (static_cast<std::uintmax_t>(st.st_size) > limit) {
            too_long(path, limit);
        }
        std::string text(static_cast<std::size_t>(st.st_size), '\0');
        text.resize(read_up_to(fd, &text[0], text.size(), path));
        return text;
    }
    std::string text;
    char chunk[16384];
    for (std::size_t n; (n = read_up_to(fd, chunk, sizeof chunk, path)) > 0;) {
        if (n > limit - text.size()) {
            too_long(path, limit);
        }
        text.append(chunk, n);
    }
    return text;
}

std::string read_text_file(std::string const& path) {
    return read_text_file(path, default_read_limit);
}

namespace detail {

Variant variant_from_json_file(std::string const& path) {
    return Variant::fromJson(read_until_error(path));
}

void variant_to_json_file(Variant const& value, std::string const& path) {
    std::ofstream out(path, std::ios::out);
    if (!out.is_open()) {
        throw_open_failure(path);
    }
    std::string const text = value.toJson();
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
