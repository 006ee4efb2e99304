#pragma once

// The configuration of a sensor hub: what the factory flashes, the fleet server patches and the
// device keeps on flash.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <tolvi/tolvi.hpp>

namespace devcfg {

namespace tolvi = korvax::tolvi;

// Where a document came from.
TOLVI_SOURCE_TYPE(factory); // the image written at the factory
TOLVI_SOURCE_TYPE(cloud);   // pushed by the fleet server

enum class wifi_band { any, ghz_2_4, ghz_5 };
TOLVI_ENUM(wifi_band, {wifi_band::any, "any"}, {wifi_band::ghz_2_4, "2.4GHz"},
           {wifi_band::ghz_5, "5GHz"});

enum class led_pattern { off, solid, blink, heartbeat };
TOLVI_ENUM(led_pattern, {led_pattern::off, "off"}, {led_pattern::solid, "solid"},
           {led_pattern::blink, "blink"}, {led_pattern::heartbeat, "heartbeat"});

enum class verbosity { error, warning, info, debug };
TOLVI_ENUM(verbosity, {verbosity::error, "error"}, {verbosity::warning, "warning"},
           {verbosity::info, "info"}, {verbosity::debug, "debug"});

struct wifi_network {
    tolvi::required<std::string> ssid;
    tolvi::required<wifi_band> band;
    tolvi::optional<std::string> static_ip; // null: address from DHCP
    tolvi::required<std::uint16_t> mtu;
};
TOLVI_RECORD(wifi_network, ssid, band, static_ip, mtu);

struct status_led {
    tolvi::required<led_pattern> pattern;
    tolvi::required<std::uint8_t> brightness; // 0 to 255
    tolvi::optional<std::uint32_t> period_ms; // null: the pattern's own period
};
TOLVI_RECORD(status_led, pattern, brightness, period_ms);

struct device_config {
    tolvi::required<std::string> name;
    tolvi::required<std::uint64_t> serial;           // burned in at the factory
    tolvi::required<std::int64_t> provisioned_at_ms; // Unix time
    tolvi::required<wifi_network> wifi;
    tolvi::required<std::vector<wifi_network>> fallback_wifi; // tried in order
    tolvi::required<std::map<std::string, double>> sensor_offsets;
    tolvi::optional<status_led> led; // null: no LED fitted
    tolvi::required<verbosity> logging;
    tolvi::optional<std::uint32_t> upload_interval_s; // null: upload on change only
    // The radio module vendor's own settings: carried and written back as they are, never mapped.
    tolvi::optional<tolvi::opaque_json_block> vendor;
};
TOLVI_RECORD(device_config, name, serial, provisioned_at_ms, wifi, fallback_wifi, sensor_offsets,
             led, logging, upload_interval_s, vendor);
// Only the factory may set the serial number; the fleet server may not rewrite it.
TOLVI_REFUSE(device_config, serial, cloud);

} // namespace devcfg
