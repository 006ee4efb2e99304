#pragma once

// Records with JSON key names and the member types of containers and map keys, shared by the
// record type tests and the JSON Schema check.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <tolvi/tolvi.hpp>

namespace kinds {

namespace tv = korvax::tolvi;

TOLVI_SOURCE_TYPE(cloud);

enum class mode { heat, cool, off };
TOLVI_ENUM(mode, {mode::heat, "heat"}, {mode::cool, "cool"}, {mode::off, "off"});

struct limits {
    tv::required<int> max_temp;
    tv::optional<short> min_temp;
    tv::optional<std::string> klass;
};
TOLVI_RECORD(limits, (max_temp, "max-temp", "maxTemp", "max_temp"), min_temp, (klass, "class"));
TOLVI_REFUSE(limits, max_temp, cloud);

struct panel {
    tv::required<float> gain;
    tv::optional<std::array<std::uint8_t, 3>> rgb;
    tv::optional<std::map<signed char, std::vector<float>>> hours;
    tv::optional<std::map<mode, limits>> modes;
    tv::optional<std::map<std::uint64_t, long>> counters;
    tv::optional<std::array<limits, 2>> pair;
    tv::optional<tv::opaque_json_block> extra;
};
TOLVI_RECORD(panel, gain, (rgb, "@rgb"), (hours, "by hour"), modes, counters, pair, extra);

// Every member holds a value; keys sorted as the compact text prints them.
inline char const panel_text[] =
    R"({"@rgb":[1,2,255],"by hour":{"-128":[],"7":[0.1,-1.25]},)"
    R"("counters":{"0":-1,"18446744073709551615":2147483647},"extra":{"k":[true]},"gain":0.5,)"
    R"("modes":{"cool":{"max-temp":18,"min_temp":-32768},"heat":{"max-temp":30}},)"
    R"("pair":[{"max-temp":1},{"class":"x","max-temp":2}]})";

inline panel make_panel() {
    panel p;
    tv::from_json(p, panel_text);
    return p;
}

// A record that holds lists of itself.
struct node {
    tv::required<std::string> name;
    tv::optional<std::vector<node>> children;
};
TOLVI_RECORD(node, name, children);

} // namespace kinds
