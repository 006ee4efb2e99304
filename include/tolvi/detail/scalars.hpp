#pragma once

// bool and the ten integer types other than char. Their codecs are the framework's own
// (codecs.hpp): a JSON boolean, and a JSON integer within the type's range, which refuses a number
// written with a fraction, even 3.0. In the record calls a 64-bit unsigned value travels as the
// signed 64-bit numbers of the text: no negative number is read, nothing above 2^63 - 1 written.
// An integer type is also a map key, as its decimal text (scalar_to_string).

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// The ten integer types with a codec of the library; char is not one of them.
template <class T>
struct is_integer : std::false_type {};
template <>
struct is_integer<signed char> : std::true_type {};
template <>
struct is_integer<unsigned char> : std::true_type {};
template <>
struct is_integer<short> : std::true_type {};
template <>
struct is_integer<unsigned short> : std::true_type {};
template <>
struct is_integer<int> : std::true_type {};
template <>
struct is_integer<unsigned int> : std::true_type {};
template <>
struct is_integer<long> : std::true_type {};
template <>
struct is_integer<unsigned long> : std::true_type {};
template <>
struct is_integer<long long> : std::true_type {};
template <>
struct is_integer<unsigned long long> : std::true_type {};

// "from -128 to 127", the range of T.
template <class T>
std::string integer_range() {
    return "from " + std::to_string(+std::numeric_limits<T>::min()) + " to " +
           std::to_string(+std::numeric_limits<T>::max());
}

template <>
struct codec_traits<bool> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected true or false"; }
};

template <class T>
struct codec_traits<T, std::enable_if_t<is_integer<T>::value>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check =
        unsigned64<T> ? output_check::unsigned64 : output_check::none;
    static std::string expected() { return "expected an integer " + integer_range<T>(); }
};

template <class K>
struct key_codec<K, std::enable_if_t<is_integer<K>::value>> {
    static constexpr bool supported = true;
    static std::string write(K k) { return impl<K>::scalar_to_string(k); }
    // Only the text that write() gives back: the conversion alone would take blanks, a "+",
    // trailing text, and cut a number too wide for K.
    static bool read(std::string const& text, K& k) {
        try {
            k = impl<K>::scalar_from_string(text);
        } catch (std::logic_error const&) { // std::invalid_argument, std::out_of_range
            return false;
        }
        return impl<K>::scalar_to_string(k) == text;
    }
    static std::string refusal() { return "map key is not an integer " + integer_range<K>(); }
    // The text ends at the lookahead: some validators let "$" pass before a final new line
    // (Python's re.search), which reading refuses.
    static Variant schema() {
        return schema_object(
            {{"pattern", Variant(std::is_signed<K>::value ? "^(0|-?[1-9][0-9]*)(?![\\s\\S])"
                                                          : "^(0|[1-9][0-9]*)(?![\\s\\S])")}});
    }
};

template <>
struct schema_of<bool> {
    static Variant get(schema_writer&) { return schema_type("boolean"); }
};

// A 64-bit unsigned member reads what JSON text holds of its range: up to 2^63 - 1.
template <class T>
struct schema_of<T, std::enable_if_t<is_integer<T>::value>> {
    static Variant get(schema_writer&) {
        using limits = std::numeric_limits<T>;
        using most = std::numeric_limits<std::conditional_t<unsigned64<T>, long long, T>>;
        return schema_object({{"type", Variant("integer")},
                              {"minimum", Variant(static_cast<long long>(limits::min()))},
                              {"maximum", Variant(static_cast<long long>(most::max()))}});
    }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
