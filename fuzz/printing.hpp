#pragma once

// Printing of large values: input bytes drive the building of a Variant of up to some thousands of
// nodes, the kind a device writes (counters, ids, names of states, small records repeated in
// lists), and its text must be the text Jansson prints for the same value built plainly.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include <jansson.h>

#include <tolvi/Variant.hpp>
#include <tolvi/json_text.hpp>

#include "checks.hpp"

namespace tolvi_fuzz {

// Turns bytes into a value. A byte chooses a step by its low four bits and gives the step an
// argument in its high four (a size, an entry of a table); some steps read more bytes. A repeat
// reads the bytes of its element again for every copy, so a few bytes give thousands of nodes.
// Copies are equal unless a "distinct" step takes the next number of a counter: then each copy
// differs. Input that runs out reads as zeros, which build nulls.
class value_maker {
public:
    explicit value_maker(std::string const& bytes) : bytes_(bytes) {}

    Variant make() { return value(0); }

private:
    // Enough for the sharing cache's table to grow twice (256, 1024 and 4096 slots); more would
    // only slow every run.
    static constexpr std::size_t most_nodes = 6000;
    static constexpr std::size_t most_text = std::size_t{1} << 18; // bytes in all strings
    static constexpr int deepest = 40;                             // containers below: scalars

    unsigned byte() {
        return pos_ < bytes_.size() ? static_cast<unsigned char>(bytes_[pos_++]) : 0;
    }

    std::uint64_t word() {
        std::uint64_t w = 0;
        for (int i = 0; i < 8; ++i) {
            w = w << 8 | byte();
        }
        return w;
    }

    long long distinct() { return 1000000000 + static_cast<long long>(serial_++); }

    Variant value(int depth) {
        static long long const integers[16] = {0,
                                               1,
                                               -1,
                                               7,
                                               255,
                                               65536,
                                               1000000000,
                                               std::numeric_limits<std::int32_t>::min(),
                                               std::numeric_limits<std::int32_t>::max(),
                                               std::numeric_limits<std::uint32_t>::max(),
                                               9007199254740993LL,
                                               std::numeric_limits<long long>::min(),
                                               std::numeric_limits<long long>::max(),
                                               -9007199254740993LL,
                                               4294967296LL,
                                               -128};
        static double const doubles[16] = {std::numeric_limits<double>::quiet_NaN(),
                                           std::numeric_limits<double>::infinity(),
                                           -std::numeric_limits<double>::infinity(),
                                           0.0,
                                           -0.0,
                                           1.0,
                                           0.1,
                                           1.0 / 3,
                                           47.123456789,
                                           123456789.0,
                                           9007199254740993.0,
                                           1e21,
                                           5e-9,
                                           -DBL_MAX,
                                           DBL_MIN,
                                           std::numeric_limits<double>::denorm_min()};
        // Past the sharing limits: 64 bytes for the strings of a shared container, 1 KiB for a
        // shared string.
        static std::size_t const lengths[16] = {0,   1,   7,    8,    9,    63,   64,   65,
                                                100, 255, 1023, 1024, 1025, 1031, 2048, 4096};
        if (++nodes_ > most_nodes) {
            return Variant();
        }
        unsigned const b = byte();
        unsigned const op = b & 15;
        unsigned const arg = b >> 4;
        if (op >= 10 && depth >= deepest) {
            return Variant();
        }
        switch (op) {
        case 0:
            return Variant();
        case 1:
            return Variant((arg & 1) != 0);
        case 2:
            return Variant(static_cast<int>(arg) - 4);
        case 3:
            return Variant(integers[arg]);
        case 4:
            return Variant(distinct());
        case 5:
            return Variant(static_cast<long long>(word()));
        case 6:
            return Variant(doubles[arg]);
        case 7: {
            std::uint64_t const bits = word();
            double d;
            std::memcpy(&d, &bits, sizeof d);
            return Variant(d);
        }
        case 8:
            return Variant("id-" + std::to_string(distinct()));
        case 9:
            return Variant(text());
        case 10:
            return Variant(distinct_text(lengths[arg]));
        case 11:
            return (arg & 1) != 0 ? Variant(Variant::map_type{}) : Variant(Variant::vector_type{});
        case 12: // small enough to be shared, if its values are
            return container((arg & 1) != 0, 1 + (arg >> 1), depth, false);
        case 13:
            return container((arg & 1) != 0, byte(), depth, false);
        case 14: {
            static std::size_t const copies[8] = {2, 9, 65, 130, 300, 600, 1100, 3000};
            return container((arg & 1) != 0, copies[arg >> 1], depth, true);
        }
        default: { // 0 to 127 copies one by one, then up to 4096 in steps of 32
            unsigned const n = byte();
            return container((arg & 1) != 0, n < 128 ? n : (n - 127) * 32, depth, true);
        }
        }
    }

    Variant container(bool map, std::size_t n, int depth, bool repeat) {
        Variant out = map ? Variant(Variant::map_type{}) : Variant(Variant::vector_type{});
        std::size_t const start = pos_;
        for (std::size_t i = 0; i < n && nodes_ < most_nodes; ++i) {
            if (repeat) {
                pos_ = start;
            }
            if (map) {
                std::string k = key();
                (*out.value.mapValue)[std::move(k)] = value(depth + 1);
            } else {
                out.value.vectorValue->push_back(value(depth + 1));
            }
        }
        return out;
    }

    std::string key() {
        static char const* const names[] = {"", "a", "b", "id", "name", "value", "x y", "\xc3\xa9"};
        unsigned const b = byte();
        switch (b & 3) {
        case 0:
            return names[(b >> 2) % (sizeof names / sizeof names[0])];
        case 1:
            return "k" + std::to_string(distinct());
        case 2:
            return distinct_text(b >> 2);
        default:
            return text();
        }
    }

