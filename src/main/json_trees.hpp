#pragma once

// The machinery that makes JSON text fast: building Jansson trees from Variants (sharing the
// nodes of recurring values when printing), converting parsed trees into Variants, and printing
// into a plain buffer. Private to the library: nothing here is exported.

#include <tolvi/Variant.hpp>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <jansson.h>

namespace json_trees {

// Any nonzero first payload byte is true, whoever wrote it.
inline bool boolOf(Variant::Value const& v) noexcept {
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
json_t* buildTree(Variant const& v, bool share);

// The Variant of a parsed tree; the tree is left as it is.
Variant convertTree(json_t* root);

// `v` printed with the json_dumps flags `flags`, or the empty string when Jansson refuses it. What
// Jansson refuses inside it (NaN, infinities, text that is not UTF-8) is left out. Running out of
// memory leaves values out too, or gives "", unless `whole` asks for std::bad_alloc instead.
std::string dump(Variant const& v, std::size_t flags, bool whole = false);

// The fewest significant digits (1 to 17) with which "%.*g" prints every finite double in `v` so
// that it reads back exactly.
int exactDigits(Variant const& v);

} // namespace json_trees
