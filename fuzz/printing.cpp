// Printing: bytes build a large Variant (see value_maker in printing.hpp), whose compact and pretty
// text must be Jansson's text of the same value built plainly, and which reads back from its text
// where text can hold it.
//
// Seeds (fuzz/corpus/printing), all but text_flaws past the 64 values after which the printer's
// sharing cache starts:
//   small_maps_grow_table  two distinct numbers, then 300 maps {"a": n, "b": n + 1} of distinct
//                          numbers: the cache's table grows while a small map's values are built
//   repeated_and_distinct  thousands of small lists and maps, most repeated, some with distinct
//                          numbers and strings: the table grows twice, containers are shared
//   strings_every_length   strings of every length up to past 1 KiB and keys past 64 bytes, of one
//                          letter or distinct, each repeated
//   text_flaws             escapes, multi-byte characters, NULs and bytes that are not UTF-8
//   edges                  NaN, infinities, edge doubles and integers, empty containers, deep
//                          nesting, keys with a NUL or not UTF-8, in repeated small containers
// fuzz/printing_seeds.py writes them: python3 fuzz/printing_seeds.py fuzz/corpus/printing

#include "printing.hpp"

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(tolvi_fuzz::check_printing, data, size);
}
