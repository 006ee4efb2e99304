#include <tolvi/codecs.hpp>

#include "value_codec.hpp"

#include <cstring>
#include <stdexcept>
#include <string>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// Every byte counts, embedded NULs included, both ways and in compare mode.
void impl<std::string>::apply() {
    internal::apply_value<std::string>(
        *this, [](std::string const& s) { return Variant(s); },
        [](Variant const& d, std::string& s) {
            if (d.type != Variant::String) {
                return false;
            }
            s = *d.value.stringValue;
            return true;
        });
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
