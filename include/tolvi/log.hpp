#pragma once

#include <skrib/skrib.hpp>

#include <tolvi/Variant.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace skrib {
inline namespace v1 {
namespace detail {

// Prints a Variant as its compact JSON text; the specification text is ignored.
template <>
struct TOLVI_API var_printer<Variant> {
    int operator()(char* dst, unsigned size, char const* spec, Variant const& value);
};

// Write "(unprovided)" / "(disengaged)" cut to fit, and return 12, as snprintf does.
TOLVI_API int print_unprovided(char* dst, unsigned size);
TOLVI_API int print_disengaged(char* dst, unsigned size);

} // namespace detail
} // namespace v1
} // namespace skrib
} // namespace korvax
