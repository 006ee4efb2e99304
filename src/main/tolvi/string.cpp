#include <tolvi/codecs.hpp>

#include <cstring>
#include <stdexcept>
#include <string>

namespace korvax {
namespace tolvi {
inline namespace v1 {

void impl<std::string>::apply() {
    std::string& self = *static_cast<std::string*>(value);
    switch (op_mode) {
    case serialize_to_json:
        *data = Variant(self);
        break;
    case deserialize_from_json:
        if (data->type != Variant::String) {
            throw bad_deserialization_source(top_level, data, nullptr);
        }
        self = *data->value.stringValue;
        break;
    case compare:
        // Every byte counts, embedded NULs included.
        if (self != *static_cast<std::string const*>(other)) {
            *reinterpret_cast<bool*>(data) = false;
        }
        break;
    default:
        break;
    }
}

void impl<char const*>::apply() {
    // Refused before anything else: a deserialized text would have no owner.
    if (op_mode == deserialize_from_json) {
        throw std::logic_error("tolvi::mode::deserialize_from_json unsupported for char const *");
    }
    // `value` is read only in the modes that use it: a names walk may pass none.
    if (op_mode == serialize_to_json) {
        *data = Variant(*static_cast<char const* const*>(value));
    } else if (op_mode == compare && std::strcmp(*static_cast<char const* const*>(value),
                                                 *static_cast<char const* const*>(other)) != 0) {
        *reinterpret_cast<bool*>(data) = false;
    }
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
