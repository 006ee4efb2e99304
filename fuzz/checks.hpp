#pragma once

// Properties that must hold for any input whatever. The fuzz targets and the regression test in
// the normal suite run these same functions; a broken property throws `violation`.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

#include <skrib/skrib.hpp>
#include <tolvi/Variant.hpp>
#include <tolvi/opaque_json_block.hpp>
#include <tolvi/record.hpp>

#include "../examples/device_demo/device_config.hpp"

namespace tolvi_fuzz {

class violation : public std::exception {
public:
    explicit violation(std::string what) : what_(std::move(what)) {}
    char const* what() const noexcept override { return what_.c_str(); }

private:
    std::string what_;
};

inline void require(bool ok, char const* what) {
    if (!ok) {
        throw violation(what);
    }
}

// The first broken property of `f()`, or "" when all hold.
template <class F>
std::string violation_of(F&& f) {
    try {
        f();
        return {};
    } catch (violation const& v) {
        return v.what();
    } catch (std::exception const& e) {
        return std::string("unexpected exception ") + typeid(e).name() + ": " + e.what();
    } catch (...) {
        return "unexpected exception";
    }
}

// A fuzz target's body: a broken property or an unexpected exception stops the run as a crash,
// so that the fuzzer keeps the input.
inline int run_input(void (*check)(std::string const&), unsigned char const* data,
                     std::size_t size) {
    std::string const input(reinterpret_cast<char const*>(data), size);
    std::string const broken = violation_of([&] { check(input); });
    if (!broken.empty()) {
        std::fprintf(stderr, "broken property: %s\n", broken.c_str());
        std::abort();
    }
    return 0;
}

// Counts the log entries of each level while it lives.
class log_levels {
public:
    log_levels() {
        handle_ = korvax::skrib::add_sink(korvax::skrib::level::trace,
                                          [this](korvax::skrib::log_entry const& e) {
                                              auto const l = static_cast<int>(e.get_level());
                                              (l == 0 ? errors : l == 1 ? notes : others) += 1;
                                          });
    }
    ~log_levels() { korvax::skrib::remove_sink(handle_); }
    log_levels(log_levels const&) = delete;
    log_levels& operator=(log_levels const&) = delete;

    int errors = 0;
    int notes = 0;
    int others = 0;

private:
    korvax::skrib::sink_handle handle_;
};

// The part before the first NUL byte and the part after it (all of `input` for both when there
// is no NUL).
inline std::pair<std::string, std::string> split_at_nul(std::string const& input) {
    auto const nul = input.find('\0');
    if (nul == std::string::npos) {
        return {input, input};
    }
    return {input.substr(0, nul), input.substr(nul + 1)};
}

// The text the parser sees: everything up to the first NUL byte.
inline std::string visible_text(std::string const& text) {
    return text.substr(0, std::strlen(text.c_str()));
}

inline bool is_null_text(std::string const& text) {
    auto const ws = " \t\r\n";
    auto const first = text.find_first_not_of(ws);
    return first != std::string::npos &&
           text.compare(first, text.find_last_not_of(ws) + 1 - first, "null") == 0;
}

inline bool holds_double(Variant const& v) {
    switch (v.type) {
    case Variant::Double:
        return true;
    case Variant::Map:
        for (auto const& kv : *v.value.mapValue) {
            if (holds_double(kv.second)) {
                return true;
            }
        }
        return false;
    case Variant::Vector:
        for (auto const& e : *v.value.vectorValue) {
            if (holds_double(e)) {
                return true;
            }
        }
        return false;
    default:
        return false;
    }
}

// Equality that lets doubles differ in what the 7 significant digits of the compact form drop.
inline bool equal_to_7_digits(Variant const& a, Variant const& b) {
    if (a.type != b.type) {
        return false;
    }
    switch (a.type) {
    case Variant::Double:
        return std::fabs(a.value.doubleValue - b.value.doubleValue) <=
               1e-6 * std::fabs(a.value.doubleValue);
    case Variant::Map: {
        auto const& x = *a.value.mapValue;
        auto const& y = *b.value.mapValue;
        if (x.size() != y.size()) {
            return false;
        }
        for (auto i = x.begin(), j = y.begin(); i != x.end(); ++i, ++j) {
            if (i->first != j->first || !equal_to_7_digits(i->second, j->second)) {
                return false;
            }
        }
        return true;
    }
    case Variant::Vector: {
        auto const& x = *a.value.vectorValue;
        auto const& y = *b.value.vectorValue;
        if (x.size() != y.size()) {
            return false;
        }
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (!equal_to_7_digits(x[i], y[i])) {
                return false;
            }
        }
        return true;
    }
    default:
        return a == b;
    }
}

