#include <tolvi/Variant.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include <jansson.h>
#include <skrib/skrib.hpp>

namespace {

// What lookups answer when they find nothing; never written.
Variant const nullVariant;

// Any nonzero first payload byte is true, whoever wrote it.
bool boolOf(Variant::Value const& v) noexcept {
    unsigned char first;
    std::memcpy(&first, &v, 1);
    return first != 0;
}

// Deep copies, handed out only once complete. The map copies the source tree's shape node for
// node, with no key comparison and no rebalancing; the vector gets exactly the source's size.
Variant::map_type* newMapCopy(Variant::map_type const& src) {
    return new Variant::map_type(src);
}

Variant::vector_type* newVectorCopy(Variant::vector_type const& src) {
    return new Variant::vector_type(src);
}

struct json_releaser {
    void operator()(json_t* j) const noexcept { json_decref(j); }
};
using json_ptr = std::unique_ptr<json_t, json_releaser>;

struct text_releaser {
    void operator()(char* p) const noexcept { std::free(p); }
};

constexpr std::size_t parse_flags = JSON_DECODE_ANY;
constexpr std::size_t compact_flags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7);
constexpr std::size_t pretty_flags = JSON_INDENT(4) | JSON_SORT_KEYS | JSON_ENCODE_ANY;
static_assert(parse_flags == 4 && compact_flags == 0x3A20 && pretty_flags == 0x284,
              "Jansson flag values");

