#pragma once

// The codec of a record declared with TOLVI_RECORD (record_description.hpp).
//
// Every member takes the same road through composite_impl's decisions, with the flags that its
// declared type gives it (member_form, members.hpp): a plain member is required and always
// provided, a std::optional one optional and never unprovided, and required<T> and optional<T>
// say what they hold. Below, "optional member" means std::optional<T> and optional<T> alike, and
// a std::nullopt is a disengaged member.
//
// Reading (from_variant, from_json, from_file):
// - Without patch, a required member must be present and not null. A null disengages an optional
//   member; an absent one is disengaged too in the record calls (so that what they read can be
//   written again), and keeps its state when the codec is driven by hand.
// - With patch, absent members keep their state, required ones too: a patch document holds
//   only what changes.
// - Driven by hand, a value the record did not hold yet (an unprovided or disengaged member, any
//   element of a container) is read from scratch; a value it held is updated in place, so a
//   nested record in a patch is patched member by member and an opaque_json_block is merged;
//   containers are replaced whole (lists.hpp, maps.hpp).
// - In the record calls a patch is a merge patch: a nested record held is patched member by
//   member, a map entry by entry (maps.hpp), an opaque_json_block held is merged and a
//   merge that Variant::mergeWith refuses refuses the patch; everything else is replaced, and all
//   that the record did not hold, lists and their elements are read as whole documents
//   (child_codec.hpp's read_held and read_fresh). After the patch, a member left unprovided at any
//   depth refuses it (check_provided, below), so that what a patch leaves can be written.
// - The codec rolls nothing back: members read before a failure keep their new values; the
//   record calls read into a copy, so that a refused read leaves the caller's record as it was.
//   In the record calls a refusal is a document_error with the path of the refused value, a
//   missing member's path being where it should stand.
//
// Writing (to_variant, to_json, to_file):
// - Without patch, every member must be provided (missing_value otherwise, after a log line; in
//   the record calls missing_member, with the member's path); a disengaged optional member is
//   left out, so it reads back disengaged.
// - In the record calls, a member that holds a value but is written as null (an opaque block
//   holding null) throws unwritable_value: null would not read back as that value.
// - With patch, unprovided members are left out and a disengaged optional member is written as
//   null.
// - make_patch(changed, baseline) also leaves out members equal in both records, patches nested
//   records that both hold member by member, maps entry by entry (an entry the baseline has and
//   `changed` lacks as null) and opaque blocks as the merge that takes the baseline's value to the
//   changed one (block_patch, which refuses with unwritable_value what a merge cannot do);
//   everything else that changed is written whole. Reading that patch with patch set into a copy
//   of a complete baseline gives a record equal to a complete `changed`: a member that `changed`
//   no longer provides cannot be said.
//
// Keys that a record does not describe are ignored, both ways, unless the read is strict
// (options().strict(), record_keys.hpp): then each record refuses them before reading a member.
//
// Comparing checks every member: the provided and engaged states, and the values where both
// hold one. Floating-point values compare exactly.

#include <algorithm>
#include <cstddef>
#include <string>
#include <type_traits>

#include <tolvi/Variant.hpp>
#include <tolvi/codecs.hpp>
#include <tolvi/context.hpp>
#include <tolvi/detail/child_codec.hpp>
#include <tolvi/detail/record_keys.hpp>
#include <tolvi/detail/schema_writer.hpp>
#include <tolvi/detail/type_check.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/members.hpp>
#include <tolvi/record_description.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace detail {

// A record is read member by member into the record itself.
template <class R>
struct codec_traits<R, std::enable_if_t<is_record<R>::value>> {
    static constexpr bool all_or_nothing = false;
    static constexpr output_check check = output_check::none;
    static std::string expected() { return "expected an object"; }
};

// Patched member by member; make_patch hands the codec the baseline.
template <class R>
struct child_form<R, std::enable_if_t<is_record<R>::value>> : default_child_form {
    static constexpr bool patched_in_place = true;
};

// Described once under "$defs" and referred to.
template <class R>
struct schema_of<R, std::enable_if_t<is_record<R>::value>> {
    static Variant get(schema_writer& w) { return w.template ref<R>(); }
};

// The failures of one member, out of line so that each member costs a call.
[[noreturn, gnu::cold, gnu::noinline]] inline void throw_missing_member(char const* name) {
    missing_member e{std::string()};
    e.prepend_key(name);
    throw e;
}

// A member that holds a value, written as null.
[[noreturn, gnu::cold, gnu::noinline]] inline void throw_null_member(bool optional) {
    throw unwritable_value(std::string(), optional
                                              ? "null would read back as a disengaged member"
                                              : "null cannot be read back into a required member");
}

