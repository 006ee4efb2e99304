#pragma once

// The calls. They work on records and on every other type with a codec (lists, maps, scalars):
// to_variant, to_json, to_file write; from_variant, from_json, from_file read; equal compares;
// member_names lists a record's JSON keys and make_patch writes what changed between two
// records (record_codec.hpp tells what each does with members).

#include <string>
#include <vector>

#include <tolvi/Variant.hpp>
#include <tolvi/context.hpp>
#include <tolvi/files.hpp>
#include <tolvi/json_text.hpp>
#include <tolvi/member_types.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_codec.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

template <class T>
Variant to_variant(T const& v, options const& o = {}) {
    Variant out;
    if constexpr (detail::check_type<T, T>()) {
        impl<T> codec;
        codec.set_operation(serialize_to_json, as_data(&out));
        codec.set_source_type(o.source_type);
        codec.patch = o.patch;
        codec.set_data(nullptr, const_cast<T*>(&v), as_data(&out));
        codec.apply();
    }
    return out;
}

// Compact JSON text, every double exact (json_text.hpp), so that it reads back equal.
template <class T>
std::string to_json(T const& v, options const& o = {}) {
    return to_json(to_variant(v, o));
}

// Saves atomically (see to_file(Variant const&, ...) in files.hpp): the value is serialized
// before any file is touched, and the file then holds the old text or the new, never a part.
template <class T>
void to_file(T const& v, std::string const& path, options const& o = {}) {
    to_file(to_variant(v, o), path);
}

template <class T>
void from_variant(T& v, Variant const& document, options const& o = {}) {
    if constexpr (detail::check_type<T, T>()) {
        data_t const* doc = as_data(&document);
        detail::read_settings settings;
        settings.strict = o.strict_keys;
        impl<T> codec;
        codec.set_operation(deserialize_from_json, doc);
        codec.set_source_type(o.source_type);
        codec.patch = o.patch;
        codec.set_data(&settings, &v, const_cast<data_t*>(doc));
        codec.apply();
    }
}

// Typed reads into a fresh value: `int port = tolvi::from_variant<int>(doc.get("port"));`
// A value of another type or range throws bad_deserialization_source.
template <class T>
T from_variant(Variant const& document, options const& o = {}) {
    T v{};
    from_variant(v, document, o);
    return v;
}

// Malformed text reads as null, which no record accepts: bad_deserialization_source.
template <class T>
void from_json(T& v, std::string const& text, options const& o = {}) {
    from_variant(v, Variant::fromJson(text), o);
}

template <class T>
T from_json(std::string const& text, options const& o = {}) {
    T v{};
    from_json(v, text, o);
    return v;
}

template <class T>
void from_file(T& v, std::string const& path, options const& o = {}) {
    from_variant(v, detail::variant_from_json_file(path), o);
}

template <class T>
bool equal(T const& a, T const& b) {
    if constexpr (detail::check_type<T, T>()) {
        return detail::same(a, b);
    } else {
        return false;
    }
}

// The JSON keys of a record's members, in declaration order; static texts.
template <class R>
std::vector<char const*> member_names() {
    static_assert(detail::is_record<R>::value,
                  "member_names needs a type declared with TOLVI_RECORD");
    std::vector<char const*> names;
    if constexpr (detail::is_record<R>::value) {
        impl<R> codec;
        codec.set_operation(collect_attr_names, nullptr);
        codec.set_data(nullptr, nullptr, reinterpret_cast<data_t*>(&names));
        codec.apply();
    }
    return names;
}

// What changed from `baseline` to `changed`, as a patch document (see record_codec.hpp).
template <class R>
Variant make_patch(R const& changed, R const& baseline) {
    static_assert(detail::is_record<R>::value,
                  "make_patch needs a type declared with TOLVI_RECORD");
    Variant out;
    if constexpr (detail::is_record<R>::value) {
        impl<R> codec;
        codec.set_operation(serialize_to_json, as_data(&out));
        codec.patch = true;
        codec.baseline = &baseline;
        codec.set_data(nullptr, const_cast<R*>(&changed), as_data(&out));
        codec.apply();
    }
    return out;
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
