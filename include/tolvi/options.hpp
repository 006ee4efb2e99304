#pragma once

#include <tolvi/context.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// How a document is read or written. Chain the helpers: options().from(cloud).as_patch().
struct options {
    source_type_t const* source_type = nullptr; // null: _ac::source_type::unspecified
    bool patch = false;

    constexpr options& from(source_type_t const& st) noexcept {
        source_type = &st;
        return *this;
    }
    constexpr options& as_patch(bool on = true) noexcept {
        patch = on;
        return *this;
    }
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
