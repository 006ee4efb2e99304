#include <tolvi/Variant.hpp>
#include <tolvi/json_text.hpp>

#include "json_trees.hpp"
#include "shown_text.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <jansson.h>
#include <skrib/skrib.hpp>

namespace {

using json_trees::bool_of;
using json_trees::json_ptr;

// What lookups answer when they find nothing; never written.
Variant const nullVariant;

// The recursion behind ==, kept file-local so that its calls bind directly and inline, and
// lists are walked in one loop without a call per element.
bool same_value(Variant const& a, Variant const& b) noexcept {
    if (a.type != b.type) {
        return false;
    }
    switch (a.type) {
    case Variant::Integer:
        return a.value.intValue == b.value.intValue;
    case Variant::Double:
        return a.value.doubleValue == b.value.doubleValue;
    case Variant::String:
        return *a.value.stringValue == *b.value.stringValue;
    case Variant::Boolean:
        return bool_of(a.value) == bool_of(b.value);
    case Variant::Map: {
        auto const& x = *a.value.mapValue;
        auto const& y = *b.value.mapValue;
        return x.size() == y.size() &&
               std::equal(x.begin(), x.end(), y.begin(), [](auto const& p, auto const& q) {
                   return p.first == q.first && same_value(p.second, q.second);
               });
    }
    case Variant::Vector: {
        auto const& x = *a.value.vectorValue;
        auto const& y = *b.value.vectorValue;
        return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin(), same_value);
    }
    default:
        return true;
    }
}

// Deep copies, handed out only once complete. The map copies the source tree's shape node for
// node, with no key comparison and no rebalancing; the vector gets exactly the source's size.
Variant::map_type* new_map_copy(Variant::map_type const& src) {
    return new Variant::map_type(src);
}

Variant::vector_type* new_vector_copy(Variant::vector_type const& src) {
    return new Variant::vector_type(src);
}

constexpr std::size_t parse_flags = JSON_DECODE_ANY;
constexpr std::size_t compact_flags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7);
constexpr std::size_t pretty_flags = JSON_INDENT(4) | JSON_SORT_KEYS | JSON_ENCODE_ANY;
static_assert(parse_flags == 4 && compact_flags == 0x3A20 && pretty_flags == 0x284,
              "Jansson flag values");

std::string parse_error_report(std::string const& text, json_error_t const& error) {
    // Long documents also get a window around the error, so the cut log line still shows it.
    constexpr int window_after = 3072;
    std::string report = "JSON error [";
    report += error.text;
    report += "] at ";
    report += std::to_string(error.position);
    report += " bytes; ";
    if (error.position > window_after) {
        std::size_t const from =
            std::min(static_cast<std::size_t>(error.position) - 100, text.size());
        report += "JSON substring [-100,100) bytes around offset: `";
        report.append(text, from, 200);
        report += "`; ";
    }
    report += "full JSON: ";
    report += text;
    return report;
}

// A copy of `s` in which maps, at every depth reached through maps, lose their Null entries.
Variant copy_without_nulls(Variant const& s) {
    if (s.type != Variant::Map) {
        return s;
    }
    Variant out{Variant::map_type{}};
    Variant::map_type& m = *out.value.mapValue;
    for (auto const& entry : *s.value.mapValue) {
        if (!entry.second.isNull()) {
            m.emplace_hint(m.end(), entry.first, copy_without_nulls(entry.second));
        }
    }
    return out;
}

// Merges `s` into `t` with no rollback: callers hand in a scratch copy or a single assignment.
bool merge_in_place(Variant& t, Variant const& s) {
    if (s.type != Variant::Map) {
        if (t.type != s.type) {
            return false;
        }
        t = s;
        return true;
    }
    if (t.type == Variant::Null) {
        t = s;
        return true;
    }
    if (t.type != Variant::Map) {
        return false;
    }
    Variant::map_type& w = *t.value.mapValue;
    for (auto const& entry : *s.value.mapValue) {
        if (entry.second.isNull()) {
            w.erase(entry.first);
            continue;
        }
        auto it = w.lower_bound(entry.first);
        if (it == w.end() || it->first != entry.first) {
            w.emplace_hint(it, entry.first, copy_without_nulls(entry.second));
        } else if (!merge_in_place(it->second, entry.second)) {
            return false;
        }
    }
    return true;
}

} // namespace

