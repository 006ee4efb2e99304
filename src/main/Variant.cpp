#include <tolvi/Variant.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
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

// The recursion behind ==, kept file-local so that its calls bind directly and inline, and
// lists are walked in one loop without a call per element.
bool sameValue(Variant const& a, Variant const& b) noexcept {
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
        return boolOf(a.value) == boolOf(b.value);
    case Variant::Map: {
        auto const& x = *a.value.mapValue;
        auto const& y = *b.value.mapValue;
        return x.size() == y.size() &&
               std::equal(x.begin(), x.end(), y.begin(), [](auto const& p, auto const& q) {
                   return p.first == q.first && sameValue(p.second, q.second);
               });
    }
    case Variant::Vector: {
        auto const& x = *a.value.vectorValue;
        auto const& y = *b.value.vectorValue;
        return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin(), sameValue);
    }
    default:
        return true;
    }
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

constexpr std::size_t parse_flags = JSON_DECODE_ANY;
constexpr std::size_t compact_flags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7);
constexpr std::size_t pretty_flags = JSON_INDENT(4) | JSON_SORT_KEYS | JSON_ENCODE_ANY;
static_assert(parse_flags == 4 && compact_flags == 0x3A20 && pretty_flags == 0x284,
              "Jansson flag values");

constexpr std::size_t not_utf8 = static_cast<std::size_t>(-1);

// The length of `text` up to its first NUL (where Jansson takes text to end), or not_utf8 unless
// those bytes are well-formed UTF-8 as Jansson tests it: no overlong forms, no surrogates, nothing
// past U+10FFFF. One pass does both, so that Jansson's unchecked constructors skip their own
// slower check and a second strlen; ASCII goes eight bytes at a time.
std::size_t utf8Length(char const* text, std::size_t n) noexcept {
    auto const* s = reinterpret_cast<unsigned char const*>(text);
    constexpr std::uint64_t ones = 0x0101010101010101u;
    constexpr std::uint64_t highs = 0x8080808080808080u;
    std::size_t i = 0;
    while (i < n) {
        unsigned char const c = s[i];
        if (c < 0x80) {
            if (c == 0) {
                return i;
            }
            ++i;
            // A run of ASCII goes eight bytes at a time: no high bit set and no zero byte.
            while (n - i >= 8) {
                std::uint64_t word;
                std::memcpy(&word, s + i, 8);
                if (((word | ((word - ones) & ~word)) & highs) != 0) {
                    break;
                }
                i += 8;
            }
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
            return not_utf8;
        }
        if (n - i < length || s[i + 1] < low || s[i + 1] > high) {
            return not_utf8;
        }
        for (std::size_t k = 2; k < length; ++k) {
            if ((s[i + k] & 0xC0) != 0x80) {
                return not_utf8;
            }
        }
        i += length;
    }
    return n;
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

// Builds a Jansson tree from a Variant. For printing, values that recur in one document are
// built once and shared: integers and strings (counts, ids, names of states, links), and small
// maps and lists (empty ones, and those of at most 8 values in all at any depth, none a Double).
// Jansson counts references, and a shared node prints as a copy would; each repeat saves its
// allocations, frees and checks. A tree handed to the caller shares nothing, since the caller may
// change its nodes. The cache starts only after a few dozen values, so small values never pay for
// it, and grows with the number of distinct values.
class treeBuilder {
public:
    explicit treeBuilder(bool share) noexcept : share_(share) {}
    treeBuilder(treeBuilder const&) = delete;
    treeBuilder& operator=(treeBuilder const&) = delete;
    ~treeBuilder() { release(); }

    json_t* build(Variant const& v);

private:
    enum class kind : std::uint32_t { none, integer, string, container };
    struct slot {
        std::uint64_t hash;
        kind what;
        void const* source; // the string's bytes or the container's Variant, in the document
        std::size_t size;
        std::int64_t integer;
        json_t* node; // the cache's own reference
    };

    static constexpr std::size_t start_after = 64; // values built before the cache starts
    static constexpr std::size_t first_slots = 256;
    static constexpr std::size_t most_slots = 4096;
    static constexpr std::size_t longest_shared = 1024;  // longer strings rarely repeat
    static constexpr std::size_t longest_key = 64;       // of the strings in a shared container
    static constexpr std::size_t most_shared_values = 8; // larger containers rarely repeat

    static std::uint64_t mix(std::uint64_t h) noexcept {
        h ^= h >> 29;
        h *= 0xBF58476D1CE4E5B9u;
        return h ^ (h >> 32);
    }
    static std::uint64_t hashOf(char const* text, std::size_t size) noexcept;
    static bool smallHash(Variant const& v, std::uint64_t& hash, std::size_t& budget) noexcept;

    json_t* integer(std::int64_t value);
    json_t* string(std::string const& s);
    json_t* container(Variant const& v);
    json_t* empty(json_t*& node, json_t* (*make)());
    slot* find(std::uint64_t hash) noexcept;
    json_t* keep(slot* s, json_t* node, slot const& key) noexcept;
    void release() noexcept;

    bool const share_;
    std::unique_ptr<slot[]> slots_;
    std::size_t size_ = 0;            // slots in the table
    std::size_t seen_ = 0;            // values built before the cache started
    std::size_t misses_ = 0;          // new values kept since the table was made
    std::size_t container_tries_ = 0; // small containers looked up, and found
    std::size_t container_hits_ = 0;
    json_t* empty_array_ = nullptr;
    json_t* empty_object_ = nullptr;
};

std::uint64_t treeBuilder::hashOf(char const* text, std::size_t size) noexcept {
    std::uint64_t h = size;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text + i, 8);
        h = mix(h ^ word) + i;
    }
    std::uint64_t tail = 0;
    std::memcpy(&tail, text + i, size - i);
    return mix(h ^ tail ^ 0x9E3779B97F4A7C15u);
}

