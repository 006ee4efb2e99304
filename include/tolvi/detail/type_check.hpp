#pragma once

// Which types a record member may have, checked before any codec is instantiated, so that a
// wrong member type gives one error that says what is wrong and how to fix it, instead of a
// backtrace of incomplete codec types.
//
// A member is declared as required<T>, optional<T>, std::optional<T> or a plain T. T is bool, an
// integer type other than char, float, double, std::string, char const* (written and compared,
// never read), an enumeration declared with TOLVI_ENUM, opaque_json_block, a record declared with
// TOLVI_RECORD, any type with a codec of its own (impl<T>), or, nested freely, std::vector<T>,
// std::array<T, N>, std::map<std::string, T> and std::map<K, T> whose keys K are an integer type
// or an enumeration declared with TOLVI_ENUM, std::unordered_map, std::set, std::unordered_set of
// these, and std::chrono::duration. Here are the problems of types that are no kind at all; each
// kind's header checks what it holds with a type_check of its own (a container: its elements).

#include <tuple>
#include <type_traits>

#include <tolvi/context.hpp>
#include <tolvi/members.hpp>
#include <tolvi/record_description.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

template <class T, class = void>
struct has_codec : std::false_type {};
template <class T>
struct has_codec<T, std::void_t<decltype(sizeof(impl<T>))>> : std::true_type {};

// `wrapper`: a member wrapper where a value is expected. `reported`: the type_check of a kind
// said what is wrong with a static_assert of its own.
enum class type_problem {
    none,
    character,
    plain_struct,
    plain_enum,
    wrapper,
    unsupported,
    reported
};

// The first problem in T, looking into containers; `culprit` is the type at fault.
template <class T>
struct type_check {
    using culprit = T;
    static constexpr type_problem problem = std::is_same<T, char>::value ? type_problem::character
                                            : has_codec<T>::value        ? type_problem::none
                                            : std::is_enum<T>::value     ? type_problem::plain_enum
                                            : std::is_class<T>::value && std::is_aggregate<T>::value
                                                ? type_problem::plain_struct
                                                : type_problem::unsupported;
};
template <class T>
struct wrapper_check {
    using culprit = T;
    static constexpr type_problem problem = type_problem::wrapper;
};
template <class T>
struct type_check<required<T>> : wrapper_check<required<T>> {};
template <class T>
struct type_check<optional<T>> : wrapper_check<optional<T>> {};
// One error per problem. `Where` names the member (member_tag<&record::member>) or the type
// handed to a call, and shows in the compiler's note above the error.
template <class Where, class Culprit, type_problem P>
constexpr bool report_type_problem() noexcept {
    static_assert(P != type_problem::character,
                  "tolvi: char is not a member type (is it a number or a letter?): use signed "
                  "char or unsigned char for a number, std::string for text");
    static_assert(P != type_problem::plain_struct,
                  "tolvi: this struct is not a record: declare it with TOLVI_RECORD(type, "
                  "member, ...)");
    static_assert(P != type_problem::plain_enum,
                  "tolvi: this enumeration has no JSON names: declare them with TOLVI_ENUM(type, "
                  "{type::a, \"a\"}, ...)");
    static_assert(P != type_problem::wrapper,
                  "tolvi: a member wrapper is not a value: pass *member, the value it holds "
                  "(required, optional and std::optional are for a record's members only)");
    static_assert(P != type_problem::unsupported,
                  "tolvi: unsupported member type: use bool, an integer type, float, double, "
                  "std::string, an enumeration declared with TOLVI_ENUM, opaque_json_block, a "
                  "record declared with TOLVI_RECORD, a std::chrono::duration, or a std::vector, "
                  "std::array, std::map, std::unordered_map, std::set or std::unordered_set of "
                  "these");
    return P == type_problem::none;
}

template <class Where, class T>
constexpr bool check_type() noexcept {
    return report_type_problem<Where, typename type_check<T>::culprit, type_check<T>::problem>();
}

template <auto M>
constexpr bool check_member() noexcept {
    using W = typename member_pointer<decltype(M)>::declared;
    return check_type<member_tag<M>, typename member_form<W>::value_type>();
}

template <class Fields>
struct members_supported;
template <auto... M>
struct members_supported<std::tuple<field<M>...>>
    : std::bool_constant<(check_member<M>() && ... && true)> {};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
