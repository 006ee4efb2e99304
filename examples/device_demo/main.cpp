// Device demo: a sensor hub reads its factory configuration, looks into the radio vendor's
// uninterpreted block by JSONPath, takes a merge patch from the fleet server, refuses what the
// server may not change and a document of the wrong shape, saves the result, and writes a status
// report in the fleet server's own key names.
//
//     tolvi_demo <data-dir> <output-dir>
//
// <data-dir> holds device.json, cloud_patch.json, cloud_serial.json and bad.json (see
// examples/device_demo/data); the configuration is saved as <output-dir>/device.json.

#include <array>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include <skrib/skrib.hpp>
#include <tolvi/tolvi.hpp>

#include "device_config.hpp"
#include "status_report.hpp"

namespace {

namespace tolvi = korvax::tolvi;
using devcfg::device_config;

// The JSON name of an enumerator, as the record API writes it.
template <class E>
std::string name_of(E e) {
    Variant const v = tolvi::to_variant(e);
    return *v.value.stringValue;
}

std::string describe(devcfg::wifi_network const& w) {
    return *w.ssid + " (" + name_of(*w.band) + ", " + w.static_ip.value_or("DHCP") + ", MTU " +
           std::to_string(*w.mtu) + ")";
}

void print_indented(std::string const& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::cout << "   " << line << '\n';
    }
}

// Typed access: every member reads as its own C++ type.
void print_summary(device_config const& c) {
    std::cout << "   " << *c.name << ", serial " << *c.serial << ", provisioned at "
              << *c.provisioned_at_ms << " ms\n";
    std::cout << "   wifi:      " << describe(*c.wifi) << '\n';
    for (devcfg::wifi_network const& w : *c.fallback_wifi) {
        std::cout << "   fallback:  " << describe(w) << '\n';
    }
    std::cout << "   offsets:  ";
    for (auto const& [sensor, offset] : *c.sensor_offsets) {
        std::cout << ' ' << sensor << ' ' << (offset < 0 ? "" : "+") << offset;
    }
    std::cout << '\n';
    if (c.led.engaged()) {
        std::cout << "   led:       " << name_of(*c.led->pattern) << ", brightness "
                  << unsigned{*c.led->brightness} << "/255, period "
                  << (c.led->period_ms.engaged() ? std::to_string(*c.led->period_ms) + " ms"
                                                 : std::string("default"))
                  << '\n';
    } else {
        std::cout << "   led:       none fitted\n";
    }
    std::cout << "   logging:   " << name_of(*c.logging) << ", upload "
              << (c.upload_interval_s.engaged()
                      ? "every " + std::to_string(*c.upload_interval_s) + " s"
                      : std::string("on change only"))
              << '\n';
}

void step(int n, std::string const& title) {
    std::cout << '\n' << n << ". " << title << '\n';
}

