#pragma once

// Counts and fails allocations made through the global operator new, which test_variant.cpp
// replaces for the whole test binary. Nothing is counted or failed outside an allocation_watch.

#include <cstddef>
#include <limits>
#include <new>

namespace tolvi_test {

namespace alloc_detail {
extern bool armed;
extern std::size_t count;
extern std::size_t fail_at;
} // namespace alloc_detail

// While it lives, counts allocations; the one numbered `fail_at` (from 0) throws std::bad_alloc.
class allocation_watch {
public:
    static constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

    explicit allocation_watch(std::size_t fail_at = never) {
        alloc_detail::count = 0;
        alloc_detail::fail_at = fail_at;
        alloc_detail::armed = true;
    }
    ~allocation_watch() { alloc_detail::armed = false; }
    allocation_watch(allocation_watch const&) = delete;
    allocation_watch& operator=(allocation_watch const&) = delete;

    std::size_t count() const { return alloc_detail::count; }
};

// Runs `op` with allocation number n failing, for n = 0, 1, ... until it completes, and calls
// `after_failure` (outside the watch) after every run that threw std::bad_alloc. Returns the
// number of failed runs.
template <class Op, class Check>
std::size_t fail_each_allocation(Op op, Check after_failure) {
    for (std::size_t n = 0;; ++n) {
        bool failed = false;
        {
            allocation_watch watch(n);
            try {
                op();
            } catch (std::bad_alloc const&) {
                failed = true;
            }
        }
        if (!failed) {
            return n;
        }
        after_failure();
    }
}

} // namespace tolvi_test
