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

// What the errors that say where have in common (document_error, missing_member,
// unwritable_value): the path, put together on the way up, and the message built around it. Not an
// exception of its own: each of them keeps its own exception base. path() is exact; the message
// shows each key and value cut to 64 bytes (with "...") and control bytes escaped as JSON escapes
// them, so that a hostile document can neither swell a message nor reach a terminal through it.
class TOLVI_API located_error {
public:
    // Where a record call failed, as an RFC 6901 JSON Pointer from the document's root ("" for the
    // root itself, "/wifi/password", "/schedule/3"). It is built while the failure travels up:
    // each enclosing record, list or map puts its key or index in front.
    std::string const& path() const noexcept { return path_; }
    std::string const& reason() const noexcept { return reason_; }

    // Puts "/key" in front, with "~" and "/" escaped as "~0" and "~1".
    void prepend_key(std::string const& key);
    void prepend_index(std::size_t index);

protected:
    enum class layout : unsigned char {
        path_reason,    // "path: reason: detail"; at the root "reason: detail"
        path_sentence,  // "path reason"
        reason_at_path, // "reason at path; did you mean "detail"?"
        at_position,    // "detail: reason", detail being where the text went wrong
    };

    located_error(layout l, std::string path, std::string reason, std::string detail);
    char const* message() const noexcept { return what_.c_str(); }

private:
    void compose();

    layout layout_;
    std::string path_;
    std::string reason_;
    std::string detail_;
    std::string what_;
};

// A document that a record call (from_json, from_file, from_variant and their typed forms)
// refuses, saying where and why: a value of the wrong type or range, a missing member, a key that
// strict reading does not know, or text that does not parse.
class TOLVI_API document_error : public bad_deserialization_source, public located_error {
public:
    enum kind : int {
        refused_value, // path: reason: value
        unknown_key,   // unknown key "k" at path; did you mean "other"?
        bad_text,      // line L, column C: reason
    };

    // A refused value: "path: reason: value". A string shows as JSON, cut to 64 bytes; an object
    // or an array by its kind and size ("an object of 3 members"), never its content.
    document_error(std::string path, std::string reason, Variant const& value);
    // "path: reason", without a value.
    document_error(std::string path, std::string reason);
    // A key that the record does not describe, with the nearest key it does describe, if any.
    static document_error unknown(std::string path, std::string const& key, char const* suggestion);
    // Text that is not JSON, as the parser reported it.
    static document_error not_json(std::string reason, int line, int column, int position);

    kind what_kind() const noexcept { return kind_; }
    // Where the parser stopped, for text that did not parse; all three are 0 otherwise.
    int line() const noexcept { return line_; }
    int column() const noexcept { return column_; }
    int position() const noexcept { return position_; }

    char const* what() const noexcept override;

private:
    document_error(kind k, layout l, std::string path, std::string reason, std::string detail);

    kind kind_;
    int line_ = 0;
    int column_ = 0;
    int position_ = 0;
};

// A member that a record write (to_variant, to_json, to_file) needs but that was never provided:
// "/wifi/ssid was never provided".
class TOLVI_API missing_member : public missing_value, public located_error {
public:
    explicit missing_member(std::string path);

    char const* what() const noexcept override;
};

// A value that a record write cannot put into JSON so that it reads back: NaN or an infinity,
// text that is not UTF-8 or holds a NUL byte, a required opaque block holding null. Thrown before
// anything is written or saved: "/limits/ratio: NaN cannot be written as JSON".
class TOLVI_API unwritable_value : public std::runtime_error, public located_error {
public:
    unwritable_value(std::string path, std::string reason);

    char const* what() const noexcept override;
};

} // namespace v1
} // namespace tolvi
} // namespace korvax
