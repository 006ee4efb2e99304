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

} // namespace v1
} // namespace tolvi
} // namespace korvax
