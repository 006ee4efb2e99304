#pragma once

// Running one codec inside another, as the record and container codecs do for their members and
// elements: the child takes the parent's operation settings and its own data pointers.
//
// Inside the record calls (calls.hpp) the children also learn where they are when they fail:
// the record and container codecs run each child through `at`, which puts the child's key or
// index in front of the path of a failure that has one, and turns a bare refusal of the child's
// own codec into a document_error at the child's place, explained by the child's type
// (codec_traits). Nothing of it runs unless something failed.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include <tolvi/context.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/json_text.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_description.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// What a child context carries in `other`: the second value in compare mode; in the record calls,
// which read and write, the call's settings (options.hpp), which no codec of the library reads.
inline void const* other_for_child(impl_base const& parent, void const* other) noexcept {
    return parent.op_mode == compare ? other : parent.other;
}

// Whether `c` runs inside a record call, which says where a failure is and checks what it writes.
// A codec driven by hand, outside the calls, behaves exactly as the framework does.
inline bool in_record_call(impl_base const& c) noexcept {
    return (c.op_mode == deserialize_from_json || c.op_mode == serialize_to_json) &&
           c.other != nullptr;
}

// What the record write calls check in what a codec wrote, so that its text reads back equal:
// nothing (numbers JSON always holds, names and keys of the application's declarations, or
// containers whose elements are checked one by one), a double, a text, a 64-bit unsigned integer,
// or everything.
enum class output_check { none, number, text, unsigned64, all };

// 64-bit unsigned integers, which travel as JSON's signed 64-bit numbers. Their codec keeps the
// bits (2^64 - 1 travels as -1); the record calls take only the values that mean the same to any
// reader of the text: no negative number is read, and nothing above 2^63 - 1 is written.
template <class T>
constexpr bool unsigned64 =
    sizeof(T) == 8 && std::conjunction<std::is_integral<T>, std::is_unsigned<T>>::value;

// What a record call knows of a type's codec: what the codec expects when it refuses a value,
// whether a refused read leaves the value as it was (a codec that checks before it stores, or a
// container filled aside and moved in), and what its output needs checked. Specialized beside
// each codec; of an application's own codec nothing is known.
template <class T, class = void>
struct codec_traits {
    static constexpr bool all_or_nothing = false;
    static constexpr output_check check = output_check::all;
    static std::string expected() { return "refused by the member's codec"; }
};

// How a value of kind T travels as a child beside its codec; specialized beside each kind that
// differs from these defaults.
struct default_child_form {
    // In a patch read by the record calls, a value held is patched by its codec (given `baseline`
    // by make_patch) instead of being read again whole.
    static constexpr bool patched_in_place = false;
    // A value that merges into the one held: merge(v, patch) in a patch, changes(v, base) in
    // make_patch.
    static constexpr bool merged = false;
    // take(v, source) moves the value out of a document the record call owns.
    static constexpr bool takes = false;
    // Whether a value read from scratch is read as a patch: only outside the record calls, which
    // read it as a whole document.
    static bool fresh_patch(impl_base const& parent) noexcept {
        return parent.patch && !in_record_call(parent);
    }
};
template <class T, class = void>
struct child_form : default_child_form {};

// Whether T holds records, at any depth: only they hold members that may be left unprovided.
template <class T, class = void>
struct holds_records : is_record<T> {};

// The index at which the i-th element `e` of a list or set C is written: i, unless C writes its
// elements in another order than it keeps them.
template <class C>
struct written_index {
    static std::size_t of(C const&, typename C::value_type const&, std::size_t i) noexcept {
        return i;
    }
};

// Whether T is a map, whose entries are reached as pairs.
template <class T>
struct is_map : std::false_type {};

// The text of a map key of type K (other than std::string): write(k), read(text, k), refusal() of a
// text that names no K and schema() of the texts; `supported` is false for the types no map takes
// as keys.
template <class K, class = void>
struct key_codec {
    static constexpr bool supported = false;
};

// ASCII without a NUL byte, which JSON text always holds: the common case, checked here without a
// call, eight bytes at a time.
inline bool plain_text(std::string const& text) noexcept {
    char const* p = text.data();
    std::size_t n = text.size();
    for (; n >= 8; p += 8, n -= 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        // A byte with its high bit set, or a zero byte.
        if (((word | ((word - 0x0101010101010101u) & ~word)) & 0x8080808080808080u) != 0) {
            return false;
        }
    }
    for (; n > 0; ++p, --n) {
        if (static_cast<unsigned char>(*p) - 1u >= 0x7Fu) {
            return false;
        }
    }
    return true;
}

