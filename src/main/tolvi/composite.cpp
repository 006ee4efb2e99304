// The record codec: the decisions every record makes the same way, whatever its members.
//
// The header code of a record walks its members and asks this codec, per member, where the
// member's Variant is (get_attr) and, when serializing, whether the member has to be written
// at all (the two *_serialization_needed calls). The member's own codec then does the
// conversion. Refusals throw; three of them leave a log line first, so that a device log
// shows which member of which document was turned away. Nothing is rolled back: members
// converted before a refusal keep their new values, and members already written to an output
// stay there.

#include <tolvi/codecs.hpp>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include <skrib/skrib.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

// A refused member is reported with its name, the record's map and the whole document.
[[noreturn]] void refuse_member(impl_base const& c, char const* name) {
    throw bad_deserialization_source(c.top_level, c.data, name);
}

// Source types are told apart by address only; their byte is never read.
bool is_listed(source_type_t const* const* first, unsigned int count, source_type_t const* st) {
    return std::find(first, first + count, st) != first + count;
}

} // namespace

// Deserialization, per member:
//   absent         -> null pointer with patch or optional_member, else refused
//   refused source -> logged and refused, whatever the policy (presence is tested first, so
//                     an absent member is never blamed on its source)
//   Null           -> handed back for optional_member, refused for required_member
// Serialization finds or creates the member; policy and source type play no part there.
data_t* composite_impl::get_attr(char const* name, get_attr_policy policy) {
    if (op_mode != deserialize_from_json && op_mode != serialize_to_json) {
        throw std::logic_error(
            "tolvi::composite_impl::get_attr() called for unsupported tolvi::mode");
    }
    // apply() has made sure the record is a Map.
    Variant::map_type& members = *data->value.mapValue;
    if (op_mode == serialize_to_json) {
        // An absent member is created as Null for the member codec to fill.
        return as_data(&members[name]);
    }

    // A refusal list covers exactly one member: take it and clear it, whatever comes next.
    unsigned int const refused_count = unacceptable_count;
    unacceptable_count = 0;

    auto const it = members.find(name);
    if (it == members.end()) {
        if (patch || policy == optional_member) {
            return nullptr;
        }
        refuse_member(*this, name);
    }
    if (is_listed(unacceptable_source_types, refused_count, source_type)) {
        SKRIB_LOG(skrib::level::error, "rejecting field {} from unacceptable source type", name);
        refuse_member(*this, name);
    }
    if (policy != optional_member && it->second.type == Variant::Null) {
        refuse_member(*this, name);
    }
    return as_data(&it->second);
}

// One record, as the header code drives it:
//   1. apply(), once, before any member: it makes the output a Map, or checks that the source
//      is one.
//   2. Per member, in the record's member order:
//      serialize_to_json      required_ or optional_member_serialization_needed; when that
//                             answers true, get_attr and the member codec on its result.
//      deserialize_from_json  unacceptable_source_types and unacceptable_count filled if the
//                             member has such a list, then get_attr; the member codec runs on
//                             a non-null result and leaves the member alone otherwise.
//      collect_attr_names     add_attr_name_to_vector.
//      compare                the member codecs alone, on both records; this codec takes no
//                             part.
// The member name must outlive the call: get_attr copies it into the output, but the log line
// and the name list of collect_attr_names use the pointer as given.
// With patch set, absent members are skipped on the way in and unprovided ones on the way out,
// so a partial document updates only what it names.
void composite_impl::apply() {
    switch (op_mode) {
    case serialize_to_json:
        // Members already in a Map stay and the record's members are written beside them, so
        // a caller can add a record to an object it has started. Anything else, typically a
        // fresh Null, is replaced.
        if (data->type != Variant::Map) {
            *data = Variant(Variant::map_type());
        }
        break;
    case deserialize_from_json:
        // The report shows the document once when this record is the document itself.
        if (data->type != Variant::Map) {
            throw bad_deserialization_source(top_level, data, nullptr);
        }
        break;
    default:
        // compare and collect_attr_names: the members do all the work.
        break;
    }
}

void composite_impl::add_attr_name_to_vector(char const* name) {
    // In collect_attr_names mode `data` is really the caller's name list. The name is not
    // copied: names are the record descriptions' static texts.
    reinterpret_cast<std::vector<char const*>*>(data)->push_back(name);
}

// The header code compiles these values into the application and passes them as plain numbers;
// changing one breaks every application built before.
static_assert(compare == 0 && deserialize_from_json == 1 && collect_attr_names == 2 &&
                  serialize_to_json == 3,
              "mode values are fixed");
static_assert(required_member == 0 && optional_member == 1, "get_attr_policy values are fixed");
static_assert(unprovided == 0 && disengaged == 1 && engaged == 2,
              "optional_quality values are fixed");
static_assert(sizeof(get_attr_policy) == 4 && sizeof(optional_quality) == 4,
              "both enumerations are passed as 32-bit values");

// Serialization of an optional member, decided in this order:
//   engaged                          -> written
//   unprovided, no patch             -> logged, missing_value
//   disengaged, no patch             -> left out
//   patch, first quality disengaged  -> left out: the receiver has no value either
//   patch, unprovided                -> left out: a patch carries only what was provided
//   patch, disengaged                -> written as an explicit Null, so the receiver drops
//                                       its value; the member is created if absent
// `quality` is the member's own; `first_quality` lets the header code say that the receiver
// holds no value already, in which case an explicit Null would carry nothing new.
// Only serialize_to_json may ask: the last row relies on get_attr inserting the member.
bool composite_impl::optional_member_serialization_needed(optional_quality first_quality,
                                                          optional_quality quality,
                                                          char const* name) {
    if (quality == engaged) {
        return true;
    }
    if (quality == unprovided && !patch) {
        SKRIB_LOG(skrib::level::error, "cannot serialize unprovided value {}", name);
        missing_value::throw_one();
    }
    // Without patch a disengaged member is simply left out.
    if (!patch) {
        return false;
    }
    // The receiver holds no value either.
    if (first_quality == disengaged) {
        return false;
    }
    // An unprovided member has nothing to say in a patch.
    if (quality != disengaged) {
        return false;
    }
    // Destroys whatever the output held under this name.
    *get_attr(name, optional_member) = Variant();
    return false;
}

// Serialization of a required member:
//   patch                            -> written exactly when provided
//   no patch, provided, !first_flag  -> written
//   no patch, otherwise              -> logged, missing_value
// `first_flag` is the header code's to set: it refuses a provided member as well.
bool composite_impl::required_member_serialization_needed(bool first_flag, bool provided,
                                                          char const* name) {
    if (patch) {
        return provided;
    }
    if (provided && !first_flag) {
        return true;
    }
    SKRIB_LOG(skrib::level::error, "cannot serialize unprovided value {}", name);
    missing_value::throw_one();
}

composite_impl::composite_impl() noexcept : unacceptable_count(0) {}

} // namespace v1
} // namespace tolvi
} // namespace korvax
