#include <tolvi/log.hpp>

#include <cstdio>
#include <string>

namespace korvax {
namespace skrib {
inline namespace v1 {
namespace detail {

int var_printer<Variant>::operator()(char* dst, unsigned size, char const*, Variant const& value) {
    std::string const text = value.toJson();
    return std::snprintf(dst, size, "%s", text.c_str());
}

int print_unprovided(char* dst, unsigned size) {
    return std::snprintf(dst, size, "(unprovided)");
}

int print_disengaged(char* dst, unsigned size) {
    return std::snprintf(dst, size, "(disengaged)");
}

} // namespace detail
} // namespace v1
} // namespace skrib
} // namespace korvax
