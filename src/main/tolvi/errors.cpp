#include <tolvi/errors.hpp>

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

// About 200 bytes of a refused value: enough to recognise it, never a whole document. The cut
// falls on a UTF-8 character boundary.
std::string excerpt(std::string const& value) {
    constexpr std::size_t most = 200;
    if (value.size() <= most) {
        return value;
    }
    std::size_t cut = most;
    while (cut > 0 && (static_cast<unsigned char>(value[cut]) & 0xC0) == 0x80) {
        --cut;
    }
    return value.substr(0, cut) + "\u2026";
}

// "path: reason"; the root has the empty path, and the message then starts with the reason.
std::string atPath(json_pointer const& path, std::string const& reason) {
    return path.str().empty() ? reason : path.str() + ": " + reason;
}

} // namespace

void json_pointer::prepend_key(std::string const& key) {
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
}

void json_pointer::prepend_index(std::size_t index) {
    path_.insert(0, "/" + std::to_string(index));
}

document_error::document_error(kind k, std::string path, std::string reason, std::string detail)
    : bad_deserialization_source(std::string()), kind_(k), path_(std::move(path)),
      reason_(std::move(reason)), detail_(std::move(detail)) {
    compose();
}

document_error::document_error(std::string path, std::string reason, std::string const& value)
    : document_error(refused_value, std::move(path), std::move(reason), excerpt(value)) {}

document_error document_error::unknown(std::string path, std::string const& key,
                                       char const* suggestion) {
    return document_error(unknown_key, std::move(path), "unknown key \"" + key + "\"",
                          suggestion != nullptr ? suggestion : "");
}

document_error document_error::not_json(std::string reason, int line, int column, int position) {
    document_error e(bad_text, std::string(), std::move(reason), std::string());
    e.line_ = line;
    e.column_ = column;
    e.position_ = position;
    e.compose();
    return e;
}

void document_error::compose() {
    switch (kind_) {
    case refused_value:
        what_ = atPath(path_, reason_);
        if (!detail_.empty()) {
            what_ += ": " + detail_;
        }
        break;
    case unknown_key:
        what_ = reason_ + " at " + path_.str();
        if (!detail_.empty()) {
            what_ += "; did you mean \"" + detail_ + "\"?";
        }
        break;
    case bad_text:
        what_ = "line " + std::to_string(line_) + ", column " + std::to_string(column_) + ": " +
                reason_;
        break;
    }
}

char const* document_error::what() const noexcept {
    return what_.c_str();
}

void document_error::prepend_key(std::string const& key) {
    path_.prepend_key(key);
    compose();
}

void document_error::prepend_index(std::size_t index) {
    path_.prepend_index(index);
    compose();
}

missing_member::missing_member(std::string path)
    : path_(std::move(path)), what_(path_.str() + " was never provided") {}

char const* missing_member::what() const noexcept {
    return what_.c_str();
}

void missing_member::prepend_key(std::string const& key) {
    path_.prepend_key(key);
    what_ = path_.str() + " was never provided";
}

void missing_member::prepend_index(std::size_t index) {
    path_.prepend_index(index);
    what_ = path_.str() + " was never provided";
}

unwritable_value::unwritable_value(std::string path, std::string reason)
    : std::runtime_error(std::string()), path_(std::move(path)), reason_(std::move(reason)),
      what_(atPath(path_, reason_)) {}

char const* unwritable_value::what() const noexcept {
    return what_.c_str();
}

void unwritable_value::prepend_key(std::string const& key) {
    path_.prepend_key(key);
    what_ = atPath(path_, reason_);
}

void unwritable_value::prepend_index(std::size_t index) {
    path_.prepend_index(index);
    what_ = atPath(path_, reason_);
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
