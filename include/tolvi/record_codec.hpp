#pragma once

// The codec of a record declared with TOLVI_RECORD (record_description.hpp).
//
// Reading (from_variant, from_json, from_file):
// - Without patch, a required member must be present and not null. An optional member that is
//   absent keeps its state (unprovided in a fresh record), a null disengages it.
// - With patch, absent members keep their state, required ones too: a patch document holds
//   only what changes.
// - A value the record did not hold yet (an unprovided or disengaged member, any element of a
//   container) is read from scratch; a value it held is updated in place, so a nested record in
//   a patch is patched member by member and an opaque_json_block is merged.
// - Containers are replaced whole (container_codecs.hpp). Otherwise nothing is rolled back:
//   members read before a failure keep their new values, and the exception says which member
//   or value was refused.
//
// Writing (to_variant, to_json, to_file):
// - Without patch, every member must be provided (missing_value otherwise, after a log line);
//   a disengaged optional member is left out, so it reads back as unprovided.
// - With patch, unprovided members are left out and a disengaged optional member is written as
//   null.
// - make_patch(changed, baseline) also leaves out members equal in both records, and patches
//   nested records that both hold member by member; everything else that changed is written
//   whole. Reading that patch with patch set into a copy of the baseline gives a record equal
//   to `changed`, except where a patch cannot say it: a member that `changed` no longer
//   provides stays as the baseline has it, and an opaque_json_block is merged, not replaced
//   (a key dropped from the block stays).
//
// Keys that a record does not describe are ignored, both ways, unless the read is strict
// (options().strict(), record_keys.hpp): then each record refuses them before reading a member.
//
// Comparing checks every member: the provided and engaged states, and the values where both
// hold one. Floating-point values compare exactly.

#include <algorithm>
#include <type_traits>

#include <tolvi/child_codec.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/container_codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/enum.hpp>
#include <tolvi/float_codec.hpp>
#include <tolvi/member_types.hpp>
#include <tolvi/members.hpp>
#include <tolvi/opaque_json_block.hpp>
#include <tolvi/record_description.hpp>
#include <tolvi/record_keys.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

template <class R>
class impl<R, std::enable_if_t<detail::is_record<R>::value>> : public composite_impl {
public:
    // Patch serialization against a baseline (make_patch): members equal in both records are
    // left out, so the patch holds only changes. Read only when `patch` is set.
    //
    // The arguments of the serialization decisions: `provided` and `quality` are the member's
    // own state, except that a member equal to its baseline counts as unprovided. `first_quality`
    // is the quality of the baseline's member (unprovided without a baseline), so a disengaged
    // member is written as null only when the baseline held something. `first_flag` is always
    // false: without patch, true would refuse a provided member, and with patch it is not read.
    R const* baseline = nullptr;

    void apply() {
        // A member type without a codec stops here, with its own error and no other.
        if constexpr (detail::members_supported<decltype(detail::record_fields<R>())>::value) {
            composite_impl::apply();
            detail::read_settings const* const settings = detail::settings_of(*this);
            if (settings != nullptr && settings->strict) {
                detail::check_known_keys<R>(*data->value.mapValue);
            }
            std::apply([this](auto const&... f) { (void)(this->member(f) && ...); },
                       detail::record_fields<R>());
        }
    }

private:
    using access = detail::member_access;

    template <class W>
    static constexpr bool is_optional = !std::is_same<W, required<typename W::value_type>>::value;

    // False stops the walk: in compare mode, at the first difference.
    template <auto M>
    bool member(detail::field<M> const& f) {
        using W = typename detail::member_pointer<decltype(M)>::wrapper;
        switch (op_mode) {
        case serialize_to_json:
            write<M, W>(f.name);
            return true;
        case deserialize_from_json:
            read<M, W>(f.renamed() ? detail::present_key(f, *data->value.mapValue) : f.name);
            return true;
        case collect_attr_names:
            add_attr_name_to_vector(f.name);
            return true;
        case compare:
            return compare_member<M, W>();
        default:
            return false;
        }
    }

    template <auto M, class W>
    void write(char const* name) {
        using T = typename W::value_type;
        W const& m = static_cast<R const*>(value)->*M;
        W const* base = patch && baseline != nullptr ? &(baseline->*M) : nullptr;
        bool const both = base != nullptr && access::holds_value(*base) && access::holds_value(m);
        bool const unchanged = both && detail::same(access::raw(*base), access::raw(m));

        bool needed;
        if constexpr (is_optional<W>) {
            needed =
                optional_member_serialization_needed(base != nullptr ? base->quality() : unprovided,
                                                     unchanged ? unprovided : m.quality(), name);
        } else {
            needed = required_member_serialization_needed(false, m.provided() && !unchanged, name);
        }
        if (!needed) {
            return;
        }
        impl<T> codec;
        codec.set_operation(*this);
        codec.set_data(nullptr, const_cast<T*>(&access::raw(m)),
                       get_attr(name, is_optional<W> ? optional_member : required_member));
        if constexpr (detail::is_record<T>::value) {
            if (both) {
                codec.baseline = &access::raw(*base);
            }
        }
        codec.apply();
    }

    template <auto M, class W>
    void read(char const* name) {
        using T = typename W::value_type;
        W& m = static_cast<R*>(value)->*M;
        detail::refusals const refused = detail::refused_sources<R, M>();
        std::copy_n(refused.types, refused.count, unacceptable_source_types);
        unacceptable_count = refused.count;

        data_t const* d = get_attr(name, is_optional<W> ? optional_member : required_member);
        if (d == nullptr) {
            return;
        }
        if constexpr (is_optional<W>) {
            if (d->type == Variant::Null) {
                m.disengage();
                return;
            }
        }
        T& v = access::raw(m);
        if (access::holds_value(m)) {
            detail::run(*this, nullptr, v, d);
        } else {
            if constexpr (detail::is_record<T>::value) {
                v = T(); // members the document leaves out must not survive from before
            }
            detail::read_fresh(*this, v, d);
        }
        access::mark_held(m);
    }

    template <auto M, class W>
    bool compare_member() {
        W const& a = static_cast<R const*>(other)->*M;
        W const& b = static_cast<R const*>(value)->*M;
        bool equal;
        if constexpr (is_optional<W>) {
            equal = a.quality() == b.quality();
        } else {
            equal = a.provided() == b.provided();
        }
        if (equal && access::holds_value(a)) {
            equal = detail::same(*this, access::raw(a), access::raw(b));
        }
        if (!equal) {
            *detail::compare_flag(*this) = false;
        }
        return equal;
    }
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
