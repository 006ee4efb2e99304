// JSON text: any bytes parse to a value that prints and parses back, or to Null with one report.

#include "checks.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(tolvi_fuzz::check_json_text, data, size);
}
