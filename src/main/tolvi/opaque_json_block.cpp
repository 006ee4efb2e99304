// Opaque JSON blocks: a Variant that a record carries as uninterpreted JSON, its attributes, its
// JSONPath lookup, its typed three-way comparisons and its codec.

#include <tolvi/opaque_json_block.hpp>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include <skrib/skrib.hpp>
#include <tolvi/errors.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

// Path lookup: a root "$", then ".key", ".*", "[key]", "[*]" and "[index]" steps. Brackets are
// read by the type of the value reached: an index on an Array, a key on an Object. Keys are exact
// byte strings: no quotes, escapes, slices, filters or recursive descent.
//
// The search is depth-first and backtracks only at wildcards, trying elements in index order and
// members in key order; the first complete match wins. Syntax is checked only as far as the walk
// gets, so a malformed tail behind a dead end raises nothing. The walk never copies a value.

constexpr char missing_bracket[] = "missing “]” in JSONPath expression";

Variant const* ojb_descend(Variant const* node, char const* rest);

// `rest` starts at the "[", which holds "*" or an index here.
Variant const* ojb_descend_into_array(Variant const* node, char const* rest) {
    Variant::vector_type const& elements = *node->value.vectorValue;
    // "[*]": every element in turn; the first that completes the path wins.
    if (rest[1] == '*' && rest[2] == ']') {
        for (Variant const& element : elements) {
            if (Variant const* hit = ojb_descend(&element, rest + 3)) {
                return hit;
            }
        }
        return nullptr;
    }
    // The index as strtol reads it: leading blanks and one sign pass, no digits read as 0 and stop
    // at once. Values beyond a long clamp, and so end out of range.
    char* end = nullptr;
    long const index = std::strtol(rest + 1, &end, 10);
    if (*end != ']') {
        SKRIB_LOG(skrib::level::error, missing_bracket);
        throw std::runtime_error(missing_bracket);
    }
    if (index < 0 || static_cast<std::size_t>(index) >= elements.size()) {
        return nullptr;
    }
    return ojb_descend(&elements[static_cast<std::size_t>(index)], end + 1);
}

// `rest` starts just after the "." or "[". A bracketed key is taken verbatim up to the first "]"
// (dots, brackets and quotes included); a dotted key runs to the next "." or "[".
Variant const* ojb_descend_into_object(Variant const* node, char const* rest, bool bracketed) {
    char const* key_end = nullptr;
    char const* next = nullptr;
    if (bracketed) {
        // The first "]" closes the key, whatever stands before it.
        key_end = std::strchr(rest, ']');
        if (key_end == nullptr) {
            SKRIB_LOG(skrib::level::error, missing_bracket);
            throw std::runtime_error(missing_bracket);
        }
        next = key_end + 1;
    } else {
        key_end = rest + std::strcspn(rest, ".[");
        next = key_end;
    }
    Variant::map_type const& members = *node->value.mapValue;
    // "*" alone is the wildcard; "*x" is an ordinary key.
    if (key_end - rest == 1 && *rest == '*') {
        for (auto const& member : members) {
            if (Variant const* hit = ojb_descend(&member.second, next)) {
                return hit;
            }
        }
        return nullptr;
    }
    auto const it = members.find(std::string(rest, key_end));
    return it == members.end() ? nullptr : ojb_descend(&it->second, next);
}

// Dispatches on the next step. A step that does not fit the value reached (a "." on an Array, a
// "[" on a scalar) is no error: nothing matches there, and the rest is not read.
Variant const* ojb_descend(Variant const* node, char const* rest) {
    switch (*rest) {
    case '\0': // the path is used up: this is the match
        return node;
    case '[':
        if (node->type == Variant::Vector) {
            return ojb_descend_into_array(node, rest);
        }
        return node->type == Variant::Map ? ojb_descend_into_object(node, rest + 1, true) : nullptr;
    case '.':
        return node->type == Variant::Map ? ojb_descend_into_object(node, rest + 1, false)
                                          : nullptr;
    default:
        throw std::runtime_error("invalid JSONPath expression");
    }
}

