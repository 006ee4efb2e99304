#pragma once

// What the codecs of single values (bool, the integers, double, std::string) share: the mode
// switch. Private to the library.

#include <tolvi/context.hpp>
#include <tolvi/errors.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace internal {

// Runs `c`, the codec of a T. Serializing replaces the Variant with `write(value)`. Deserializing
// takes it with `read(variant, value)`, which answers false for a Variant the codec refuses and
// then leaves the value as it was. Comparing clears the result flag when the two values differ;
// it never sets it. Other modes do nothing.
template <class T, class Write, class Read>
void apply_value(impl_base const& c, Write write, Read read) {
    T& self = *static_cast<T*>(c.value);
    switch (c.op_mode) {
    case serialize_to_json:
        *c.data = write(self);
        break;
    case deserialize_from_json:
        if (!read(static_cast<Variant const&>(*c.data), self)) {
            throw bad_deserialization_source(c.top_level, c.data, nullptr);
        }
        break;
    case compare:
        if (self != *static_cast<T const*>(c.other)) {
            *reinterpret_cast<bool*>(c.data) = false;
        }
        break;
    default:
        break;
    }
}

} // namespace internal
} // namespace v1
} // namespace tolvi
} // namespace korvax
