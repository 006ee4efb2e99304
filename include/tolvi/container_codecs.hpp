#pragma once

// Containers and their keys. Lists (std::vector) and fixed-length arrays (std::array) travel as
// JSON arrays, maps as JSON objects. A map's keys are text (std::string), the decimal text of an
// integer type, or the name of an enumerator of an enumeration declared with TOLVI_ENUM.
//
// Reading replaces the whole container, and only once every element was read: when one fails,
// the container keeps its old content. An array of another length than N, and a key that is not
// a decimal number in the key type's range (written as scalar_to_string writes it: no sign but
// "-", no blanks, no leading zeros) or not a name of the enumeration, throw
// bad_deserialization_source; a refused key is the attribute of the message. Inside the record
// calls a failure gets the element's index or key in its path (child_codec.hpp), and a refused key
// is a document_error at the key's own path.

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
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
#include <tolvi/json_text.hpp>

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

// "from -128 to 127", the range of Shown: a value's own type, or the signed 64-bit type in which
// 64-bit unsigned values travel as JSON numbers.
template <class T, class Shown = std::conditional_t<sizeof(T) >= 8, std::int64_t, T>>
std::string integer_range() {
    return "from " + std::to_string(+std::numeric_limits<Shown>::min()) + " to " +
           std::to_string(+std::numeric_limits<Shown>::max());
}

// "\"off\", \"on\"": the names of an enumeration, in the order of its table.
template <class E>
std::string enum_name_list() {
    auto const table = enum_table<E>();
    std::string names;
    for (std::uint32_t i = 0; i < table.count; ++i) {
        names += (i == 0 ? "\"" : ", \"") + std::string(table.entries[i].name) + '"';
    }
    return names;
}

template <class T>
struct codec_traits<T, std::enable_if_t<is_integer<T>::value>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an integer " + integer_range<T>(); }
};

template <class E>
struct codec_traits<E, std::enable_if_t<is_named_enum<E>::value>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected one of " + enum_name_list<E>(); }
};

// Containers are filled aside and moved in whole, and check each element as it is written.
template <class T>
struct codec_traits<std::vector<T>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an array"; }
};

template <class T, std::size_t N>
struct codec_traits<std::array<T, N>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() {
        return "expected an array of " + std::to_string(N) + " elements";
    }
};

template <class K, class T>
struct codec_traits<std::map<K, T>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an object"; }
};

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
    static std::string refusal() { return "map key is not an integer " + integer_range<K, K>(); }
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
    static std::string refusal() { return "map key is not one of " + enum_name_list<K>(); }
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
            std::size_t i = 0;
            for (T const& e : in) { // std::vector<bool> hands out copies; they live long enough
                data_t* const d = as_data(&out.emplace_back());
                detail::at<T>(*this, i++, d, [&] {
                    detail::run(*this, nullptr, e, d);
                    detail::check_output<T>(*this, *d);
                });
            }
            break;
        }
        case deserialize_from_json: {
            auto const& in = vector_impl::get_vector(top_level, data);
            list out(in.size());
            for (std::size_t i = 0; i < in.size(); ++i) {
                data_t const* const d = as_data(&in[i]);
                detail::at<T>(*this, i, d, [&] {
                    if constexpr (std::is_same<T, bool>::value) {
                        bool b = false;
                        detail::read_fresh(*this, b, d);
                        out[i] = b;
                    } else {
                        detail::read_fresh(*this, out[i], d);
                    }
                });
                detail::drop_read(*this, d);
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
            for (std::size_t i = 0; i < N; ++i) {
                data_t* const d = as_data(&out.emplace_back());
                detail::at<T>(*this, i, d, [&] {
                    detail::run(*this, nullptr, in[i], d);
                    detail::check_output<T>(*this, *d);
                });
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
                data_t const* const d = as_data(&in[i]);
                detail::at<T>(*this, i, d, [&] { detail::read_fresh(*this, out[i], d); });
                detail::drop_read(*this, d);
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
            for (auto const& entry : in) {
                Variant::map_type::iterator slot;
                if constexpr (text_keys) { // in the order of the output: every insertion at the end
                    slot = out.emplace_hint(out.end(), entry.first, Variant());
                } else {
                    slot = out.emplace(detail::key_codec<K>::write(entry.first), Variant()).first;
                }
                data_t* const d = as_data(&slot->second);
                detail::at<T>(*this, slot->first, d, [&] {
                    if constexpr (text_keys) { // the other keys are numbers and declared names
                        if (!detail::plain_text(slot->first) && detail::in_record_call(*this)) {
                            detail::check_writable_key(slot->first);
                        }
                    }
                    detail::run(*this, nullptr, entry.second, d);
                    detail::check_output<T>(*this, *d);
                });
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
                        refuse_key(key);
                    }
                    slot = &out[k];
                }
                data_t const* const d = as_data(&source);
                detail::at<T>(*this, key, d, [&] { detail::read_fresh(*this, *slot, d); });
                detail::drop_read(*this, d);
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

private:
    // The record calls report the key at its own path, with the key as the refused value.
    [[noreturn]] void refuse_key(std::string const& key) const {
        if constexpr (!std::is_same<K, std::string>::value) {
            if (detail::in_record_call(*this)) {
                document_error e(std::string(), detail::key_codec<K>::refusal(),
                                 to_json(Variant(key)));
                e.prepend_key(key);
                throw e;
            }
        }
        throw bad_deserialization_source(top_level, data, key.c_str());
    }
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
