#pragma once

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

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

// Where a record call failed, as an RFC 6901 JSON Pointer from the document's root ("" for the
// root itself, "/wifi/password", "/schedule/3"). The path is built while the failure travels up:
// each enclosing record, list or map puts its key or index in front.
class TOLVI_API json_pointer {
public:
    json_pointer() = default;
    explicit json_pointer(std::string path) : path_(std::move(path)) {}

    std::string const& str() const noexcept { return path_; }
    // Puts "/key" in front, with "~" and "/" escaped as "~0" and "~1".
    void prepend_key(std::string const& key);
    void prepend_index(std::size_t index);

private:
    std::string path_;
};

// A document that a record call (from_json, from_file, from_variant and their typed forms)
// refuses, saying where and why: a value of the wrong type or range, a missing member, a key that
// strict reading does not know, or text that does not parse.
class TOLVI_API document_error : public bad_deserialization_source {
public:
    enum kind : int {
        refused_value, // path: reason: value
        unknown_key,   // unknown key "k" at path; did you mean "other"?
        bad_text,      // line L, column C: reason
    };

    // A refused value: the message is "path: reason: value", with `value` (compact JSON) cut to
    // about 200 bytes; no value part when `value` is empty.
    document_error(std::string path, std::string reason, std::string const& value);
    // A key that the record does not describe, with the nearest key it does describe, if any.
    static document_error unknown(std::string path, std::string const& key, char const* suggestion);
    // Text that is not JSON, as the parser reported it.
    static document_error not_json(std::string reason, int line, int column, int position);

    std::string const& path() const noexcept { return path_.str(); }
    std::string const& reason() const noexcept { return reason_; }
    kind what_kind() const noexcept { return kind_; }
    // Where the parser stopped, for text that did not parse; all three are 0 otherwise.
    int line() const noexcept { return line_; }
    int column() const noexcept { return column_; }
    int position() const noexcept { return position_; }

    char const* what() const noexcept override;

    void prepend_key(std::string const& key);
    void prepend_index(std::size_t index);

private:
    document_error(kind k, std::string path, std::string reason, std::string detail);
    void compose();

    kind kind_;
    json_pointer path_;
    std::string reason_;
    std::string detail_; // the value, or the suggested key
    int line_ = 0;
    int column_ = 0;
    int position_ = 0;
    std::string what_;
};

// A member that a record write (to_variant, to_json, to_file) needs but that was never provided:
// "/wifi/ssid was never provided".
class TOLVI_API missing_member : public missing_value {
public:
    explicit missing_member(std::string path);

    std::string const& path() const noexcept { return path_.str(); }
    char const* what() const noexcept override;

    void prepend_key(std::string const& key);
    void prepend_index(std::size_t index);

private:
    json_pointer path_;
    std::string what_;
};

// A value that a record write cannot put into JSON so that it reads back: NaN or an infinity,
// text that is not UTF-8 or holds a NUL byte, a required opaque block holding null. Thrown before
// anything is written or saved: "/limits/ratio: NaN cannot be written as JSON".
class TOLVI_API unwritable_value : public std::runtime_error {
public:
    unwritable_value(std::string path, std::string reason);

    std::string const& path() const noexcept { return path_.str(); }
    std::string const& reason() const noexcept { return reason_; }
    char const* what() const noexcept override;

    void prepend_key(std::string const& key);
    void prepend_index(std::size_t index);

private:
    json_pointer path_;
    std::string reason_;
    std::string what_;
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
