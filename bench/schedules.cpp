#include "schedules.hpp"

#include <cstdio>
#include <random>

namespace sched {

namespace {

void append_double(std::string& out, double v) {
    char buffer[32];
    int const n = std::snprintf(buffer, sizeof buffer, "%.17g", v);
    out.append(buffer, static_cast<std::size_t>(n));
    if (out.find_first_of(".e", out.size() - static_cast<std::size_t>(n)) == std::string::npos) {
        out += ".0";
    }
}

void append_schedule(std::string& out, std::mt19937& draw, std::size_t i) {
    static char const* const labels[] = {"wake", "away", "home", "night", "eco \\\"low\\\""};
    char id[32];
    std::snprintf(id, sizeof id, "sched-%06zu", i);
    out += "{\"id\":\"";
    out += id;
    out += "\",\"zone\":";
    out += std::to_string(draw() % 4096);
    out += ",\"enabled\":";
    out += draw() % 4 != 0 ? "true" : "false";
    out += ",\"active\":{\"start\":\"2026-0";
    out += std::to_string(1 + draw() % 9);
    out += "-01T06:00\",\"end\":\"2026-12-31T22:";
    out += std::to_string(10 + draw() % 50);
    out += "\"},\"slots\":[";
    for (int s = 0; s < 4; ++s) {
        out += s == 0 ? "{\"hour\":" : ",{\"hour\":";
        out += std::to_string(s * 6 + draw() % 6);
        out += ",\"minute\":";
        out += std::to_string(draw() % 60);
        out += ",\"setpoint\":";
        append_double(out, 15.0 + static_cast<double>(draw() % 1000) / 97.0);
        if (draw() % 2 == 0) {
            out += ",\"label\":\"";
            out += labels[draw() % 5];
            out += '"';
        }
        out += '}';
    }
    out += "],\"hourly_limits\":{";
    for (int h = 0; h < 4; ++h) {
        out += h == 0 ? "\"" : ",\"";
        out += std::to_string(h * 6 + draw() % 6);
        out += "\":";
        append_double(out, 20.0 + static_cast<double>(draw() % 64) / 8.0);
    }
    out += "},\"note\":";
    out += draw() % 3 == 0 ? "\"K\xC3\xBChlraum, Nordseite\"" : "null";
    out += ",\"priority\":";
    append_double(out, static_cast<double>(draw() % 1000) / 1000.0);
    out += '}';
}

} // namespace

std::string fleet_document(std::size_t bytes) {
    std::mt19937 draw(27);
    std::string const head = "{\"site\":\"plant-7\",\"revision\":42,\"schedules\":[";
    std::string const tail =
        R"(],"vendor":{"modem":{"firmware":"4.2.1","bands":[3,7,20]},"calibration":{"lab":null}}})";
    std::string out = head;
    std::string one;
    for (std::size_t i = 0;; ++i) {
        one.clear();
        append_schedule(one, draw, i);
        if (out.size() + one.size() + 1 + tail.size() > bytes) {
            break;
        }
        if (i != 0) {
            out += ',';
        }
        out += one;
    }
    return out + tail;
}

std::vector<std::string> status_documents(std::size_t count) {
    static char const* const sensors[] = {"temperature", "humidity", "pressure", "co2"};
    static char const* const units[] = {"C", "%", "hPa", "ppm"};
    std::mt19937 draw(320);
    std::vector<std::string> out;
    out.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::string d = "{\"device\":\"hub-";
        d += std::to_string(draw() % 100000);
        d += "\",\"sequence\":";
        d += std::to_string(1700000000000ULL + i);
        d += ",\"uptime_s\":";
        d += std::to_string(draw() % 10000000);
        d += ",\"battery\":";
        append_double(d, static_cast<double>(draw() % 1000) / 10.0);
        d += ",\"readings\":[";
        for (int r = 0; r < 4; ++r) {
            d += r == 0 ? "{\"sensor\":\"" : ",{\"sensor\":\"";
            d += sensors[r];
            d += "\",\"value\":";
            append_double(d, static_cast<double>(draw() % 100000) / 64.0);
            d += ",\"unit\":\"";
            d += units[r];
            d += "\"}";
        }
        d += "]}";
        out.push_back(std::move(d));
    }
    return out;
}

} // namespace sched

namespace nl {

template <class T>
void optional_member(nlohmann::json const& j, char const* key, std::optional<T>& v) {
    auto const it = j.find(key);
    if (it == j.end() || it->is_null()) {
        v.reset();
    } else {
        v = it->template get<T>();
    }
}

void from_json(nlohmann::json const& j, window& v) {
    j.at("start").get_to(v.start);
    j.at("end").get_to(v.end);
}

void from_json(nlohmann::json const& j, slot& v) {
    j.at("hour").get_to(v.hour);
    j.at("minute").get_to(v.minute);
    j.at("setpoint").get_to(v.setpoint);
    optional_member(j, "label", v.label);
}

void from_json(nlohmann::json const& j, schedule& v) {
    j.at("id").get_to(v.id);
    j.at("zone").get_to(v.zone);
    j.at("enabled").get_to(v.enabled);
    j.at("active").get_to(v.active);
    j.at("slots").get_to(v.slots);
    v.hourly_limits.clear();
    for (auto const& [key, value] : j.at("hourly_limits").items()) {
        v.hourly_limits[static_cast<std::uint8_t>(std::stoul(key))] = value.get<double>();
    }
    optional_member(j, "note", v.note);
    j.at("priority").get_to(v.priority);
}

void from_json(nlohmann::json const& j, fleet& v) {
    j.at("site").get_to(v.site);
    j.at("revision").get_to(v.revision);
    j.at("schedules").get_to(v.schedules);
    optional_member(j, "vendor", v.vendor);
}

void from_json(nlohmann::json const& j, reading& v) {
    j.at("sensor").get_to(v.sensor);
    j.at("value").get_to(v.value);
    j.at("unit").get_to(v.unit);
}

void from_json(nlohmann::json const& j, status& v) {
    j.at("device").get_to(v.device);
    j.at("sequence").get_to(v.sequence);
    j.at("uptime_s").get_to(v.uptime_s);
    j.at("battery").get_to(v.battery);
    j.at("readings").get_to(v.readings);
}

} // namespace nl
