#pragma once

// The device demo's configuration record twice: as the demo declares it for libtolvi, and as the
// same plain struct mapped with nlohmann::json's NLOHMANN_DEFINE_TYPE_INTRUSIVE. Both map to the
// same JSON document, member for member.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "device_config.hpp"

// nlohmann::json 3.11 has no mapping for std::optional: null is the disengaged value.
namespace nlohmann {
template <class T>
struct adl_serializer<std::optional<T>> {
    static void to_json(json& j, std::optional<T> const& v) {
        if (v) {
            j = *v;
        } else {
            j = nullptr;
        }
    }
    static void from_json(json const& j, std::optional<T>& v) {
        if (j.is_null()) {
            v.reset();
        } else {
            v = j.get<T>();
        }
    }
};
} // namespace nlohmann

namespace nl {

// The demo's enumerations again, with the same enumerator order and names.
enum class wifi_band { any, ghz_2_4, ghz_5 };
enum class led_pattern { off, solid, blink, heartbeat };
enum class verbosity { error, warning, info, debug };

NLOHMANN_JSON_SERIALIZE_ENUM(wifi_band, {{wifi_band::any, "any"},
                                         {wifi_band::ghz_2_4, "2.4GHz"},
                                         {wifi_band::ghz_5, "5GHz"}})
NLOHMANN_JSON_SERIALIZE_ENUM(led_pattern, {{led_pattern::off, "off"},
                                           {led_pattern::solid, "solid"},
                                           {led_pattern::blink, "blink"},
                                           {led_pattern::heartbeat, "heartbeat"}})
NLOHMANN_JSON_SERIALIZE_ENUM(verbosity, {{verbosity::error, "error"},
                                         {verbosity::warning, "warning"},
                                         {verbosity::info, "info"},
                                         {verbosity::debug, "debug"}})

struct wifi_network {
    std::string ssid;
    wifi_band band = wifi_band::any;
    std::optional<std::string> static_ip;
    std::uint16_t mtu = 0;
    NLOHMANN_DEFINE_TYPE_INTRUSIVE(wifi_network, ssid, band, static_ip, mtu)
};

struct status_led {
    led_pattern pattern = led_pattern::off;
    std::uint8_t brightness = 0;
    std::optional<std::uint32_t> period_ms;
    NLOHMANN_DEFINE_TYPE_INTRUSIVE(status_led, pattern, brightness, period_ms)
};

struct device_config {
    std::string name;
    std::uint64_t serial = 0;
    std::int64_t provisioned_at_ms = 0;
    wifi_network wifi;
    std::vector<wifi_network> fallback_wifi;
    std::map<std::string, double> sensor_offsets;
    std::optional<status_led> led;
    verbosity logging = verbosity::error;
    std::optional<std::uint32_t> upload_interval_s;
    std::optional<nlohmann::json> vendor; // carried as it is, like the demo's opaque block
    NLOHMANN_DEFINE_TYPE_INTRUSIVE(device_config, name, serial, provisioned_at_ms, wifi,
                                   fallback_wifi, sensor_offsets, led, logging, upload_interval_s,
                                   vendor)
};

} // namespace nl

namespace bench {

// `count` varied configurations with every member set, the same values on both sides.
std::vector<devcfg::device_config> tolvi_records(std::size_t count);
std::vector<nl::device_config> nlohmann_records(std::size_t count);

} // namespace bench
