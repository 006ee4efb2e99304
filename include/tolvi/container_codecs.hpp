#pragma once

// Containers and their keys. Lists (std::vector) and fixed-length arrays (std::array) travel as
// JSON arrays, maps as JSON objects. A map's keys are text (std::string), the decimal text of an
// integer type, or the name of an enumerator of an enumeration declared with TOLVI_ENUM.
//
// Reading replaces the whole container, and only once every element was read: when one fails,
// the container keeps its old content. An array of another length than N, and a key that is not
// a decimal number in the key type's range (written as scalar_to_string writes it: no sign but
// "-", no blanks, no leading zeros) or not a name of the enumeration, throw
// bad_deserialization_source; a refused key is the attribute of the message.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <tolvi/child_codec.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/errors.hpp>

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

// Map keys other than std::string.
template <class K>
struct is_map_key : std::bool_constant<is_integer<K>::value || is_named_enum<K>::value> {};

template <class K, class = void>
struct key_codec;

template <class K>
struct key_codec<K, std::enable_if_t<is_integer<K>::value>> {
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
};

template <class K>
struct key_codec<K, std::enable_if_t<is_named_enum<K>::value>> {
    // A value missing from the table throws std::runtime_error, as the enumeration's codec does.
    static std::string write(K k) {
        return enum_impl_base::bimap_lookup(static_cast<int>(k), enum_table<K>());
    }
    static bool read(std::string const& text, K& k) {
        auto const table = enum_table<K>();
        for (std::uint32_t i = 0; i < table.count; ++i) {
            if (text == table.entries[i].name) {
                k = static_cast<K>(table.entries[i].value);
                return true;
            }
        }
        return false;
    }
};

} // namespace detail

template <class T>
class impl<std::vector<T>> : public impl_base {
public:
    void apply() {
        using list = std::vector<T>;
        switch (op_mode) {
        case serialize_to_json: {
            list const& in = *static_cast<list const*>(value);
            auto& out = vector_impl::set_vector(data, static_cast<unsigned int>(in.size()));
            for (T const& e : in) { // std::vector<bool> hands out copies; they live long enough
                out.emplace_back();
                detail::run(*this, nullptr, e, as_data(&out.back()));
            }
            break;
        }
        case deserialize_from_json: {
            auto const& in = vector_impl::get_vector(top_level, data);
            list out(in.size());
            for (std::size_t i = 0; i < in.size(); ++i) {
                if constexpr (std::is_same<T, bool>::value) {
                    bool b = false;
                    detail::read_fresh(*this, b, as_data(&in[i]));
                    out[i] = b;
                } else {
                    detail::read_fresh(*this, out[i], as_data(&in[i]));
                }
            }
            *static_cast<list*>(value) = std::move(out);
            break;
        }
        case compare: {
            list const& a = *static_cast<list const*>(other);
            list const& b = *static_cast<list const*>(value);
            bool equal = a.size() == b.size();
            for (std::size_t i = 0; equal && i < a.size(); ++i) {
                equal = detail::same<T>(*this, a[i], b[i]);
            }
            if (!equal) {
                *detail::compare_flag(*this) = false;
            }
            break;
        }
        default:
            break;
        }
    }
};

template <class T, std::size_t N>
class impl<std::array<T, N>> : public impl_base {
public:
    void apply() {
        using list = std::array<T, N>;
        switch (op_mode) {
        case serialize_to_json: {
            list const& in = *static_cast<list const*>(value);
            auto& out = vector_impl::set_vector(data, static_cast<unsigned int>(N));
            for (T const& e : in) {
                out.emplace_back();
                detail::run(*this, nullptr, e, as_data(&out.back()));
            }
            break;
        }
        case deserialize_from_json: {
            auto const& in = vector_impl::get_vector(top_level, data);
            if (in.size() != N) {
                throw bad_deserialization_source(top_level, data, nullptr);
            }
            list out{};
            for (std::size_t i = 0; i < N; ++i) {
                detail::read_fresh(*this, out[i], as_data(&in[i]));
            }
            *static_cast<list*>(value) = std::move(out);
            break;
        }
        case compare: {
            list const& a = *static_cast<list const*>(other);
            list const& b = *static_cast<list const*>(value);
            bool equal = true;
            for (std::size_t i = 0; equal && i < N; ++i) {
                equal = detail::same<T>(*this, a[i], b[i]);
            }
            if (!equal) {
                *detail::compare_flag(*this) = false;
            }
            break;
        }
        default:
            break;
        }
    }
};

template <class K, class T>
class impl<std::map<K, T>,
           std::enable_if_t<std::is_same<K, std::string>::value || detail::is_map_key<K>::value>>
    : public impl_base {
public:
    void apply() {
        using dict = std::map<K, T>;
        constexpr bool text_keys = std::is_same<K, std::string>::value;
        switch (op_mode) {
        case serialize_to_json: {
            dict const& in = *static_cast<dict const*>(value);
            auto& out = map_impl::set_map(data, static_cast<unsigned int>(in.size()));
            for (auto const& [key, e] : in) {
                Variant* slot;
                if constexpr (text_keys) { // in the order of the output: every insertion at the end
                    slot = &out.emplace_hint(out.end(), key, Variant())->second;
                } else {
                    slot = &out.emplace(detail::key_codec<K>::write(key), Variant()).first->second;
                }
                detail::run(*this, nullptr, e, as_data(slot));
            }
            break;
        }
        case deserialize_from_json: {
            dict out;
            for (auto const& [key, source] : map_impl::get_map(top_level, data)) {
                T* slot;
                if constexpr (text_keys) {
                    slot = &out.emplace_hint(out.end(), std::piecewise_construct,
                                             std::forward_as_tuple(key), std::forward_as_tuple())
                                ->second;
                } else {
                    K k{};
                    if (!detail::key_codec<K>::read(key, k)) {
                        throw bad_deserialization_source(top_level, data, key.c_str());
                    }
                    slot = &out[k];
                }
                detail::read_fresh(*this, *slot, as_data(&source));
            }
            *static_cast<dict*>(value) = std::move(out);
            break;
        }
        case compare: {
            dict const& a = *static_cast<dict const*>(other);
            dict const& b = *static_cast<dict const*>(value);
            bool equal = a.size() == b.size();
            for (auto i = a.begin(), j = b.begin(); equal && i != a.end(); ++i, ++j) {
                equal = i->first == j->first && detail::same(*this, i->second, j->second);
            }
            if (!equal) {
                *detail::compare_flag(*this) = false;
            }
            break;
        }
        default:
            break;
        }
    }
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