// The typed operations need a value; an empty view stands for "not found".
Variant const& viewed(Variant const* node) {
    if (node == nullptr) {
        throw std::logic_error("empty tolvi::opaque_json_view");
    }
    return *node;
}

} // namespace

opaque_json_view opaque_json_view::attribute_at_path(char const* path) const {
    // Blocks walk through their own view, so every refusal of a path is logged from here.
    Variant const& root = viewed(node_);
    if (*path != '$') {
        SKRIB_LOG(skrib::level::error, "unsupported JSONPath expression: {}", path);
        throw std::runtime_error("unsupported JSONPath expression");
    }
    return opaque_json_view(ojb_descend(&root, path + 1));
}

namespace {

// Typed comparisons. Numbers compare exactly, and NaN equals everything.

template <class T>
int order(T a, T b) noexcept {
    return a > b ? 1 : (a < b ? -1 : 0);
}

bool is_number(Variant const& v) noexcept {
    return v.type == Variant::Integer || v.type == Variant::Double;
}

// Any nonzero payload byte is true; reading the byte avoids loading an invalid bool.
bool flag_of(Variant const& v) noexcept {
    unsigned char byte = 0;
    std::memcpy(&byte, &v.value, 1);
    return byte != 0;
}

[[noreturn]] void mismatch(char const* requested, Variant const& held) {
    throw json_type_mismatch(requested, jsonTypeName(held.type));
}

int compare_number(Variant const& held, double v) {
    if (!is_number(held)) {
        mismatch("Number", held);
    }
    return order(held.asDouble(), v);
}

int compare_number(Variant const& held, long long v) {
    if (held.type == Variant::Integer) {
        return order<long long>(held.value.intValue, v);
    }
    return compare_number(held, static_cast<double>(v));
}

int compare_flag(Variant const& held, bool v) {
    if (held.type != Variant::Boolean) {
        mismatch("Boolean", held);
    }
    return flag_of(held) != v ? 1 : 0;
}

template <class Text>
int compare_text(Variant const& held, Text const& v) {
    if (held.type != Variant::String) {
        mismatch("String", held);
    }
    return held.value.stringValue->compare(v);
}

int compare_null(Variant const& held) {
    if (held.type != Variant::Null) {
        mismatch("null", held);
    }
    return 0;
}

// Objects, Arrays and nulls of the same type are equal whatever they hold; an Integer meets a
// Double as two doubles.
int compare_values(Variant const& held, Variant const& other) {
    if (held.type == other.type) {
        switch (held.type) {
        case Variant::Integer:
            return order<long long>(held.value.intValue, other.value.intValue);
        case Variant::Double:
            return order(held.value.doubleValue, other.value.doubleValue);
        case Variant::String:
            return held.value.stringValue->compare(*other.value.stringValue);
        case Variant::Boolean:
            return flag_of(held) != flag_of(other) ? 1 : 0;
        default:
            return 0;
        }
    }
    if (is_number(held) && is_number(other)) {
        return order(held.asDouble(), other.asDouble());
    }
    mismatch(jsonTypeName(other.type), held);
}

// Every check happens before the value is built, so a refused call leaves both sides unchanged.
Variant& require_object(Variant& json) {
    if (json.type != Variant::Map) {
        throw std::logic_error("cannot set_attribute() on JSON storing a non-Object");
    }
    return json;
}

template <class T>
void store(Variant& json, char const* key, T&& v) {
    Variant& object = require_object(json);
    Variant built(std::forward<T>(v));
    object[std::string(key)] = std::move(built);
}

} // namespace

// The view.

char const* opaque_json_view::json_type() const {
    return jsonTypeName(viewed(node_).type);
}

