#pragma once

#include <cstddef>

#include <tolvi/context.hpp>
#include <tolvi/files.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// How a document is read or written. Chain the helpers: options().from(cloud).as_patch().
struct options {
    source_type_t const* source_type = nullptr; // null: _ac::source_type::unspecified
    bool patch = false;
    bool strict_keys = false; // reading refuses keys that a record does not describe
    std::size_t read_limit_bytes = default_read_limit; // from_file refuses a longer file

    constexpr options& from(source_type_t const& st) noexcept {
        source_type = &st;
        return *this;
    }
    constexpr options& as_patch(bool on = true) noexcept {
        patch = on;
        return *this;
    }
    constexpr options& strict(bool on = true) noexcept {
        strict_keys = on;
        return *this;
    }
    constexpr options& read_limit(std::size_t bytes) noexcept {
        read_limit_bytes = bytes;
        return *this;
    }
};

namespace detail {

// What the record calls add to the framework's reading. The calls hand it down in the context's
// `other`, which no codec reads in deserialize_from_json or serialize_to_json (the write calls pass
// it too, to say that they are record calls); a codec run outside the calls finds null there and
// reads and writes exactly as the framework does.
struct read_settings {
    bool strict = false;  // refuse keys that a record does not describe
    bool consume = false; // the document is the call's own: what was read may be dropped from it
};

inline read_settings const* settings_of(impl_base const& c) noexcept {
    return c.op_mode == deserialize_from_json ? static_cast<read_settings const*>(c.other)
                                              : nullptr;
}

} // namespace detail

} // namespace v1
} // namespace tolvi
} // namespace korvax
