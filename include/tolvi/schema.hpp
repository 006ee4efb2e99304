#pragma once

// JSON Schema (draft 2020-12) of a record: json_schema<R>() describes the documents that
// from_json accepts into R, json_schema<R>(options().as_patch()) the patch documents, and a
// schema with options().from(source) also leaves out the members refused from that source type.
//
// It states the JSON keys, the required members (none in a patch), null for optional members,
// the range of every integer and of float, the names of enumerations, the length of fixed-length
// arrays, the uniqueness of sets' elements and the keys of maps; each nested record is described
// once under "$defs" and referred to with "$ref". Opaque blocks may hold any value. Keys the
// record does not describe are allowed, as reading ignores them, unless options().strict()
// refuses them ("additionalProperties": false). The older keys of a renamed member are
// properties marked "deprecated", of which a document holds at most one. A char const* member is
// never read: it must be absent.
//
// What JSON Schema cannot say: an integer member refuses a number written with a fraction, even
// 3.0, which the schema's "integer" takes; an integer map key must lie in its type's range,
// where the schema only says it is written in decimal; and a set refuses two elements that read
// as one value, where "uniqueItems" compares their JSON. A 64-bit unsigned member takes 0 to
// 2^63 - 1, the part of its range that JSON text holds. A member type with a codec of its own
// (impl<T>) gets no schema: any value.
//
// The root's "description" states those rules and the limits of the text, which refuse the whole
// document: an integer outside the signed 64-bit range or a number beyond a double anywhere, an
// escaped NUL and an unpaired surrogate escape. A patch's schema describes lists and their elements
// as whole documents (a patch replaces them), lets a map entry be null (which removes it), and
// says in its description what depends on the record it is read into: a nested record or map entry
// that the record does not hold yet must be whole, and no member may be left unprovided.

#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/detail/kinds.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/options.hpp>
#include <tolvi/record_description.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

template <class R>
Variant json_schema(options const& o = {}) {
    static_assert(detail::is_record<R>::value,
                  "json_schema needs a type declared with TOLVI_RECORD");
    Variant out;
    if constexpr (detail::is_record<R>::value) {
        detail::schema_writer w(o, &detail::type_id<R>::id);
        out = w.record<R>();
        Variant::map_type& m = *out.value.mapValue;
        m.emplace("$schema", Variant("https://json-schema.org/draft/2020-12/schema"));
        m.emplace("title", Variant(detail::record_name<R>()));
        std::string description =
            "Reading also refuses what this schema cannot state: anywhere in the text, opaque "
            "blocks and keys the record does not describe included, an integer outside the signed "
            "64-bit range, a number too large for a double (1e309), the escape \\u0000 and a "
            "surrogate escape without its pair (\\ud800); in an integer member, a number written "
            "with a fraction (3.0); an integer map key outside its type's range; and two elements "
            "of a set that read as one value.";
        if (o.patch) {
            description += " In a patch, a nested record or a map entry that the record does not "
                           "hold yet must be whole, a change of type inside an opaque block is "
                           "refused, and the record must be left with every member provided.";
        }
        m.emplace("description", Variant(std::move(description)));
        if (!w.defs.empty()) {
            m.emplace("$defs", Variant(std::move(w.defs)));
        }
    }
    return out;
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
