#pragma once

// Enumerations travel as the names of their enumerators. Declare the name table once, beside the
// enumeration, at namespace scope:
//
//     enum class led_mode { off, on, blink };
//     TOLVI_ENUM(led_mode, {led_mode::off, "off"}, {led_mode::on, "on"}, {led_mode::blink,
//     "blink"});
//
// Where a value or a name is listed twice, the first entry wins in that direction. Serializing a
// value missing from the table throws std::runtime_error, reading an unknown name throws
// bad_deserialization_source; two values compare unequal when they differ. The codec, and all else
// the library knows of enumerations, is in detail/enums.hpp.

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <tolvi/codecs.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

template <class E>
struct enum_name {
    E value;
    char const* name;
};

template <std::size_t N>
struct enum_entries {
    enum_impl_base::entry entries[N];
};

template <class E, std::size_t N>
constexpr enum_entries<N> to_enum_entries(enum_name<E> const (&names)[N]) noexcept {
    static_assert(std::is_enum<E>::value, "TOLVI_ENUM needs an enumeration type");
    enum_entries<N> table{};
    for (std::size_t i = 0; i < N; ++i) {
        table.entries[i] = {static_cast<std::int32_t>(names[i].value), names[i].name};
    }
    return table;
}

void tolvi_enum_table() = delete; // found by ADL for the enumerations declared with TOLVI_ENUM

template <class E, class = void>
struct is_named_enum : std::false_type {};
template <class E>
struct is_named_enum<E, std::void_t<decltype(tolvi_enum_table(static_cast<E const*>(nullptr)))>>
    : std::is_enum<E> {};

template <class E>
enum_impl_base::bimap_t enum_table() noexcept {
    return tolvi_enum_table(static_cast<E const*>(nullptr));
}

} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax

// Declares the JSON names of an enumeration: TOLVI_ENUM(E, {E::a, "a"}, {E::b, "b"});
#define TOLVI_ENUM(E, ...)                                                                         \
    inline ::korvax::tolvi::enum_impl_base::bimap_t tolvi_enum_table(E const*) noexcept {          \
        static constexpr ::korvax::tolvi::detail::enum_name<E> tolvi_names_[] = {__VA_ARGS__};     \
        static constexpr auto tolvi_table_ =                                                       \
            ::korvax::tolvi::detail::to_enum_entries(tolvi_names_);                                \
        return {tolvi_table_.entries,                                                              \
                static_cast<::std::uint32_t>(sizeof tolvi_names_ / sizeof tolvi_names_[0])};       \
    }                                                                                              \
    static_assert(true, "")