// Jansson's test of text: well-formed UTF-8, so no overlong forms, no surrogates and nothing
// past U+10FFFF. Done here once, so that Jansson's unchecked constructors skip their own slower
// pass and a second strlen; ASCII goes eight bytes at a time.
bool isUtf8(char const* text, std::size_t n) noexcept {
    auto const* s = reinterpret_cast<unsigned char const*>(text);
    std::size_t i = 0;
    while (i < n) {
        if (n - i >= 8) {
            std::uint64_t word;
            std::memcpy(&word, s + i, 8);
            if ((word & 0x8080808080808080u) == 0) {
                i += 8;
                continue;
            }
        }
        unsigned char const c = s[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        // The lead byte fixes the length and the range of the second byte.
        std::size_t length;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            low = c == 0xE0 ? 0xA0 : 0x80;
            high = c == 0xED ? 0x9F : 0xBF;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            low = c == 0xF0 ? 0x90 : 0x80;
            high = c == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (n - i < length || s[i + 1] < low || s[i + 1] > high) {
            return false;
        }
        for (std::size_t k = 2; k < length; ++k) {
            if ((s[i + k] & 0xC0) != 0x80) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

// json_object_set_new without its key check and strlen: the caller has checked the key.
void setMember(json_t* object, char const* key, std::size_t n, json_t* value) {
#if JANSSON_VERSION_HEX >= 0x020e00
    json_object_setn_new_nocheck(object, key, n, value);
#else
    (void)n;
    json_object_set_new_nocheck(object, key, value);
#endif
}

// Converts a parsed tree into a Variant; the tree is left as it is. One converter serves the
// whole tree, so sorting the members of its objects costs no allocation per object.
class treeConverter {
public:
    Variant convert(json_t const* node);

private:
    struct member {
        std::uint64_t head; // the first 8 bytes of the key, big-endian, zero-padded
        char const* key;
        std::size_t size;
        json_t const* value;
    };

    static std::uint64_t headOf(char const* key, std::size_t size) noexcept {
        unsigned char bytes[8] = {};
        std::memcpy(bytes, key, std::min<std::size_t>(size, 8));
        std::uint64_t head = 0;
        for (unsigned char b : bytes) {
            head = head << 8 | b;
        }
        return head;
    }

    // The order of std::string keys (bytes as unsigned, a prefix first); the head decides most
    // comparisons without touching the keys.
    static bool keyLess(member const& a, member const& b) noexcept {
        if (a.head != b.head) {
            return a.head < b.head;
        }
        int const c = std::memcmp(a.key, b.key, std::min(a.size, b.size));
        return c != 0 ? c < 0 : a.size < b.size;
    }

    Variant convertObject(json_t* object);

    // Members of the objects being converted, innermost last: one buffer for the whole tree.
    std::vector<member> pending_;
};

Variant treeConverter::convertObject(json_t* object) {
    std::size_t const first = pending_.size();
    for (void* it = json_object_iter(object); it != nullptr;
         it = json_object_iter_next(object, it)) {
        char const* key = json_object_iter_key(it);
        json_t const* value = json_object_iter_value(it);
        if (key == nullptr || value == nullptr) {
            break;
        }
#if JANSSON_VERSION_HEX >= 0x020e00
        std::size_t const size = json_object_iter_key_len(it);
#else
        std::size_t const size = std::strlen(key);
#endif
        pending_.push_back({headOf(key, size), key, size, value});
    }
    // Jansson yields members in text order; sorted, they build the map in linear time. Jansson
    // holds each key once, so no member is lost to a duplicate.
    std::sort(pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end(), keyLess);
    Variant out{Variant::map_type{}};
    Variant::map_type& m = *out.value.mapValue;
    for (std::size_t i = first; i < pending_.size(); ++i) {
        member const p = pending_[i]; // a copy: converting the value grows pending_
        m.emplace_hint(m.end(), std::piecewise_construct, std::forward_as_tuple(p.key, p.size),
                       std::forward_as_tuple(convert(p.value)));
    }
    pending_.resize(first);
    return out;
}

Variant treeConverter::convert(json_t const* node) {
    // Jansson's read accessors take non-const nodes but do not modify them.
    json_t* n = const_cast<json_t*>(node);
    switch (json_typeof(node)) {
    case JSON_OBJECT:
        return convertObject(n);
    case JSON_ARRAY: {
        Variant out{Variant::vector_type{}};
        Variant::vector_type& v = *out.value.vectorValue;
        std::size_t const size = json_array_size(n);
        v.reserve(size);
        for (std::size_t i = 0; i < size; ++i) {
            v.push_back(convert(json_array_get(n, i)));
        }
        return out;
    }
    case JSON_STRING: {
        // The parser refuses the escaped NUL, so Jansson's stored length is the text's strlen.
        Variant out;
        out.value.stringValue = new std::string(json_string_value(n), json_string_length(n));
        out.type = Variant::String;
        return out;
    }
    case JSON_INTEGER:
        return Variant(static_cast<long long>(json_integer_value(n)));
    case JSON_REAL:
        return Variant(json_real_value(n));
    case JSON_TRUE:
        return Variant(true);
    case JSON_FALSE:
        return Variant(false);
    default:
        return Variant();
    }
}

std::string parseErrorReport(std::string const& text, json_error_t const& error) {
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

// Jansson prints straight into the result: no buffer of its own, no copy of the text. An
// exception from the string (out of memory) cannot cross Jansson's C frames, so it is carried
// over them and thrown again once Jansson has returned.
struct text_sink {
    std::string text;
    std::exception_ptr failure;

    static int append(char const* buffer, std::size_t size, void* data) {
        auto* sink = static_cast<text_sink*>(data);
        // Jansson goes on after some failed writes (of keys): after one, write nothing more.
        if (sink->failure) {
            return -1;
        }
        try {
            sink->text.append(buffer, size);
            return 0;
        } catch (...) {
            sink->failure = std::current_exception();
            return -1;
        }
    }
};

std::string dump(Variant const& v, std::size_t flags) {
    json_ptr const tree(toJansson(v));
    if (!tree) {
        return std::string();
    }
    text_sink sink;
    int const status = json_dump_callback(tree.get(), &text_sink::append, &sink, flags);
    if (sink.failure) {
        std::rethrow_exception(sink.failure);
    }
    if (status != 0) {
        // Jansson gave up part way: no text rather than half of it.
        sink.text.clear();
    }
    return std::move(sink.text);
}

// A copy of `s` in which maps, at every depth reached through maps, lose their Null entries.
Variant copyWithoutNulls(Variant const& s) {
    if (s.type != Variant::Map) {
        return s;
    }
    Variant out{Variant::map_type{}};
    Variant::map_type& m = *out.value.mapValue;
    for (auto const& entry : *s.value.mapValue) {
        if (!entry.second.isNull()) {
            m.emplace_hint(m.end(), entry.first, copyWithoutNulls(entry.second));
        }
    }
    return out;
}

// Merges `s` into `t` with no rollback: callers hand in a scratch copy or a single assignment.
bool mergeInPlace(Variant& t, Variant const& s) {
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
            w.emplace_hint(it, entry.first, copyWithoutNulls(entry.second));
        } else if (!mergeInPlace(it->second, entry.second)) {
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
        mapValue = newMapCopy(*src.mapValue);
        break;
    case Vector:
        vectorValue = newVectorCopy(*src.vectorValue);
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
            std::unique_ptr<map_type> old(std::exchange(mapValue, newMapCopy(*src.mapValue)));
        }
        break;
    case Vector:
        if (vectorValue != src.vectorValue) {
            std::unique_ptr<vector_type> old(
                std::exchange(vectorValue, newVectorCopy(*src.vectorValue)));
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
    value.mapValue = newMapCopy(m);
}

Variant::Variant(map_type&& m) : type(Map) {
    value.mapValue = new map_type(std::move(m));
    m.clear();
}

Variant::Variant(vector_type const& v) : type(Vector) {
    value.vectorValue = newVectorCopy(v);
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
    if (a.type != b.type) {
        return false;
    }
    switch (a.type) {
    case Variant::Null:
        return true;
    case Variant::Integer:
        return a.value.intValue == b.value.intValue;
    case Variant::Double:
        return a.asDouble() == b.asDouble();
    case Variant::String:
        return *a.value.stringValue == *b.value.stringValue;
    case Variant::Boolean:
        return boolOf(a.value) == boolOf(b.value);
    case Variant::Map:
        return *a.value.mapValue == *b.value.mapValue;
    case Variant::Vector:
        return *a.value.vectorValue == *b.value.vectorValue;
    }
    return true;
}

bool Variant::mergeWith(Variant const& other) {
    if (type == Map && other.type == Map) {
        // Work on a copy so that a conflict at any depth leaves this value untouched.
        Variant work(*this);
        if (!mergeInPlace(work, other)) {
            return false;
        }
        *this = std::move(work);
        return true;
    }
    // Every other outcome is a refusal or a single copy assignment, which is already atomic.
    return mergeInPlace(*this, other);
}

char const* jsonTypeName(Variant::Type t) noexcept {
    static char const* const names[] = {"null",    "Number", "Number", "String",
                                        "Boolean", "Object", "Array"};
    auto const i = static_cast<std::size_t>(t);
    return i < sizeof names / sizeof names[0] ? names[i] : "null";
}

// ---- JSON text ----

json_t* toJansson(Variant const& v) {
    switch (v.type) {
    case Variant::Integer:
        return json_integer(static_cast<json_int_t>(v.value.intValue));
    case Variant::Double:
        return json_real(v.value.doubleValue);
    case Variant::String: {
        // Jansson takes the text up to its first NUL and refuses it unless it is UTF-8.
        std::string const& s = *v.value.stringValue;
        std::size_t const n = std::strlen(s.c_str());
        return isUtf8(s.data(), n) ? json_stringn_nocheck(s.data(), n) : nullptr;
    }
    case Variant::Boolean:
        return boolOf(v.value) ? json_true() : json_false();
    case Variant::Map: {
        json_ptr object(json_object());
        if (object) {
            // A refused key or value leaves its member out; the value of a refused key need not
            // be built at all.
            for (auto const& entry : *v.value.mapValue) {
                char const* const key = entry.first.c_str();
                std::size_t const n = std::strlen(key);
                if (isUtf8(key, n)) {
                    setMember(object.get(), key, n, toJansson(entry.second));
                }
            }
        }
        return object.release();
    }
    case Variant::Vector: {
        json_ptr array(json_array());
        if (array) {
            for (auto const& element : *v.value.vectorValue) {
                json_array_append_new(array.get(), toJansson(element));
            }
        }
        return array.release();
    }
    default:
        return json_null();
    }
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
        return treeConverter().convert(tree.get());
    }
    // The report is built only when some sink will take it.
    SKRIB_LOG(sk::level::error, "{}", parseErrorReport(text, error));
    return Variant();
}

std::string Variant::toJson() const {
    return dump(*this, compact_flags);
}

std::string Variant::prettyPrintJson() const {
    return dump(*this, pretty_flags);
}
