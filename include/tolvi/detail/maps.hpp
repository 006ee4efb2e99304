#pragma once

// std::map<K, T> members: a JSON object, its keys text (std::string), the decimal text of an
// integer type, or the name of an enumerator of an enumeration declared with TOLVI_ENUM (each key
// kind's key_codec). Reading replaces the whole map, filled aside and moved in once every entry was
// read. In a patch read by the record calls a map is patched in place instead, entry by entry (a
// null entry removes the entry, an entry it holds is patched, a new one is read whole), and the
// calls read it into a copy; make_patch writes a map as the entries that differ from the
// baseline's, with the ones the baseline alone has as null. A key that is not a decimal number in
// the key type's range (written as scalar_to_string writes it: no sign but "-", no blanks, no
// leading zeros) or not a name of the enumeration throws bad_deserialization_source, the refused
// key as the attribute of the message; inside the record calls a failure gets the entry's key in
// its path, and a refused key is a document_error at the key's own path.

#include <cstddef>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/json_text.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// Map keys other than std::string.
template <class K>
struct is_map_key : std::bool_constant<key_codec<K>::supported> {};

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

    void apply() { switch_modes<M>(*this); }

    // A whole map, or in a patch read by the record calls the entries that change.
    void read() {
        if (patch && detail::in_record_call(*this)) {
            patch_entries();
        } else {
            read_whole();
        }
    }

    bool equal(dict const& a, dict const& b) const {
        return same_elements<ordered>(
            a, b, [](auto const& e) -> K const& { return e.first; },
            [&](auto const& x, auto const& y) {
                return x.first == y.first && same(*this, x.second, y.second);
            });
    }

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

private:
    static constexpr bool text_keys = std::is_same<K, std::string>::value;
    static constexpr bool ordered = std::is_same<M, std::map<K, T>>::value;

    // A whole map, filled aside and moved in.
    void read_whole() {
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

namespace detail {

// A map read as a patch is patched in place.
template <class K, class T>
struct codec_traits<std::map<K, T>> {
    static constexpr bool all_or_nothing = false;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an object"; }
};

template <class K, class T>
struct is_map<std::map<K, T>> : std::true_type {};

// Patched entry by entry, and read from scratch as a patch too, into an empty map, so that its null
// entries remove nothing.
template <class M>
struct child_form<M, std::enable_if_t<is_map<M>::value>> : default_child_form {
    static constexpr bool patched_in_place = true;
    static bool fresh_patch(impl_base const& parent) noexcept { return parent.patch; }
};

template <class K, class T>
struct holds_records<std::map<K, T>>
    : std::bool_constant<(std::is_same<K, std::string>::value || is_map_key<K>::value) &&
                         holds_records<T>::value> {};

template <class K>
struct unsupported_key {
    static_assert(always_false<K>::value,
                  "tolvi: unsupported map key type: use std::string, an integer type or an "
                  "enumeration declared with TOLVI_ENUM");
    using culprit = K;
    static constexpr type_problem problem = type_problem::reported;
};

// A key type that is no member type either reports that first (char, an enumeration without names).
template <class K, class T>
struct type_check<std::map<K, T>>
    : std::conditional_t<std::is_same<K, std::string>::value || is_map_key<K>::value, type_check<T>,
                         std::conditional_t<type_check<K>::problem != type_problem::none,
                                            type_check<K>, unsupported_key<K>>> {};

template <class K, class T>
struct schema_of<std::map<K, T>> {
    static Variant get(schema_writer& w) {
        Variant::map_type out{{"type", Variant("object")},
                              {"additionalProperties", w.template entry<T>()}};
        if constexpr (!std::is_same<K, std::string>::value) {
            out.emplace("propertyNames", key_codec<K>::schema());
        }
        return Variant(std::move(out));
    }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
