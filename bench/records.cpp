#include "records.hpp"

namespace bench {

namespace {

nl::wifi_network make_wifi(std::size_t i) {
    nl::wifi_network w;
    w.ssid = "plant-net-" + std::to_string(i % 97);
    w.band = static_cast<nl::wifi_band>(i % 3);
    w.static_ip = "10.20." + std::to_string(i % 256) + ".7";
    w.mtu = static_cast<std::uint16_t>(1280 + i % 221);
    return w;
}

devcfg::wifi_network to_tolvi(nl::wifi_network const& w) {
    devcfg::wifi_network t;
    t.ssid = w.ssid;
    t.band = static_cast<devcfg::wifi_band>(w.band);
    t.static_ip = *w.static_ip;
    t.mtu = w.mtu;
    return t;
}

// The radio vendor's settings of the demo's device.json, the same in every record.
char const vendor_settings[] =
    R"({"modem": {"firmware": "4.2.1", "bands": [3, 7, 20], "apn": "iot.plant"},
        "calibration": {"tx_power_dbm": 22.5, "certified": true, "lab": null}})";

} // namespace

std::vector<nl::device_config> nlohmann_records(std::size_t count) {
    std::vector<nl::device_config> records(count);
    nlohmann::json const vendor = nlohmann::json::parse(vendor_settings);
    for (std::size_t i = 0; i < count; ++i) {
        nl::device_config& c = records[i];
        c.name = "hall-sensor-" + std::to_string(i);
        c.serial = 4200000000ULL + i;
        c.provisioned_at_ms = 1717171717000LL + static_cast<std::int64_t>(i) * 1000;
        c.wifi = make_wifi(i);
        c.fallback_wifi = {make_wifi(i + 1), make_wifi(i + 2)};
        c.sensor_offsets = {{"temperature", -0.25 + static_cast<double>(i % 8) / 16},
                            {"humidity", 1.5},
                            {"pressure", static_cast<double>(i % 100) / 8}};
        c.led =
            nl::status_led{static_cast<nl::led_pattern>(i % 4), static_cast<std::uint8_t>(i % 256),
                           static_cast<std::uint32_t>(250 + i % 1000)};
        c.logging = static_cast<nl::verbosity>(i % 4);
        c.upload_interval_s = static_cast<std::uint32_t>(60 + i % 600);
        c.vendor = vendor;
    }
    return records;
}

std::vector<devcfg::device_config> tolvi_records(std::size_t count) {
    std::vector<devcfg::device_config> records(count);
    std::vector<nl::device_config> const source = nlohmann_records(count);
    korvax::tolvi::opaque_json_block const vendor =
        korvax::tolvi::opaque_json_block::from_string(vendor_settings);
    for (std::size_t i = 0; i < count; ++i) {
        nl::device_config const& s = source[i];
        devcfg::device_config& c = records[i];
        c.name = s.name;
        c.serial = s.serial;
        c.provisioned_at_ms = s.provisioned_at_ms;
        c.wifi = to_tolvi(s.wifi);
        std::vector<devcfg::wifi_network> fallback;
        for (nl::wifi_network const& w : s.fallback_wifi) {
            fallback.push_back(to_tolvi(w));
        }
        c.fallback_wifi = std::move(fallback);
        c.sensor_offsets = s.sensor_offsets;
        devcfg::status_led led;
        led.pattern = static_cast<devcfg::led_pattern>(s.led->pattern);
        led.brightness = s.led->brightness;
        led.period_ms = *s.led->period_ms;
        c.led = led;
        c.logging = static_cast<devcfg::verbosity>(s.logging);
        c.upload_interval_s = *s.upload_interval_s;
        c.vendor = vendor;
    }
    return records;
}

} // namespace bench
