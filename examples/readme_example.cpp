#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include <tolvi/tolvi.hpp>

namespace tolvi = korvax::tolvi;

namespace app {

TOLVI_SOURCE_TYPE(cloud); // documents pushed by the server

enum class scale { celsius, fahrenheit };
TOLVI_ENUM(scale, {scale::celsius, "C"}, {scale::fahrenheit, "F"});

struct sensor {
    tolvi::required<std::string> id;
    tolvi::required<scale> unit;
    tolvi::optional<double> offset; // null: not calibrated
};
TOLVI_RECORD(sensor, id, unit, offset);

struct station {
    tolvi::required<std::string> name;
    tolvi::required<std::uint64_t> serial;
    tolvi::required<std::vector<sensor>> sensors;
};
TOLVI_RECORD(station, name, serial, sensors);
TOLVI_REFUSE(station, serial, cloud); // the server may not change the serial number

} // namespace app

int main() {
    app::station s;
    tolvi::from_json(s, R"({"name": "roof", "serial": 17,
                            "sensors": [{"id": "t1", "unit": "C", "offset": null}]})");
    std::cout << *s.name << ": " << s.sensors->size()
              << " sensor, calibrated: " << (*s.sensors)[0].offset.engaged()
              << '\n'; // roof: 1 sensor, calibrated: 0

    app::station changed = s;
    (*changed.sensors)[0].offset = 0.5;
    Variant const patch = tolvi::make_patch(changed, s); // only what changed: the sensor list
    tolvi::from_variant(s, patch, tolvi::options().from(app::cloud).as_patch());
    std::cout << tolvi::to_json(s) << '\n';
    if (!tolvi::equal(s, changed)) {
        return 1;
    }

    try {
        tolvi::from_json(s, R"({"serial": 1})", tolvi::options().from(app::cloud).as_patch());
    } catch (tolvi::bad_deserialization_source const& e) {
        std::cout << e.what() << '\n'; // ... attribute "serial" top-level: {"serial":1}
    }
}