// In a record write call: throws unwritable_value (with the path "") when `out`, written by T's
// codec, would not read back equal from JSON text.
template <class T>
void check_output(impl_base const& c, Variant const& out) {
    constexpr output_check check = codec_traits<T>::check;
    if constexpr (check != output_check::none) {
        if (!in_record_call(c)) {
            return;
        }
        if constexpr (check == output_check::number) {
            if (out.type == Variant::Double &&
                !(out.value.doubleValue - out.value.doubleValue == 0)) {
                check_writable(out); // NaN or an infinity
            }
        } else if constexpr (check == output_check::text) {
            if (out.type == Variant::String && !plain_text(*out.value.stringValue)) {
                check_writable(out);
            }
        } else if constexpr (check == output_check::unsigned64) {
            if (out.type == Variant::Integer && out.value.intValue < 0) {
                throw unwritable_value(std::string(), "an integer above 9223372036854775807 "
                                                      "cannot be written as JSON");
            }
        } else {
            check_writable(out);
        }
    }
}

// The place of a child: the root itself, a key or an index.
struct root_place {};

template <class E>
void prepend(E&, root_place) noexcept {}
template <class E>
void prepend(E& e, char const* key) {
    e.prepend_key(key);
}
template <class E>
void prepend(E& e, std::string const& key) {
    e.prepend_key(key);
}
template <class E>
void prepend(E& e, std::size_t index) {
    e.prepend_index(index);
}

// Called in a handler for the failure of the child at `place`, whose Variant is `d` and whose
// codec expects what `expected` says: rethrows it with the place in front of its path, or a bare
// refusal of the child's codec as a document_error there. Out of line, so that each child costs
// one handler.
template <class Place>
[[noreturn, gnu::cold, gnu::noinline]] void relocate(impl_base const& parent, Place const& place,
                                                     data_t const* d, std::string (*expected)()) {
    try {
        throw;
    } catch (document_error& e) {
        prepend(e, place);
        throw;
    } catch (bad_deserialization_source const&) {
        if (!in_record_call(parent)) {
            throw;
        }
        document_error e = d != nullptr ? document_error(std::string(), expected(), *d)
                                        : document_error(std::string(), expected());
        prepend(e, place);
        throw e;
    } catch (missing_member& e) {
        prepend(e, place);
        throw;
    } catch (unwritable_value& e) {
        prepend(e, place);
        throw;
    }
}

// Runs `f`, which reads or writes the child of type T at `place`; `d` is the child's Variant.
template <class T, class Place, class F>
[[gnu::always_inline]] inline void at(impl_base const& parent, Place const& place, data_t const* d,
                                      F&& f) {
    try {
        f();
    } catch (...) {
        relocate(parent, place, d, &codec_traits<T>::expected);
    }
}

// In the record calls, refuses as T's codec refuses a value (bad_deserialization_source, which
// `at` turns into a document_error) what the codec would take with another meaning: a negative
// number for a 64-bit unsigned integer. `c` is the codec about to read `d`.
template <class T>
void check_input(impl_base const& c, data_t const* d) {
    if constexpr (unsigned64<T>) {
        // In the other modes `d` may be no Variant at all (compare: the result flag).
        if (c.op_mode == deserialize_from_json && in_record_call(c) &&
            d->type == Variant::Integer && d->value.intValue < 0) {
            throw bad_deserialization_source(std::string());
        }
    }
}

// In a record call that owns its document, a value its kind can take (child_form::take) is moved
// out of the document instead of copied: it is dropped from it right after anyway (drop_read). True
// when it was.
template <class T>
bool take_from_document(impl_base const& c, T& v, data_t const* d) noexcept {
    if constexpr (child_form<T>::takes) {
        read_settings const* const settings = settings_of(c);
        return settings != nullptr && settings->consume &&
               child_form<T>::take(v, *const_cast<data_t*>(d));
    }
    return false;
}

// Runs the codec of T as a child of `parent`.
template <class T>
void run(impl_base const& parent, void const* other, T const& v, data_t const* d) {
    impl<T> codec;
    codec.set_operation(parent);
    codec.set_data(other_for_child(parent, other), const_cast<T*>(&v), const_cast<data_t*>(d));
    check_input<T>(codec, d);
    codec.apply();
}

