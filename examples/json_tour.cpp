// A short tour of Variant and JSON text: read two documents, pretty-print one, look values up,
// build a value by hand, merge an update into a configuration, and see what bad input does.
//
// Usage: json_tour [DATA_DIR]   (defaults to the bundled examples/data)
// Exits non-zero if any result differs from what the tour says it should be.

#include <iostream>
#include <string>

#include <tolvi/tolvi.hpp>

namespace skrib = korvax::skrib;
using korvax::tolvi::detail::variant_from_json_file;

namespace {

int failures = 0;

void section(char const* title) {
    std::cout << "\n== " << title << " ==\n";
}

void show(char const* label, Variant const& v) {
    std::cout << label << ": " << v.toJson() << '\n';
}

void expect(bool ok, char const* what) {
    if (!ok) {
        std::cerr << "json_tour: unexpected result: " << what << '\n';
        ++failures;
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string const dir = argc > 1 ? argv[1] : TOLVI_EXAMPLES_DATA_DIR;

    // The library logs instead of throwing on bad JSON text; show those reports on stderr.
    skrib::sink_handle const sink = skrib::add_sink(skrib::level::info, skrib::stderr_sink);

    Variant const device = variant_from_json_file(dir + "/device.json");
    Variant const update = variant_from_json_file(dir + "/update.json");
    if (device.type != Variant::Map || update.type != Variant::Map) {
        std::cerr << "json_tour: " << dir << " does not hold the two sample documents\n";
        skrib::remove_sink(sink);
        return 1;
    }

    section("device.json, pretty-printed (keys sorted, 4-space indent)");
    std::cout << device.prettyPrintJson() << '\n';

    section("lookups with get: never inserts, answers null when a key is missing");
    show("name", device.get("name"));
    show("network.wifi.ssid", device.get("network").get("wifi").get("ssid"));
    show("no_such_key", device.get("no_such_key"));
    double const interval = device.get("sampling").get("interval_s").asDouble();
    std::cout << "sampling.interval_s as double: " << interval << '\n';
    expect(device.get("no_such_key").isNull(), "a missing key reads as null");
    expect(interval == 15.0, "interval_s is 15");

    section("lookups with operator[]: by key on maps, by index on lists");
    Variant config = device;
    show("sensors[1]", config["sensors"][1]);
    show("firmware[\"version\"]", config["firmware"]["version"]);
    // A key lookup on a non-map answers with the value itself, so a chain stops where it lands.
    show("name[\"first\"]", config["name"]["first"]);
    expect(config["sensors"][1] == Variant("flow"), "the second sensor is flow");

    section("building a value with operator[] and set");
    Variant owner;
    owner["team"]["name"] = "field-ops"; // null turns into a map on first use
    owner.set("tags", Variant::vector_type{"lab", "rev-b"});
    bool const replaced = owner.set("tags", Variant::vector_type{"lab"});
    show("owner", owner);
    expect(replaced, "the second set replaced the first");

    section("merging update.json into a copy of device.json");
    Variant merged = device;
    bool const ok = merged.mergeWith(update);
    std::cout << "merge accepted: " << std::boolalpha << ok << '\n';
    std::cout << merged.prettyPrintJson() << '\n';
    expect(ok, "the update merges");
    expect(merged.get("firmware") == Variant::fromJson(R"({"channel":"stable","version":"2.4.0"})"),
           "nested maps merge key by key");
    expect(merged.get("sensors") == update.get("sensors"), "lists are replaced, not merged");
    expect(merged.get("debug").isNull() &&
               merged.get("maintenance") == Variant::fromJson(R"({"window":"Sun 02:00"})"),
           "null in the update removes a key");

    section("a conflicting merge changes nothing");
    Variant attempt = merged;
    bool const accepted = attempt.mergeWith(Variant::fromJson(R"({"extra": 1, "name": 7})"));
    std::cout << "merge accepted: " << accepted << ", target unchanged: " << (attempt == merged)
              << '\n';
    expect(!accepted && attempt == merged, "a type conflict rejects the whole merge");

    section("bad JSON text is logged and reads as null");
    Variant const broken = Variant::fromJson(R"({"name": })");
    std::cout << "result is null: " << broken.isNull() << '\n';
    expect(broken.isNull(), "bad text reads as null");

    skrib::remove_sink(sink);
    if (failures != 0) {
        std::cerr << "json_tour: " << failures << " unexpected result(s)\n";
        return 1;
    }
    std::cout << "\njson_tour: all results as expected\n";
    return 0;
}
