#include <tolvi/codecs.hpp>

#include "value_codec.hpp"

#include <climits>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

template <class T>
bool fits(std::int64_t v) {
    // A 64-bit T takes every Integer; unsigned long long keeps the bits as they are.
    if constexpr (sizeof(T) >= sizeof(std::int64_t)) {
        (void)v;
        return true;
    } else {
        return v >= static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
               v <= static_cast<std::int64_t>(std::numeric_limits<T>::max());
    }
}

template <class T>
void apply_integer(impl_base const& c) {
    internal::apply_value<T>(
        c, [](T v) { return Variant(static_cast<std::int64_t>(v)); },
        [](Variant const& d, T& v) {
            if (d.type != Variant::Integer || !fits<T>(d.value.intValue)) {
                return false;
            }
            v = static_cast<T>(d.value.intValue);
            return true;
        });
}

// True when the first non-blank character is a minus sign, as strtoul sees it.
bool negative_text(std::string const& text) {
    auto const p = text.find_first_not_of(" \t\n\v\f\r");
    return p != std::string::npos && text[p] == '-';
}

template <class T>
T integer_from_string(std::string const& text) {
    if constexpr (sizeof(T) < sizeof(int)) {
        // No range check of its own: the int is cut to the width of T.
        return static_cast<T>(std::stoi(text, nullptr, 10));
    } else if constexpr (std::is_same<T, int>::value) {
        return std::stoi(text, nullptr, 10);
    } else if constexpr (std::is_same<T, unsigned int>::value) {
        unsigned long const v = std::stoul(text, nullptr, 10);
        if constexpr (sizeof(unsigned long) > sizeof(unsigned int)) {
            // Where long is 64 bits wide, report what a 32-bit stoul reports: a magnitude
            // beyond 32 bits.
            unsigned long const magnitude = negative_text(text) ? 0UL - v : v;
            if (magnitude > UINT_MAX) {
                throw std::out_of_range("stoul");
            }
        }
        return static_cast<unsigned int>(v);
    } else if constexpr (std::is_same<T, long>::value) {
        return std::stol(text, nullptr, 10);
    } else if constexpr (std::is_same<T, unsigned long>::value) {
        return std::stoul(text, nullptr, 10);
    } else if constexpr (std::is_same<T, long long>::value) {
        return std::stoll(text, nullptr, 10);
    } else {
        static_assert(std::is_same<T, unsigned long long>::value, "integer codec");
        return std::stoull(text, nullptr, 10);
    }
}

} // namespace

void impl<bool>::apply() {
    internal::apply_value<bool>(
        *this, [](bool b) { return Variant(b); },
        [](Variant const& d, bool& b) {
            // Neither 0/1 nor "true"/"false": only a JSON boolean is a bool.
            if (d.type != Variant::Boolean) {
                return false;
            }
            b = d.value.boolValue;
            return true;
        });
}

// The narrow types print as numbers: they promote to int, never to a character.
#define TOLVI_DEFINE_INTEGER_IMPL(T)                                                               \
    void impl<T>::apply() {                                                                        \
        apply_integer<T>(*this);                                                                   \
    }                                                                                              \
    T impl<T>::scalar_from_string(std::string const& text) {                                       \
        return integer_from_string<T>(text);                                                       \
    }                                                                                              \
    std::string impl<T>::scalar_to_string(T v) {                                                   \
        return std::to_string(v);                                                                  \
    }

TOLVI_DEFINE_INTEGER_IMPL(signed char)
TOLVI_DEFINE_INTEGER_IMPL(unsigned char)
TOLVI_DEFINE_INTEGER_IMPL(short)
TOLVI_DEFINE_INTEGER_IMPL(unsigned short)
TOLVI_DEFINE_INTEGER_IMPL(int)
TOLVI_DEFINE_INTEGER_IMPL(unsigned int)
TOLVI_DEFINE_INTEGER_IMPL(long)
TOLVI_DEFINE_INTEGER_IMPL(unsigned long)
TOLVI_DEFINE_INTEGER_IMPL(long long)
TOLVI_DEFINE_INTEGER_IMPL(unsigned long long)
#undef TOLVI_DEFINE_INTEGER_IMPL

double impl<double>::epsilon = 1e-08;

// Compared exactly: epsilon only tidies output. NaN never equals NaN.
void impl<double>::apply() {
    internal::apply_value<double>(
        *this,
        [](double x) {
            // Rounding noise near zero (and -0.0) is written as 0.0; NaN fails both tests and
            // stays.
            double const eps = epsilon;
            return Variant(x < eps && x > -eps ? 0.0 : x);
        },
        [](Variant const& d, double& x) {
            if (d.type != Variant::Integer && d.type != Variant::Double) {
                return false;
            }
            x = d.asDouble();
            return true;
        });
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
