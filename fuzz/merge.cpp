// Merge: two documents, split at the first NUL byte; all or nothing.

#include "checks.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(tolvi_fuzz::check_merge, data, size);
}
