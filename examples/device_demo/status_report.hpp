#pragma once

// What the hub reports to the fleet server. The keys are the server's ("@type", "uptime-s"), not
// C++ names, so the record gives them beside its members.

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "device_config.hpp"

namespace devcfg {

struct status_report {
    tolvi::required<std::string> type; // always "hub-status"
    tolvi::required<std::string> name; // the configured device name
    tolvi::required<std::uint32_t> uptime_s;
    tolvi::required<std::array<std::uint8_t, 6>> mac;
    tolvi::required<float> supply_v;
    tolvi::required<std::map<std::uint8_t, float>> hourly_temp_c;  // hour of the day: mean in °C
    tolvi::required<std::map<verbosity, std::uint32_t>> log_lines; // lines logged per level
};
TOLVI_RECORD(status_report, (type, "@type"), name, (uptime_s, "uptime-s"), mac,
             (supply_v, "supply-V"), (hourly_temp_c, "hourly-temp-C"), (log_lines, "log-lines"));

} // namespace devcfg
