#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

class opaque_json_block;

namespace detail {

// Arithmetic types without an overload of their own (long, unsigned, std::int64_t on either data
// model, float, ...). Each is widened to long long or double, so that no call is ambiguous.
// Unsigned 64-bit values keep their bits, as in Variant's own constructors.
template <class T>
using ojb_widened =
    std::enable_if_t<std::is_arithmetic<T>::value && !std::is_same<T, bool>::value &&
                         !std::is_same<T, int>::value && !std::is_same<T, long long>::value &&
                         !std::is_same<T, double>::value,
                     int>;

template <class T>
constexpr auto ojb_widen(T v) noexcept {
    if constexpr (std::is_integral<T>::value) {
        return static_cast<long long>(v);
    } else {
        return static_cast<double>(v);
    }
}

} // namespace detail

// A read-only look at one JSON value inside a block, as attribute_at_path finds it. It copies
// nothing and stays valid while the block lives unchanged. An empty view means "not found"; its
// typed operations throw std::logic_error.
class TOLVI_API opaque_json_view {
public:
    opaque_json_view() noexcept = default;
    explicit opaque_json_view(Variant const* node) noexcept : node_(node) {}
    opaque_json_view(opaque_json_block const& block) noexcept;

    explicit operator bool() const noexcept { return node_ != nullptr; }
    Variant const* get() const noexcept { return node_; }
    Variant const& operator*() const noexcept { return *node_; }
    Variant const* operator->() const noexcept { return node_; }

    char const* json_type() const;

    // "$" is the viewed value itself.
    opaque_json_view attribute_at_path(char const* path) const;

    int compare(double v) const;
    int compare(long long v) const;
    int compare(int v) const;
    int compare(bool v) const;
    int compare(std::string const& v) const;
    int compare(char const* v) const;
    int compare(std::nullptr_t) const;
    int compare(opaque_json_view other) const;
    template <class T, detail::ojb_widened<T> = 0>
    int compare(T v) const {
        return compare(detail::ojb_widen(v));
    }

private:
    Variant const* node_ = nullptr;
};

// A piece of JSON carried by a record without interpretation.
class TOLVI_API opaque_json_block {
public:
    Variant json;

    opaque_json_block() = default;

    static opaque_json_block empty_object();
    // Empty or malformed text gives a null block (the parser's report goes to the log).
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
    template <class T, detail::ojb_widened<T> = 0>
    void set_attribute(char const* key, T v) {
        set_attribute(key, detail::ojb_widen(v));
    }

    // The first value the path reaches, or an empty view; std::runtime_error on a malformed path.
    opaque_json_view attribute_at_path(char const* path) const;

    // Three-way typed comparisons; json_type_mismatch when the held type does not fit.
    int compare(double v) const;
    int compare(long long v) const;
    int compare(int v) const;
    int compare(bool v) const;
    int compare(std::string const& v) const;
    int compare(char const* v) const;
    int compare(std::nullptr_t) const;
    int compare(opaque_json_block const& other) const;
    int compare(opaque_json_view other) const { return opaque_json_view(&json).compare(other); }
    template <class T, detail::ojb_widened<T> = 0>
    int compare(T v) const {
        return compare(detail::ojb_widen(v));
    }
};

inline opaque_json_view::opaque_json_view(opaque_json_block const& block) noexcept
    : node_(&block.json) {}

// `value` and `other` point at blocks. Deserialization takes any JSON as it is (merged in patch
// mode); compare mode stores the deep equality into the flag, true or false.
template <>
class TOLVI_API impl<opaque_json_block> : public impl_base {
public:
    void apply();
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
