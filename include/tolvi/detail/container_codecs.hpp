#pragma once

// Containers and their keys. Lists (std::vector) and fixed-length arrays (std::array) travel as
// JSON arrays, maps as JSON objects. A map's keys are text (std::string), the decimal text of an
// integer type, or the name of an enumerator of an enumeration declared with TOLVI_ENUM.
//
// Reading replaces the whole container, and only once every element was read: when one fails,
// the container keeps its old content. In a patch read by the record calls, a map is patched in
// place instead, entry by entry (a null entry removes the entry, an entry it holds is patched,
// a new one is read whole), and the calls read it into a copy; make_patch writes a map as the
// entries that differ from the baseline's, with the ones the baseline alone has as null. An array
// of another length than N, and a key that is not a decimal number in the key type's range (written
// as scalar_to_string writes it: no sign but
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

#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
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

// "from -128 to 127", the range of T.
template <class T>
std::string integer_range() {
    return "from " + std::to_string(+std::numeric_limits<T>::min()) + " to " +
           std::to_string(+std::numeric_limits<T>::max());
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
    static constexpr output_check check =
        unsigned64<T> ? output_check::unsigned64 : output_check::none;
    static std::string expected() { return "expected an integer " + integer_range<T>(); }
};

template <class E>
struct codec_traits<E, std::enable_if_t<is_named_enum<E>::value>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected one of " + enum_name_list<E>(); }
};

// Lists are filled aside and moved in whole, and containers check each element as it is written.
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

// A map read as a patch is patched in place.
template <class K, class T>
struct codec_traits<std::map<K, T>> {
    static constexpr bool all_or_nothing = false;
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
    static std::string refusal() { return "map key is not an integer " + integer_range<K>(); }
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

namespace detail {

// The codec of a map M, std::map<K, T> or another map with the same interface (unordered_maps.hpp).
// Its JSON object holds the keys in byte order whatever order M keeps.
template <class M>
class map_codec : public impl_base {
public:
    using dict = M;
    using K = typename M::key_type;
    using T = typename M::mapped_type;

    // make_patch's baseline: only the entries that differ from it are written, and the ones it has
    // and the map lacks are written as null. Read only when `patch` is set.
    dict const* baseline = nullptr;

