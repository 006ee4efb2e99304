#include "documents.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <numeric>
#include <random>

namespace bench {

namespace {

// std::mt19937's sequence is fixed by the standard, unlike the distributions: draw from it raw
// so that every platform generates the same documents.
class draw {
public:
    explicit draw(std::uint32_t seed) : engine_(seed) {}
    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(engine_() % n); }
    std::mt19937& engine() { return engine_; }

private:
    std::mt19937 engine_;
};

void append_fixed(std::string& out, double v, int decimals) {
    char buffer[40];
    int const n = std::snprintf(buffer, sizeof buffer, "%.*f", decimals, v);
    out.append(buffer, static_cast<std::size_t>(n));
}

void append_wifi(std::string& out, draw& d, std::size_t i) {
    static char const* const bands[] = {"any", "2.4GHz", "5GHz"};
    out += "{\"ssid\":\"net-";
    out += std::to_string(i % 997);
    out += "\",\"band\":\"";
    out += bands[d.below(3)];
    out += "\",\"static_ip\":\"10.";
    out += std::to_string(d.below(256));
    out += '.';
    out += std::to_string(d.below(256));
    out += ".7\",\"mtu\":";
    out += std::to_string(1280 + d.below(221));
    out += '}';
}

void append_record(std::string& out, draw& d, std::size_t i) {
    static char const* const patterns[] = {"off", "solid", "blink", "heartbeat"};
    static char const* const levels[] = {"error", "warning", "info", "debug"};
    // Some names carry non-ASCII text and an escape, as real device names do.
    static char const* const sites[] = {"hall", "yard", "K\xc3\xbchlraum", "dock \\\"B\\\""};
    out += "{\"name\":\"";
    out += sites[d.below(4)];
    out += "-sensor-";
    out += std::to_string(i);
    out += "\",\"serial\":";
    out += std::to_string(4200000000ULL + i);
    out += ",\"provisioned_at_ms\":";
    out += std::to_string(1717171717000ULL + d.below(1000000000));
    out += ",\"wifi\":";
    append_wifi(out, d, i);
    out += ",\"fallback_wifi\":[";
    append_wifi(out, d, i + 1);
    out += ',';
    append_wifi(out, d, i + 2);
    out += "],\"sensor_offsets\":{\"temperature\":";
    append_fixed(out, (static_cast<double>(d.below(2000)) - 1000.0) / 256.0, 8);
    out += ",\"humidity\":";
    append_fixed(out, static_cast<double>(d.below(400)) / 8.0, 3);
    out += ",\"pressure\":";
    append_fixed(out, static_cast<double>(d.below(100000)) / 100.0, 2);
    out += "},\"led\":{\"pattern\":\"";
    out += patterns[d.below(4)];
    out += "\",\"brightness\":";
    out += std::to_string(d.below(256));
    out += ",\"period_ms\":";
    out += std::to_string(100 + d.below(2000));
    out += "},\"logging\":\"";
    out += levels[d.below(4)];
    out += "\",\"upload_interval_s\":";
    out += std::to_string(30 + d.below(3600));
    out += ",\"enabled\":";
    out += d.below(2) != 0 ? "true" : "false";
    out += ",\"note\":null}";
}

} // namespace

std::string read_file(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return {};
    }
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<document> published_documents(std::string const& dir) {
    std::vector<document> docs;
    for (char const* name : {"twitter", "citm_catalog", "canada"}) {
        std::string const path = dir + "/" + name + ".json";
        std::string text = read_file(path);
        if (text.empty()) {
            std::cerr << "tolvi_bench: " << path << " not found; its rows are skipped\n";
            continue;
        }
        docs.push_back({name, std::move(text)});
    }
    return docs;
}

std::string record_array(std::size_t bytes) {
    draw d(20240601);
    std::string out = "[";
    std::string record;
    for (std::size_t i = 0;; ++i) {
        record.clear();
        append_record(record, d, i);
        // Room for this record, its comma and the closing bracket.
        if (out.size() + record.size() + 2 > bytes) {
            break;
        }
        if (i != 0) {
            out += ',';
        }
        out += record;
    }
    out += ']';
    return out;
}

std::string wide_map(std::size_t keys) {
    draw d(7);
    std::vector<std::size_t> order(keys);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), d.engine());
    std::string out = "{";
    for (std::size_t k : order) {
        if (out.size() > 1) {
            out += ',';
        }
        out += "\"key-";
        out += std::to_string(k);
        out += "\":";
        switch (k % 4) {
        case 0:
            out += std::to_string(d.below(1000000));
            break;
        case 1:
            append_fixed(out, static_cast<double>(d.below(1000000)) / 1024.0, 6);
            break;
        case 2:
            out += "\"value ";
            out += std::to_string(k);
            out += '"';
            break;
        default:
            out += d.below(2) != 0 ? "true" : "null";
            break;
        }
    }
    out += '}';
    return out;
}

std::string deep_nesting(std::size_t depth) {
    std::string open;
    std::string close;
    for (std::size_t level = 0; level < depth; ++level) {
        if (level % 2 == 0) {
            open += "{\"level\":" + std::to_string(level) + ",\"next\":";
        } else {
            open += "[\"level " + std::to_string(level) + "\",";
        }
    }
    for (std::size_t level = depth; level-- > 0;) {
        close += level % 2 == 0 ? '}' : ']';
    }
    return open + "null" + close;
}

} // namespace bench
