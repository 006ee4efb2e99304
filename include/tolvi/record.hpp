#pragma once

// Records: describe an application struct once and it travels to and from JSON, compares and
// patches.
//
//     struct wifi {
//         tolvi::required<std::string> ssid;
//         tolvi::optional<std::string> static_ip;
//     };
//     TOLVI_RECORD(wifi, ssid, static_ip);
//
// TOLVI_RECORD goes at namespace scope in the record's namespace (a nested struct is named with
// its qualified name), lists the members in document order, up to 32, and is followed by a
// semicolon. Members are public tolvi::required<T> or tolvi::optional<T>, where T is bool, an
// integer type, double, std::string, char const* (write and compare only), an enumeration
// declared with TOLVI_ENUM, opaque_json_block, another record, or a std::vector<T> or
// std::map<std::string, T> of any of these, nested at will.
//
// Source types. A document may say where it came from (options::from). Declare source types
// with TOLVI_SOURCE_TYPE(name) in any namespace; they are told apart by address. A member can
// refuse up to five of them: TOLVI_REFUSE(device, serial, cloud, backup); reading that member
// from a document of a listed source type throws bad_deserialization_source.
//
// Reading (from_variant, from_json, from_file):
// - Without patch, a required member must be present and not null. An optional member that is
//   absent keeps its state (unprovided in a fresh record), a null disengages it.
// - With patch, absent members keep their state, required ones too: a patch document holds
//   only what changes.
// - A value the record did not hold yet (an unprovided or disengaged member, any element of a
//   container) is read from scratch; a value it held is updated in place, so a nested record in
//   a patch is patched member by member and an opaque_json_block is merged.
// - Vectors and maps are replaced whole. When an element fails, the container keeps its old
//   content. Otherwise nothing is rolled back: members read before a failure keep their new
//   values, and the exception says which member or value was refused.
//
// Writing (to_variant, to_json, to_file):
// - Without patch, every member must be provided (missing_value otherwise, after a log line);
//   a disengaged optional member is left out, so it reads back as unprovided.
// - With patch, unprovided members are left out and a disengaged optional member is written as
//   null.
// - make_patch(changed, baseline) also leaves out members equal in both records, and patches
//   nested records that both hold member by member; everything else that changed is written
//   whole. Reading that patch with patch set into a copy of the baseline gives a record equal
//   to `changed`, except where a patch cannot say it: a member that `changed` no longer
//   provides stays as the baseline has it, and an opaque_json_block is merged, not replaced
//   (a key dropped from the block stays).
//
// Keys that a record does not describe are ignored, both ways.
//
// equal(a, b) compares every member: the provided and engaged states, and the values where
// both hold one. Doubles compare exactly.

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/files.hpp>
#include <tolvi/log.hpp>
#include <tolvi/members.hpp>
#include <tolvi/opaque_json_block.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// How a document is read or written. Chain the helpers: options().from(cloud).as_patch().
struct options {
    source_type_t const* source_type = nullptr; // null: _ac::source_type::unspecified
    bool patch = false;

    constexpr options& from(source_type_t const& st) noexcept {
        source_type = &st;
        return *this;
    }
    constexpr options& as_patch(bool on = true) noexcept {
        patch = on;
        return *this;
    }
};

