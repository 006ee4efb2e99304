// Out of memory: every allocation an operation makes is made to fail in turn. The operation must
// then throw the standard allocation failure (or, where Jansson's allocation failed, answer as for
// bad text), keep its guarantees, and give back every block.

#include <functional>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <skrib/skrib.hpp>
#include <tolvi/Variant.hpp>
#include <tolvi/record.hpp>

#include "../../examples/device_demo/device_config.hpp"
#include "allocations.hpp"

namespace {

// Beyond this many allocations per attempt something loops.
constexpr unsigned long sweep_limit = 100000;

struct attempt {
    oom::outcome alloc;
    bool threw; // std::bad_alloc came out
};

// Runs `op` with allocation n failing. Exceptions other than std::bad_alloc pass on.
template <class Op>
attempt failing_at(unsigned long n, Op&& op, bool only_new = false) {
    oom::arm(n, only_new);
    bool threw = false;
    try {
        op();
    } catch (std::bad_alloc const&) {
        threw = true;
    } catch (...) {
        oom::disarm();
        throw;
    }
    return {oom::disarm(), threw};
}

// Calls `run(n)` for n = 1, 2, ... until an attempt makes fewer than n allocations, checking that
// each attempt gives back every block it took. Returns the number of allocation points.
unsigned long sweep(std::function<attempt(unsigned long)> const& run) {
    for (unsigned long n = 1; n < sweep_limit; ++n) {
        oom::held const before = oom::live();
        attempt const a = run(n);
        oom::held const after = oom::live();
        EXPECT_EQ(after.operator_new, before.operator_new)
            << "blocks leaked when allocation " << n << " failed";
        EXPECT_EQ(after.jansson, before.jansson)
            << "Jansson blocks leaked when allocation " << n << " failed";
        if (a.alloc.failed == oom::source::none) {
            EXPECT_FALSE(a.threw) << "std::bad_alloc without a failed allocation";
            return n - 1;
        }
    }
    ADD_FAILURE() << "more than " << sweep_limit << " allocations";
    return sweep_limit;
}

Variant parse(char const* text) {
    Variant v = Variant::fromJson(text);
    EXPECT_NE(v.type, Variant::Null) << text;
    return v;
}

// Values whose copies allocate at several depths; strings are longer than the in-place buffer.
char const* const documents[] = {
    "null",
    "\"a string long enough to need the heap\"",
    "[1, 2.5, \"a string long enough to need the heap\", [true, null], {}]",
    R"({"name": "a string long enough to need the heap", "list": [1, {"x": "another long string value"}],
        "map": {"a": 1, "b": [2, 3], "c": {"d": "yet another long string value"}}, "z": null})",
    R"({"name": 7, "list": {"x": 1}, "extra": [[["deep long string value here"]]]})",
};

TEST(oom, CopyAssignmentLeavesTheTargetAsItWas) {
    for (char const* t : documents) {
        for (char const* s : documents) {
            SCOPED_TRACE(std::string(t) + " = " + s);
            Variant const source = Variant::fromJson(s);
            sweep([&](unsigned long n) {
                Variant target = Variant::fromJson(t);
                Variant const before = target;
                attempt const a = failing_at(n, [&] { target = source; });
                EXPECT_EQ(a.threw, a.alloc.failed != oom::source::none);
                EXPECT_EQ(target, a.threw ? before : source);
                return a;
            });
        }
    }
}

TEST(oom, CopyAssignmentFromInsideTheTarget) {
    Variant const original = parse(documents[3]);
    for (char const* key : {"name", "list", "map"}) {
        SCOPED_TRACE(key);
        sweep([&](unsigned long n) {
            Variant target = original;
            attempt const a = failing_at(n, [&] { target = target.get(key); });
            EXPECT_EQ(target, a.threw ? original : original.get(key));
            return a;
        });
    }
}

TEST(oom, SetKeepsTheFormerEntries) {
    Variant const value = parse(documents[2]);
    struct set_case {
        char const* target;
        char const* key;
    } const cases[] = {
        {"null", "k"},                      // Null becomes a map, then the entry is added
        {documents[3], "new"},              // a new entry
        {documents[3], "list"},             // an entry of another type is replaced
        {R"({"list": [7, 8, 9]})", "list"}, // an entry of the same type is assigned over
        {R"({"list": "a short"})", "list"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.target) + " set " + c.key);
        sweep([&](unsigned long n) {
            Variant target = Variant::fromJson(c.target);
            Variant const before = target;
            bool replaced = false;
            attempt const a = failing_at(n, [&] { replaced = target.set(c.key, value); });
            if (a.threw) {
                // A Null that became an empty map before the failure stays one.
                bool const converted =
                    before.type == Variant::Null && target == Variant(Variant::map_type{});
                EXPECT_TRUE(target == before || converted);
            } else {
                EXPECT_EQ(replaced, before.get(c.key).type != Variant::Null);
                EXPECT_EQ(target.get(c.key), value);
            }
            return a;
        });
    }
}

TEST(oom, KeyLookupInsertsAllOrNothing) {
    for (char const* t : {"null", documents[3]}) {
        SCOPED_TRACE(t);
        sweep([&](unsigned long n) {
            Variant target = Variant::fromJson(t);
            Variant const before = target;
            attempt const a = failing_at(n, [&] { target["a key long enough for the heap"]; });
            if (a.threw) {
                // A Null that became an empty map before the failure stays one.
                bool const converted =
                    before.type == Variant::Null && target == Variant(Variant::map_type{});
                EXPECT_TRUE(target == before || converted);
            } else {
                EXPECT_EQ(target.value.mapValue->count("a key long enough for the heap"), 1u);
            }
            return a;
        });
    }
}

TEST(oom, MergeLeavesTheTargetAsItWas) {
    struct merge_case {
        char const* target;
        char const* source;
    } const cases[] = {
        {documents[3], R"({"map": {"b": null, "c": {"e": "a string long enough for the heap"}},
                          "new": {"x": {"y": null, "z": [1]}}, "name": "short"})"},
        {documents[3], R"({"map": {"c": {"d": 5}}})"}, // refused deep down, after copying
        {"null", documents[3]},
        {documents[2], documents[2]},
        {documents[3], documents[3]},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.target) + " <- " + c.source);
        Variant const source = Variant::fromJson(c.source);
        Variant expected = Variant::fromJson(c.target);
        bool const merges = expected.mergeWith(source);
        sweep([&](unsigned long n) {
            Variant target = Variant::fromJson(c.target);
            Variant const before = target;
            bool merged = false;
            attempt const a = failing_at(n, [&] { merged = target.mergeWith(source); });
            if (a.threw) {
                EXPECT_EQ(target, before);
            } else {
                EXPECT_EQ(merged, merges);
                EXPECT_EQ(target, expected);
            }
            return a;
        });
    }
    // Merging a map into itself, where the source lives inside the target.
    sweep([&](unsigned long n) {
        Variant target = parse(documents[3]);
        Variant const before = target;
        attempt const a = failing_at(n, [&] { target.mergeWith(target); });
        if (a.threw) {
            EXPECT_EQ(target, before);
        } else {
            EXPECT_EQ(target.value.mapValue->count("z"), 0u);
        }
        return a;
    });
}

// Counts error reports without allocating, so that it never fails itself.
class report_counter {
public:
    report_counter() {
        handle_ = korvax::skrib::add_sink(
            korvax::skrib::level::info, [this](korvax::skrib::log_entry const& e) {
                errors += e.get_level() == korvax::skrib::level::error;
            });
    }
    ~report_counter() { korvax::skrib::remove_sink(handle_); }
    int errors = 0;

private:
    korvax::skrib::sink_handle handle_;
};

// Jansson 2.14's lexer goes on when growing its token buffer fails: the token loses a byte, and
// when that byte is a string's closing quote, decoding the string runs past the buffer. Tokens
// shorter than the buffer's first 16 bytes never grow it, so Jansson's own allocations are made to
// fail only on texts of short tokens; on the others only the library's allocations fail.
struct parse_case {
    std::string text;
    bool short_tokens;
};

TEST(oom, ParseThrowsOrAnswersAsForBadText) {
    report_counter reports;
    std::vector<parse_case> cases;
    for (char const* d : documents) {
        cases.push_back({d, false});
    }
    cases.push_back({R"({"bad": [1, 2, "a string long enough for the heap" ]]})", false});
    cases.push_back({R"({"a": [1, 2.5, "xy", true, null, {"b": {}}], "c": "short",
                        "d": {"e": [[], {}], "f": -12345678901}})",
                     true});
    cases.push_back({R"({"a": [1, 2.5, "xy", true, null, {"b": {}}]]})", true});
    for (auto const& c : cases) {
        SCOPED_TRACE(c.text);
        reports.errors = 0;
        Variant const expected = Variant::fromJson(c.text);
        int const expected_reports = reports.errors;
        unsigned long jansson_points = 0;
        sweep([&](unsigned long n) {
            Variant v;
            reports.errors = 0;
            attempt const a = failing_at(
                n, [&] { v = Variant::fromJson(c.text); }, !c.short_tokens);
            switch (a.alloc.failed) {
            case oom::source::operator_new:
                EXPECT_TRUE(a.threw);
                break;
            case oom::source::jansson:
                // Jansson gives up and says so: Null and the report, nothing thrown.
                ++jansson_points;
                EXPECT_FALSE(a.threw);
                EXPECT_EQ(v.type, Variant::Null);
                EXPECT_EQ(reports.errors, 1);
                break;
            case oom::source::none:
                EXPECT_EQ(v, expected);
                EXPECT_EQ(reports.errors, expected_reports);
                break;
            }
            return a;
        });
        // Jansson's own allocations were made to fail too, where that is safe.
        EXPECT_EQ(jansson_points > 0, c.short_tokens);
    }
}