    void apply() {
        switch (op_mode) {
        case serialize_to_json:
            write();
            break;
        case deserialize_from_json:
            if (patch && detail::in_record_call(*this)) {
                patch_entries();
            } else {
                read();
            }
            break;
        case compare: {
            dict const& a = *static_cast<dict const*>(other);
            dict const& b = *static_cast<dict const*>(value);
            bool equal = a.size() == b.size();
            if constexpr (ordered) {
                for (auto i = a.begin(), j = b.begin(); equal && i != a.end(); ++i, ++j) {
                    equal = i->first == j->first && detail::same(*this, i->second, j->second);
                }
            } else {
                for (auto i = a.begin(); equal && i != a.end(); ++i) {
                    auto const j = b.find(i->first);
                    equal = j != b.end() && detail::same(*this, i->second, j->second);
                }
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
    static constexpr bool text_keys = std::is_same<K, std::string>::value;
    static constexpr bool ordered = std::is_same<M, std::map<K, T>>::value;

    void write() {
        dict const& in = *static_cast<dict const*>(value);
        auto& out = map_impl::set_map(data, static_cast<unsigned int>(in.size()));
        dict const* const base = patch ? baseline : nullptr;
        if (base != nullptr) {
            for (auto const& old : *base) {
                if (in.count(old.first) == 0) {
                    write_entry(out, old.first, false, [](data_t*) {}); // null: removed
                }
            }
        }
        for (auto const& entry : in) {
            T const* before = nullptr;
            if (base != nullptr) {
                auto const old = base->find(entry.first);
                if (old != base->end()) {
                    if (detail::same(old->second, entry.second)) {
                        continue;
                    }
                    before = &old->second;
                }
            }
            write_entry(out, entry.first, ordered && base == nullptr, [&](data_t* d) {
                detail::write_changes(*this, entry.second, before, d);
                detail::check_output<T>(*this, *d);
                if (patch && d->type == Variant::Null && detail::in_record_call(*this)) {
                    throw unwritable_value(std::string(),
                                           "null would read back as the removal of the entry");
                }
            });
        }
    }

    // Writes the entry at `key` with `f`, which gets its Variant; `last` says that it comes after
    // every key written so far.
    template <class F>
    void write_entry(Variant::map_type& out, K const& key, bool last, F&& f) {
        Variant::map_type::iterator slot;
        if constexpr (text_keys) {
            slot = last ? out.emplace_hint(out.end(), key, Variant())
                        : out.emplace(key, Variant()).first;
        } else {
            slot = out.emplace(detail::key_codec<K>::write(key), Variant()).first;
        }
        data_t* const d = as_data(&slot->second);
        detail::at<T>(*this, slot->first, d, [&] {
            if constexpr (text_keys) { // the other keys are numbers and declared names
                if (!detail::plain_text(slot->first) && detail::in_record_call(*this)) {
                    detail::check_writable_key(slot->first);
                }
            }
            f(d);
        });
    }

    // A whole map, filled aside and moved in.
    void read() {
        auto const& entries = map_impl::get_map(top_level, data);
        dict out;
        if constexpr (!ordered) {
            out.reserve(entries.size());
        }
        for (auto const& [key, source] : entries) {
            T* slot;
            if constexpr (text_keys) {
                slot = &out.emplace_hint(out.end(), std::piecewise_construct,
                                         std::forward_as_tuple(key), std::forward_as_tuple())
                            ->second;
            } else {
                slot = &out[key_of(key)];
            }
            data_t const* const d = as_data(&source);
            detail::at<T>(*this, key, d, [&] { detail::read_fresh(*this, *slot, d); });
            detail::drop_read(*this, d);
        }
        *static_cast<dict*>(value) = std::move(out);
    }

    // A patch, in place: a null entry removes the entry, an entry the map holds is patched
    // (read_held) and a new one read whole. The record calls read it into a copy.
    void patch_entries() {
        dict& target = *static_cast<dict*>(value);
        for (auto const& [key, source] : map_impl::get_map(top_level, data)) {
            K const k = key_of(key);
            if (source.isNull()) {
                target.erase(k);
                continue;
            }
            auto const [slot, fresh] = target.try_emplace(k);
            data_t const* const d = as_data(&source);
            detail::at<T>(*this, key, d, [&, slot = slot, fresh = fresh] {
                if (fresh) {
                    detail::read_fresh(*this, slot->second, d);
                } else {
                    detail::read_held(*this, slot->second, d);
                }
            });
            detail::drop_read(*this, d);
        }
    }

    K key_of(std::string const& key) const {
        if constexpr (text_keys) {
            return key;
        } else {
            K k{};
            if (!detail::key_codec<K>::read(key, k)) {
                refuse_key(key);
            }
            return k;
        }
    }

    // The record calls report the key at its own path, with the key as the refused value.
    [[noreturn]] void refuse_key(std::string const& key) const {
        if constexpr (!text_keys) {
            if (detail::in_record_call(*this)) {
                document_error e(std::string(), detail::key_codec<K>::refusal(), Variant(key));
                e.prepend_key(key);
                throw e;
            }
        }
        throw bad_deserialization_source(top_level, data, key.c_str());
    }
};

} // namespace detail

template <class K, class T>
class impl<std::map<K, T>,
           std::enable_if_t<std::is_same<K, std::string>::value || detail::is_map_key<K>::value>>
    : public detail::map_codec<std::map<K, T>> {};

} // namespace v1
} // namespace tolvi
} // namespace korvax
