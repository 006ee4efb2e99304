#pragma once

// The keys of a record while it is read: which key of a renamed member the document uses, and,
// when reading is strict, the refusal of keys the record does not describe.

#include <cstddef>
#include <string>
#include <tuple>

#include <tolvi/Variant.hpp>
#include <tolvi/errors.hpp>
#include <tolvi/export.hpp>
#include <tolvi/record_description.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

// Throws document_error at "/key" for a key that no member reads; the message names the nearest
// of `known` (the members' keys) when one is close enough to be a slip.
[[noreturn]] TOLVI_API void refuse_unknown_key(std::string const& key, char const* const* known,
                                               std::size_t count);

template <auto M>
bool reads_key(field<M> const& f, std::string const& key) noexcept {
    for (char const* k : f.keys) {
        if (k != nullptr && key == k) {
            return true;
        }
    }
    return false;
}

// The key under which a renamed member stands in `record`, or its first key when none is there.
// Two keys of one member are refused at the one that comes later in the document's key order.
template <auto M>
char const* present_key(field<M> const& f, Variant::map_type const& record) {
    char const* found = nullptr;
    for (char const* k : f.keys) {
        if (k == nullptr || record.find(k) == record.end()) {
            continue;
        }
        if (found != nullptr) {
            bool const later = std::string(k) > found;
            document_error e("", std::string("the same member as \"") + (later ? found : k) + '"');
            e.prepend_key(later ? k : found);
            throw e;
        }
        found = k;
    }
    return found != nullptr ? found : f.name;
}

// Strict reading: every key of `record` must be read by a member of R.
template <class R>
void check_known_keys(Variant::map_type const& record) {
    constexpr auto fields = record_fields<R>();
    for (auto const& entry : record) {
        bool const known = std::apply(
            [&](auto const&... f) { return (reads_key(f, entry.first) || ... || false); }, fields);
        if (!known) {
            std::apply(
                [&](auto const&... f) {
                    char const* const names[] = {f.name..., nullptr};
                    refuse_unknown_key(entry.first, names, sizeof...(f));
                },
                fields);
        }
    }
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