namespace detail {

// One member of a record description: its JSON name and where it lives.
template <auto Member>
struct field {
    char const* name;
};

template <class P>
struct member_pointer;
template <class C, class W>
struct member_pointer<W C::*> {
    using wrapper = W;
};

void tolvi_record_fields() = delete; // found by ADL for the types declared with TOLVI_RECORD

template <class R, class = void>
struct is_record : std::false_type {};
template <class R>
struct is_record<R, std::void_t<decltype(tolvi_record_fields(static_cast<R const*>(nullptr)))>>
    : std::true_type {};

template <class R>
constexpr auto record_fields() noexcept {
    return tolvi_record_fields(static_cast<R const*>(nullptr));
}

// The source types a member refuses, declared with TOLVI_REFUSE.
struct refusals {
    source_type_t const* types[5];
    unsigned int count;
};

template <auto Member>
struct member_tag {};

template <class... S>
constexpr refusals make_refusals(S const&... sources) noexcept {
    static_assert(sizeof...(S) >= 1 && sizeof...(S) <= 5,
                  "TOLVI_REFUSE lists one to five source types");
    static_assert((std::is_same<S, source_type_t>::value && ...),
                  "TOLVI_REFUSE lists source types declared with TOLVI_SOURCE_TYPE");
    return {{&sources...}, static_cast<unsigned int>(sizeof...(S))};
}

// Members without a TOLVI_REFUSE accept every source type.
template <class R, auto Member>
constexpr refusals tolvi_refused(R const*, member_tag<Member>) noexcept {
    return {};
}

template <class R, auto Member>
constexpr refusals refused_sources() noexcept {
    return tolvi_refused(static_cast<R const*>(nullptr), member_tag<Member>{});
}

// Runs the codec of T as a child of `parent`.
template <class T>
void run(impl_base const& parent, void const* other, T const& v, data_t const* d) {
    impl<T> codec;
    codec.set_operation(parent);
    codec.set_data(other, const_cast<T*>(&v), const_cast<data_t*>(d));
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
    codec.set_data(nullptr, &v, const_cast<data_t*>(d));
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

// The codec of a record declared with TOLVI_RECORD.
template <class R>
class impl<R, std::enable_if_t<detail::is_record<R>::value>> : public composite_impl {
public:
    // Patch serialization against a baseline (make_patch): members equal in both records are
    // left out, so the patch holds only changes. Read only when `patch` is set.
    //
    // The arguments of the serialization decisions: `provided` and `quality` are the member's
    // own state, except that a member equal to its baseline counts as unprovided. `first_quality`
    // is the quality of the baseline's member (unprovided without a baseline), so a disengaged
    // member is written as null only when the baseline held something. `first_flag` is always
    // false: without patch, true would refuse a provided member, and with patch it is not read.
    R const* baseline = nullptr;

    void apply() {
        composite_impl::apply();
        std::apply([this](auto const&... f) { (void)(this->member(f) && ...); },
                   detail::record_fields<R>());
    }

private:
    using access = detail::member_access;

    template <class W>
    static constexpr bool is_optional = !std::is_same<W, required<typename W::value_type>>::value;

    // False stops the walk: in compare mode, at the first difference.
    template <auto M>
    bool member(detail::field<M> const& f) {
        using W = typename detail::member_pointer<decltype(M)>::wrapper;
        static_assert(detail::is_member_wrapper<W>::value,
                      "record members are tolvi::required<T> or tolvi::optional<T>");
        switch (op_mode) {
        case serialize_to_json:
            write<M, W>(f.name);
            return true;
        case deserialize_from_json:
            read<M, W>(f.name);
            return true;
        case collect_attr_names:
            add_attr_name_to_vector(f.name);
            return true;
        case compare:
            return compare_member<M, W>();
        default:
            return false;
        }
    }

    template <auto M, class W>
    void write(char const* name) {
        using T = typename W::value_type;
        W const& m = static_cast<R const*>(value)->*M;
        W const* base = patch && baseline != nullptr ? &(baseline->*M) : nullptr;
        bool const both = base != nullptr && access::holds_value(*base) && access::holds_value(m);
        bool const unchanged = both && detail::same(access::raw(*base), access::raw(m));

        bool needed;
        if constexpr (is_optional<W>) {
            needed =
                optional_member_serialization_needed(base != nullptr ? base->quality() : unprovided,
                                                     unchanged ? unprovided : m.quality(), name);
        } else {
            needed = required_member_serialization_needed(false, m.provided() && !unchanged, name);
        }
        if (!needed) {
            return;
        }
        impl<T> codec;
        codec.set_operation(*this);
        codec.set_data(nullptr, const_cast<T*>(&access::raw(m)),
                       get_attr(name, is_optional<W> ? optional_member : required_member));
        if constexpr (detail::is_record<T>::value) {
            if (both) {
                codec.baseline = &access::raw(*base);
            }
        }
        codec.apply();
    }

    template <auto M, class W>
    void read(char const* name) {
        using T = typename W::value_type;
        W& m = static_cast<R*>(value)->*M;
        detail::refusals const refused = detail::refused_sources<R, M>();
        std::copy_n(refused.types, refused.count, unacceptable_source_types);
        unacceptable_count = refused.count;

        data_t const* d = get_attr(name, is_optional<W> ? optional_member : required_member);
        if (d == nullptr) {
            return;
        }
        if constexpr (is_optional<W>) {
            if (d->type == Variant::Null) {
                m.disengage();
                return;
            }
        }
        T& v = access::raw(m);
        if (access::holds_value(m)) {
            detail::run(*this, nullptr, v, d);
        } else {
            if constexpr (detail::is_record<T>::value) {
                v = T(); // members the document leaves out must not survive from before
            }
            detail::read_fresh(*this, v, d);
        }
        access::mark_held(m);
    }

    template <auto M, class W>
    bool compare_member() {
        W const& a = static_cast<R const*>(other)->*M;
        W const& b = static_cast<R const*>(value)->*M;
        bool equal;
        if constexpr (is_optional<W>) {
            equal = a.quality() == b.quality();
        } else {
            equal = a.provided() == b.provided();
        }
        if (equal && access::holds_value(a)) {
            equal = detail::same(*this, access::raw(a), access::raw(b));
        }
        if (!equal) {
            *detail::compare_flag(*this) = false;
        }
        return equal;
    }
};

// Lists travel as JSON arrays. Reading replaces the whole list, and only once every element was
// read: when one fails, the list keeps its old content.
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

// String-keyed maps travel as JSON objects; reading replaces the whole map, as for lists.
template <class T>
class impl<std::map<std::string, T>> : public impl_base {
public:
    void apply() {
        using dict = std::map<std::string, T>;
        switch (op_mode) {
        case serialize_to_json: {
            dict const& in = *static_cast<dict const*>(value);
            auto& out = map_impl::set_map(data, static_cast<unsigned int>(in.size()));
            for (auto const& [key, e] : in) {
                auto slot = out.emplace_hint(out.end(), key, Variant());
                detail::run(*this, nullptr, e, as_data(&slot->second));
            }
            break;
        }
        case deserialize_from_json: {
            dict out;
            for (auto const& [key, source] : map_impl::get_map(top_level, data)) {
                auto slot = out.emplace_hint(out.end(), std::piecewise_construct,
                                             std::forward_as_tuple(key), std::forward_as_tuple());
                detail::read_fresh(*this, slot->second, as_data(&source));
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

// The calls. They work on records and on every other type with a codec (lists, maps, scalars).

template <class T>
Variant to_variant(T const& v, options const& o = {}) {
    Variant out;
    impl<T> codec;
    codec.set_operation(serialize_to_json, as_data(&out));
    codec.set_source_type(o.source_type);
    codec.patch = o.patch;
    codec.set_data(nullptr, const_cast<T*>(&v), as_data(&out));
    codec.apply();
    return out;
}

// Compact JSON text.
template <class T>
std::string to_json(T const& v, options const& o = {}) {
    return to_variant(v, o).toJson();
}

template <class T>
void to_file(T const& v, std::string const& path, options const& o = {}) {
    detail::variant_to_json_file(to_variant(v, o), path);
}

template <class T>
void from_variant(T& v, Variant const& document, options const& o = {}) {
    data_t const* doc = as_data(&document);
    impl<T> codec;
    codec.set_operation(deserialize_from_json, doc);
    codec.set_source_type(o.source_type);
    codec.patch = o.patch;
    codec.set_data(nullptr, &v, const_cast<data_t*>(doc));
    codec.apply();
}

// Malformed text reads as null, which no record accepts: bad_deserialization_source.
template <class T>
void from_json(T& v, std::string const& text, options const& o = {}) {
    from_variant(v, Variant::fromJson(text), o);
}

template <class T>
void from_file(T& v, std::string const& path, options const& o = {}) {
    from_variant(v, detail::variant_from_json_file(path), o);
}

template <class T>
bool equal(T const& a, T const& b) {
    return detail::same(a, b);
}

// The JSON names of a record's members, in declaration order; static texts.
template <class R>
std::vector<char const*> member_names() {
    static_assert(detail::is_record<R>::value,
                  "member_names needs a type declared with TOLVI_RECORD");
    std::vector<char const*> names;
    impl<R> codec;
    codec.set_operation(collect_attr_names, nullptr);
    codec.set_data(nullptr, nullptr, reinterpret_cast<data_t*>(&names));
    codec.apply();
    return names;
}

// What changed from `baseline` to `changed`, as a patch document (see the top of this header).
template <class R>
Variant make_patch(R const& changed, R const& baseline) {
    static_assert(detail::is_record<R>::value,
                  "make_patch needs a type declared with TOLVI_RECORD");
    Variant out;
    impl<R> codec;
    codec.set_operation(serialize_to_json, as_data(&out));
    codec.patch = true;
    codec.baseline = &baseline;
    codec.set_data(nullptr, const_cast<R*>(&changed), as_data(&out));
    codec.apply();
    return out;
}

} // namespace v1
} // namespace tolvi
} // namespace korvax

// Log printing: an unprovided member prints as "(unprovided)", a disengaged one as
// "(disengaged)", a value as its compact JSON (a record with patch rules, so a partly filled
// record prints what it holds).
namespace korvax {
namespace skrib {
inline namespace v1 {
namespace detail {

template <class T>
struct var_printer<::korvax::tolvi::required<T>> {
    int operator()(char* dst, unsigned size, char const* spec,
                   ::korvax::tolvi::required<T> const& m) {
        if (!m.provided()) {
            return print_unprovided(dst, size);
        }
        return var_printer<Variant>{}(
            dst, size, spec,
            ::korvax::tolvi::to_variant(m.get(), ::korvax::tolvi::options().as_patch()));
    }
};

template <class T>
struct var_printer<::korvax::tolvi::optional<T>> {
    int operator()(char* dst, unsigned size, char const* spec,
                   ::korvax::tolvi::optional<T> const& m) {
        if (!m.provided()) {
            return print_unprovided(dst, size);
        }
        if (!m.engaged()) {
            return print_disengaged(dst, size);
        }
        return var_printer<Variant>{}(
            dst, size, spec,
            ::korvax::tolvi::to_variant(m.get(), ::korvax::tolvi::options().as_patch()));
    }
};

} // namespace detail
} // namespace v1
} // namespace skrib
} // namespace korvax

// Source types: TOLVI_SOURCE_TYPE(cloud); in any namespace. Inline, so the address is one
// across the program.
#define TOLVI_SOURCE_TYPE(name)                                                                    \
    inline constexpr ::korvax::tolvi::source_type_t name {}

// TOLVI_RECORD(type, member, ...); at namespace scope, members in document order (up to 32).
#define TOLVI_RECORD(T, ...)                                                                       \
    inline constexpr auto tolvi_record_fields(T const*) noexcept {                                 \
        return ::std::make_tuple(TOLVI_PP_EACH(TOLVI_RECORD_FIELD_, T, __VA_ARGS__));              \
    }                                                                                              \
    static_assert(true, "")

// TOLVI_REFUSE(type, member, source_type, ...); up to five source types the member refuses.
#define TOLVI_REFUSE(T, member, ...)                                                               \
    inline constexpr ::korvax::tolvi::detail::refusals tolvi_refused(                              \
        T const*, ::korvax::tolvi::detail::member_tag<&T::member>) noexcept {                      \
        return ::korvax::tolvi::detail::make_refusals(__VA_ARGS__);                                \
    }                                                                                              \
    static_assert(true, "")

#define TOLVI_RECORD_FIELD_(T, m)                                                                  \
    ::korvax::tolvi::detail::field<&T::m> {                                                        \
#m                                                                                         \
    }

// Preprocessor helpers: count the arguments (up to 32) and apply a macro to each.
#define TOLVI_PP_CAT(a, b) TOLVI_PP_CAT_(a, b)
#define TOLVI_PP_CAT_(a, b) a##b
#define TOLVI_PP_EACH(m, t, ...)                                                                   \
    TOLVI_PP_CAT(TOLVI_PP_EACH_, TOLVI_PP_COUNT(__VA_ARGS__))(m, t, __VA_ARGS__)
#define TOLVI_PP_COUNT(...)                                                                        \
    TOLVI_PP_COUNT_(__VA_ARGS__, 32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17,   \
                    16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)
#define TOLVI_PP_COUNT_(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16,     \
                        _17, _18, _19, _20, _21, _22, _23, _24, _25, _26, _27, _28, _29, _30, _31, \
                        _32, N, ...)                                                               \
    N
#define TOLVI_PP_EACH_1(m, t, x) m(t, x)
#define TOLVI_PP_EACH_2(m, t, x, ...) m(t, x), TOLVI_PP_EACH_1(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_3(m, t, x, ...) m(t, x), TOLVI_PP_EACH_2(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_4(m, t, x, ...) m(t, x), TOLVI_PP_EACH_3(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_5(m, t, x, ...) m(t, x), TOLVI_PP_EACH_4(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_6(m, t, x, ...) m(t, x), TOLVI_PP_EACH_5(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_7(m, t, x, ...) m(t, x), TOLVI_PP_EACH_6(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_8(m, t, x, ...) m(t, x), TOLVI_PP_EACH_7(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_9(m, t, x, ...) m(t, x), TOLVI_PP_EACH_8(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_10(m, t, x, ...) m(t, x), TOLVI_PP_EACH_9(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_11(m, t, x, ...) m(t, x), TOLVI_PP_EACH_10(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_12(m, t, x, ...) m(t, x), TOLVI_PP_EACH_11(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_13(m, t, x, ...) m(t, x), TOLVI_PP_EACH_12(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_14(m, t, x, ...) m(t, x), TOLVI_PP_EACH_13(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_15(m, t, x, ...) m(t, x), TOLVI_PP_EACH_14(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_16(m, t, x, ...) m(t, x), TOLVI_PP_EACH_15(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_17(m, t, x, ...) m(t, x), TOLVI_PP_EACH_16(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_18(m, t, x, ...) m(t, x), TOLVI_PP_EACH_17(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_19(m, t, x, ...) m(t, x), TOLVI_PP_EACH_18(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_20(m, t, x, ...) m(t, x), TOLVI_PP_EACH_19(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_21(m, t, x, ...) m(t, x), TOLVI_PP_EACH_20(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_22(m, t, x, ...) m(t, x), TOLVI_PP_EACH_21(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_23(m, t, x, ...) m(t, x), TOLVI_PP_EACH_22(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_24(m, t, x, ...) m(t, x), TOLVI_PP_EACH_23(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_25(m, t, x, ...) m(t, x), TOLVI_PP_EACH_24(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_26(m, t, x, ...) m(t, x), TOLVI_PP_EACH_25(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_27(m, t, x, ...) m(t, x), TOLVI_PP_EACH_26(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_28(m, t, x, ...) m(t, x), TOLVI_PP_EACH_27(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_29(m, t, x, ...) m(t, x), TOLVI_PP_EACH_28(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_30(m, t, x, ...) m(t, x), TOLVI_PP_EACH_29(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_31(m, t, x, ...) m(t, x), TOLVI_PP_EACH_30(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_32(m, t, x, ...) m(t, x), TOLVI_PP_EACH_31(m, t, __VA_ARGS__)
