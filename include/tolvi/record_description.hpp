#pragma once

// Record descriptions: which members of an application struct travel, under which JSON keys, and
// from which source types each member is refused.
//
//     struct limits {
//         tolvi::required<int> max_temp;
//         tolvi::optional<int> min_temp;
//         tolvi::required<std::string> klass;
//     };
//     TOLVI_RECORD(limits, (max_temp, "max-temp"), min_temp, (klass, "class"));
//
// TOLVI_RECORD goes at namespace scope in the record's namespace (a nested struct is named with
// its qualified name), lists up to 64 members in document order, and is followed by a semicolon.
// A member's JSON key is its name, or the text given in a `(member, "key")` pair: any UTF-8
// text. The key is the member's name everywhere a document, a patch, member_names, a log line or
// an error message names it; two members with one key do not compile.
//
// Renamed keys: `(max_temp, "max-temp", "maxTemp", "max_temp")` also reads up to four older keys
// of the member. Writing, patches and make_patch use the first key; a document that holds two keys
// of one member is refused.
//
// Source types. A document may say where it came from (options::from). Declare source types
// with TOLVI_SOURCE_TYPE(name) in any namespace; they are told apart by address. A member can
// refuse up to five of them: TOLVI_REFUSE(device, serial, cloud, backup), naming the C++ member;
// reading that member from a document of a listed source type throws bad_deserialization_source.

#include <cstddef>
#include <tuple>
#include <type_traits>

#include <tolvi/context.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

constexpr std::size_t most_old_keys = 4;

// One member of a record description: its JSON key, the older keys it is still read from, and
// where it lives. Keys are constants of the description, as the bare member name was, so they
// cost nothing at run time.
template <auto Member>
struct field {
    char const* name;
    char const* keys[1 + most_old_keys]; // the key, then the older ones; unused ones null

    constexpr bool renamed() const noexcept { return keys[1] != nullptr; }
};

template <auto Member, class... Old>
constexpr field<Member> make_field(char const* key, Old... old) noexcept {
    static_assert(sizeof...(Old) <= most_old_keys,
                  "tolvi: a member lists at most four older keys after its key");
    return field<Member>{key, {key, old...}};
}

template <class P>
struct member_pointer;
template <class C, class W>
struct member_pointer<W C::*> {
    using declared = W; // required<T>, optional<T>, std::optional<T> or a plain T
};

void tolvi_record_fields() = delete; // found by ADL for the types declared with TOLVI_RECORD
void tolvi_record_name() = delete;

template <class R, class = void>
struct is_record : std::false_type {};
template <class R>
struct is_record<R, std::void_t<decltype(tolvi_record_fields(static_cast<R const*>(nullptr)))>>
    : std::true_type {};

template <class R>
constexpr auto record_fields() noexcept {
    return tolvi_record_fields(static_cast<R const*>(nullptr));
}

// The type's name as TOLVI_RECORD was given it.
template <class R>
constexpr char const* record_name() noexcept {
    return tolvi_record_name(static_cast<R const*>(nullptr));
}

template <class... F>
constexpr std::tuple<F...> make_fields(F const&... f) noexcept {
    return std::tuple<F...>(f...);
}
// What too_many_members leaves, so that its error stays the only one.
constexpr std::tuple<> make_fields(std::tuple<> none) noexcept {
    return none;
}

template <class R>
struct always_false : std::false_type {};

template <class R>
constexpr std::tuple<> too_many_members() noexcept {
    static_assert(always_false<R>::value,
                  "tolvi: TOLVI_RECORD describes at most 64 members: split the record into nested "
                  "records");
    return {};
}