// Reads a value the target did not hold before: a record, a list or an element from scratch. In the
// record calls all of it is a whole document, so that a patch cannot leave it incomplete, unless
// its kind says otherwise (child_form::fresh_patch).
template <class T>
void read_fresh(impl_base const& parent, T& v, data_t const* d) {
    if (take_from_document(parent, v, d)) {
        return;
    }
    impl<T> codec;
    codec.set_operation(parent);
    codec.patch = child_form<T>::fresh_patch(parent);
    codec.set_data(other_for_child(parent, nullptr), &v, const_cast<data_t*>(d));
    check_input<T>(codec, d);
    codec.apply();
}

// Reads a value the target holds. In a patch read by the record calls, a kind patched in place
// (records member by member, maps entry by entry) is patched by its codec, a kind that merges
// (opaque blocks) is merged, and everything else is replaced, as read_fresh reads it.
template <class T>
void read_held(impl_base const& parent, T& v, data_t const* d) {
    if (parent.patch && in_record_call(parent)) {
        if constexpr (child_form<T>::merged) {
            child_form<T>::merge(v, *d);
            return;
        } else if constexpr (!child_form<T>::patched_in_place) {
            read_fresh(parent, v, d);
            return;
        }
    }
    if (!take_from_document(parent, v, d)) {
        run(parent, nullptr, v, d);
    }
}

// Writes `v`, as what changed from `base` where make_patch gives one: a kind patched in place by
// its codec, given the base; a kind that merges as the merge that takes the base's value to it.
// Anything else is written whole.
template <class T>
void write_changes(impl_base const& parent, T const& v, T const* base, data_t* d) {
    if (base != nullptr) {
        if constexpr (child_form<T>::merged) {
            *d = child_form<T>::changes(v, *base);
            return;
        } else if constexpr (child_form<T>::patched_in_place) {
            impl<T> codec;
            codec.set_operation(parent);
            codec.set_data(other_for_child(parent, nullptr), const_cast<T*>(&v), d);
            codec.baseline = base;
            codec.apply();
            return;
        }
    }
    run(parent, nullptr, v, d);
}

// Drops a value that was read from a document the record call owns (parsed from text), so that the
// document shrinks as the value grows: the two are never whole at once.
inline void drop_read(impl_base const& c, data_t const* d) noexcept {
    read_settings const* const settings = settings_of(c);
    if (settings != nullptr && settings->consume) {
        *const_cast<data_t*>(d) = Variant();
    }
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

// The mode switch of a container codec `c` over values of type V: the codec gives write(), read()
// and equal(a, b), and a difference clears the result flag.
template <class V, class C>
void switch_modes(C& c) {
    switch (c.op_mode) {
    case serialize_to_json:
        c.write();
        break;
    case deserialize_from_json:
        c.read();
        break;
    case compare:
        if (!c.equal(*static_cast<V const*>(c.other), *static_cast<V const*>(c.value))) {
            *compare_flag(c) = false;
        }
        break;
    default:
        break;
    }
}

// Whether two sets or maps C hold the same elements: walked side by side where C keeps its
// elements in order, otherwise each element of `a` against the one of `b` with its key. `equal`
// compares two elements.
template <bool Ordered, class C, class Key, class Equal>
bool same_elements(C const& a, C const& b, Key key, Equal equal) {
    if (a.size() != b.size()) {
        return false;
    }
    if constexpr (Ordered) {
        return std::equal(a.begin(), a.end(), b.begin(), equal);
    } else {
        return std::all_of(a.begin(), a.end(), [&](auto const& x) {
            auto const y = b.find(key(x));
            return y != b.end() && equal(x, *y);
        });
    }
}

// The root of every record call that writes. The call's settings ride in the context's `other`,
// so that the codecs below report failures with their paths and check what they write.
template <class T>
void write_document(T const& v, Variant& out, options const& o, T const* baseline) {
    if constexpr (check_type<T, T>()) {
        read_settings const settings;
        impl<T> codec;
        codec.set_operation(serialize_to_json, as_data(&out));
        codec.set_source_type(o.source_type);
        codec.patch = o.patch;
        if constexpr (child_form<T>::patched_in_place) {
            codec.baseline = baseline;
        }
        codec.set_data(&settings, const_cast<T*>(&v), as_data(&out));
        codec.apply();
        check_output<T>(codec, *as_data(&out));
    }
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
