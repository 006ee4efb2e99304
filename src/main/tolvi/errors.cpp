#include <tolvi/errors.hpp>
#include <tolvi/json_text.hpp>

#include <algorithm>
#include <string>
#include <string_view>

#include "../shown_text.hpp"

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

std::string compose_bad_source(data_t const* top_level, data_t const* element,
                               char const* attribute) {
    std::string msg = "bad source provided for deserialization";
    if (top_level == nullptr && element == nullptr && attribute == nullptr) {
        return msg;
    }
    msg += ';';
    if (attribute != nullptr) {
        msg += " attribute \"";
        msg += attribute;
        msg += '"';
    }
    // An element that is the document itself is shown once, as the top level.
    if (element != nullptr && element != top_level) {
        msg += " element `";
        msg += element->toJson();
        msg += '`';
    }
    if (top_level != nullptr) {
        msg += " top-level: ";
        msg += top_level->toJson();
    }
    return msg;
}

} // namespace

bad_deserialization_source::bad_deserialization_source(data_t const* top_level,
                                                       data_t const* element, char const* attribute)
    : std::runtime_error(compose_bad_source(top_level, element, attribute)) {}

bad_deserialization_source::bad_deserialization_source(std::string const& what)
    : std::runtime_error(what) {}

json_type_mismatch::json_type_mismatch(char const* requested, char const* actual)
    : std::runtime_error(std::string("requested JSON type: ") + requested +
                         "; actual JSON type: " + actual) {}

missing_value::missing_value() noexcept = default;

char const* missing_value::what() const noexcept {
    return "attempted to use a non-provided tolvi::required or tolvi::optional variable";
}

void missing_value::throw_one() {
    throw missing_value();
}

disengaged_value::disengaged_value() noexcept = default;

char const* disengaged_value::what() const noexcept {
    return "attempted to use a disengaged tolvi::optional variable";
}

void disengaged_value::throw_one() {
    throw disengaged_value();
}

namespace {

// The start of `text` that fits in `most` bytes, cut on a character boundary (and, in a path, not
// inside a "~0" or "~1"); true when something was left out.
bool cut(std::string_view& text, std::size_t most, bool path) {
    if (text.size() <= most) {
        return false;
    }
    std::size_t n = most;
    while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) {
        --n;
    }
    if (path && n > 0 && text[n - 1] == '~') {
        --n;
    }
    text = text.substr(0, n);
    return true;
}

// A JSON Pointer as a message shows it: each key cut and escaped.
std::string shown_path(std::string const& path) {
    std::string out;
    for (std::size_t at = 0; at < path.size();) {
        std::size_t const end = std::min(path.find('/', at + 1), path.size());
        out += '/';
        out += detail::shown_text(std::string_view(path).substr(at + 1, end - at - 1), false);
        at = end;
    }
    return out;
}

// A refused value as a message shows it: its JSON, a string cut, a container by kind and size.
std::string shown_value(Variant const& v) {
    switch (v.type) {
    case Variant::String:
        return detail::shown_text(*v.value.stringValue, true);
    case Variant::Map: {
        std::size_t const n = v.value.mapValue->size();
        return "an object of " + std::to_string(n) + (n == 1 ? " member" : " members");
    }
    case Variant::Vector: {
        std::size_t const n = v.value.vectorValue->size();
        return "an array of " + std::to_string(n) + (n == 1 ? " element" : " elements");
    }
    default:
        return to_json(v);
    }
}

} // namespace

namespace detail {

std::string shown_text(std::string_view text, bool quoted, std::size_t most) {
    bool const shortened = cut(text, most, !quoted);
    std::string out;
    out.reserve(text.size() + 5);
    if (quoted) {
        out += '"';
    }
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte >= 0x20) {
            if (quoted && (c == '"' || c == '\\')) {
                out += '\\';
            }
            out += c;
            continue;
        }
        char escape[6];
        out.append(escape, control_escape(byte, escape, "0123456789abcdef"));
    }
    if (quoted) {
        out += '"';
    }
    if (shortened) {
        out += "...";
    }
    return out;
}

} // namespace detail

located_error::located_error(layout l, std::string path, std::string reason, std::string detail)
    : layout_(l), path_(std::move(path)), reason_(std::move(reason)), detail_(std::move(detail)) {
    compose();
}

void located_error::prepend_key(std::string const& key) {
    std::string segment = "/";
    for (char c : key) {
        if (c == '~') {
            segment += "~0";
        } else if (c == '/') {
            segment += "~1";
        } else {
            segment += c;
        }
    }
    path_.insert(0, segment);
    compose();
}

void located_error::prepend_index(std::size_t index) {
    path_.insert(0, "/" + std::to_string(index));
    compose();
}

void located_error::compose() {
    std::string const path = shown_path(path_);
    switch (layout_) {
    case layout::path_reason:
        what_ = path.empty() ? reason_ : path + ": " + reason_;
        if (!detail_.empty()) {
            what_ += ": " + detail_;
        }
        break;
    case layout::path_sentence:
        what_ = path + ' ' + reason_;
        break;
    case layout::reason_at_path:
        what_ = reason_ + " at " + path;
        if (!detail_.empty()) {
            what_ += "; did you mean \"" + detail_ + "\"?";
        }
        break;
    case layout::at_position:
        what_ = detail_ + ": " + reason_;
        break;
    }
}

document_error::document_error(kind k, layout l, std::string path, std::string reason,
                               std::string detail)
    : bad_deserialization_source(std::string()),
      located_error(l, std::move(path), std::move(reason), std::move(detail)), kind_(k) {}

document_error::document_error(std::string path, std::string reason, Variant const& value)
    : document_error(refused_value, layout::path_reason, std::move(path), std::move(reason),
                     shown_value(value)) {}

document_error::document_error(std::string path, std::string reason)
    : document_error(refused_value, layout::path_reason, std::move(path), std::move(reason),
                     std::string()) {}

document_error document_error::unknown(std::string path, std::string const& key,
                                       char const* suggestion) {
    return document_error(unknown_key, layout::reason_at_path, std::move(path),
                          "unknown key " + detail::shown_text(key, true),
                          suggestion != nullptr ? suggestion : "");
}

document_error document_error::not_json(std::string reason, int line, int column, int position) {
    document_error e(bad_text, layout::at_position, std::string(), std::move(reason),
                     "line " + std::to_string(line) + ", column " + std::to_string(column));
    e.line_ = line;
    e.column_ = column;
    e.position_ = position;
    return e;
}

char const* document_error::what() const noexcept {
    return message();
}

missing_member::missing_member(std::string path)
    : located_error(layout::path_sentence, std::move(path), "was never provided", std::string()) {}

char const* missing_member::what() const noexcept {
    return message();
}

unwritable_value::unwritable_value(std::string path, std::string reason)
    : std::runtime_error(std::string()),
      located_error(layout::path_reason, std::move(path), std::move(reason), std::string()) {}

char const* unwritable_value::what() const noexcept {
    return message();
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
