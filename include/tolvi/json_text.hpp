#pragma once

// JSON text beyond Variant::fromJson and toJson: parsing that says where the text went wrong
// instead of logging it, and the compact text that keeps every double exactly.

#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// Why and where text is not JSON, as the parser reports it.
struct parse_failure {
    std::string reason; // such as "invalid token near 'tru'"; control bytes escaped
    int line = 0;       // 1-based
    int column = 0;     // 1-based
    int position = 0;   // 0-based byte offset
};

// Parses like Variant::fromJson (any value at the top, up to the first NUL byte), but logs
// nothing: on text that is not JSON (empty text included) it returns false, fills `why` and
// leaves `out` as it was.
// A large document is parsed one value of its outer containers at a time, so that it never stands
// whole as the parser's tree beside the Variant; what it gives or refuses is the same.
TOLVI_API bool parse_json(std::string const& text, Variant& out, parse_failure& why);
// The same, and with `unique_keys` an object that holds a key twice is refused too; otherwise the
// last value of the key is kept.
TOLVI_API bool parse_json(std::string const& text, Variant& out, parse_failure& why,
                          bool unique_keys);
// The same for text the caller gives up: it is freed as soon as it has been read, before the
// Variant is built from the parser's tree.
TOLVI_API bool parse_json(std::string&& text, Variant& out, parse_failure& why,
                          bool unique_keys = false);

// The compact text of toJson, except that each double is written with the fewest significant
// digits that read back the same double (toJson keeps 7): 0.1 stays 0.1 and 1.0 / 3 takes 16,
// whatever else the value holds; a whole number below 1e17 keeps all its digits (100.0, not 1e2).
// What toJson leaves out (NaN, infinities, text that is not UTF-8) is left out here too, and a
// refused value at the top gives "" (check_writable, below, refuses them instead). Running out of
// memory throws std::bad_alloc: the text never lacks a value for that reason.
TOLVI_API std::string to_json(Variant const& value);

// Throws unwritable_value when JSON text cannot hold `value` so that it reads back equal: a NaN or
// an infinity (the printers leave it out), a string or a key that is not UTF-8 (left out) or holds
// a NUL byte (cut there). The exception's path points at the first such value inside `value`, ""
// for `value` itself. The record write calls check what they wrote with it.
TOLVI_API void check_writable(Variant const& value);

namespace detail {
// The parser's own report, `text`, as parse_failure::reason gives it: the quoted token's control
// bytes escaped, and no parser flag named that nobody using the library can set.
TOLVI_API std::string parser_reason(char const* text);
// The same for one key of an object: unwritable_value with the path "".
TOLVI_API void check_writable_key(std::string const& key);
} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax
