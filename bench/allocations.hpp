#pragma once

#include <cstddef>

namespace bench {

// Calls of the global operator new so far; the benchmark replaces it to check that a walk
// allocates nothing.
extern std::size_t allocation_count;

} // namespace bench
