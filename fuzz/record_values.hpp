#pragma once

// Record values built from bytes, not parsed from text: every member type at its edge values
// (integer limits of each width, float and double extremes, subnormals, NaN, infinities, values
// below impl<double>::epsilon, empty, long and non-UTF-8 strings, enumerators, maps keyed by text,
// integers and enumerators, fixed-length arrays, nested records, optional members in all three
// states, opaque blocks), plain and std::optional members, sets, unordered maps, durations and
// byte lists, and lists of hundreds of small records. The property:
// what a record writes reads back equal (doubles that the codec writes as 0 aside), and a
// second save gives the same bytes; or the write refuses with missing_member or unwritable_value.
// And for pairs of records, make_patch(changed, baseline) read into the baseline gives `changed`.

#include <array>
#include <cfloat>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <tolvi/record.hpp>

#include "checks.hpp"

namespace fuzzrec {

namespace tv = korvax::tolvi;

enum class color { red, green, blue };
TOLVI_ENUM(color, {color::red, "red"}, {color::green, "green"}, {color::blue, "blue"});

// Small enough for the printer to share when it holds no double.
struct cell {
    tv::optional<int> n;
    tv::optional<std::string> s;
    tv::optional<color> c;
    tv::optional<double> d;
};
TOLVI_RECORD(cell, n, s, c, d);

struct values {
    tv::required<bool> b;
    tv::optional<signed char> i8;
    tv::optional<unsigned char> u8;
    tv::optional<short> i16;
    tv::optional<unsigned short> u16;
    tv::optional<int> i32;
    tv::optional<unsigned int> u32;
    tv::optional<long> il;
    tv::optional<unsigned long> ul;
    tv::optional<long long> i64;
    tv::optional<unsigned long long> u64;
    tv::optional<float> f;
    tv::required<double> d;
    tv::optional<std::string> s;
    tv::optional<color> c;
    tv::optional<tv::opaque_json_block> block;
    tv::required<tv::opaque_json_block> raw;
    tv::optional<cell> nested;
    tv::optional<std::vector<cell>> cells;
    tv::optional<std::array<float, 3>> triple;
    tv::optional<std::map<std::string, double>> by_name;
    tv::optional<std::map<signed char, std::string>> by_small;
    tv::optional<std::map<unsigned long long, bool>> by_big;
    tv::optional<std::map<color, std::vector<long long>>> by_color;
    std::string text;
    cell plain_cell;
    std::optional<std::string> maybe_text;
    std::optional<cell> maybe_cell;
    std::set<std::string> names;
    std::set<double> reals;
    std::unordered_set<long long> ids;
    std::unordered_map<std::string, cell> cells_by_name;
    std::unordered_map<unsigned short, std::chrono::milliseconds> timers;
    std::chrono::seconds secs{};
    std::chrono::duration<unsigned long long, std::micro> uptime{};
    std::optional<std::chrono::duration<float, std::milli>> lag;
    std::vector<std::uint8_t> bytes;
};
TOLVI_RECORD(values, b, i8, u8, i16, u16, i32, u32, il, ul, i64, u64, f, d, s, c, block,
             (raw, "raw block"), nested, cells, triple, (by_name, "by/name"), by_small, by_big,
             (by_color, "~color"), text, plain_cell, maybe_text, maybe_cell, names, reals, ids,
             cells_by_name, timers, secs, uptime, lag, bytes);

// The input's bytes, then an endless stream that depends on them, so that short inputs still
// build long lists of distinct values.
class reader {
public:
    explicit reader(std::string const& input) : input_(input) {
        for (char c : input) {
            state_ = (state_ ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
        }
    }

    unsigned byte() {
        if (at_ < input_.size()) {
            return static_cast<unsigned char>(input_[at_++]);
        }
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<unsigned>(state_ >> 56);
    }
    template <class T>
    T raw() {
        unsigned char bytes[sizeof(T)];
        for (unsigned char& b : bytes) {
            b = static_cast<unsigned char>(byte());
        }
        T v;
        std::memcpy(&v, bytes, sizeof v);
        return v;
    }

private:
    std::string const& input_;
    std::size_t at_ = 0;
    std::uint64_t state_ = 0xcbf29ce484222325u;
};

template <class T>
T integer(reader& r) {
    using limits = std::numeric_limits<T>;
    switch (r.byte() % 8) {
    case 0:
        return limits::min();
    case 1:
        return limits::max();
    case 2:
        return static_cast<T>(limits::min() + 1);
    case 3:
        return static_cast<T>(limits::max() - 1);
    case 4:
        return static_cast<T>(-1);
    case 5:
        return static_cast<T>(r.byte() % 4);
    default:
        return r.raw<T>();
    }
}

template <class T>
T any_real(reader& r);

// Any double or float; NaN and infinities only where `bad` allows values that cannot be written.
template <class T>
T real(reader& r, bool bad) {
    T const v = any_real<T>(r);
    return bad || std::isfinite(v) ? v : std::numeric_limits<T>::lowest();
}

template <class T>
T any_real(reader& r) {
    using limits = std::numeric_limits<T>;
    switch (r.byte() % 16) {
    case 0:
        return limits::max();
    case 1:
        return -limits::max();
    case 2:
        return limits::min();
    case 3:
        return limits::denorm_min();
    case 4:
        return limits::quiet_NaN();
    case 5:
        return limits::infinity();
    case 6:
        return -limits::infinity();
    case 7:
        return static_cast<T>(5e-9); // below epsilon: written as 0
    case 8:
        return static_cast<T>(-1e-8); // epsilon itself: written as it is
    case 9:
        return static_cast<T>(-0.0);
    case 10:
        return static_cast<T>(0.1);
    case 11:
        return static_cast<T>(1.0 / 3);
    default:
        return r.raw<T>(); // subnormals, NaNs with payloads, anything
    }
}

// Any text; text that is not UTF-8 or holds a NUL only where `bad` allows it.
inline std::string text(reader& r, bool bad) {
    switch (r.byte() % 6) {
    case 0:
        return std::string();
    case 1:
        return "h\xc3\xa9llo \xf0\x9f\x98\x80";
    case 2: // long, past the printer's longest shared string
        return std::string(1000 + r.byte() * 4, static_cast<char>('a' + r.byte() % 26));
    case 3: { // any bytes: text that is not UTF-8, a NUL
        std::string s(r.byte() % 8, '\0');
        for (char& c : s) {
            c = static_cast<char>(bad ? r.byte() : 0x20 + r.byte() % 0x5F);
        }
        return s;
    }
    default:
        return "k" + std::to_string(r.byte() % 64);
    }
}

inline color hue(reader& r) {
    return static_cast<color>(r.byte() % 3);
}

// An opaque block's value: any JSON, with any text and any double, up to three levels deep.
inline Variant json_value(reader& r, bool bad, int depth) {
    switch (r.byte() % (depth < 3 ? 8 : 6)) {
    case 0:
        return Variant();
    case 1:
        return Variant(integer<long long>(r));
    case 2:
        return Variant(real<double>(r, bad));
    case 3:
        return Variant(text(r, bad));
    case 4:
        return Variant(r.byte() % 2 == 0);
    case 5:
        return Variant(static_cast<long long>(r.byte()));
    case 6: {
        Variant::map_type m;
        for (unsigned n = r.byte() % 4; n > 0; --n) {
            m[text(r, bad)] = json_value(r, bad, depth + 1);
        }
        return Variant(std::move(m));
    }
    default: {
        Variant::vector_type v;
        for (unsigned n = r.byte() % 4; n > 0; --n) {
            v.push_back(json_value(r, bad, depth + 1));
        }
        return Variant(std::move(v));
    }
    }
}

// What the double codec writes and reads back: the value itself, or 0 below epsilon.
inline double written(double d, bool flush) {
    return flush && std::isfinite(d) ? tv::to_variant(d).value.doubleValue : d;
}
inline float written(float f, bool flush) {
    return flush && std::isfinite(f) ? static_cast<float>(tv::to_variant(f).value.doubleValue) : f;
}

// Builds a member: unprovided (only where `holes` allows), disengaged or engaged.
struct builder {
    reader r;
    bool holes; // members may be left unprovided
    bool bad;   // values may be unwritable: NaN, infinities, bad text, a required block of null,
                // a 64-bit unsigned value above 2^63 - 1
    bool flush; // doubles as the codec writes them

    template <class T, class F>
    void fill(tv::optional<T>& m, F make) {
        switch (r.byte() % 4) {
        case 0:
            if (holes) {
                return;
            }
            m = tv::none;
            return;
        case 1:
            m = tv::none;
            return;
        default:
            m = make();
            return;
        }
    }

    // Above 2^63 - 1, a 64-bit unsigned value cannot be written: only where `bad` allows it, and
    // then seldom, so that it does not keep the unwritable values of later members from being met.
    // A std::optional member: nullopt or a value, never unprovided.
    template <class T, class F>
    void fill(std::optional<T>& m, F make) {
        if (r.byte() % 4 < 2) {
            m.reset();
        } else {
            m = make();
        }
    }

    // Up to `most` elements made by `make`, into a set or an unordered map's entries.
    template <class C, class F>
    C many(unsigned most, F make) {
        C c;
        for (unsigned n = r.byte() % most; n > 0; --n) {
            c.insert(make());
        }
        return c;
    }

    template <class T>
    T whole_number() {
        T v = integer<T>(r);
        if constexpr (std::is_unsigned<T>::value && sizeof(T) == 8) {
            v = bad && r.byte() % 8 == 0 ? v : v & INT64_MAX;
        }
        return v;
    }

    cell make_cell() {
        cell c;
        fill(c.n, [&] { return integer<int>(r); });
        fill(c.s,
             [&] { return r.byte() % 4 == 0 ? text(r, bad) : "c" + std::to_string(r.byte()); });
        fill(c.c, [&] { return hue(r); });
        fill(c.d, [&] { return written(real<double>(r, bad), flush); });
        return c;
    }

