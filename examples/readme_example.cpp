#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <tolvi/tolvi.hpp>

namespace tolvi = korvax::tolvi;

namespace app {

TOLVI_SOURCE_TYPE(cloud); // documents pushed by the server

enum class scale { celsius, fahrenheit };
TOLVI_ENUM(scale, {scale::celsius, "C"}, {scale::fahrenheit, "F"});

struct sensor {
    std::string id;
    scale unit = scale::celsius;
    std::optional<float> offset;                         // absent or null: not calibrated
    std::optional<std::map<std::uint8_t, float>> hourly; // hour of the day: mean value
};
TOLVI_RECORD(sensor, id, unit, offset, (hourly, "hourly-mean"));

struct station {
    std::string name;
    std::uint64_t serial = 0;
    std::array<std::uint8_t, 6> mac{};
    std::vector<sensor> sensors;
    std::set<std::string> tags;
    std::chrono::seconds upload{60};
};
TOLVI_RECORD(station, name, (serial, "serial-no"), mac, sensors, tags, (upload, "upload-s"));
TOLVI_REFUSE(station, serial, cloud); // the server may not change the serial number

} // namespace app

int main() {
    app::station s;
    tolvi::from_json(s, R"({"name": "roof", "serial-no": 17, "mac": [2, 0, 0, 0, 0, 1],
                            "sensors": [{"id": "t1", "unit": "C", "offset": null,
                                         "hourly-mean": {"7": 18.5, "13": 24}}],
                            "tags": ["outdoor"], "upload-s": 300})");
    std::cout << s.name << ": " << s.sensors.size()
              << " sensor, calibrated: " << s.sensors[0].offset.has_value()
              << '\n'; // roof: 1 sensor, calibrated: 0

    app::station changed = s;
    changed.sensors[0].offset = 0.5f;
    changed.tags.insert("calibrated");
    Variant const patch = tolvi::make_patch(changed, s); // only what changed: sensors and tags
    tolvi::from_variant(s, patch, tolvi::options().from(app::cloud).as_patch());
    std::cout << tolvi::to_json(s) << '\n';
    if (!tolvi::equal(s, changed)) {
        return 1;
    }

    try {
        tolvi::from_json(s, R"({"serial-no": 1})", tolvi::options().from(app::cloud).as_patch());
        return 1;
    } catch (tolvi::document_error const& e) {
        std::cout << e.what() << '\n'; // /serial-no: refused from this document's source type: 1
    }

    // The documents the server may send: patches, without "serial-no".
    Variant const schema =
        tolvi::json_schema<app::station>(tolvi::options().from(app::cloud).as_patch());
    std::cout << schema.prettyPrintJson() << '\n';
}