// Why get_attr refused member `name` of the record that `c` reads: it is absent, refused from the
// document's source type, or null.
[[gnu::cold, gnu::noinline]] inline document_error
refused_member(impl_base const& c, char const* name, refusals const& r) {
    Variant::map_type const& members = *c.data->value.mapValue;
    auto const it = members.find(name);
    source_type_t const* const* const end = r.types + r.count;
    document_error e =
        it == members.end() ? document_error(std::string(), "required member is missing")
        : std::find(r.types, end, c.source_type) != end
            ? document_error(std::string(), "refused from this document's source type", it->second)
            : document_error(std::string(), "required member is null");
    e.prepend_key(name);
    return e;
}

} // namespace detail

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
    // False stops the walk: in compare mode, at the first difference.
    template <auto M>
    bool member(detail::field<M> const& f) {
        using form = detail::member_form<typename detail::member_pointer<decltype(M)>::declared>;
        switch (op_mode) {
        case serialize_to_json:
            write<M, form>(f.name);
            return true;
        case deserialize_from_json:
            read<M, form>(f.renamed() ? detail::present_key(f, *data->value.mapValue) : f.name);
            return true;
        case collect_attr_names:
            add_attr_name_to_vector(f.name);
            return true;
        case compare:
            return compare_member<M, form>();
        default:
            return false;
        }
    }

    template <auto M, class form>
    void write(char const* name) {
        using T = typename form::value_type;
        auto const& m = static_cast<R const*>(value)->*M;
        auto const* base = patch && baseline != nullptr ? &(baseline->*M) : nullptr;
        bool const both =
            base != nullptr && form::quality(*base) == engaged && form::quality(m) == engaged;
        bool const unchanged = both && detail::same(form::raw(*base), form::raw(m));

        bool needed;
        try {
            if constexpr (form::is_optional) {
                needed = optional_member_serialization_needed(
                    base != nullptr ? form::quality(*base) : unprovided,
                    unchanged ? unprovided : form::quality(m), name);
            } else {
                needed = required_member_serialization_needed(
                    false, form::quality(m) != unprovided && !unchanged, name);
            }
        } catch (missing_value const&) {
            if (!detail::in_record_call(*this)) {
                throw;
            }
            detail::throw_missing_member(name);
        }
        if (!needed) {
            return;
        }
        data_t* const d = get_attr(name, form::is_optional ? optional_member : required_member);
        detail::at<T>(*this, name, d, [&] {
            detail::write_changes(*this, form::raw(m), both ? &form::raw(*base) : nullptr, d);
            detail::check_output<T>(*this, *d);
            if (d->type == Variant::Null && detail::in_record_call(*this)) {
                detail::throw_null_member(form::is_optional);
            }
        });
    }

    template <auto M, class form>
    void read(char const* name) {
        using T = typename form::value_type;
        auto& m = static_cast<R*>(value)->*M;
        {
            detail::refusals const refused = detail::refused_sources<R, M>();
            std::copy_n(refused.types, refused.count, unacceptable_source_types);
            unacceptable_count = refused.count;
        }

        data_t const* d;
        try {
            d = get_attr(name, form::is_optional ? optional_member : required_member);
        } catch (bad_deserialization_source const&) {
            if (!detail::in_record_call(*this)) {
                throw;
            }
            throw detail::refused_member(*this, name, detail::refused_sources<R, M>());
        }
        if (d == nullptr) {
            if constexpr (form::is_optional) {
                if (!patch && detail::in_record_call(*this)) {
                    // absent from a whole document: written again, it stays out
                    form::disengage(m);
                }
            }
            return;
        }
        if constexpr (form::is_optional) {
            if (d->type == Variant::Null) {
                form::disengage(m);
                return;
            }
        }
        if (form::quality(m) == engaged) {
            detail::at<T>(*this, name, d, [&] { detail::read_held(*this, form::raw(m), d); });
        } else {
            form::fill(m, [&](T& v) {
                detail::at<T>(*this, name, d, [&] { detail::read_fresh(*this, v, d); });
            });
        }
        detail::drop_read(*this, d);
    }

    template <auto M, class form>
    bool compare_member() {
        auto const& a = static_cast<R const*>(other)->*M;
        auto const& b = static_cast<R const*>(value)->*M;
        bool equal = form::quality(a) == form::quality(b);
        if (equal && form::quality(a) == engaged) {
            equal = detail::same(*this, form::raw(a), form::raw(b));
        }
        if (!equal) {
            *detail::compare_flag(*this) = false;
        }
        return equal;
    }
};

namespace detail {

template <class T>
void check_provided(T const& v);

template <class R, auto M>
void check_provided_member(R const& r, field<M> const& f) {
    using form = member_form<typename member_pointer<decltype(M)>::declared>;
    using T = typename form::value_type;
    auto const& m = r.*M;
    if (form::quality(m) == unprovided) {
        document_error e(std::string(), form::is_optional ? "optional member is missing"
                                                          : "required member is missing");
        e.prepend_key(f.name);
        throw e;
    }
    if constexpr (holds_records<T>::value) {
        if (form::quality(m) == engaged) {
            try {
                check_provided(form::raw(m));
            } catch (document_error& e) {
                e.prepend_key(f.name);
                throw;
            }
        }
    }
}

// After a patch, which keeps what it does not name: throws document_error at the first member
// never provided (in the order a record writes), at the place where it should stand, so that what
// a patch leaves can always be written. Walks the records only; allocates nothing unless it throws.
template <class T>
void check_provided(T const& v) {
    if constexpr (is_record<T>::value) {
        if constexpr (members_supported<decltype(record_fields<T>())>::value) {
            std::apply([&](auto const&... f) { (check_provided_member(v, f), ...); },
                       record_fields<T>());
        }
    } else if constexpr (holds_records<T>::value) {
        std::size_t i = 0;
        for (auto const& e : v) {
            try {
                if constexpr (is_map<T>::value) {
                    check_provided(e.second);
                } else {
                    check_provided(e);
                }
            } catch (document_error& error) {
                if constexpr (!is_map<T>::value) {
                    error.prepend_index(written_index<T>::of(v, e, i));
                } else if constexpr (std::is_same<typename T::key_type, std::string>::value) {
                    error.prepend_key(e.first);
                } else {
                    error.prepend_key(key_codec<typename T::key_type>::write(e.first));
                }
                throw;
            }
            ++i;
        }
    }
}

} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax
