#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// A piece of JSON carried by a record without interpretation.
class TOLVI_API opaque_json_block {
public:
    Variant json;

    opaque_json_block() = default;

    static opaque_json_block empty_object();
    static opaque_json_block from_string(char const* text, unsigned int length);
    static opaque_json_block from_string(std::string const& text);

    // JSON type name of the held value ("null", "Number", "String", "Boolean", "Object", "Array").
    char const* json_type() const noexcept;

    // Each stores one member in the held Object; std::logic_error when it holds no Object.
    void set_attribute(char const* key, opaque_json_block const& v);
    void set_attribute(char const* key, opaque_json_block&& v);
    void set_attribute(char const* key, std::nullptr_t);
    void set_attribute(char const* key, bool v);
    void set_attribute(char const* key, int v);
    void set_attribute(char const* key, long long v);
    void set_attribute(char const* key, double v);
    void set_attribute(char const* key, char const* text, unsigned int length);
    void set_attribute(char const* key, std::string&& v);
    void set_attribute(char const* key, std::string const& v);
    // A bare text stores a String (it would otherwise convert to bool).
    void set_attribute(char const* key, char const* text) {
        set_attribute(key, text, static_cast<unsigned int>(std::strlen(text)));
    }

    // The first value the path reaches, or null; std::runtime_error on a malformed path.
    Variant const* attribute_at_path(char const* path) const;

    // Three-way typed comparisons; json_type_mismatch when the held type does not fit.
    int compare(double v) const;
    int compare(long long v) const;
    int compare(int v) const;
    int compare(bool v) const;
    int compare(std::string const& v) const;
    int compare(char const* v) const;
    int compare(std::nullptr_t) const;
    int compare(opaque_json_block const& other) const;
};

template <>
class TOLVI_API impl<opaque_json_block> : public impl_base {
public:
    void apply();
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
