// Global operator new and delete that count allocations. In a file of their own, so that the
// compiler never sees a new paired with a free.

#include "allocations.hpp"

#include <cstdlib>
#include <new>

namespace bench {
std::size_t allocation_count = 0;
} // namespace bench

void* operator new(std::size_t size) {
    ++bench::allocation_count;
    if (void* p = std::malloc(size != 0 ? size : 1)) {
        return p;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size) {
    return ::operator new(size);
}

void operator delete(void* p) noexcept {
    std::free(p);
}

void operator delete[](void* p) noexcept {
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