    values make() {
        values v;
        if (!holes || r.byte() % 8 != 0) {
            v.b = r.byte() % 2 == 0;
        }
        fill(v.i8, [&] { return integer<signed char>(r); });
        fill(v.u8, [&] { return integer<unsigned char>(r); });
        fill(v.i16, [&] { return integer<short>(r); });
        fill(v.u16, [&] { return integer<unsigned short>(r); });
        fill(v.i32, [&] { return integer<int>(r); });
        fill(v.u32, [&] { return integer<unsigned int>(r); });
        fill(v.il, [&] { return integer<long>(r); });
        fill(v.ul, [&] { return whole_number<unsigned long>(); });
        fill(v.i64, [&] { return integer<long long>(r); });
        fill(v.u64, [&] { return whole_number<unsigned long long>(); });
        fill(v.f, [&] { return written(real<float>(r, bad), flush); });
        v.d = written(real<double>(r, bad), flush);
        fill(v.s, [&] { return text(r, bad); });
        fill(v.c, [&] { return hue(r); });
        fill(v.block, [&] {
            tv::opaque_json_block b;
            b.json = json_value(r, bad, 0);
            if (!bad && b.json.isNull()) { // an engaged block of null reads back disengaged
                b.json = Variant(Variant::vector_type());
            }
            return b;
        });
        v.raw = tv::opaque_json_block();
        v.raw->json = json_value(r, bad, 0);
        if (!bad && v.raw->json.isNull()) {
            v.raw->json = Variant(Variant::map_type());
        }
        fill(v.nested, [&] { return make_cell(); });
        fill(v.cells, [&] {
            std::vector<cell> cells(r.byte() * 2); // up to 510
            for (cell& c : cells) {
                c = make_cell();
            }
            return cells;
        });
        fill(v.triple, [&] {
            std::array<float, 3> t{};
            for (float& f : t) {
                f = written(real<float>(r, bad), flush);
            }
            return t;
        });
        fill(v.by_name, [&] {
            std::map<std::string, double> m;
            for (unsigned n = r.byte() % 4; n > 0; --n) {
                m[text(r, bad)] = written(real<double>(r, bad), flush);
            }
            return m;
        });
        fill(v.by_small, [&] {
            std::map<signed char, std::string> m;
            for (unsigned n = r.byte() % 4; n > 0; --n) {
                m[integer<signed char>(r)] = text(r, bad);
            }
            return m;
        });
        fill(v.by_big, [&] {
            std::map<unsigned long long, bool> m;
            for (unsigned n = r.byte() % 4; n > 0; --n) {
                m[integer<unsigned long long>(r)] = r.byte() % 2 == 0;
            }
            return m;
        });
        fill(v.by_color, [&] {
            std::map<color, std::vector<long long>> m;
            for (unsigned n = r.byte() % 4; n > 0; --n) {
                std::vector<long long>& list = m[hue(r)];
                list.assign(r.byte() % 40, 0);
                for (long long& i : list) { // repeated and distinct integers
                    i = r.byte() % 2 == 0 ? 1000000000 : integer<long long>(r);
                }
            }
            return m;
        });
        v.text = text(r, bad);
        v.plain_cell = make_cell();
        fill(v.maybe_text, [&] { return text(r, bad); });
        fill(v.maybe_cell, [&] { return make_cell(); });
        v.names = many<std::set<std::string>>(6, [&] { return text(r, bad); });
        // Two doubles that the codec writes as 0 cannot be written: only where `bad` allows it.
        v.reals = many<std::set<double>>(
            6, [&] { return written(real<double>(r, false), flush || !bad); });
        v.ids = many<std::unordered_set<long long>>(40, [&] { return integer<long long>(r); });
        v.cells_by_name = many<std::unordered_map<std::string, cell>>(
            6, [&] { return std::make_pair(text(r, bad), make_cell()); });
        v.timers = many<std::unordered_map<unsigned short, std::chrono::milliseconds>>(6, [&] {
            return std::make_pair(integer<unsigned short>(r),
                                  std::chrono::milliseconds(integer<long long>(r)));
        });
        v.secs = std::chrono::seconds(integer<std::chrono::seconds::rep>(r));
        v.uptime = decltype(v.uptime)(whole_number<unsigned long long>());
        fill(v.lag, [&] {
            return std::chrono::duration<float, std::milli>(written(real<float>(r, bad), flush));
        });
        v.bytes.resize(r.byte() % 8);
        for (std::uint8_t& byte : v.bytes) {
            byte = static_cast<std::uint8_t>(r.byte());
        }
        return v;
    }
};

// A write refused with one of the two documented exceptions, with the same path by every call.
template <class F>
bool refused(F&& write, std::string& path) {
    try {
        write();
        return false;
    } catch (tv::missing_member const& e) {
        tolvi_fuzz::require(typeid(e) == typeid(tv::missing_member), "a missing member's type");
        path = "missing " + e.path();
    } catch (tv::unwritable_value const& e) {
        tolvi_fuzz::require(typeid(e) == typeid(tv::unwritable_value),
                            "an unwritable value's type");
        path = "unwritable " + e.path();
    }
    return true;
}

// `to` with the members that the bits of `from_b` pick taken from `b`.
template <auto M>
void take_member(values& to, values const& b, tv::detail::field<M> const&, std::uint64_t& from_b) {
    if ((from_b & 1) != 0) {
        to.*M = b.*M;
    }
    from_b >>= 1;
}

// make_patch between two records without holes or unwritable values, read as a patch into the
// baseline, gives the changed record; or make_patch refuses a change to an opaque block that a
// merge cannot make. The pairs: two records built from the input, and one of them with some members
// of the other, so that maps, lists, nested records and blocks differ in part.
inline void check_patch_pairs(std::string const& input) {
    values const a = builder{reader(input), false, false, true}.make();
    values const b = builder{reader(input.substr(input.size() / 2)), false, false, true}.make();
    values mixed = a;
    std::uint64_t from_b = reader(input).raw<std::uint64_t>();
    std::apply([&](auto const&... f) { (take_member(mixed, b, f, from_b), ...); },
               tv::detail::record_fields<values>());
    std::pair<values const*, values const*> const pairs[] = {
        {&a, &b}, {&b, &a}, {&mixed, &a}, {&a, &mixed}};
    for (auto const& [changed, baseline] : pairs) {
        Variant patch;
        try {
            patch = tv::make_patch(*changed, *baseline);
        } catch (tv::unwritable_value const& e) {
            tolvi_fuzz::require(e.path().rfind("/block", 0) == 0 ||
                                    e.path().rfind("/raw block", 0) == 0,
                                "make_patch refused a change outside an opaque block");
            continue;
        }
        values applied = *baseline;
        tv::from_variant(applied, patch, tv::options().as_patch());
        tolvi_fuzz::require(tv::equal(applied, *changed),
                            "a baseline patched with make_patch differs from the changed record");
    }
}

// The first byte says whether members may be left unprovided and whether values may be unwritable;
// without either, the record must save. The rest builds the record.
inline void check_record_values(std::string const& input) {
    unsigned const mode = input.empty() ? 0 : static_cast<unsigned char>(input[0]) % 4;
    bool const holes = mode % 2 != 0, bad = mode / 2 != 0;
    values const v = builder{reader(input), holes, bad, false}.make();
    values const expected = builder{reader(input), holes, bad, true}.make();

    // Whole documents: saved, loaded, saved again.
    std::string text, path, again;
    if (refused([&] { text = tv::to_json(v); }, path)) {
        tolvi_fuzz::require(holes || bad, "a record of writable values was refused");
        tolvi_fuzz::require(refused([&] { tv::to_variant(v); }, again) && again == path,
                            "to_variant and to_json refuse differently");
    } else {
        tolvi_fuzz::require(v.b.provided(), "a record with a member never provided was saved");
        values back;
        tv::from_json(back, text);
        tolvi_fuzz::require(tv::equal(back, expected), "a saved record loads back different");
        tolvi_fuzz::require(tv::to_json(back) == text, "a loaded record saves other bytes");
        // The same record through the specified route (fromJson's Variant, not consumed), and
        // through the stepwise parse of large text.
        values whole, stepwise;
        tv::from_variant(whole, Variant::fromJson(text));
        tv::from_json(stepwise, std::string(256 * 1024, ' ') + text);
        tolvi_fuzz::require(tv::equal(whole, back) && tv::equal(stepwise, back),
                            "the record calls' routes read different records");
    }

    // Patches leave unprovided members out, so they carry records with holes too. Read into a new
    // record, the patch of a complete record gives it back; the patch of one with holes is refused
    // and changes nothing, or taken when the holes were all in values the new record did not hold
    // (list elements, map entries, a record behind an optional member), which a patch reads as
    // whole documents, their absent optional members disengaged: what it takes can be saved.
    tv::options const patch = tv::options().as_patch();
    if (refused([&] { text = tv::to_json(v, patch); }, again)) {
        tolvi_fuzz::require(bad && again.rfind("unwritable ", 0) == 0,
                            "a patch of writable values was refused");
    } else {
        values back;
        try {
            tv::from_json(back, text, patch);
            tolvi_fuzz::require(!path.empty() || tv::equal(back, expected),
                                "a record read from its patch is different");
            tolvi_fuzz::require(!refused([&] { tv::to_json(back); }, again),
                                "a patch taken leaves a record that cannot be saved");
        } catch (tv::document_error const&) {
            tolvi_fuzz::require(!path.empty() && tv::equal(back, values()),
                                "the patch of a complete record was refused, or a refusal changed "
                                "the record");
        }
    }
    check_patch_pairs(input);
}

} // namespace fuzzrec
