// A record with one of every kind of member. Each TOLVI_CASE_* puts one mistake into it;
// check.cmake compiles it and reads the first error. Without a case it compiles.

#include <tolvi/tolvi.hpp>

namespace tolvi = korvax::tolvi;

namespace app {

enum class color { red, green };
#ifndef TOLVI_CASE_PLAIN_ENUM
TOLVI_ENUM(color, {color::red, "red"}, {color::green, "green"});
#endif

struct point {
    tolvi::required<int> x;
};
#ifndef TOLVI_CASE_PLAIN_STRUCT
TOLVI_RECORD(point, x);
#endif

#if defined(TOLVI_CASE_CHAR)
using letter = char;
#elif defined(TOLVI_CASE_SET_ELEMENT)
using letter = char const*;
#else
using letter = signed char;
#endif
#ifdef TOLVI_CASE_DURATION_REP
using tick = long double;
#else
using tick = long long;
#endif
#ifdef TOLVI_CASE_UNSUPPORTED
using number = long double;
#else
using number = float;
#endif
#ifdef TOLVI_CASE_MAP_KEY
using key = double;
#else
using key = unsigned short;
#endif
#ifdef TOLVI_CASE_DUPLICATE_KEY
#define TOLVI_OLD_KEY "first" // an older key of one member that is another member's key
#else
#define TOLVI_OLD_KEY "2nd"
#endif
#ifdef TOLVI_CASE_TOO_MANY
#define TOLVI_LAST_MEMBER , m64
#else
#define TOLVI_LAST_MEMBER
#endif

struct record {
    std::set<letter> letters;
    std::optional<std::array<number, 2>> numbers;
    tolvi::required<std::map<key, std::vector<point>>> points;
    std::unordered_map<color, int> colors;
    std::chrono::duration<tick> m6;
    tolvi::required<int> a, b, m7, m8, m9, m10, m11, m12, m13, m14, m15, m16, m17, m18, m19, m20,
        m21, m22, m23, m24, m25, m26, m27, m28, m29, m30, m31, m32, m33, m34, m35, m36, m37, m38,
        m39, m40, m41, m42, m43, m44, m45, m46, m47, m48, m49, m50, m51, m52, m53, m54, m55, m56,
        m57, m58, m59, m60, m61, m62, m63, m64;
};
TOLVI_RECORD(record, letters, numbers, points, colors, (a, "first"), (b, "second", TOLVI_OLD_KEY),
             m6, m7, m8, m9, m10, m11, m12, m13, m14, m15, m16, m17, m18, m19, m20, m21, m22, m23,
             m24, m25, m26, m27, m28, m29, m30, m31, m32, m33, m34, m35, m36, m37, m38, m39, m40,
             m41, m42, m43, m44, m45, m46, m47, m48, m49, m50, m51, m52, m53, m54, m55, m56, m57,
             m58, m59, m60, m61, m62, m63 TOLVI_LAST_MEMBER);

} // namespace app

int main() {
    app::record r;
    tolvi::from_json(r, "{}");
#ifdef TOLVI_CASE_WRAPPER
    tolvi::to_json(r.a); // the value is *r.a
#endif
    return static_cast<int>(tolvi::to_json(r).size() + tolvi::json_schema<app::record>().type);
}
