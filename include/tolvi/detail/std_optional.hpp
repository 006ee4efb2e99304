#pragma once

// std::optional<T> record members: a member that is a value or nothing, with no third state. Read,
// an absent member or null gives std::nullopt in a whole document; in a patch null gives
// std::nullopt and an absent member keeps its value (a codec driven by hand keeps it in a whole
// document too, as it keeps an optional<T>). Written, std::nullopt is left out of a whole document
// and is null in a patch. It is never unprovided, so a default-constructed std::optional always
// saves. As a value of its own (a list element, the value handed to a call) it is no member type:
// the call names the fix, `*member`.

#include <optional>
#include <utility>

#include <tolvi/context.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/members.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

template <class T>
struct member_form<std::optional<T>> {
    using value_type = T;
    static constexpr bool is_optional = true;
    static optional_quality quality(std::optional<T> const& m) noexcept {
        return m.has_value() ? engaged : disengaged;
    }
    static T& raw(std::optional<T>& m) noexcept { return *m; }
    static T const& raw(std::optional<T> const& m) noexcept { return *m; }
    static void disengage(std::optional<T>& m) noexcept { m.reset(); }
    // Read aside: a refused value leaves the member without one, as it was.
    template <class F>
    static void fill(std::optional<T>& m, F&& read) {
        T v{};
        read(v);
        m = std::move(v);
    }
};

template <class T>
struct type_check<std::optional<T>> : wrapper_check<std::optional<T>> {};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
