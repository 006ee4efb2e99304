#pragma once

// A record-shaped document as a device keeps it: a site's heating schedules (nested records, lists
// of records, a map keyed by the hour, strings, doubles) and the vendor's settings as an opaque
// block. The same structs twice: declared for libtolvi, and mapped for nlohmann::json.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <tolvi/tolvi.hpp>

namespace sched {

namespace tolvi = korvax::tolvi;

struct window {
    tolvi::required<std::string> start;
    tolvi::required<std::string> end;
};
TOLVI_RECORD(window, start, end);

struct slot {
    tolvi::required<std::uint8_t> hour;
    tolvi::required<std::uint8_t> minute;
    tolvi::required<double> setpoint;
    tolvi::optional<std::string> label;
};
TOLVI_RECORD(slot, hour, minute, setpoint, label);

struct schedule {
    tolvi::required<std::string> id;
    tolvi::required<std::uint32_t> zone;
    tolvi::required<bool> enabled;
    tolvi::required<window> active;
    tolvi::required<std::vector<slot>> slots;
    tolvi::required<std::map<std::uint8_t, double>> hourly_limits;
    tolvi::optional<std::string> note;
    tolvi::required<double> priority;
};
TOLVI_RECORD(schedule, id, zone, enabled, active, slots, hourly_limits, note, priority);

struct fleet {
    tolvi::required<std::string> site;
    tolvi::required<std::uint32_t> revision;
    tolvi::required<std::vector<schedule>> schedules;
    tolvi::optional<tolvi::opaque_json_block> vendor;
};
TOLVI_RECORD(fleet, site, revision, schedules, vendor);

// A small status report, as a hub sends many: a record with a list of four small records.
struct reading {
    tolvi::required<std::string> sensor;
    tolvi::required<double> value;
    tolvi::required<std::string> unit;
};
TOLVI_RECORD(reading, sensor, value, unit);

struct status {
    tolvi::required<std::string> device;
    tolvi::required<std::uint64_t> sequence;
    tolvi::required<std::uint32_t> uptime_s;
    tolvi::required<double> battery;
    tolvi::required<std::vector<reading>> readings;
};
TOLVI_RECORD(status, device, sequence, uptime_s, battery, readings);

// The document of `bytes` bytes or slightly fewer: as many schedules as fit.
std::string fleet_document(std::size_t bytes);
// `count` status reports of about 320 bytes each, all different.
std::vector<std::string> status_documents(std::size_t count);

} // namespace sched

namespace nl {

struct window {
    std::string start, end;
};
struct slot {
    std::uint8_t hour = 0, minute = 0;
    double setpoint = 0;
    std::optional<std::string> label;
};
struct schedule {
    std::string id;
    std::uint32_t zone = 0;
    bool enabled = false;
    window active;
    std::vector<slot> slots;
    std::map<std::uint8_t, double> hourly_limits;
    std::optional<std::string> note;
    double priority = 0;
};
struct fleet {
    std::string site;
    std::uint32_t revision = 0;
    std::vector<schedule> schedules;
    std::optional<nlohmann::json> vendor;
};
struct reading {
    std::string sensor;
    double value = 0;
    std::string unit;
};
struct status {
    std::string device;
    std::uint64_t sequence = 0;
    std::uint32_t uptime_s = 0;
    double battery = 0;
    std::vector<reading> readings;
};

void from_json(nlohmann::json const& j, window& v);
void from_json(nlohmann::json const& j, slot& v);
void from_json(nlohmann::json const& j, schedule& v);
void from_json(nlohmann::json const& j, fleet& v);
void from_json(nlohmann::json const& j, reading& v);
void from_json(nlohmann::json const& j, status& v);

} // namespace nl
