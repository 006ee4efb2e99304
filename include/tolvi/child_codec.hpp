#pragma once

// Running one codec inside another, as the record and container codecs do for their members and
// elements: the child takes the parent's operation settings and its own data pointers.

#include <type_traits>

#include <tolvi/context.hpp>
#include <tolvi/opaque_json_block.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// What a child context carries in `other`: the second value in compare mode, the parent's reading
// settings (options.hpp) in deserialize_from_json.
inline void const* other_for_child(impl_base const& parent, void const* other) noexcept {
    return parent.op_mode == deserialize_from_json ? parent.other : other;
}

// Runs the codec of T as a child of `parent`.
template <class T>
void run(impl_base const& parent, void const* other, T const& v, data_t const* d) {
    impl<T> codec;
    codec.set_operation(parent);
    codec.set_data(other_for_child(parent, other), const_cast<T*>(&v), const_cast<data_t*>(d));
    codec.apply();
}

// Reads a value the target did not hold before. An opaque block is then taken whole: a merge
// into nothing would drop every value but an object.
template <class T>
void read_fresh(impl_base const& parent, T& v, data_t const* d) {
    impl<T> codec;
    codec.set_operation(parent);
    if constexpr (std::is_same<T, opaque_json_block>::value) {
        codec.patch = false;
    }
    codec.set_data(other_for_child(parent, nullptr), &v, const_cast<data_t*>(d));
    codec.apply();
}

// Compares in a flag of its own, so a codec that stores `true` cannot hide a difference found
// elsewhere.
template <class T>
bool same(impl_base const& parent, T const& a, T const& b) {
    bool equal = true;
    run(parent, &a, b, reinterpret_cast<data_t const*>(&equal));
    return equal;
}

template <class T>
bool same(T const& a, T const& b) {
    impl_base root{};
    root.set_operation(compare, nullptr);
    return same(root, a, b);
}

inline bool* compare_flag(impl_base const& c) noexcept {
    return reinterpret_cast<bool*>(c.data);
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
