#pragma once

// std::chrono::duration<Rep, Period> members: a JSON number that counts the duration's own unit
// (std::chrono::seconds 30 is 30, std::chrono::milliseconds 1500 is 1500), read and written by
// Rep's codec. An integral Rep refuses a number written with a fraction, even 3.0, and one outside
// its range, as an integer member does; a floating Rep takes any number (a float within float's
// range), and a double below epsilon is written as 0, as a double member is. The schema states
// Rep's range and names the unit in a "description".

#include <chrono>
#include <ratio>
#include <string>
#include <type_traits>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/floats.hpp>
#include <tolvi/detail/scalars.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/detail/type_check.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

template <class Rep, class Period>
class impl<std::chrono::duration<Rep, Period>> : public impl_base {
public:
    void apply() {
        using duration = std::chrono::duration<Rep, Period>;
        switch (op_mode) {
        case serialize_to_json:
            detail::run(*this, nullptr, static_cast<duration const*>(value)->count(), data);
            break;
        case deserialize_from_json: {
            Rep count{};
            detail::run(*this, nullptr, count, data);
            *static_cast<duration*>(value) = duration(count);
            break;
        }
        case compare:
            if (static_cast<duration const*>(other)->count() !=
                static_cast<duration const*>(value)->count()) {
                *detail::compare_flag(*this) = false;
            }
            break;
        default:
            break;
        }
    }
};

namespace detail {

// "seconds", "milliseconds", ...; "units of 1/30 s" for a period without a name.
template <class Period>
std::string unit_name() {
    if constexpr (std::ratio_equal<Period, std::nano>::value) {
        return "nanoseconds";
    } else if constexpr (std::ratio_equal<Period, std::micro>::value) {
        return "microseconds";
    } else if constexpr (std::ratio_equal<Period, std::milli>::value) {
        return "milliseconds";
    } else if constexpr (std::ratio_equal<Period, std::ratio<1>>::value) {
        return "seconds";
    } else if constexpr (std::ratio_equal<Period, std::ratio<60>>::value) {
        return "minutes";
    } else if constexpr (std::ratio_equal<Period, std::ratio<3600>>::value) {
        return "hours";
    } else if constexpr (std::ratio_equal<Period, std::ratio<86400>>::value) {
        return "days";
    } else {
        std::string unit = "units of " + std::to_string(Period::num);
        if (Period::den != 1) {
            unit += "/" + std::to_string(Period::den);
        }
        return unit + " s";
    }
}

// The count's own refusal, with the unit: "expected an integer from 0 to 255 (seconds)".
template <class Rep, class Period>
struct codec_traits<std::chrono::duration<Rep, Period>> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = codec_traits<Rep>::check;
    static std::string expected() {
        return codec_traits<Rep>::expected() + " (" + unit_name<Period>() + ")";
    }
};

template <class Rep, class Period>
struct schema_of<std::chrono::duration<Rep, Period>> {
    static Variant get(schema_writer& w) {
        Variant s = schema_of<Rep>::get(w);
        s.value.mapValue->emplace("description", Variant("a duration in " + unit_name<Period>()));
        return s;
    }
};

template <class Rep>
struct uncounted_duration {
    static_assert(always_false<Rep>::value,
                  "tolvi: a std::chrono::duration member counts in an integer type (not char), "
                  "float or double");
    using culprit = Rep;
    static constexpr type_problem problem = type_problem::reported;
};

template <class Rep, class Period>
struct type_check<std::chrono::duration<Rep, Period>>
    : std::conditional_t<is_integer<Rep>::value || std::is_same<Rep, float>::value ||
                             std::is_same<Rep, double>::value,
                         type_check<Rep>, uncounted_duration<Rep>> {};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
