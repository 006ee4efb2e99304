// Record values built from the input's bytes over every member type at its edge values: written
// and read back equal, or refused with missing_member or unwritable_value (record_values.hpp).

#include "record_values.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(fuzzrec::check_record_values, data, size);
}
