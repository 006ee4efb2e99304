#include "json_trees.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace json_trees {

// One pass checks and measures, so that Jansson's unchecked constructors skip their own slower
// check and a second strlen; ASCII goes eight bytes at a time.
std::size_t utf8_length(char const* text, std::size_t n) noexcept {
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

namespace {

// json_object_set_new without its key check and strlen: the caller has checked the key.
void set_member(json_t* object, char const* key, std::size_t n, json_t* value) {
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
class tree_builder {
public:
    explicit tree_builder(bool share) noexcept : share_(share) {}
    tree_builder(tree_builder const&) = delete;
    tree_builder& operator=(tree_builder const&) = delete;
    ~tree_builder() { release(); }

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
    static std::uint64_t hash_of(char const* text, std::size_t size) noexcept;
    static bool small_hash(Variant const& v, std::uint64_t& hash, std::size_t& budget) noexcept;

    json_t* integer(std::int64_t value);
    json_t* string(std::string const& s);
    json_t* container(Variant const& v);
    json_t* empty(json_t*& node, json_t* (*make)());
    slot const* find(std::uint64_t hash) noexcept;
    json_t* keep(json_t* node, slot const& key) noexcept;
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

// tests/test_json_shared_nodes.cpp prints two strings that collide under this hash: a new hash
// needs a new pair there.
std::uint64_t tree_builder::hash_of(char const* text, std::size_t size) noexcept {
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
bool tree_builder::small_hash(Variant const& v, std::uint64_t& hash, std::size_t& budget) noexcept {
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
        bits = hash_of(v.value.stringValue->data(), v.value.stringValue->size());
        break;
    case Variant::Boolean:
        bits = bool_of(v.value);
        break;
    case Variant::Map:
        if (v.value.mapValue->size() > budget) {
            return false;
        }
        for (auto const& entry : *v.value.mapValue) {
            if (entry.first.size() > longest_key) {
                return false;
            }
            hash = mix(hash + hash_of(entry.first.data(), entry.first.size()));
            if (!small_hash(entry.second, hash, budget)) {
                return false;
            }
        }
        break;
    case Variant::Vector:
        if (v.value.vectorValue->size() > budget) {
            return false;
        }
        for (Variant const& element : *v.value.vectorValue) {
            if (!small_hash(element, hash, budget)) {
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

// The slot a value with this hash would use, for a look before building; null while there is no
// table. Only keep() changes the table, so the pointer is good until the next keep(): a container
// looks itself up, builds its children (which keep theirs) and then keeps itself by its hash,
// never by a pointer taken before.
tree_builder::slot const* tree_builder::find(std::uint64_t hash) noexcept {
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
    }
    return &slots_[hash & (size_ - 1)];
}

// Puts a newly built node in its slot, unless a value reached that slot first: replacing it would
// touch a node built long ago. Many distinct values grow the table first, so it keeps more.
json_t* tree_builder::keep(json_t* node, slot const& key) noexcept {
    if (!slots_ || node == nullptr) {
        return node;
    }
    if (++misses_ > 2 * size_ && size_ < most_slots) {
        std::unique_ptr<slot[]> larger(new (std::nothrow) slot[size_ * 4]());
        if (larger) {
            release();
            slots_ = std::move(larger);
            size_ *= 4;
            misses_ = 0;
        }
    }
    slot& s = slots_[key.hash & (size_ - 1)];
    if (s.node == nullptr) {
        s = key;
        s.node = json_incref(node);
    }
    return node;
}

void tree_builder::release() noexcept {
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

json_t* tree_builder::integer(std::int64_t value) {
    std::uint64_t const hash = mix(static_cast<std::uint64_t>(value));
    slot const* const s = find(hash);
    if (s != nullptr && s->node != nullptr && s->what == kind::integer && s->integer == value) {
        return json_incref(s->node);
    }
    return keep(json_integer(static_cast<json_int_t>(value)),
                slot{hash, kind::integer, nullptr, 0, value, nullptr});
}

json_t* tree_builder::string(std::string const& text) {
    // Jansson takes the text up to its first NUL and refuses it unless it is UTF-8.
    std::size_t const n = utf8_length(text.data(), text.size());
    if (n == not_utf8) {
        return nullptr;
    }
    if (!share_ || n > longest_shared) {
        return json_stringn_nocheck(text.data(), n);
    }
    std::uint64_t const hash = hash_of(text.data(), n);
    slot const* const s = find(hash);
    if (s != nullptr && s->node != nullptr && s->what == kind::string && s->hash == hash &&
        s->size == n && std::memcmp(s->source, text.data(), n) == 0) {
        return json_incref(s->node);
    }
    // The document outlives the builder, so the slot may point into its text.
    return keep(json_stringn_nocheck(text.data(), n),
                slot{hash, kind::string, text.data(), n, 0, nullptr});
}

json_t* tree_builder::empty(json_t*& node, json_t* (*make)()) {
    if (node == nullptr) {
        node = make();
    }
    return node != nullptr ? json_incref(node) : nullptr;
}

json_t* tree_builder::container(Variant const& v) {
    json_ptr node(v.type == Variant::Map ? json_object() : json_array());
    if (!node) {
        return nullptr;
    }
    // A refused key or value leaves its member out; the value of a refused key need not be built
    // at all.
    if (v.type == Variant::Map) {
        for (auto const& entry : *v.value.mapValue) {
            std::size_t const n = utf8_length(entry.first.data(), entry.first.size());
            if (n != not_utf8) {
                set_member(node.get(), entry.first.data(), n, build(entry.second));
            }
        }
    } else {
        for (auto const& element : *v.value.vectorValue) {
            json_array_append_new(node.get(), build(element));
        }
    }
    return node.release();
}

json_t* tree_builder::build(Variant const& v) {
    switch (v.type) {
    case Variant::Integer:
        return integer(v.value.intValue);
    case Variant::Double:
        return json_real(v.value.doubleValue);
    case Variant::String:
        return string(*v.value.stringValue);
    case Variant::Boolean:
        return bool_of(v.value) ? json_true() : json_false();
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
        if (!small_hash(v, hash, budget)) {
            return container(v);
        }
        slot const* const s = find(hash);
        if (s != nullptr && s->node != nullptr && s->what == kind::container && s->hash == hash &&
            // No Double passes small_hash, so == is equality of the printed text here.
            *static_cast<Variant const*>(s->source) == v) {
            ++container_hits_;
            return json_incref(s->node);
        }
        // Building the children may grow the table: `s` is not used past this point.
        return keep(container(v), slot{hash, kind::container, &v, 0, 0, nullptr});
    }
    default:
        return json_null();
    }
}

// Converts a parsed tree into a Variant and empties the tree as it goes: each converted value is
// replaced in its parent by Jansson's null singleton, which frees it, so that the tree and the
// Variant are never both whole. One converter serves the whole tree, so sorting the members of its
// objects costs no allocation per object.
class tree_converter {
public:
    Variant convert(json_t* node);

    // The most containers open at once in what was converted: the root's own depth is 1.
    std::size_t deepest() const noexcept { return deepest_; }

private:
    struct member {
        std::uint64_t head; // the first 8 bytes of the key, big-endian, zero-padded
        char const* key;
        std::size_t size;
        void* iter; // the member's place in its object, where its value is dropped
    };

    static std::uint64_t head_of(char const* key, std::size_t size) noexcept {
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
    static bool key_less(member const& a, member const& b) noexcept {
        if (a.head != b.head) {
            return a.head < b.head;
        }
        int const c = std::memcmp(a.key, b.key, std::min(a.size, b.size));
        return c != 0 ? c < 0 : a.size < b.size;
    }

    Variant convert_object(json_t* object);
    Variant convert_array(json_t* array);

    // Members of the objects being converted, innermost last: one buffer for the whole tree.
    std::vector<member> pending_;
    std::size_t depth_ = 0;
    std::size_t deepest_ = 0;
};

Variant tree_converter::convert_object(json_t* object) {
    std::size_t const first = pending_.size();
    for (void* it = json_object_iter(object); it != nullptr;
         it = json_object_iter_next(object, it)) {
        char const* key = json_object_iter_key(it);
        if (key == nullptr || json_object_iter_value(it) == nullptr) {
            break;
        }
#if JANSSON_VERSION_HEX >= 0x020e00
        std::size_t const size = json_object_iter_key_len(it);
#else
        std::size_t const size = std::strlen(key);
#endif
        pending_.push_back({head_of(key, size), key, size, it});
    }
    // Jansson yields members in text order; sorted, they build the map in linear time. Jansson
    // holds each key once, so no member is lost to a duplicate.
    std::sort(pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end(), key_less);
    Variant out{Variant::map_type{}};
    Variant::map_type& m = *out.value.mapValue;
    for (std::size_t i = first; i < pending_.size(); ++i) {
        member const p = pending_[i]; // a copy: converting the value grows pending_
        m.emplace_hint(m.end(), std::piecewise_construct, std::forward_as_tuple(p.key, p.size),
                       std::forward_as_tuple(convert(json_object_iter_value(p.iter))));
        // Replacing a value keeps the object's keys and iterators where they are.
        json_object_iter_set_new(object, p.iter, json_null());
    }
    pending_.resize(first);
    return out;
}

Variant tree_converter::convert_array(json_t* array) {
    Variant out{Variant::vector_type{}};
    Variant::vector_type& v = *out.value.vectorValue;
    std::size_t const size = json_array_size(array);
    v.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
        v.push_back(convert(json_array_get(array, i)));
        json_array_set_new(array, i, json_null());
    }
    return out;
}

Variant tree_converter::convert(json_t* n) {
    switch (json_typeof(n)) {
    case JSON_OBJECT:
    case JSON_ARRAY: {
        deepest_ = std::max(deepest_, ++depth_);
        Variant out = json_is_object(n) ? convert_object(n) : convert_array(n);
        --depth_;
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

} // namespace

json_t* build_tree(Variant const& v, bool share) {
    return tree_builder(share).build(v);
}

Variant convert_tree(json_t* root, std::size_t* deepest) {
    tree_converter converter;
    Variant out = converter.convert(root);
    if (deepest != nullptr) {
        *deepest = converter.deepest();
    }
    return out;
}

std::string dump(Variant const& v, std::size_t flags) {
    json_ptr const tree(tree_builder(true).build(v));
    if (!tree) {
        return std::string();
    }
    text_sink sink;
    int const status = json_dump_callback(tree.get(), &text_sink::append, &sink, flags);
    // Jansson gave up part way, or the text found no room: no text rather than half of it.
    return status == 0 && !sink.failed && sink.used > 0 ? std::string(sink.text, sink.used)
                                                        : std::string();
}

} // namespace json_trees