int opaque_json_view::compare(double v) const {
    return compare_number(viewed(node_), v);
}
int opaque_json_view::compare(long long v) const {
    return compare_number(viewed(node_), v);
}
int opaque_json_view::compare(int v) const {
    return compare_number(viewed(node_), static_cast<long long>(v));
}
int opaque_json_view::compare(bool v) const {
    return compare_flag(viewed(node_), v);
}
int opaque_json_view::compare(std::string const& v) const {
    return compare_text(viewed(node_), v);
}
int opaque_json_view::compare(char const* v) const {
    return compare_text(viewed(node_), v);
}
int opaque_json_view::compare(std::nullptr_t) const {
    return compare_null(viewed(node_));
}
int opaque_json_view::compare(opaque_json_view other) const {
    return compare_values(viewed(node_), viewed(other.node_));
}

// The block.

opaque_json_block opaque_json_block::empty_object() {
    opaque_json_block block;
    block.json = Variant(Variant::map_type());
    return block;
}

opaque_json_block opaque_json_block::from_string(char const* text, unsigned int length) {
    return from_string(std::string(text, length));
}

opaque_json_block opaque_json_block::from_string(std::string const& text) {
    opaque_json_block block;
    block.json = Variant::fromJson(text);
    return block;
}

char const* opaque_json_block::json_type() const noexcept {
    return jsonTypeName(json.type);
}

// Variant::set ignores a block set as its own attribute.
void opaque_json_block::set_attribute(char const* key, opaque_json_block const& v) {
    require_object(json).set(std::string(key), v.json);
}
void opaque_json_block::set_attribute(char const* key, opaque_json_block&& v) {
    set_attribute(key, static_cast<opaque_json_block const&>(v));
}
void opaque_json_block::set_attribute(char const* key, std::nullptr_t) {
    store(json, key, nullptr);
}
void opaque_json_block::set_attribute(char const* key, bool v) {
    store(json, key, v);
}
void opaque_json_block::set_attribute(char const* key, int v) {
    store(json, key, v);
}
void opaque_json_block::set_attribute(char const* key, long long v) {
    store(json, key, v);
}
void opaque_json_block::set_attribute(char const* key, double v) {
    store(json, key, v);
}
void opaque_json_block::set_attribute(char const* key, char const* text, unsigned int length) {
    require_object(json); // before the text is copied
    store(json, key, std::string(text, length));
}
void opaque_json_block::set_attribute(char const* key, std::string&& v) {
    store(json, key, std::move(v));
}
void opaque_json_block::set_attribute(char const* key, std::string const& v) {
    store(json, key, v);
}

opaque_json_view opaque_json_block::attribute_at_path(char const* path) const {
    return opaque_json_view(&json).attribute_at_path(path);
}

int opaque_json_block::compare(double v) const {
    return compare_number(json, v);
}
int opaque_json_block::compare(long long v) const {
    return compare_number(json, v);
}
int opaque_json_block::compare(int v) const {
    return compare_number(json, static_cast<long long>(v));
}
int opaque_json_block::compare(bool v) const {
    return compare_flag(json, v);
}
int opaque_json_block::compare(std::string const& v) const {
    return compare_text(json, v);
}
int opaque_json_block::compare(char const* v) const {
    return compare_text(json, v);
}
int opaque_json_block::compare(std::nullptr_t) const {
    return compare_null(json);
}
int opaque_json_block::compare(opaque_json_block const& other) const {
    return compare_values(json, other.json);
}

// The codec.

void impl<opaque_json_block>::apply() {
    auto& block = *static_cast<opaque_json_block*>(value);
    switch (op_mode) {
    case serialize_to_json:
        static_cast<Variant&>(*data) = block.json;
        break;
    case deserialize_from_json:
        // A refused merge (a type conflict) leaves the block as it was; that is not an error.
        if (patch) {
            (void)block.json.mergeWith(*data);
        } else {
            block.json = *data;
        }
        break;
    case compare:
        *reinterpret_cast<bool*>(data) =
            static_cast<opaque_json_block const*>(other)->json == block.json;
        break;
    default:
        break;
    }
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
