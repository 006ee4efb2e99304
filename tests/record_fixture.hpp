#pragma once

// A record that nests lists and maps of records, with enumerations, 64-bit edges and an opaque
// block; a document that holds one of everything; and single changes to it.

#include <tolvi/tolvi.hpp>

#include <cstdint>
#include <iterator>
#include <sstream>

#include "codec_driver.hpp"

namespace rec {

enum class mode { off, on, blink };
TOLVI_ENUM(mode, {mode::off, "off"}, {mode::on, "on"}, {mode::blink, "blink"});

struct point {
    tv::required<int> x;
    tv::optional<std::string> label;
};
TOLVI_RECORD(point, x, label);

struct shape {
    tv::required<std::string> name;
    tv::required<std::vector<point>> points;
    tv::required<std::map<std::string, std::vector<point>>> groups;
    tv::optional<std::vector<std::map<std::string, point>>> layers;
    tv::required<std::map<std::string, double>> weights;
    tv::required<mode> led;
    tv::required<std::vector<mode>> history;
    tv::required<std::uint64_t> serial;
    tv::required<std::int64_t> offset;
    tv::required<std::uint8_t> level;
    tv::optional<std::vector<bool>> bits;
    tv::optional<point> origin;
    tv::required<tv::opaque_json_block> extra; // stores `true` when equal: must not hide a change
};
TOLVI_RECORD(shape, name, points, groups, layers, weights, led, history, serial, offset, level,
             bits, origin, extra);

// Keys sorted as the compact text prints them, so that the text round-trips byte for byte. The
// serial is the largest uint64_t that JSON text holds.
char const shape_text[] =
    R"({"bits":[true,false,true],"extra":{"k":[1]},"groups":{"empty":[],"two":[{"label":"c","x":3},)"
    R"({"label":"d","x":4}]},"history":["off","on"],"layers":[{"k":{"label":null,"x":5}},{}],)"
    R"("led":"blink","level":255,"name":"né","offset":-9223372036854775808,)"
    R"("origin":{"label":"o","x":0},"points":[{"label":"a","x":1},{"label":null,"x":-2}],)"
    R"("serial":9223372036854775807,"weights":{"h":-1.5,"t":0.25}})";

inline shape make_shape() {
    shape s;
    tv::from_json(s, shape_text);
    return s;
}

// Single changes to make_shape(). A patch cannot say the last four: a member that is no longer
// provided is left out of it.
void (*const changes[])(shape&) = {
    [](shape& s) { s.name = "other"; },
    [](shape& s) { s.points->pop_back(); },
    [](shape& s) { (*s.points)[1].label = "now set"; },
    [](shape& s) { (*s.groups)["two"][0].x = 9; },
    [](shape& s) { s.groups->erase("empty"); },
    [](shape& s) { s.groups->emplace("emptz", s.groups->extract("empty").mapped()); },
    [](shape& s) { (*s.weights)["t"] = 0.2500001; },
    [](shape& s) { s.led = mode::on; },
    [](shape& s) { (*s.history)[1] = mode::blink; },
    [](shape& s) { s.serial = 1u; },
    [](shape& s) { (*s.bits)[2] = false; },
    [](shape& s) { s.origin = tv::none; },
    [](shape& s) { s.origin->x = 9; },
    [](shape& s) { s.extra->set_attribute("j", 2); },
    [](shape& s) { (*s.layers)[0]["k"].label.clear(); },
    [](shape& s) { s.origin.clear(); },
    [](shape& s) { s.level.clear(); },
    [](shape& s) { s.origin = point(); },
};
std::size_t const patchable_changes = std::size(changes) - 4;

// The value at `path` ("points/0/x", "" for the root) of `doc`; a missing key is added.
inline Variant& place(Variant& doc, std::string const& path) {
    Variant* at = &doc;
    std::istringstream keys(path);
    for (std::string key; std::getline(keys, key, '/');) {
        at = at->type == Variant::Vector ? &(*at)[std::stoi(key)] : &(*at)[key];
    }
    return *at;
}

// `v` without the members that are null, at every depth.
inline Variant without_nulls(Variant v) {
    if (v.type == Variant::Map) {
        Variant::map_type kept;
        for (auto const& [key, e] : *v.value.mapValue) {
            if (!e.isNull()) {
                kept.emplace(key, without_nulls(e));
            }
        }
        return Variant(std::move(kept));
    }
    if (v.type == Variant::Vector) {
        for (Variant& e : *v.value.vectorValue) {
            e = without_nulls(e);
        }
    }
    return v;
}

} // namespace rec
