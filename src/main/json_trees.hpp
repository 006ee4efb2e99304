#pragma once

// The machinery that makes JSON text fast: building Jansson trees from Variants (sharing the
// nodes of recurring values when printing), converting parsed trees into Variants, and printing
// into a plain buffer. Private to the library: nothing here is exported.

#include <tolvi/Variant.hpp>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include <jansson.h>

namespace json_trees {

// Any nonzero first payload byte is true, whoever wrote it.
inline bool bool_of(Variant::Value const& v) noexcept {
    unsigned char first;
    std::memcpy(&first, &v, 1);
    return first != 0;
}

struct json_releaser {
    void operator()(json_t* j) const noexcept { json_decref(j); }
};
using json_ptr = std::unique_ptr<json_t, json_releaser>;

// A new Jansson tree equal to `v`, or null when Jansson refuses the top-level value. A shared
// tree may hold one node in several places: it is for printing only.
json_t* build_tree(Variant const& v, bool share);

// The Variant of a parsed tree. The tree is emptied as it is converted: every container in it is
// left holding nulls, and only the root is left for the caller to release. `deepest`, when given,
// receives the most containers open at once (0 for a scalar).
Variant convert_tree(json_t* root, std::size_t* deepest = nullptr);

// Parses text[0, size) as json_loads does with JSON_DECODE_ANY (the caller ends it at its first NUL
// byte): true with the value in `out`, or false with Jansson's error in `error` and `out` as it
// was. A large document is parsed one value of its outer containers at a time, so that Jansson's
// tree of the whole document never exists; the refusals are the same. With `unique_keys`, an
// object that holds a key twice is refused as JSON_REJECT_DUPLICATES refuses it. `release`, when
// given, is the string that holds the text: it is freed as soon as the text has been read, before
// the value is built from Jansson's tree.
bool parse_text(char const* text, std::size_t size, Variant& out, json_error_t& error,
                bool unique_keys, std::string* release);

// `v` printed with the json_dumps flags `flags`, or the empty string when Jansson refuses it.
std::string dump(Variant const& v, std::size_t flags);

// Writes the exact text of tolvi::to_json into the file `fd` through `buffer`, for a value that
// check_writable passed: 0, or the errno of the write that failed.
int write_exact(int fd, Variant const& value, char* buffer, std::size_t capacity);

constexpr std::size_t not_utf8 = static_cast<std::size_t>(-1);

// The length of `text` up to its first NUL (where Jansson takes text to end), or not_utf8 unless
// those bytes are well-formed UTF-8 as Jansson tests it: no overlong forms, no surrogates, nothing
// past U+10FFFF.
std::size_t utf8_length(char const* text, std::size_t n) noexcept;

} // namespace json_trees