// ---- payload operations ----

void Variant::Value::destruct(Type t) noexcept {
    switch (t) {
    case String:
        delete stringValue;
        break;
    case Map:
        delete mapValue;
        break;
    case Vector:
        delete vectorValue;
        break;
    default:
        break;
    }
}

void Variant::Value::copy_construct(Type t, Value const& src) {
    switch (t) {
    case Integer:
    case Double:
    case Boolean:
        *this = src;
        break;
    case String:
        stringValue = new std::string(*src.stringValue);
        break;
    case Map:
        mapValue = new_map_copy(*src.mapValue);
        break;
    case Vector:
        vectorValue = new_vector_copy(*src.vectorValue);
        break;
    default:
        break;
    }
}

void Variant::Value::copy_assign(Type t, Value const& src) {
    switch (t) {
    case String:
        *stringValue = *src.stringValue;
        break;
    case Map:
        if (mapValue != src.mapValue) {
            // Copy first, release after: strong guarantee, and the source may lie inside this map.
            std::unique_ptr<map_type> old(std::exchange(mapValue, new_map_copy(*src.mapValue)));
        }
        break;
    case Vector:
        if (vectorValue != src.vectorValue) {
            std::unique_ptr<vector_type> old(
                std::exchange(vectorValue, new_vector_copy(*src.vectorValue)));
        }
        break;
    default:
        copy_construct(t, src);
        break;
    }
}

// ---- construction and assignment ----

Variant::Variant(std::string const& s) : type(String) {
    value.stringValue = new std::string(s);
}

Variant::Variant(std::string&& s) : type(String) {
    value.stringValue = new std::string(std::move(s));
    s.clear();
}

Variant::Variant(char const* s) : type(String) {
    value.stringValue = new std::string(s);
}

Variant::Variant(map_type const& m) : type(Map) {
    value.mapValue = new_map_copy(m);
}

Variant::Variant(map_type&& m) : type(Map) {
    value.mapValue = new map_type(std::move(m));
    m.clear();
}

Variant::Variant(vector_type const& v) : type(Vector) {
    value.vectorValue = new_vector_copy(v);
}

Variant::Variant(vector_type&& v) : type(Vector) {
    value.vectorValue = new vector_type(std::move(v));
    v.clear();
}

Variant::Variant(Variant const& other) : type(other.type) {
    value.copy_construct(other.type, other.value);
}

Variant& Variant::operator=(Variant const& other) {
    if (type == other.type) {
        value.copy_assign(type, other.value);
        return *this;
    }
    // The new payload is complete before the old one goes, which may hold `other`.
    Value fresh;
    fresh.intValue = 0; // a Null copies no payload, but the union is still copied whole
    fresh.copy_construct(other.type, other.value);
    Type const fresh_type = other.type;
    value.destruct(type);
    value = fresh;
    type = fresh_type;
    return *this;
}

// ---- access and update ----

double Variant::asDouble() const noexcept {
    switch (type) {
    case Integer:
        return static_cast<double>(value.intValue);
    case Double:
        return value.doubleValue;
    default:
        return std::numeric_limits<double>::quiet_NaN();
    }
}

Variant const& Variant::get(std::string const& key) const {
    if (type != Map) {
        return nullVariant;
    }
    auto const it = value.mapValue->find(key);
    return it != value.mapValue->end() ? it->second : nullVariant;
}

Variant& Variant::operator[](int index) {
    if (type == Vector && index >= 0 &&
        static_cast<std::size_t>(index) < value.vectorValue->size()) {
        return (*value.vectorValue)[static_cast<std::size_t>(index)];
    }
    // A writable Null that no later lookup sees: whatever a caller writes here is dropped.
    thread_local Variant scratch;
    scratch = Variant();
    return scratch;
}

