#pragma once

// opaque_json_block members: any JSON value, carried as it is. The codec (impl<opaque_json_block>,
// opaque_json_block.hpp) takes any value. In a patch read by the record calls a block held is
// merged with Variant::mergeWith, and a merge it refuses refuses the patch (merge_block);
// make_patch writes the merge that takes the baseline's block to the changed one (block_patch). A
// block read from scratch is taken whole, as a merge into nothing would drop every value but an
// object; in a call that owns its document it is moved out of the document. The schema: any value.

#include <string>
#include <utility>

#include <tolvi/Variant.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/merge_patch.hpp>
#include <tolvi/opaque_json_block.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// Takes any value; a patch merges, and a refused merge changes nothing.
template <>
struct codec_traits<opaque_json_block> {
    static constexpr bool all_or_nothing = true;
    static constexpr output_check check = output_check::all;
    static std::string expected() { return "expected any JSON value"; }
};

template <>
struct child_form<opaque_json_block> : default_child_form {
    static constexpr bool merged = true;
    static constexpr bool takes = true;
    static bool fresh_patch(impl_base const&) noexcept { return false; }
    static void merge(opaque_json_block& v, Variant const& patch) { merge_block(v.json, patch); }
    static Variant changes(opaque_json_block const& v, opaque_json_block const& base) {
        return block_patch(v.json, base.json);
    }
    static bool take(opaque_json_block& v, Variant& source) noexcept {
        v.json = std::move(source);
        return true;
    }
};

template <>
struct schema_of<opaque_json_block> {
    static Variant get(schema_writer&) { return Variant(true); }
};

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