// JSON text: any bytes give a value and silence, or Null with one report (or the empty-text
// note); a value prints and parses back to itself.
inline void check_json_text(std::string const& text) {
    Variant v;
    log_levels logs;
    v = Variant::fromJson(text);
    auto const seen = visible_text(text);
    if (text.empty()) {
        require(v.type == Variant::Null && logs.errors == 0 && logs.notes == 1,
                "empty text must give Null and one note");
        return;
    }
    require(logs.notes == 0 && logs.others == 0, "only error reports may be logged");
    if (v.type == Variant::Null) {
        require(logs.errors == (is_null_text(seen) ? 0 : 1),
                "Null must come with exactly one report unless the text is null");
        return;
    }
    require(logs.errors == 0, "a parsed value must not be reported");

    // The pretty form keeps 17 digits, so it gives back every value exactly.
    require(Variant::fromJson(v.prettyPrintJson()) == v,
            "pretty text does not parse back to an equal value");
    auto const compact = Variant::fromJson(v.toJson());
    if (holds_double(v)) {
        require(equal_to_7_digits(v, compact),
                "compact text does not parse back to the value within 7 digits");
    } else {
        require(compact == v, "compact text does not parse back to an equal value");
    }
    require(logs.errors == 0, "printing and parsing again was reported");
}

inline bool has_key(Variant const& map, std::string const& key) {
    return map.value.mapValue->count(key) != 0;
}

// Whether merging `source` into `target` meets a type conflict anywhere.
inline bool conflicts(Variant const& target, Variant const& source) {
    if (source.type != Variant::Map) {
        return target.type != source.type;
    }
    if (target.type != Variant::Map) {
        return target.type != Variant::Null;
    }
    for (auto const& kv : *source.value.mapValue) {
        if (kv.second.type != Variant::Null && has_key(target, kv.first) &&
            conflicts(target.get(kv.first), kv.second)) {
            return true;
        }
    }
    return false;
}

// What a successful merge of `source` into `before` must have produced in `after`.
inline void check_merged(Variant const& before, Variant const& source, Variant const& after) {
    if (source.type != Variant::Map || before.type == Variant::Null) {
        require(source.type == before.type || source.type == Variant::Map,
                "a merge across types succeeded");
        require(after == source, "target is not a copy of the source");
        return;
    }
    require(before.type == Variant::Map && after.type == Variant::Map,
            "a map merge did not leave a map");
    Variant const empty_map{Variant::map_type{}};
    for (auto const& kv : *source.value.mapValue) {
        auto const& s = kv.second;
        bool const kept = has_key(after, kv.first);
        if (s.type == Variant::Null) {
            require(!kept, "a key that the source nulls is still present");
        } else {
            require(kept, "a key of the source is missing");
            auto const& t = before.get(kv.first);
            if (!has_key(before, kv.first) && s.type == Variant::Map) {
                check_merged(empty_map, s, after.get(kv.first)); // its nulls are dropped
            } else {
                check_merged(has_key(before, kv.first) ? t : s, s, after.get(kv.first));
            }
        }
    }
    for (auto const& kv : *after.value.mapValue) {
        if (!has_key(source, kv.first)) {
            require(has_key(before, kv.first) && kv.second == before.get(kv.first),
                    "a key that the source does not mention changed");
        }
    }
}

// Merge: two documents; the merge succeeds as its rules say, or fails and changes nothing.
// Merging a value into itself, or a part of it into it, acts as merging a copy.
inline void check_merge(std::string const& input) {
    auto const docs = split_at_nul(input);
    Variant const before = Variant::fromJson(docs.first);
    Variant const source = Variant::fromJson(docs.second);

    Variant target = before;
    bool const merged = target.mergeWith(source);
    require(merged == !conflicts(before, source), "a merge succeeded or failed against its rules");
    if (merged) {
        check_merged(before, source, target);
    } else {
        require(target == before, "a refused merge changed the target");
    }

    Variant self = before;
    Variant expected = before;
    require(self.mergeWith(self) && expected.mergeWith(before) && self == expected,
            "merging a value into itself differs from merging a copy");

    if (before.type == Variant::Map && !before.value.mapValue->empty()) {
        for (auto const* key :
             {&before.value.mapValue->begin()->first, &before.value.mapValue->rbegin()->first}) {
            Variant nested = before;
            Variant copied = before;
            bool const a = nested.mergeWith(nested.get(*key));
            bool const b = copied.mergeWith(Variant(before.get(*key)));
            require(a == b && nested == copied,
                    "merging a part of the target differs from merging a copy of it");
        }
    }
}

inline bool points_into(Variant const& node, Variant const* p) {
    if (&node == p) {
        return true;
    }
    if (node.type == Variant::Map) {
        for (auto const& kv : *node.value.mapValue) {
            if (points_into(kv.second, p)) {
                return true;
            }
        }
    } else if (node.type == Variant::Vector) {
        for (auto const& e : *node.value.vectorValue) {
            if (points_into(e, p)) {
                return true;
            }
        }
    }
    return false;
}

// A document for paths that come without one.
inline char const* const sample_document =
    R"({"a":{"b":[1,{"c":"x"}],"":0,"a b":true,"[x]":null,"0":[],"'q'":{}},)"
    R"("list":[[0,1],[2,[3]],{"id":7}],"s":"t","n":null})";

