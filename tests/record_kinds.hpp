#pragma once

// Records with JSON key names and the member types of containers and map keys, shared by the
// record type tests and the JSON Schema check.

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
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

// A struct as an application writes it: plain members, std::optional, the standard library's
// sets, unordered maps and durations.
struct window {
    std::chrono::duration<std::int32_t, std::ratio<60>> start{};
    std::optional<std::chrono::duration<double>> length;
};
TOLVI_RECORD(window, start, length);

struct agent {
    std::string name;
    std::uint64_t seq = 0;
    std::optional<std::string> last_error;
    window quiet;
    std::optional<limits> bounds;
    std::set<std::string> tags;
    std::unordered_set<mode> modes;
    std::unordered_set<double> levels;
    std::unordered_map<std::string, short> counts;
    std::unordered_map<std::uint16_t, limits> ports;
    std::chrono::seconds timeout{};
    std::optional<std::chrono::duration<float, std::milli>> latency;
    std::vector<std::uint8_t> blob;
};
TOLVI_RECORD(agent, name, seq, (last_error, "last-error"), quiet, bounds, tags, modes, levels,
             counts, ports, timeout, latency, blob);

// Every member holds a value, durations and integers at their limits; keys sorted as printed.
inline char const agent_text[] =
    R"({"blob":[0,255],"bounds":{"max-temp":3},"counts":{"a":-32768,"b":32767},)"
    R"("last-error":"e","latency":0.5,"levels":[-1.5,0.0,2.0],"modes":["heat","cool"],"name":"n",)"
    R"("ports":{"22":{"max-temp":1},"80":{"class":"x","max-temp":2}},)"
    R"("quiet":{"length":1.5,"start":-2147483648},"seq":9223372036854775807,"tags":["","a","b"],)"
    R"("timeout":-9223372036854775808})";

} // namespace kinds
