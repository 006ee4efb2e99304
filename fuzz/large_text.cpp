// Large text: parse_json and the record calls parse a large document one value at a time and must
// give what the whole text gives (large_text.hpp).

#include "large_text.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(tolvi_fuzz::check_large_text, data, size);
}
