// Records: any text read into the demo's device configuration, in every mode and from every
// source type; only the documented refusal comes out.

#include "checks.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(tolvi_fuzz::check_records, data, size);
}
