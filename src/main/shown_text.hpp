#pragma once

// How the library's messages show text that came from a document or a record: keys, string
// values, the parser's reports. Private to the library.

#include <cstddef>
#include <string>
#include <string_view>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// At most `most` bytes of `text` (cut on a character boundary, then "..."), with control bytes
// escaped as JSON escapes them ("\n", "\u001b"); `quoted` writes it as a JSON string, quotes and
// backslashes escaped too. Unquoted, it is a key inside a JSON Pointer, never cut inside "~0".
std::string shown_text(std::string_view text, bool quoted, std::size_t most = 64);

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
