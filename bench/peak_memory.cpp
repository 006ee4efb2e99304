// Peak memory of parsing one file, measured from outside with /usr/bin/time -v:
//
//     tolvi_peak_memory text|tolvi|jansson FILE
//
// "text" only reads the file, the baseline the other two share; "tolvi" parses it with
// Variant::fromJson, "jansson" with json_loads alone.

#include <cstring>
#include <iostream>
#include <string>

#include <jansson.h>
#include <tolvi/Variant.hpp>

#include "documents.hpp"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: tolvi_peak_memory text|tolvi|jansson FILE\n";
        return 2;
    }
    std::string const text = bench::read_file(argv[2]);
    if (text.empty()) {
        std::cerr << "tolvi_peak_memory: cannot read " << argv[2] << '\n';
        return 1;
    }
    if (std::strcmp(argv[1], "tolvi") == 0) {
        Variant const v = Variant::fromJson(text);
        return v.isNull() ? 1 : 0;
    }
    if (std::strcmp(argv[1], "jansson") == 0) {
        json_error_t error;
        json_t* const tree = json_loads(text.c_str(), JSON_DECODE_ANY, &error);
        int const status = tree == nullptr ? 1 : 0;
        json_decref(tree);
        return status;
    }
    return std::strcmp(argv[1], "text") == 0 ? 0 : 2;
}