// Hashes `v` into `hash` if it is worth sharing: a scalar other than a Double, or a container of
// at most `budget` such values in all, at any depth, none of them a long string.
bool treeBuilder::smallHash(Variant const& v, std::uint64_t& hash, std::size_t& budget) noexcept {
    if (budget == 0) {
        return false;
    }
    --budget;
    std::uint64_t bits = 0;
    switch (v.type) {
    case Variant::Integer:
        bits = static_cast<std::uint64_t>(v.value.intValue);
        break;
    case Variant::Double:
        // Measurements and coordinates: lists of them hardly ever repeat exactly.
        return false;
    case Variant::String:
        if (v.value.stringValue->size() > longest_key) {
            return false;
        }
        bits = hashOf(v.value.stringValue->data(), v.value.stringValue->size());
        break;
    case Variant::Boolean:
        bits = boolOf(v.value);
        break;
    case Variant::Map:
        if (v.value.mapValue->size() > budget) {
            return false;
        }
        for (auto const& entry : *v.value.mapValue) {
            if (entry.first.size() > longest_key) {
                return false;
            }
            hash = mix(hash + hashOf(entry.first.data(), entry.first.size()));
            if (!smallHash(entry.second, hash, budget)) {
                return false;
            }
        }
        break;
    case Variant::Vector:
        if (v.value.vectorValue->size() > budget) {
            return false;
        }
        for (Variant const& element : *v.value.vectorValue) {
            if (!smallHash(element, hash, budget)) {
                return false;
            }
        }
        break;
    default:
        break;
    }
    hash = mix(hash ^ bits ^ static_cast<std::uint64_t>(v.type) << 56);
    return true;
}