// Building the tree may throw; a print buffer that cannot grow gives no text, as a failed
// json_dumps would, and nothing is thrown.
TEST(oom, PrintingThrowsOrPrintsLess) {
    Variant const v = parse(documents[3]);
    for (auto print : {&Variant::toJson, &Variant::prettyPrintJson}) {
        bool empty_without_throw = false;
        sweep([&](unsigned long n) {
            std::string text = "unset";
            attempt const a = failing_at(n, [&] { text = (v.*print)(); });
            EXPECT_TRUE(!a.threw || a.alloc.failed == oom::source::operator_new);
            // A member Jansson could not make is left out; text that comes out still parses.
            if (!a.threw && !text.empty()) {
                EXPECT_NE(Variant::fromJson(text).type, Variant::Null);
            }
            empty_without_throw |=
                !a.threw && text.empty() && a.alloc.failed == oom::source::operator_new;
            return a;
        });
        EXPECT_TRUE(empty_without_throw) << "no failure of the print buffer was injected";
    }
}

namespace tv = korvax::tolvi;
using devcfg::device_config;

char const* const configuration =
    R"({"name": "hall-sensor-07 in the long hall", "serial": 4200000001,
        "provisioned_at_ms": 1717171717000,
        "wifi": {"ssid": "plant-floor-network", "band": "5GHz", "static_ip": "10.20.0.7",
                 "mtu": 1500},
        "fallback_wifi": [{"ssid": "plant-backup-network", "band": "2.4GHz", "static_ip": null,
                           "mtu": 1500},
                          {"ssid": "service-hotspot", "band": "any", "static_ip": null,
                           "mtu": 1400}],
        "sensor_offsets": {"temperature": -0.25, "humidity": 1.5, "pressure": 0.125},
        "led": {"pattern": "blink", "brightness": 40, "period_ms": 750},
        "logging": "warning", "upload_interval_s": 300,
        "vendor": {"modem": {"firmware": "4.2.1", "bands": [3, 7, 20]}}})";

char const* const cloud_patch =
    R"({"wifi": {"band": "any", "static_ip": null},
        "fallback_wifi": [{"ssid": "replacement-network", "band": "any", "mtu": 1200}],
        "sensor_offsets": {"temperature": -0.5, "humidity-and-more": 1.5},
        "led": {"pattern": "heartbeat", "period_ms": null}, "upload_interval_s": 60})";

TEST(oom, RecordDeserialization) {
    Variant const document = parse(configuration);
    Variant const patch = parse(cloud_patch);
    device_config baseline;
    tv::from_variant(baseline, document);
    device_config patched = baseline;
    tv::from_variant(patched, patch, tv::options().as_patch());

    sweep([&](unsigned long n) {
        device_config record;
        attempt const a = failing_at(n, [&] { tv::from_variant(record, document); });
        EXPECT_EQ(a.threw, a.alloc.failed != oom::source::none);
        if (!a.threw) {
            EXPECT_TRUE(tv::equal(record, baseline));
        }
        return a;
    });

    sweep([&](unsigned long n) {
        device_config record = baseline;
        attempt const a =
            failing_at(n, [&] { tv::from_variant(record, patch, tv::options().as_patch()); });
        EXPECT_EQ(a.threw, a.alloc.failed != oom::source::none);
        if (a.threw) {
            // Containers are replaced whole or not at all.
            EXPECT_TRUE(tv::equal(*record.fallback_wifi, *baseline.fallback_wifi) ||
                        tv::equal(*record.fallback_wifi, *patched.fallback_wifi));
            EXPECT_TRUE(tv::equal(*record.sensor_offsets, *baseline.sensor_offsets) ||
                        tv::equal(*record.sensor_offsets, *patched.sensor_offsets));
            // What was read before the failure is still a whole record.
            EXPECT_NO_THROW(tv::to_variant(record, tv::options().as_patch()));
        } else {
            EXPECT_TRUE(tv::equal(record, patched));
        }
        return a;
    });

    // From text: Jansson's allocations may fail too; the record then refuses the null document.
    sweep([&](unsigned long n) {
        device_config record;
        bool refused = false;
        attempt const a = failing_at(
            n,
            [&] {
                try {
                    tv::from_json(record, R"({"name": "x", "serial": 1, "wifi": [1, 2]})");
                } catch (tv::bad_deserialization_source const&) {
                    refused = true;
                }
            },
            false);
        // A message whose document could not be printed is still a refusal.
        EXPECT_TRUE(!a.threw || a.alloc.failed == oom::source::operator_new);
        EXPECT_EQ(refused, !a.threw);
        return a;
    });
}

TEST(oom, RecordSerialization) {
    device_config record;
    tv::from_variant(record, parse(configuration));
    for (bool const patch : {false, true}) {
        SCOPED_TRACE(patch ? "patch" : "whole");
        Variant const expected = tv::to_variant(record, tv::options().as_patch(patch));
        sweep([&](unsigned long n) {
            Variant out;
            attempt const a =
                failing_at(n, [&] { out = tv::to_variant(record, tv::options().as_patch(patch)); });
            EXPECT_EQ(a.threw, a.alloc.failed != oom::source::none);
            EXPECT_EQ(out, a.threw ? Variant() : expected);
            return a;
        });
    }
}

} // namespace

int main(int argc, char** argv) {
    oom::use_for_jansson();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
