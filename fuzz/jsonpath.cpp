// JSONPath: a path, then a NUL byte and a document; null, a pointer into the block, or a documented
// error.

#include "checks.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(tolvi_fuzz::check_jsonpath, data, size);
}
