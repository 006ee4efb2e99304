#pragma once

// std::string and char const* members: a JSON string. A std::string is read and written whole; in
// a call that owns its document it is moved out of the document. A char const* is written and
// compared, never read (a read text would have no owner): its schema says it must be absent. The
// record write calls refuse text that is not UTF-8 or holds a NUL byte (unwritable_value).

#include <string>
#include <utility>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

template <>
struct codec_traits<std::string> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::text;
    static std::string expected() { return "expected a string"; }
};

// Written, never read.
template <>
struct codec_traits<char const*> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::text;
    static std::string expected() { return "cannot be read"; }
};

template <>
struct child_form<std::string> : default_child_form {
    static constexpr bool takes = true;
    static bool take(std::string& v, Variant& source) noexcept {
        if (source.type != Variant::String) {
            return false; // the codec refuses it
        }
        v = std::move(*source.value.stringValue);
        return true;
    }
};

template <>
struct schema_of<std::string> {
    static Variant get(schema_writer&) { return schema_type("string"); }
};

template <>
struct schema_of<char const*> {
    static Variant get(schema_writer&) { return Variant(false); }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
