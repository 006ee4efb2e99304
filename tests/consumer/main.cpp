// A minimal user of the installed or embedded library: the umbrella header, a JSON round trip,
// a framework symbol, and a Variant printed through the logging library's header template.

#include <cstdio>
#include <string>

#include <tolvi/tolvi.hpp>

int main() {
    namespace skrib = korvax::skrib;

    Variant doc = Variant::fromJson(R"({"id": 7, "tags": ["a", "b"]})");
    bool ok = doc.get("id") == Variant(7) && doc.toJson() == R"({"id":7,"tags":["a","b"]})";
    ok = ok && korvax::tolvi::impl<double>::epsilon > 0.0;

    std::string logged;
    skrib::sink_handle sink = skrib::add_sink(
        skrib::level::error, [&logged](skrib::log_entry const& e) { logged = e.message(); });
    SKRIB_LOG(skrib::level::error, "doc {}", doc.get("tags"));
    skrib::remove_sink(sink);
    ok = ok && logged == R"(doc ["a","b"])";

    std::puts(ok ? "consumer: ok" : "consumer: FAILED");
    return ok ? 0 : 1;
}
