#pragma once

// The calls. They work on records and on every other type with a codec (lists, maps, scalars):
// to_variant, to_json, to_file write; from_variant, from_json, from_file read; equal compares;
// member_names lists a record's JSON keys and make_patch writes what changed between two
// records (detail/records.hpp tells what each does with members).

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <tolvi/Variant.hpp>
#include <tolvi/context.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/kinds.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/files.hpp>
#include <tolvi/json_text.hpp>
#include <tolvi/options.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace detail {

// The root of every record call that reads, into `v` itself. The messages of the library's
// refusals are left without the document (top_level is null): only the refused value is shown.
// `consume`: the document is the call's own, and what was read is dropped from it as the value
// grows.
template <class T>
void read_document(T& v, Variant const& document, options const& o, bool consume = false) {
    if constexpr (check_type<T, T>()) {
        data_t const* doc = as_data(&document);
        read_settings settings;
        settings.strict = o.strict_keys;
        settings.consume = consume;
        impl<T> codec;
        codec.set_operation(deserialize_from_json, nullptr);
        codec.set_source_type(o.source_type);
        codec.patch = o.patch;
        codec.set_data(&settings, &v, const_cast<data_t*>(doc));
        at<T>(codec, root_place(), doc, [&] {
            check_input<T>(codec, doc);
            if constexpr (child_form<T>::merged) {
                if (o.patch) {
                    child_form<T>::merge(v, document);
                    return;
                }
            }
            codec.apply();
        });
        if (o.patch) {
            check_provided(v);
        }
    }
}

// Moves what `from` read into `to`, member by member. A nested record that both hold is moved
// member by member too, so that the fields a record does not declare keep their values, as they do
// when a document is read into the record itself.
template <class R>
void take_members(R& to, R& from) noexcept;

template <class R, auto M>
void take_member(R& to, R& from, field<M> const&) noexcept {
    using form = member_form<typename member_pointer<decltype(M)>::declared>;
    if constexpr (is_record<typename form::value_type>::value) {
        if (form::quality(to.*M) == engaged && form::quality(from.*M) == engaged) {
            take_members(form::raw(to.*M), form::raw(from.*M));
            return;
        }
    }
    to.*M = std::move(from.*M);
}

template <class R>
void take_members(R& to, R& from) noexcept {
    std::apply([&](auto const&... f) { (take_member(to, from, f), ...); }, record_fields<R>());
}

// Reads into `v`, all or nothing. A whole document (no patch) sets every member whatever `v` held,
// so it is read into a fresh record and only then moved in: the old record is not copied, and lives
// beside the new one only as long as the document does not. A patch is read into a copy.
template <class T>
void read_whole(T& v, Variant const& document, options const& o, bool consume) {
    if constexpr (codec_traits<T>::all_or_nothing) {
        read_document(v, document, o, consume);
    } else {
        if constexpr (is_record<T>::value && std::is_default_constructible<T>::value) {
            if (!o.patch) {
                T fresh{};
                read_document(fresh, document, o, consume);
                take_members(v, fresh);
                return;
            }
        }
        T copy(v);
        read_document(copy, document, o, consume);
        v = std::move(copy);
    }
}

// Text that is not JSON, as document_error::not_json tells it; nothing is logged. A strict read
// also refuses a key that an object holds twice. Text handed over (from a file) is freed as soon
// as it has been read.
template <class Text>
Variant parse_document(Text&& text, options const& o) {
    Variant document;
    parse_failure why;
    if (!parse_json(std::forward<Text>(text), document, why, o.strict_keys)) {
        throw document_error::not_json(std::move(why.reason), why.line, why.column, why.position);
    }
    return document;
}

} // namespace detail

// Every record write call refuses what its text could not give back: a member never provided
// throws missing_member, and a value that JSON text cannot hold so that it reads back equal (NaN,
// an infinity, text that is not UTF-8 or holds a NUL byte, a member that holds a value written as
// null) throws unwritable_value; both name the value's path.
template <class T>
Variant to_variant(T const& v, options const& o = {}) {
    Variant out;
    detail::write_document(v, out, o, static_cast<T const*>(nullptr));
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

// Every record read call throws document_error for a document it refuses, with the refused
// value's path (bad text: the parser's line and column), and leaves `v` as it was: a record is
// read aside (a whole document into a fresh record, a patch into a copy) and moved in on success,
// and a map is read into a copy; the other types are filled aside by their codecs already. A whole
// document (no patch) leaves every optional member it lacks disengaged; a patch that leaves any
// member unprovided is refused (detail/records.hpp). The calls that parse text drop each value from
// the parsed document once it is read, so that the document and the record are never both whole.
template <class T>
void from_variant(T& v, Variant const& document, options const& o = {}) {
    detail::read_whole(v, document, o, false);
}

// Typed reads into a fresh value: `int port = tolvi::from_variant<int>(doc.get("port"));`
// A value of another type or range throws document_error.
template <class T>
T from_variant(Variant const& document, options const& o = {}) {
    T v{};
    detail::read_document(v, document, o);
    return v;
}

template <class T>
void from_json(T& v, std::string const& text, options const& o = {}) {
    detail::read_whole(v, detail::parse_document(text, o), o, true);
}

template <class T>
T from_json(std::string const& text, options const& o = {}) {
    T v{};
    detail::read_document(v, detail::parse_document(text, o), o, true);
    return v;
}

// Reads at most o.read_limit_bytes (read_text_file); a file that cannot be read throws its
// std::system_error, with the errno as code().
template <class T>
void from_file(T& v, std::string const& path, options const& o = {}) {
    detail::read_whole(v, detail::parse_document(read_text_file(path, o.read_limit_bytes), o), o,
                       true);
}

// A file's JSON value as a Variant: document_error for text that is not JSON (empty text included),
// with the parser's line and column; `v` is replaced only when the file parsed. Reads at most
// o.read_limit_bytes, as above. The text is freed once it has been read, and a large document is
// parsed one value at a time (parse_json).
inline void from_file(Variant& v, std::string const& path, options const& o = {}) {
    v = detail::parse_document(read_text_file(path, o.read_limit_bytes), o);
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

// What changed from `baseline` to `changed`, as a patch document (see detail/records.hpp).
template <class R>
Variant make_patch(R const& changed, R const& baseline) {
    static_assert(detail::is_record<R>::value,
                  "make_patch needs a type declared with TOLVI_RECORD");
    Variant out;
    if constexpr (detail::is_record<R>::value) {
        detail::write_document(changed, out, options().as_patch(), &baseline);
    }
    return out;
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
