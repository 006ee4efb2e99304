#pragma once

// How the library's messages show text that came from a document or a record: keys, string
// values, the parser's reports; and the escapes of the JSON text the library prints. Private to
// the library.

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

// The JSON escape of a control byte (below 0x20) into `out`: its short form ("\n") where it has
// one, else "\u00XX" with `hex` as the digits (Jansson prints upper case). Returns its length.
inline std::size_t control_escape(unsigned char c, char (&out)[6], char const* hex) noexcept {
    char short_form;
    switch (c) {
    case '\b':
        short_form = 'b';
        break;
    case '\f':
        short_form = 'f';
        break;
    case '\n':
        short_form = 'n';
        break;
    case '\r':
        short_form = 'r';
        break;
    case '\t':
        short_form = 't';
        break;
    default:
        out[0] = '\\';
        out[1] = 'u';
        out[2] = '0';
        out[3] = '0';
        out[4] = hex[c >> 4];
        out[5] = hex[c & 15];
        return 6;
    }
    out[0] = '\\';
    out[1] = short_form;
    return 2;
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
