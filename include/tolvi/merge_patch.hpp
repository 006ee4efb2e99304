#pragma once

// Merge patches of plain values, as RFC 7396 defines them, and the merges of opaque blocks that
// the record calls run when they read or write a patch.

#include <tolvi/Variant.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// `target` with `patch` applied as RFC 7396 says: an object patch is merged key by key, at every
// depth (a null removes the key, a key the target lacks is added without the nulls inside it);
// anything else replaces the target whole. Never fails: a type conflict is a replacement. It knows
// nothing of a record's required members, so its result may not load into a record; the record
// calls' own patches (detail/records.hpp) treat lists and opaque blocks otherwise.
TOLVI_API Variant merge_patch(Variant const& target, Variant const& patch);

namespace detail {

// Merges `patch` into an opaque block's value with Variant::mergeWith. Where the merge refuses, it
// throws document_error at the place of the type conflict inside the block, and the block keeps its
// value.
TOLVI_API void merge_block(Variant& block, Variant const& patch);

// The patch that merge_block takes from `baseline` to `changed` (which differ): keys the baseline
// holds and `changed` lacks as null, values of one type compared at depth. What such a merge cannot
// do (change a value's type, set a key to null, add an object that holds nulls) throws
// unwritable_value at its place inside the block.
TOLVI_API Variant block_patch(Variant const& changed, Variant const& baseline);

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
