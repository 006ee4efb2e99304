// Records: any text read into the demo's device configuration, in every mode and from every
// source type, and into its status report, whose keys are no C++ names and whose members are a
// fixed-length array, a float and maps keyed by numbers and by an enumeration; only the
// documented refusal comes out.

#include "checks.hpp"

#include "../examples/device_demo/status_report.hpp"

namespace {

// A report read without error writes a document that reads back into a report writing the same.
void check_report(std::string const& input) {
    namespace tv = korvax::tolvi;
    for (bool const patch : {false, true}) {
        devcfg::status_report report;
        try {
            tv::from_json(report, input, tv::options().as_patch(patch));
        } catch (tv::document_error const& e) {
            tolvi_fuzz::require(typeid(e) == typeid(tv::document_error),
                                "a refusal of another type");
            continue;
        }
        Variant const written = tv::to_variant(report, tv::options().as_patch());
        devcfg::status_report again;
        tv::from_variant(again, written, tv::options().as_patch());
        tolvi_fuzz::require(tv::to_variant(again, tv::options().as_patch()) == written,
                            "a report read back from its own document writes another one");
    }
}

void check(std::string const& input) {
    tolvi_fuzz::check_records(input);
    check_report(input);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    return tolvi_fuzz::run_input(check, data, size);
}