int run(std::string const& data, std::string const& out) {
    std::cout << "libtolvi device demo\n   data:   " << data << "\n   output: " << out << '\n';

    step(1, "Read the factory configuration: device.json");
    device_config cfg;
    tolvi::from_file(cfg, data + "/device.json", tolvi::options().from(devcfg::factory));
    std::cout << "   members:";
    char const* separator = " ";
    for (char const* name : tolvi::member_names<device_config>()) {
        std::cout << separator << name;
        separator = ", ";
    }
    std::cout << '\n';
    print_summary(cfg);
    device_config const factory_cfg = cfg;

    step(2, "Look into the vendor block, which the record carries as uninterpreted JSON");
    tolvi::opaque_json_block const& vendor = *cfg.vendor;
    for (char const* path : {"$.modem.firmware", "$.modem.bands[1]", "$.calibration.tx_power_dbm",
                             "$.calibration.certified", "$.*.apn", "$.modem.imei"}) {
        tolvi::opaque_json_view const hit = vendor.attribute_at_path(path);
        std::cout << "   " << path << " -> " << (hit ? hit.get()->toJson() : "(not found)") << '\n';
    }
    std::cout << "   firmware is 4.2.1: "
              << (vendor.attribute_at_path("$.modem.firmware").compare("4.2.1") == 0 ? "yes" : "no")
              << "; band 7 listed: "
              << (vendor.attribute_at_path("$.modem.bands[1]").compare(7) == 0 ? "yes" : "no")
              << "; transmit power above 20 dBm: "
              << (vendor.attribute_at_path("$.calibration.tx_power_dbm").compare(20) > 0 ? "yes"
                                                                                         : "no")
              << '\n';
    try {
        (void)vendor.attribute_at_path("$.modem.firmware").compare(4.2);
    } catch (tolvi::json_type_mismatch const& e) {
        std::cout << "   firmware compared with a number: " << e.what() << '\n';
    }

    step(3, "Apply the fleet server's patch: cloud_patch.json");
    // A merge patch: it changes the temperature offset and adds one for CO2; the offsets it does
    // not name stay, and so does everything else it leaves out.
    tolvi::from_file(cfg, data + "/cloud_patch.json",
                     tolvi::options().from(devcfg::cloud).as_patch());
    print_summary(cfg);
    if (cfg.sensor_offsets->size() != factory_cfg.sensor_offsets->size() + 1) {
        std::cout << "   unexpected: the patch did not keep the offsets it does not name\n";
        return 1;
    }
    std::cout << "   what changed since the factory, as make_patch writes it:\n";
    print_indented(tolvi::make_patch(cfg, factory_cfg).prettyPrintJson());

    step(4, "The fleet server tries to rewrite the serial number: cloud_serial.json");
    try {
        tolvi::from_file(cfg, data + "/cloud_serial.json",
                         tolvi::options().from(devcfg::cloud).as_patch());
        std::cout << "   unexpected: the serial number was accepted from the cloud\n";
        return 1;
    } catch (tolvi::document_error const& e) {
        std::cout << "   refused: " << e.what() << "\n   path:    " << e.path() << '\n';
    }
    std::cout << "   serial is still " << *cfg.serial << ", logging still " << name_of(*cfg.logging)
              << '\n';

    step(5, "A document of the wrong shape: bad.json (\"frequency\" where \"band\" belongs)");
    try {
        // A refused read leaves the configuration as it was: it is read into a copy first.
        tolvi::from_file(cfg, data + "/bad.json");
        std::cout << "   unexpected: the document was accepted\n";
        return 1;
    } catch (tolvi::document_error const& e) {
        std::cout << "   refused: " << e.what() << "\n   path:    " << e.path() << '\n';
    }
    std::cout << "   the running configuration is kept: wifi " << describe(*cfg.wifi) << '\n';

    std::string const saved = out + "/device.json";
    step(6, "Save the configuration: " + saved);
    std::filesystem::create_directories(out);
    // Atomic: a temporary file beside it, synced, then renamed over it. A power cut or a full
    // disk leaves the previous configuration whole; a failure throws and says why.
    tolvi::to_file(cfg, saved);
    std::cout << "   saved atomically: the file holds the old configuration or the new one\n";
    std::ifstream file(saved);
    std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::cout << "   wrote " << text.size()
              << " bytes of compact JSON; members without a value (null) are left out:\n";
    Variant const written = Variant::fromJson(text);
    print_indented(written.prettyPrintJson());
    bool const vendor_kept = written.get("vendor") == factory_cfg.vendor->json;
    std::cout << "   vendor block written back unchanged: " << (vendor_kept ? "yes" : "no") << '\n';
    if (!vendor_kept) {
        return 1;
    }

    step(7, "Report the status to the fleet server, in the server's key names");
    devcfg::status_report report;
    report.type = "hub-status";
    report.name = *cfg.name;
    report.uptime_s = 86400u;
    report.mac = std::array<std::uint8_t, 6>{0x02, 0x1a, 0x4f, 0x00, 0x07, 0x3c};
    report.supply_v = 4.75f;
    report.hourly_temp_c = std::map<std::uint8_t, float>{{6, 17.5f}, {7, 18.25f}, {12, 23.5f}};
    report.log_lines = std::map<devcfg::verbosity, std::uint32_t>{{devcfg::verbosity::error, 0},
                                                                  {devcfg::verbosity::warning, 3},
                                                                  {devcfg::verbosity::info, 41}};
    std::string const sent = tolvi::to_json(report);
    print_indented(Variant::fromJson(sent).prettyPrintJson());
    devcfg::status_report received;
    tolvi::from_json(received, sent);
    bool const same = tolvi::equal(received, report);
    std::cout << "   read back as the server reads it, equal: " << (same ? "yes" : "no") << '\n';
    try {
        tolvi::from_json(received, R"({"hourly-temp-C": {"7am": 18.5}})",
                         tolvi::options().as_patch());
        std::cout << "   unexpected: an hour that is not a number was accepted\n";
        return 1;
    } catch (tolvi::document_error const& e) {
        std::cout << "   an hour that is not a number is refused: " << e.what()
                  << "\n   path: " << e.path() << '\n';
    }
    return same ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: tolvi_demo <data-dir> <output-dir>\n";
        return 2;
    }
    // The library reports refusals through the platform log; show them inline.
    korvax::skrib::add_sink(korvax::skrib::level::error, [](korvax::skrib::log_entry const& e) {
        std::cout << "   log: " << e.message() << '\n';
    });
    try {
        return run(argv[1], argv[2]);
    } catch (std::exception const& e) {
        std::cerr << "tolvi_demo: " << e.what() << '\n';
        return 1;
    }
}
