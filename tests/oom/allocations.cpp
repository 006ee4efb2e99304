#include "allocations.hpp"

#include <cstdlib>
#include <new>

#include <jansson.h>

namespace {

// One thread runs the tests; plain counters suffice.
bool armed = false;
bool new_only = false;
unsigned long fail_at = 0;
unsigned long made = 0;
oom::source failed = oom::source::none;
long live_new = 0;
long live_jansson = 0;

bool refuse(oom::source from) {
    if (!armed || (new_only && from == oom::source::jansson)) {
        return false;
    }
    if (++made != fail_at) {
        return false;
    }
    failed = from;
    return true;
}

void* take(std::size_t size, std::size_t align, oom::source from) {
    if (refuse(from)) {
        return nullptr;
    }
    size = size != 0 ? size : 1;
    void* p = nullptr;
    if (align <= alignof(std::max_align_t)) {
        p = std::malloc(size);
    } else if (posix_memalign(&p, align, size) != 0) {
        p = nullptr;
    }
    if (p != nullptr) {
        ++(from == oom::source::jansson ? live_jansson : live_new);
    }
    return p;
}

void give(void* p) noexcept {
    if (p != nullptr) {
        --live_new;
        std::free(p);
    }
}

void jansson_free(void* p) {
    if (p != nullptr) {
        --live_jansson;
        std::free(p);
    }
}

void* take_or_throw(std::size_t size, std::size_t align) {
    if (void* p = take(size, align, oom::source::operator_new)) {
        return p;
    }
    throw std::bad_alloc();
}

void* jansson_malloc(std::size_t size) {
    return take(size, 0, oom::source::jansson);
}

} // namespace

namespace oom {

void use_for_jansson() {
    json_set_alloc_funcs(jansson_malloc, jansson_free);
}

void arm(unsigned long n, bool only_new) {
    made = 0;
    new_only = only_new;
    fail_at = n;
    failed = source::none;
    armed = true;
}

outcome disarm() {
    armed = false;
    return {made, failed};
}

held live() {
    return {live_new, live_jansson};
}

} // namespace oom

// The replaceable allocation functions, every form.

void* operator new(std::size_t size) {
    return take_or_throw(size, 0);
}
void* operator new[](std::size_t size) {
    return take_or_throw(size, 0);
}
void* operator new(std::size_t size, std::align_val_t al) {
    return take_or_throw(size, static_cast<std::size_t>(al));
}
void* operator new[](std::size_t size, std::align_val_t al) {
    return take_or_throw(size, static_cast<std::size_t>(al));
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return take(size, 0, oom::source::operator_new);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return take(size, 0, oom::source::operator_new);
}
void* operator new(std::size_t size, std::align_val_t al, std::nothrow_t const&) noexcept {
    return take(size, static_cast<std::size_t>(al), oom::source::operator_new);
}
void* operator new[](std::size_t size, std::align_val_t al, std::nothrow_t const&) noexcept {
    return take(size, static_cast<std::size_t>(al), oom::source::operator_new);
}

void operator delete(void* p) noexcept {
    give(p);
}
void operator delete[](void* p) noexcept {
    give(p);
}
void operator delete(void* p, std::size_t) noexcept {
    give(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    give(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
    give(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
    give(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
    give(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
    give(p);
}
void operator delete(void* p, std::nothrow_t const&) noexcept {
    give(p);
}
void operator delete[](void* p, std::nothrow_t const&) noexcept {
    give(p);
}
void operator delete(void* p, std::align_val_t, std::nothrow_t const&) noexcept {
    give(p);
}
void operator delete[](void* p, std::align_val_t, std::nothrow_t const&) noexcept {
    give(p);
}