    // Bytes taken from the budget of text: none once it is spent.
    std::size_t take(std::size_t n) {
        n = text_ + n > most_text ? 0 : n;
        text_ += n;
        return n;
    }

    // Letters after a distinct number, as many as fit.
    std::string distinct_text(std::size_t n) {
        n = take(n);
        std::string const d = std::to_string(distinct());
        std::string s(n, 'x');
        s.replace(0, std::min(n, d.size()), d, 0, std::min(n, d.size()));
        return s;
    }

    // A string of any length up to past the sharing limits, of one letter or distinct, perhaps
    // with a piece that Jansson escapes or refuses, or a NUL.
    std::string text() {
        unsigned const l = byte();
        std::size_t const wanted = l < 160 ? l : 1000 + 4 * (l - 160);
        unsigned const fill = byte();
        std::string s = (fill & 0x80) != 0
                            ? distinct_text(wanted)
                            : std::string(take(wanted), static_cast<char>('a' + fill % 26));
        std::size_t const n = s.size();
        static char const* const pieces[] = {
            "\xc3\xa9",       "\xe2\x82\xac", "\xf0\x9f\x98\x80",
            "\"\\\n\x01\x7f", "\xe2\x80\xa8", "\xff",
            "\xc0\x80",       "\xed\xa0\x80", "\xf4\x90\x80\x80",
            "\xe2\x82",       "\x80",         "\xf8\x88\x80\x80\x80"};
        unsigned const flaw = byte();
        if ((flaw & 1) != 0 && n > 0) {
            std::size_t const at = byte() % n;
            if ((flaw & 2) != 0) {
                s[at] = '\0';
            } else {
                s.replace(at, 0, pieces[(flaw >> 2) % (sizeof pieces / sizeof pieces[0])]);
            }
        }
        return s;
    }

    std::string const& bytes_;
    std::size_t pos_ = 0;
    std::uint64_t serial_ = 0;
    std::size_t nodes_ = 0;
    std::size_t text_ = 0;
};

struct json_releaser {
    void operator()(json_t* j) const noexcept { json_decref(j); }
};
using json_ptr = std::unique_ptr<json_t, json_releaser>;

// The value built plainly, node by node with Jansson's own constructors: a member or element that
// Jansson refuses is left out. `exact` turns false where text cannot hold the value: a NaN or an
// infinity, a string or key that is not UTF-8 or holds a NUL.
inline json_t* plain_tree(Variant const& v, bool& exact) {
    switch (v.type) {
    case Variant::Integer:
        return json_integer(v.value.intValue);
    case Variant::Double:
        exact = exact && std::isfinite(v.value.doubleValue);
        return json_real(v.value.doubleValue);
    case Variant::String: {
        std::string const& s = *v.value.stringValue;
        json_t* const node = json_string(s.c_str());
        exact = exact && node != nullptr && std::strlen(s.c_str()) == s.size();
        return node;
    }
    case Variant::Boolean:
        return json_boolean(v.value.boolValue);
    case Variant::Map: {
        json_t* const node = json_object();
        for (auto const& kv : *v.value.mapValue) {
            int const refused =
                json_object_set_new(node, kv.first.c_str(), plain_tree(kv.second, exact));
            exact = exact && refused == 0 && std::strlen(kv.first.c_str()) == kv.first.size();
        }
        return node;
    }
    case Variant::Vector: {
        json_t* const node = json_array();
        for (Variant const& e : *v.value.vectorValue) {
            json_array_append_new(node, plain_tree(e, exact));
        }
        return node;
    }
    default:
        return json_null();
    }
}

inline std::string jansson_text(json_t const* tree, std::size_t flags) {
    if (tree == nullptr) {
        return std::string();
    }
    std::unique_ptr<char, decltype(&std::free)> const text(json_dumps(tree, flags), &std::free);
    return text ? std::string(text.get()) : std::string();
}

// Both printed forms are Jansson's text of the plain tree, byte for byte, the tree handed out is
// equal to it, and the exact text reads as Jansson's text with 17 digits does; where text can hold
// the value, the exact text and the pretty text read back to an equal value.
inline void check_printing(std::string const& input) {
    Variant const v = value_maker(input).make();
    bool exact = true;
    json_ptr const plain(plain_tree(v, exact));
    log_levels logs;

    require(v.toJson() ==
                jansson_text(plain.get(), JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7)),
            "toJson differs from Jansson's text of the plain tree");
    std::string const pretty = v.prettyPrintJson();
    require(pretty == jansson_text(plain.get(), JSON_INDENT(4) | JSON_SORT_KEYS | JSON_ENCODE_ANY),
            "prettyPrintJson differs from Jansson's text of the plain tree");
    json_ptr const handed(toJansson(v));
    require(handed ? plain && json_equal(handed.get(), plain.get()) : !plain,
            "toJansson differs from the plain tree");
    // The exact text leaves out what Jansson leaves out, and no double takes more digits than 17.
    std::string const exact_text = korvax::tolvi::to_json(v);
    std::string const full =
        jansson_text(plain.get(), JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(17));
    require(exact_text.size() <= full.size() &&
                (full.empty() ? exact_text.empty()
                              : Variant::fromJson(exact_text) == Variant::fromJson(full)),
            "the exact text differs from Jansson's text with 17 digits");
    if (exact) {
        require(Variant::fromJson(exact_text) == v,
                "the exact text does not read back to an equal value");
        require(Variant::fromJson(pretty) == v,
                "the pretty text does not read back to an equal value");
    }
    require(logs.errors == 0 && logs.notes == 0 && logs.others == 0, "printing was logged");
}

} // namespace tolvi_fuzz
