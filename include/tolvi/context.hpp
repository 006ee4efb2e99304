#pragma once

#include <cstddef>
#include <cstdint>

#include <tolvi/Variant.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// The Variant of an operation. Adds nothing: a data_t* and a Variant* to one object are
// interchangeable.
class data_t : public Variant {
public:
    using Variant::Variant;
    data_t() = default;
    data_t(Variant const& v) : Variant(v) {}
    data_t(Variant&& v) noexcept : Variant(static_cast<Variant&&>(v)) {}
    using Variant::operator=;
};
static_assert(sizeof(data_t) == sizeof(Variant), "data_t adds no state");

inline data_t* as_data(Variant* v) noexcept {
    return static_cast<data_t*>(v);
}
inline data_t const* as_data(Variant const* v) noexcept {
    return static_cast<data_t const*>(v);
}

enum mode : std::int32_t {
    compare = 0,
    deserialize_from_json = 1,
    collect_attr_names = 2,
    serialize_to_json = 3,
};

enum optional_quality : std::int32_t {
    unprovided = 0,
    disengaged = 1,
    engaged = 2,
};

// A source type is identified by the address of its constant; the byte is never read.
using source_type_t = unsigned char;

namespace _ac {
namespace source_type {
// The default: the document's origin is not known. Applications define their own beside it.
extern TOLVI_API source_type_t const unspecified;
} // namespace source_type
} // namespace _ac

// The operation context that drives every codec. Its layout is part of the binary interface:
// application header code writes `patch` and `extra_flag` directly.
class TOLVI_API impl_base {
public:
    void const* other;                // compare: the second application value
    void* value;                      // the application value this codec works on
    data_t* data;                     // the Variant read or written; compare: bool*; names: vector*
    data_t const* top_level;          // the document at the root, for error messages; may be null
    source_type_t const* source_type; // where the document came from; never null after a setter
    mode op_mode;
    bool patch;
    bool extra_flag; // carried from parent to child, read by no operation of the library

    void set_data(void const* other_value, void* this_value, data_t* d) noexcept;
    // Copies the operation settings (top_level, source_type, op_mode, patch, extra_flag).
    void set_operation(impl_base const& parent) noexcept;
    // Starts a root operation: unspecified source type, both flags cleared.
    void set_operation(mode m, data_t const* top) noexcept;
    // Null selects _ac::source_type::unspecified.
    void set_source_type(source_type_t const* st) noexcept;
};

namespace detail {
TOLVI_API optional_quality get_optional_quality(bool provided, bool engaged) noexcept;
} // namespace detail

// Codec of one application type; specialized per type. Each specialization derives from
// impl_base (adding no fields) and offers apply().
template <class T, class Enable = void>
class impl;

// Binary layout checks (LP64 and ILP32 alike).
static_assert(offsetof(impl_base, other) == 0, "impl_base layout");
static_assert(offsetof(impl_base, value) == sizeof(void*), "impl_base layout");
static_assert(offsetof(impl_base, data) == 2 * sizeof(void*), "impl_base layout");
static_assert(offsetof(impl_base, top_level) == 3 * sizeof(void*), "impl_base layout");
static_assert(offsetof(impl_base, source_type) == 4 * sizeof(void*), "impl_base layout");
static_assert(offsetof(impl_base, op_mode) == 5 * sizeof(void*), "impl_base layout");
static_assert(offsetof(impl_base, patch) == 5 * sizeof(void*) + 4, "impl_base layout");
static_assert(offsetof(impl_base, extra_flag) == 5 * sizeof(void*) + 5, "impl_base layout");
static_assert(sizeof(impl_base) == (sizeof(void*) == 8 ? 48 : 28), "impl_base size");

} // namespace v1
} // namespace tolvi
} // namespace korvax