treeBuilder::slot* treeBuilder::find(std::uint64_t hash) noexcept {
    if (!share_) {
        return nullptr;
    }
    if (!slots_) {
        if (++seen_ < start_after) {
            return nullptr;
        }
        size_ = first_slots;
        slots_.reset(new (std::nothrow) slot[size_]());
        if (!slots_) {
            size_ = 0;
            seen_ = 0; // no room for a cache: try again later
            return nullptr;
        }
    } else if (misses_ > 2 * size_ && size_ < most_slots) {
        // Many distinct values: a larger table keeps more of them.
        std::unique_ptr<slot[]> larger(new (std::nothrow) slot[size_ * 4]());
        if (larger) {
            release();
            slots_ = std::move(larger);
            size_ *= 4;
            misses_ = 0;
        }
    }
    return &slots_[hash & (size_ - 1)];
}

// Puts a newly built node in the slot, in place of the value there before.
json_t* treeBuilder::keep(slot* s, json_t* node, slot const& key) noexcept {
    if (s == nullptr || node == nullptr) {
        return node;
    }
    ++misses_;
    // The first value to reach a slot keeps it: replacing it would touch a node built long ago.
    if (s->node == nullptr) {
        *s = key;
        s->node = json_incref(node);
    }
    return node;
}

void treeBuilder::release() noexcept {
    for (std::size_t i = 0; i < size_; ++i) {
        if (slots_[i].node != nullptr) {
            json_decref(slots_[i].node);
            slots_[i].node = nullptr;
        }
    }
    json_decref(empty_array_);
    json_decref(empty_object_);
    empty_array_ = empty_object_ = nullptr;
}

json_t* treeBuilder::integer(std::int64_t value) {
    std::uint64_t const hash = mix(static_cast<std::uint64_t>(value));
    slot* const s = find(hash);
    if (s != nullptr && s->node != nullptr && s->what == kind::integer && s->integer == value) {
        return json_incref(s->node);
    }
    return keep(s, json_integer(static_cast<json_int_t>(value)),
                slot{hash, kind::integer, nullptr, 0, value, nullptr});
}

json_t* treeBuilder::string(std::string const& text) {
    // Jansson takes the text up to its first NUL and refuses it unless it is UTF-8.
    std::size_t const n = utf8Length(text.data(), text.size());
    if (n == not_utf8) {
        return nullptr;
    }
    if (!share_ || n > longest_shared) {
        return json_stringn_nocheck(text.data(), n);
    }
    std::uint64_t const hash = hashOf(text.data(), n);
    slot* const s = find(hash);
    if (s != nullptr && s->node != nullptr && s->what == kind::string && s->hash == hash &&
        s->size == n && std::memcmp(s->source, text.data(), n) == 0) {
        return json_incref(s->node);
    }
    // The document outlives the builder, so the slot may point into its text.
    return keep(s, json_stringn_nocheck(text.data(), n),
                slot{hash, kind::string, text.data(), n, 0, nullptr});
}

json_t* treeBuilder::empty(json_t*& node, json_t* (*make)()) {
    if (node == nullptr) {
        node = make();
    }
    return node != nullptr ? json_incref(node) : nullptr;
}

json_t* treeBuilder::container(Variant const& v) {
    json_ptr node(v.type == Variant::Map ? json_object() : json_array());
    if (!node) {
        return nullptr;
    }
    if (v.type == Variant::Map) {
        // A refused key or value leaves its member out; the value of a refused key need not be
        // built at all.
        for (auto const& entry : *v.value.mapValue) {
            std::size_t const n = utf8Length(entry.first.data(), entry.first.size());
            if (n != not_utf8) {
                setMember(node.get(), entry.first.data(), n, build(entry.second));
            }
        }
    } else {
        for (auto const& element : *v.value.vectorValue) {
            json_array_append_new(node.get(), build(element));
        }
    }
    return node.release();
}

