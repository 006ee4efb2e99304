#include <tolvi/codecs.hpp>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// Both searches are linear in table order, so the first of any duplicates wins either way.

int enum_impl_base::bimap_lookup(char const* name, bimap_t const& bimap,
                                 enum_impl_base const* context) {
    entry const* const end = bimap.entries + bimap.count;
    entry const* const hit = std::find_if(
        bimap.entries, end, [name](entry const& e) { return std::strcmp(e.name, name) == 0; });
    if (hit != end) {
        return hit->value;
    }
    if (context != nullptr) {
        throw bad_deserialization_source(context->top_level, context->data, nullptr);
    }
    // Outside an operation the name itself is all there is to report.
    data_t const shown(name);
    throw bad_deserialization_source(&shown, nullptr, nullptr);
}

char const* enum_impl_base::bimap_lookup(int value, bimap_t const& bimap) {
    entry const* const end = bimap.entries + bimap.count;
    entry const* const hit =
        std::find_if(bimap.entries, end, [value](entry const& e) { return e.value == value; });
    if (hit == end) {
        throw std::runtime_error("value " + std::to_string(value) + " not member of enumeration");
    }
    return hit->name;
}

int enum_impl_base::name_to_value(bimap_t const& bimap) const {
    if (op_mode != deserialize_from_json) {
        return 0;
    }
    // A number is not accepted in place of a name.
    if (data->type != Variant::String) {
        throw bad_deserialization_source(top_level, data, nullptr);
    }
    return bimap_lookup(data->value.stringValue->c_str(), bimap, this);
}

void enum_impl_base::value_to_name(int value, bimap_t const& bimap) {
    // Looked up in every mode, so an unknown value is reported whatever the operation.
    char const* const name = bimap_lookup(value, bimap);
    if (op_mode == serialize_to_json) {
        *data = Variant(name);
    }
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
