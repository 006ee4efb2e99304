#pragma once

#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// Reads the whole file and parses it; throws std::runtime_error when it cannot be opened.
TOLVI_API Variant variant_from_json_file(std::string const& path);
// Writes the compact JSON text, with no trailing new line; throws std::runtime_error when the file
// cannot be opened.
TOLVI_API void variant_to_json_file(Variant const& value, std::string const& path);

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