json_t* treeBuilder::build(Variant const& v) {
    switch (v.type) {
    case Variant::Integer:
        return integer(v.value.intValue);
    case Variant::Double:
        return json_real(v.value.doubleValue);
    case Variant::String:
        return string(*v.value.stringValue);
    case Variant::Boolean:
        return boolOf(v.value) ? json_true() : json_false();
    case Variant::Map:
    case Variant::Vector: {
        if (!share_) {
            return container(v);
        }
        bool const map = v.type == Variant::Map;
        if (map ? v.value.mapValue->empty() : v.value.vectorValue->empty()) {
            return map ? empty(empty_object_, json_object) : empty(empty_array_, json_array);
        }
        // A document whose containers seldom repeat soon stops paying for the test.
        if (container_tries_ >= 512 && container_hits_ * 8 < container_tries_) {
            return container(v);
        }
        ++container_tries_;
        std::uint64_t hash = 0;
        std::size_t budget = most_shared_values + 1; // the container itself, and its values
        if (!smallHash(v, hash, budget)) {
            return container(v);
        }
        slot* const s = find(hash);
        if (s != nullptr && s->node != nullptr && s->what == kind::container && s->hash == hash &&
            // No Double passes smallHash, so == is equality of the printed text here.
            sameValue(*static_cast<Variant const*>(s->source), v)) {
            ++container_hits_;
            return json_incref(s->node);
        }
        return keep(s, container(v), slot{hash, kind::container, &v, 0, 0, nullptr});
    }
    default:
        return json_null();
    }
}

// Converts a parsed tree into a Variant; the tree is left as it is, so that the Variant's blocks
// come from fresh memory in the order a walk visits them (emptying the tree while converting
// would save memory, but scatter the Variant into the freed holes and slow every later walk).
// One converter serves the whole tree, so sorting the members of its objects costs no
// allocation per object.
class treeConverter {
public:
    Variant convert(json_t* node);

private:
    struct member {
        std::uint64_t head; // the first 8 bytes of the key, big-endian, zero-padded
        char const* key;
        std::size_t size;
        json_t* value;
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
        json_t* value = json_object_iter_value(it);
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

Variant treeConverter::convert(json_t* n) {
    switch (json_typeof(n)) {
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

// Jansson hands the text over in small pieces (a bracket, a key, a number), so the sink must be
// cheap per call: a plain buffer that doubles, copied once at the end. It grows with the nothrow
// operator new, so running out of memory here is a failed print, as for json_dumps, not an
// exception thrown through Jansson's C frames.
struct text_sink {
    char* text = nullptr;
    std::size_t used = 0;
    std::size_t capacity = 0;
    bool failed = false;

    text_sink() = default;
    text_sink(text_sink const&) = delete;
    text_sink& operator=(text_sink const&) = delete;
    ~text_sink() { delete[] text; }

    static int append(char const* buffer, std::size_t size, void* data) {
        auto* sink = static_cast<text_sink*>(data);
        if (sink->capacity - sink->used < size) {
            // Jansson goes on after some failed writes (of keys): after one, take nothing more.
            if (sink->failed || !sink->grow(size)) {
                sink->failed = true;
                return -1;
            }
        }
        std::memcpy(sink->text + sink->used, buffer, size);
        sink->used += size;
        return 0;
    }

    bool grow(std::size_t size) noexcept {
        std::size_t const wanted = std::max<std::size_t>({2 * capacity, used + size, 256});
        char* const larger = new (std::nothrow) char[wanted];
        if (larger == nullptr) {
            return false;
        }
        if (used > 0) {
            std::memcpy(larger, text, used);
        }
        delete[] text;
        text = larger;
        capacity = wanted;
        return true;
    }
};

std::string dump(Variant const& v, std::size_t flags) {
    json_ptr const tree(treeBuilder(true).build(v));
    if (!tree) {
        return std::string();
    }
    text_sink sink;
    int const status = json_dump_callback(tree.get(), &text_sink::append, &sink, flags);
    // Jansson gave up part way, or the text found no room: no text rather than half of it.
    return status == 0 && !sink.failed && sink.used > 0 ? std::string(sink.text, sink.used)
                                                        : std::string();
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
    return sameValue(a, b);
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
    return treeBuilder(false).build(v);
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
