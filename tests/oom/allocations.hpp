#pragma once

// Allocation control for the out-of-memory tests. Every allocation of the process goes through
// here: operator new in all its forms (replaced in allocations.cpp) and Jansson's allocator
// (installed by use_for_jansson). While armed, the Nth allocation counted from arm() fails.

#include <cstddef>

namespace oom {

enum class source { none, operator_new, jansson };

// Routes Jansson's allocations through the counter. Call before any Jansson value exists.
void use_for_jansson();

// Lets allocation n (1-based, counted from now) fail; the others succeed. With `only_new`,
// Jansson's allocations are neither counted nor failed.
void arm(unsigned long n, bool only_new = false);

struct outcome {
    unsigned long made; // allocations attempted while armed
    source failed;      // which allocator refused, or none when fewer than n were made
};
outcome disarm();

// Blocks currently held, armed or not.
struct held {
    long operator_new;
    long jansson;
};
held live();

} // namespace oom