Variant const& Variant::operator[](std::string const& key) const {
    if (type != Map) {
        return *this;
    }
    return (*value.mapValue)[key];
}

Variant& Variant::operator[](std::string const& key) {
    if (type == Null) {
        value.mapValue = new map_type();
        type = Map;
    }
    if (type != Map) {
        return *this;
    }
    return (*value.mapValue)[key];
}

bool Variant::set(std::string const& key, Variant const& v) {
    if (&v == this) {
        return false;
    }
    if (type == Null) {
        value.mapValue = new map_type();
        type = Map;
    }
    if (type != Map) {
        return false;
    }
    map_type& m = *value.mapValue;
    auto const it = m.lower_bound(key);
    if (it != m.end() && it->first == key) {
        it->second = v;
        return true;
    }
    m.emplace_hint(it, key, v);
    return false;
}

// ---- equality and merge ----

bool operator==(Variant const& a, Variant const& b) noexcept {
    return same_value(a, b);
}

bool Variant::mergeWith(Variant const& other) {
    if (type == Map && other.type == Map) {
        // Work on a copy so that a conflict at any depth leaves this value untouched.
        Variant work(*this);
        if (!merge_in_place(work, other)) {
            return false;
        }
        *this = std::move(work);
        return true;
    }
    // Every other outcome is a refusal or a single copy assignment, which is already atomic.
    return merge_in_place(*this, other);
}

char const* jsonTypeName(Variant::Type t) noexcept {
    static char const* const names[] = {"null",    "Number", "Number", "String",
                                        "Boolean", "Object", "Array"};
    auto const i = static_cast<std::size_t>(t);
    return i < sizeof names / sizeof names[0] ? names[i] : "null";
}

// ---- JSON text ----

json_t* toJansson(Variant const& v) {
    return json_trees::build_tree(v, false);
}

Variant Variant::fromJson(std::string const& text) {
    namespace sk = korvax::skrib;
    if (text.empty()) {
        SKRIB_LOG(sk::level::info, "attempting to parse empty string; returning empty object");
        return Variant();
    }
    json_error_t error;
    json_ptr const tree(json_loads(text.c_str(), parse_flags, &error));
    if (tree) {
        return json_trees::convert_tree(tree.get());
    }
    // The report is built only when some sink will take it.
    SKRIB_LOG(sk::level::error, "{}", parse_error_report(text, error));
    return Variant();
}

std::string Variant::toJson() const {
    return json_trees::dump(*this, compact_flags);
}

std::string Variant::prettyPrintJson() const {
    return json_trees::dump(*this, pretty_flags);
}

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace detail {

std::string parser_reason(char const* text) {
    std::string_view reason(text);
    std::string_view const nul = "\\u0000 is not allowed without JSON_ALLOW_NUL";
    std::string out;
    if (reason.substr(0, nul.size()) == nul) {
        out = "\\u0000 (a NUL character) is not allowed in a string";
        reason.remove_prefix(nul.size());
    }
    return out + detail::shown_text(reason, false, std::string_view::npos);
}

} // namespace detail

namespace {

bool parse_into(std::string const& text, Variant& out, parse_failure& why, bool unique_keys,
                std::string* release) {
    json_error_t error;
    if (json_trees::parse_text(text.c_str(), std::strlen(text.c_str()), out, error, unique_keys,
                               release)) {
        return true;
    }
    why.reason = detail::parser_reason(error.text);
    why.line = error.line;
    why.column = error.column;
    why.position = error.position;
    return false;
}

} // namespace

bool parse_json(std::string const& text, Variant& out, parse_failure& why) {
    return parse_into(text, out, why, false, nullptr);
}

bool parse_json(std::string const& text, Variant& out, parse_failure& why, bool unique_keys) {
    return parse_into(text, out, why, unique_keys, nullptr);
}

bool parse_json(std::string&& text, Variant& out, parse_failure& why, bool unique_keys) {
    return parse_into(text, out, why, unique_keys, &text);
}

} // namespace v1
} // namespace tolvi
} // namespace korvax
