#pragma once

// A file descriptor closed however the call that opened it ends. Private to the library.

#include <unistd.h>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace internal {

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

} // namespace internal
} // namespace v1
} // namespace tolvi
} // namespace korvax