// JSONPath: a path, then a NUL and a document (or the path alone, against a sample). The result
// is null or points into the block, or the call throws std::runtime_error with one of the
// documented messages and log lines; the block never changes.
inline void check_jsonpath(std::string const& input) {
    auto const nul = input.find('\0');
    std::string const path = input.substr(0, nul);
    korvax::tolvi::opaque_json_block block;
    block.json = Variant::fromJson(nul == std::string::npos ? std::string(sample_document)
                                                            : input.substr(nul + 1));
    Variant const before = block.json;

    log_levels logs;
    try {
        auto const result = block.attribute_at_path(path.c_str());
        Variant const* found = result ? &*result : nullptr;
        require(found == nullptr || points_into(block.json, found),
                "the result points outside the block");
        require(logs.errors == 0, "a lookup without error was logged");
    } catch (std::runtime_error const& e) {
        require(typeid(e) == typeid(std::runtime_error), "a path error of a derived type");
        std::string const what = e.what();
        if (what == "unsupported JSONPath expression") {
            require(path.empty() || path[0] != '$', "a path that starts at the root refused");
            require(logs.errors == 1, "an unsupported path must be logged once");
        } else if (what == "invalid JSONPath expression") {
            require(logs.errors == 0, "an invalid path must not be logged");
        } else if (what == "missing \u201c]\u201d in JSONPath expression") {
            require(logs.errors == 1, "a missing bracket must be logged once");
        } else {
            require(false, "a path error with an undocumented message");
        }
    }
    require(block.json == before, "a lookup changed the block");
}

// A complete device configuration, the start of every patch.
inline char const* const baseline_configuration =
    R"({"name":"hall-sensor-07","serial":4200000001,"provisioned_at_ms":1717171717000,)"
    R"("wifi":{"ssid":"plant-floor","band":"5GHz","static_ip":"10.20.0.7","mtu":1500},)"
    R"("fallback_wifi":[{"ssid":"plant-backup","band":"2.4GHz","static_ip":null,"mtu":1500}],)"
    R"("sensor_offsets":{"temperature":-0.25,"humidity":1.5},)"
    R"("led":{"pattern":"blink","brightness":40,"period_ms":750},)"
    R"("logging":"warning","upload_interval_s":300})";

// Records: any text read into the device configuration, in normal and patch mode, from every
// source type, as text and as a parsed document. Only document_error may come out, and a refused
// read leaves the record as it was; the serial number is never taken from the cloud; a record
// read without error writes a document that reads back into a record writing the same document
// (the first write may differ from the input: doubles within epsilon of zero are written as
// zero), and a record read, whole or patched, saves to a text that loads and saves again to the
// same bytes.
inline void check_records(std::string const& input) {
    namespace tv = korvax::tolvi;
    using devcfg::device_config;
    Variant const document = Variant::fromJson(input);
    device_config baseline;
    tv::from_json(baseline, baseline_configuration);

    tv::source_type_t const* const sources[] = {nullptr, &devcfg::factory, &devcfg::cloud};
    for (auto const* source : sources) {
        for (bool const patch : {false, true}) {
            for (bool const as_text : {false, true}) {
                tv::options o;
                o.source_type = source;
                o.patch = patch;
                device_config record;
                if (patch) {
                    record = baseline;
                }
                device_config const before = record;
                log_levels logs;
                try {
                    if (as_text) {
                        tv::from_json(record, input, o);
                    } else {
                        tv::from_variant(record, document, o);
                    }
                } catch (tv::document_error const& e) {
                    require(typeid(e) == typeid(tv::document_error), "a refusal of another type");
                    require(tv::equal(record, before), "a refused read changed the record");
                    continue;
                } catch (std::exception const&) {
                    require(false, "an undocumented exception while reading a record");
                }
                require(source != &devcfg::cloud || document.type != Variant::Map ||
                            !has_key(document, "serial"),
                        "the serial number was taken from the cloud");
                require(logs.errors == 0, "a record read without error was logged");
                require(tv::equal(record, record), "a record differs from itself");

                // Strict reading takes the same record, or refuses a key and changes nothing.
                device_config strict = before;
                try {
                    tv::from_variant(strict, document, tv::options(o).strict());
                    require(tv::equal(strict, record), "a strict read took another record");
                } catch (tv::document_error const& e) {
                    require(e.what_kind() == tv::document_error::unknown_key &&
                                tv::equal(strict, before),
                            "a strict read refused more than a key, or changed the record");
                }

                // Unprovided members are left out and disengaged ones written as null, so
                // writing as a patch never refuses.
                Variant const written = tv::to_variant(record, tv::options().as_patch());
                device_config again;
                tv::from_variant(again, written, tv::options().as_patch());
                require(tv::to_variant(again, tv::options().as_patch()) == written,
                        "a record read back from its own document writes another one");
                // What a read takes, whole or patch, can be saved.
                std::string const saved = tv::to_json(record);
                device_config loaded;
                tv::from_json(loaded, saved);
                require(tv::to_json(loaded) == saved, "a loaded document saves other bytes");
            }
        }
    }
}

} // namespace tolvi_fuzz