constexpr bool same_text(char const* a, char const* b) noexcept {
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

// Every key, older keys included, names one member only.
template <class... F>
constexpr bool distinct_keys(std::tuple<F...> const& fields) noexcept {
    return std::apply(
        [](auto const&... f) {
            constexpr std::size_t per_member = 1 + most_old_keys;
            char const* const* const lists[] = {f.keys..., nullptr}; // never empty
            char const* keys[sizeof...(f) * per_member + 1] = {};
            std::size_t n = 0;
            for (std::size_t m = 0; m < sizeof...(f); ++m) {
                for (std::size_t k = 0; k < per_member; ++k) {
                    keys[n++] = lists[m][k];
                }
            }
            for (std::size_t i = 0; i < n; ++i) {
                for (std::size_t j = i + 1; keys[i] != nullptr && j < n; ++j) {
                    if (keys[j] != nullptr && same_text(keys[i], keys[j])) {
                        return false;
                    }
                }
            }
            return true;
        },
        fields);
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

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

// Source types: TOLVI_SOURCE_TYPE(cloud); in any namespace. Inline, so the address is one
// across the program.
#define TOLVI_SOURCE_TYPE(name)                                                                    \
    inline constexpr ::korvax::tolvi::source_type_t name {}

// TOLVI_RECORD(type, member, (member, "key"), (member, "key", "older key"), ...); at namespace
// scope, members in document order (up to 64).
#define TOLVI_RECORD(T, ...)                                                                       \
    inline constexpr auto tolvi_record_fields(T const*) noexcept {                                 \
        return ::korvax::tolvi::detail::make_fields(                                               \
            TOLVI_PP_EACH(TOLVI_RECORD_FIELD_, T, __VA_ARGS__));                                   \
    }                                                                                              \
    inline constexpr char const* tolvi_record_name(T const*) noexcept {                            \
        return #T;                                                                                 \
    }                                                                                              \
    static_assert(::korvax::tolvi::detail::distinct_keys(                                          \
                      tolvi_record_fields(static_cast<T const*>(nullptr))),                        \
                  "tolvi: two members of " #T " have the same JSON key: give one of them "         \
                  "another key with (member, \"key\")")

// TOLVI_REFUSE(type, member, source_type, ...); up to five source types the member refuses.
#define TOLVI_REFUSE(T, member, ...)                                                               \
    inline constexpr ::korvax::tolvi::detail::refusals tolvi_refused(                              \
        T const*, ::korvax::tolvi::detail::member_tag<&T::member>) noexcept {                      \
        return ::korvax::tolvi::detail::make_refusals(__VA_ARGS__);                                \
    }                                                                                              \
    static_assert(true, "")

// A member is `name` (its key is the name) or `(name, "key", "older key", ...)`.
#define TOLVI_RECORD_FIELD_(T, m) TOLVI_PP_CAT(TOLVI_RECORD_FIELD_, TOLVI_PP_IS_PAREN(m))(T, m)
#define TOLVI_RECORD_FIELD_0(T, m) ::korvax::tolvi::detail::make_field<&T::m>(#m)
#define TOLVI_RECORD_FIELD_1(T, pair) TOLVI_RECORD_KEYED_(T, TOLVI_PP_UNPAREN pair)
#define TOLVI_RECORD_KEYED_(T, ...) TOLVI_RECORD_KEYED__(T, __VA_ARGS__)
#define TOLVI_RECORD_KEYED__(T, m, ...) ::korvax::tolvi::detail::make_field<&T::m>(__VA_ARGS__)

// Preprocessor helpers: tell a parenthesized argument from a bare one, count the arguments (up
// to 64, more give TOO_MANY) and apply a macro to each.
#define TOLVI_PP_CAT(a, b) TOLVI_PP_CAT_(a, b)
#define TOLVI_PP_CAT_(a, b) a##b
#define TOLVI_PP_UNPAREN(...) __VA_ARGS__
#define TOLVI_PP_IS_PAREN(x) TOLVI_PP_SECOND_(TOLVI_PP_IS_PAREN_PROBE_ x, 0, ~)
#define TOLVI_PP_IS_PAREN_PROBE_(...) ~, 1
#define TOLVI_PP_SECOND_(...) TOLVI_PP_SECOND__(__VA_ARGS__)
#define TOLVI_PP_SECOND__(a, b, ...) b
#define TOLVI_PP_EACH(m, t, ...)                                                                   \
    TOLVI_PP_CAT(TOLVI_PP_EACH_, TOLVI_PP_COUNT(__VA_ARGS__))(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_TOO_MANY(m, t, ...) ::korvax::tolvi::detail::too_many_members<t>()
#define TOLVI_PP_COUNT(...)                                                                        \
    TOLVI_PP_COUNT_(                                                                               \
        __VA_ARGS__, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,         \
        TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,  \
        TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,  \
        TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,  \
        TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,  \
        TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,  \
        TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY, TOO_MANY,  \
        TOO_MANY, TOO_MANY, TOO_MANY, 64, 63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50,  \
        49, 48, 47, 46, 45, 44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30, 29, 28,    \
        27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4,  \
        3, 2, 1, 0)
#define TOLVI_PP_COUNT_(                                                                           \
    _1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19, _20,     \
    _21, _22, _23, _24, _25, _26, _27, _28, _29, _30, _31, _32, _33, _34, _35, _36, _37, _38, _39, \
    _40, _41, _42, _43, _44, _45, _46, _47, _48, _49, _50, _51, _52, _53, _54, _55, _56, _57, _58, \
    _59, _60, _61, _62, _63, _64, _65, _66, _67, _68, _69, _70, _71, _72, _73, _74, _75, _76, _77, \
    _78, _79, _80, _81, _82, _83, _84, _85, _86, _87, _88, _89, _90, _91, _92, _93, _94, _95, _96, \
    _97, _98, _99, _100, _101, _102, _103, _104, _105, _106, _107, _108, _109, _110, _111, _112,   \
    _113, _114, _115, _116, _117, _118, _119, _120, _121, _122, _123, _124, _125, _126, _127,      \
    _128, N, ...)                                                                                  \
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
#define TOLVI_PP_EACH_33(m, t, x, ...) m(t, x), TOLVI_PP_EACH_32(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_34(m, t, x, ...) m(t, x), TOLVI_PP_EACH_33(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_35(m, t, x, ...) m(t, x), TOLVI_PP_EACH_34(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_36(m, t, x, ...) m(t, x), TOLVI_PP_EACH_35(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_37(m, t, x, ...) m(t, x), TOLVI_PP_EACH_36(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_38(m, t, x, ...) m(t, x), TOLVI_PP_EACH_37(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_39(m, t, x, ...) m(t, x), TOLVI_PP_EACH_38(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_40(m, t, x, ...) m(t, x), TOLVI_PP_EACH_39(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_41(m, t, x, ...) m(t, x), TOLVI_PP_EACH_40(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_42(m, t, x, ...) m(t, x), TOLVI_PP_EACH_41(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_43(m, t, x, ...) m(t, x), TOLVI_PP_EACH_42(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_44(m, t, x, ...) m(t, x), TOLVI_PP_EACH_43(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_45(m, t, x, ...) m(t, x), TOLVI_PP_EACH_44(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_46(m, t, x, ...) m(t, x), TOLVI_PP_EACH_45(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_47(m, t, x, ...) m(t, x), TOLVI_PP_EACH_46(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_48(m, t, x, ...) m(t, x), TOLVI_PP_EACH_47(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_49(m, t, x, ...) m(t, x), TOLVI_PP_EACH_48(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_50(m, t, x, ...) m(t, x), TOLVI_PP_EACH_49(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_51(m, t, x, ...) m(t, x), TOLVI_PP_EACH_50(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_52(m, t, x, ...) m(t, x), TOLVI_PP_EACH_51(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_53(m, t, x, ...) m(t, x), TOLVI_PP_EACH_52(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_54(m, t, x, ...) m(t, x), TOLVI_PP_EACH_53(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_55(m, t, x, ...) m(t, x), TOLVI_PP_EACH_54(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_56(m, t, x, ...) m(t, x), TOLVI_PP_EACH_55(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_57(m, t, x, ...) m(t, x), TOLVI_PP_EACH_56(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_58(m, t, x, ...) m(t, x), TOLVI_PP_EACH_57(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_59(m, t, x, ...) m(t, x), TOLVI_PP_EACH_58(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_60(m, t, x, ...) m(t, x), TOLVI_PP_EACH_59(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_61(m, t, x, ...) m(t, x), TOLVI_PP_EACH_60(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_62(m, t, x, ...) m(t, x), TOLVI_PP_EACH_61(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_63(m, t, x, ...) m(t, x), TOLVI_PP_EACH_62(m, t, __VA_ARGS__)
#define TOLVI_PP_EACH_64(m, t, x, ...) m(t, x), TOLVI_PP_EACH_63(m, t, __VA_ARGS__)
