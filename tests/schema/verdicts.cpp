// The library's side of the JSON Schema check: reads a JSON array of [record, options, document
// text, base text] from standard input and prints, as one JSON object, whether from_json accepted
// each document ("verdicts") into the record read from the base ("" for a new record) and the
// schema of each record and options named ("schemas"). Options are "" or any of "patch", "cloud"
// and "strict", joined with "+".

#include <iostream>
#include <iterator>
#include <string>

#include "../../examples/device_demo/device_config.hpp"
#include "../../examples/device_demo/status_report.hpp"
#include "../record_kinds.hpp"

namespace {

namespace tv = korvax::tolvi;

struct record {
    char const* name;
    tv::source_type_t const& cloud;
    bool (*accepts)(std::string const& base, std::string const& text, tv::options const& o);
    Variant (*schema)(tv::options const& o);
};

template <class R>
bool accepts(std::string const& base, std::string const& text, tv::options const& o) {
    R r;
    if (!base.empty()) {
        tv::from_json(r, base);
    }
    try {
        tv::from_json(r, text, o);
        return true;
    } catch (tv::bad_deserialization_source const&) {
        return false;
    }
}

template <class R>
record make(char const* name, tv::source_type_t const& cloud) {
    return {name, cloud, accepts<R>, tv::json_schema<R>};
}

} // namespace

int main() {
    record const records[] = {make<devcfg::device_config>("device", devcfg::cloud),
                              make<devcfg::status_report>("report", devcfg::cloud),
                              make<kinds::panel>("panel", kinds::cloud),
                              make<kinds::node>("node", kinds::cloud),
                              make<kinds::agent>("agent", kinds::cloud)};
    Variant const input =
        Variant::fromJson(std::string{std::istreambuf_iterator<char>(std::cin), {}});
    Variant::vector_type verdicts;
    Variant::map_type schemas;
    for (Variant const& c : *input.value.vectorValue) {
        std::string const& name = *c.value.vectorValue->at(0).value.stringValue;
        std::string const& how = *c.value.vectorValue->at(1).value.stringValue;
        for (record const& r : records) {
            if (name == r.name) {
                tv::options o;
                o.as_patch(how.find("patch") != std::string::npos);
                o.strict(how.find("strict") != std::string::npos);
                if (how.find("cloud") != std::string::npos) {
                    o.from(r.cloud);
                }
                auto const& args = *c.value.vectorValue;
                verdicts.emplace_back(
                    r.accepts(*args.at(3).value.stringValue, *args.at(2).value.stringValue, o));
                schemas[name + "/" + how] = r.schema(o);
            }
        }
    }
    // Pretty: the compact form rounds reals to 7 digits, and float's range with them.
    std::cout << Variant(Variant::map_type{{"verdicts", Variant(std::move(verdicts))},
                                           {"schemas", Variant(std::move(schemas))}})
                     .prettyPrintJson()
              << '\n';
}
