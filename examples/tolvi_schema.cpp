// Prints the JSON Schema of the device demo's configuration, the contract that tells the fleet
// server which documents a device accepts.
//
//     tolvi_schema            complete documents, as the factory writes them
//     tolvi_schema --patch    the patches the fleet server may send

#include <iostream>
#include <string>

#include <tolvi/tolvi.hpp>

#include "device_config.hpp"

int main(int argc, char** argv) {
    namespace tolvi = korvax::tolvi;
    bool const patch = argc == 2 && std::string(argv[1]) == "--patch";
    if (argc > 2 || (argc == 2 && !patch)) {
        std::cerr << "usage: tolvi_schema [--patch]\n";
        return 2;
    }
    tolvi::options o;
    if (patch) {
        o.from(devcfg::cloud).as_patch();
    }
    // Pretty: the compact form would round the reals of the schema to 7 digits.
    std::cout << tolvi::json_schema<devcfg::device_config>(o).prettyPrintJson() << '\n';
}
