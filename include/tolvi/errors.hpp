#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include <tolvi/context.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// A source document that does not fit the application type.
class TOLVI_API bad_deserialization_source : public std::runtime_error {
public:
    // "bad source provided for deserialization", then the attribute, the element and the
    // top-level document where given. Any argument may be null.
    bad_deserialization_source(data_t const* top_level, data_t const* element,
                               char const* attribute);
    explicit bad_deserialization_source(std::string const& what);
};

// A typed comparison against JSON of another type.
class TOLVI_API json_type_mismatch : public std::runtime_error {
public:
    json_type_mismatch(char const* requested, char const* actual);
};

// Use of a member that was never provided.
class TOLVI_API missing_value : public std::exception {
public:
    missing_value() noexcept;
    char const* what() const noexcept override;
    [[noreturn]] static void throw_one();
};

// Use of an optional member that holds no value.
class TOLVI_API disengaged_value : public std::exception {
public:
    disengaged_value() noexcept;
    char const* what() const noexcept override;
    [[noreturn]] static void throw_one();
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
