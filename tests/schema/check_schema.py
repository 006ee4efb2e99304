"""Checks json_schema against a real JSON Schema validator (Debian's python3-jsonschema).

    check_schema.py [EMULATOR...] VERDICTS

VERDICTS is the helper built from verdicts.cpp (run through the emulator when cross-built). For
each document of the table, the library's verdict must be the expected one, and the schema must
agree with the library, except where the table marks a rule that JSON Schema cannot state.
"""

import json
import subprocess
import sys

from jsonschema import Draft202012Validator

# record, options, document, expected: A accepted, R refused, X refused by a rule that the
# schema cannot state (it accepts), W depends on the width of long (the schema agrees). A patch is
# read into the record's BASES document.
DEVICE = {
    "name": "hall-sensor-07", "serial": 4200000001, "provisioned_at_ms": 1717171717000,
    "wifi": {"ssid": "plant-floor", "band": "5GHz", "static_ip": "10.20.0.7", "mtu": 1500},
    "fallback_wifi": [{"ssid": "b", "band": "any", "static_ip": None, "mtu": 1400}],
    "sensor_offsets": {"temperature": -0.25}, "led": None, "logging": "warning",
    "upload_interval_s": None, "vendor": {"modem": [1, None]}}
REPORT = {"@type": "hub-status", "name": "n", "uptime-s": 4294967295, "mac": [2, 0, 0, 0, 7, 255],
          "supply-V": 4.75, "hourly-temp-C": {"0": 1, "23": -1.5}, "log-lines": {"error": 0}}


def device(**changes):
    return json.dumps({**DEVICE, **changes})


def report(**changes):
    return json.dumps({**REPORT, **{key.replace("_", "-"): v for key, v in changes.items()}})


AGENT = {"name": "n", "seq": 9223372036854775807, "last-error": None,
         "quiet": {"start": -2147483648, "length": 1.5}, "bounds": {"max-temp": 3},
         "tags": ["", "a"], "modes": ["heat", "cool"], "levels": [-1.5, 0.0], "counts": {"a": 1},
         "ports": {"22": {"max-temp": 1}}, "timeout": -9223372036854775808, "latency": 0.5,
         "blob": [0, 255]}


def agent(**changes):
    return json.dumps({**AGENT, **changes})


BASES = {"device": device(), "report": report(), "node": '{"name": "a"}', "agent": agent(),
         "panel": '{"gain": 1, "modes": {"cool": {"max-temp": 1}}, "pair": [{"max-temp": 1}, '
                  '{"max-temp": 2}]}'}

CASES = [
    ("device", "", device(), "A"),
    ("device", "", device(unknown_key=[1]), "A"),
    ("device", "", device(vendor=None, led={"pattern": "off", "brightness": 0, "period_ms": None}), "A"),
    ("device", "", device(serial=-1), "R"),
    ("device", "", device(serial=9223372036854775807), "A"),
    ("device", "", device(serial=18446744073709551615), "R"),
    ("device", "", device(provisioned_at_ms=-9223372036854775808), "A"),
    ("device", "", device(name=None), "R"),
    ("device", "", device(logging="Debug"), "R"),
    ("device", "", device(logging=None), "R"),
    ("device", "", device(wifi={"ssid": "s", "band": "any", "mtu": 65536}), "R"),
    ("device", "", device(wifi={"ssid": "s", "band": "any", "mtu": 1500.0}), "X"),
    ("device", "", device(wifi={"ssid": "s", "band": "any"}), "R"),
    ("device", "", device(fallback_wifi=[{"ssid": "s", "band": "any", "mtu": -1}]), "R"),
    ("device", "", device(sensor_offsets={"t": "1"}), "R"),
    ("device", "", device(led={"pattern": "blink", "brightness": 256}), "R"),
    ("device", "", device(upload_interval_s=4294967296), "R"),
    # The text's own limits refuse the whole document, wherever they are met.
    ("device", "", device(vendor={"big": 18446744073709551616}), "X"),
    ("device", "", device()[:-1] + ', "unknown": 1e309}', "X"),
    ("device", "", device(unknown_key="\0"), "X"),
    ("device", "", device(name="\ud800"), "X"),
    ("device", "", '{"name": "x"}', "R"),
    ("device", "", "[]", "R"),
    ("device", "patch", '{"name": "x"}', "A"),
    ("device", "patch", '{"wifi": {"mtu": 9000}, "sensor_offsets": {"temperature": null}}', "A"),
    ("device", "patch", '{"led": {"period_ms": null}}', "X"),  # a new nested record is whole
    ("device", "patch", '{"fallback_wifi": [{"ssid": "s", "band": "any"}]}', "R"),
    ("device", "patch", '{"wifi": {"mtu": null}}', "R"),
    ("device", "patch", '{"serial": 1, "logging": "debug"}', "A"),
    ("device", "patch+cloud", '{"serial": 1, "logging": "debug"}', "R"),
    ("device", "patch+cloud", '{"logging": "debug", "vendor": null}', "A"),
    ("report", "", report(), "A"),
    ("report", "", report(supply_V=3.4028234663852886e38), "A"),
    ("report", "", report(supply_V=3.5e38), "R"),
    ("report", "", report(supply_V=-3.5e38), "R"),
    ("report", "", report(mac=[2, 0, 0, 0, 7]), "R"),
    ("report", "", report(mac=[2, 0, 0, 0, 7, 256]), "R"),
    ("report", "", report(hourly_temp_C={"07": 1}), "R"),
    ("report", "", report(hourly_temp_C={"-1": 1}), "R"),
    ("report", "", report(hourly_temp_C={"7am": 1}), "R"),
    ("report", "", report(hourly_temp_C={"7\n": 1}), "R"),
    ("report", "", report(supply_V=-9223372036854775809), "X"),
    ("report", "", report(hourly_temp_C={"256": 1}), "X"),
    ("report", "", report(log_lines={"fatal": 1}), "R"),
    ("report", "", report(uptime_s=4294967296), "R"),
    ("panel", "", '{"gain": 1, "counters": {"18446744073709551615": 2147483647}}', "A"),
    ("panel", "", '{"gain": 1, "counters": {"1": 2147483648}}', "W"),
    ("panel", "", '{"gain": 1, "counters": {"1": -2147483649}}', "W"),
    ("panel", "", '{"gain": 1, "by hour": {"-128": [0.5]}, "@rgb": null, "extra": null}', "A"),
    ("panel", "", '{"gain": 1, "by hour": {"-0": []}}', "R"),
    ("panel", "", '{"gain": 1, "by hour": {"-1\\n": []}}', "R"),
    ("panel", "", '{"gain": 1, "by hour": {"-129": []}}', "X"),
    ("panel", "", '{"gain": 1, "modes": {"cool": {"max-temp": 1, "min_temp": 32768}}}', "R"),
    ("panel", "", '{"gain": 1, "modes": {"cool": {"class": "c"}}}', "R"),
    ("panel", "", '{"gain": 1, "pair": [{"max-temp": 1}, {"max-temp": 2, "class": null}]}', "A"),
    ("panel", "patch", '{"pair": [{}, {}]}', "R"),
    ("panel", "patch", '{"modes": {"cool": {}, "heat": null}, "by hour": {"1": null}}', "A"),
    ("panel", "patch", '{"modes": {"off": {}}}', "X"),  # a new map entry is whole
    ("panel", "cloud", '{"gain": 1, "pair": [{"max-temp": 1}, {"max-temp": 2}]}', "R"),
    ("panel", "cloud", '{"gain": 1, "pair": [{}, {"class": "x"}]}', "R"),
    ("panel", "patch+cloud", '{"pair": [{}, {"class": "x"}]}', "R"),
    ("panel", "patch+cloud", '{"modes": {"cool": {"class": "x"}}}', "A"),
    ("panel", "strict", '{"gain": 1, "gain": 2}', "X"),  # a key twice
    ("panel", "", '{"gain": 1, "modes": {"cool": {"maxTemp": 1}, "off": {"max_temp": 2}}}', "A"),
    ("panel", "", '{"gain": 1, "modes": {"cool": {"max_temp": 1, "maxTemp": 2}}}', "R"),
    ("panel", "patch", '{"modes": {"cool": {"maxTemp": 1, "max-temp": 1}}}', "R"),
    ("panel", "cloud", '{"gain": 1, "pair": [{"maxTemp": 1}, {}]}', "R"),
    ("panel", "strict", '{"gain": 1, "extra": 1, "modes": {"heat": {"max_temp": 2}}}', "A"),
    ("panel", "strict", '{"gain": 1, "gian": 1}', "R"),
    ("panel", "patch+strict", '{"modes": {"cool": {"min": 1}}}', "R"),
    ("device", "strict", device(), "A"),
    ("device", "strict", device(unknown_key=[1]), "R"),
    ("device", "patch+strict", '{"wifi": {"mtu": 9000, "MTU": 1}}', "R"),
    ("node", "", '{"name": "a", "children": [{"name": "b", "children": [{"name": "c"}]}]}', "A"),
    ("agent", "", agent(), "A"),
    ("agent", "", agent(bounds=None, latency=None, tags=[], modes=[], ports={}, blob=[]), "A"),
    ("agent", "", agent(name=None), "R"),
    ("agent", "", json.dumps({k: v for k, v in AGENT.items() if k != "timeout"}), "R"),
    ("agent", "", agent(tags=["a", "b", "a"]), "R"),
    ("agent", "", agent(modes=["off", "off"]), "R"),
    ("agent", "", agent(levels=[1, 1.0]), "R"),
    ("agent", "", agent(modes=["warm"]), "R"),
    ("agent", "", agent(counts={"a": 32768}), "R"),
    ("agent", "", agent(ports={"65536": {"max-temp": 1}}), "X"),
    ("agent", "", agent(ports={"080": {"max-temp": 1}}), "R"),
    ("agent", "", agent(timeout=9223372036854775807, latency=-3.4028234663852886e38), "A"),
    ("agent", "", agent(timeout=1.5), "R"),
    ("agent", "", agent(timeout=30.0), "X"),
    ("agent", "", agent(latency=3.5e38), "R"),
    ("agent", "", agent(quiet={"start": 2147483648}), "R"),
    ("agent", "", agent(quiet={"start": 0, "length": "1s"}), "R"),
    ("agent", "", agent(blob=[256]), "R"),
    ("agent", "patch", '{"seq": 1, "tags": ["x"], "counts": {"a": null}, "last-error": "e"}', "A"),
    ("agent", "patch", '{"quiet": {"start": 5}, "bounds": {"class": null}}', "A"),
    ("agent", "patch", '{"quiet": null}', "R"),
    ("agent", "patch", '{"tags": ["x", "x"]}', "R"),
    ("agent", "patch", '{"ports": {"23": {}}}', "X"),  # a new map entry is whole
    ("agent", "patch+cloud", '{"ports": {"22": {"max-temp": 2}}}', "R"),
    ("node", "", '{"name": "a", "children": [{"name": "b", "children": [{}]}]}', "R"),
]

out = subprocess.run(sys.argv[1:],
                     input=json.dumps([c[:3] + (BASES[c[0]] if "patch" in c[1] else "",)
                                       for c in CASES]),
                     capture_output=True, text=True, check=True).stdout
result = json.loads(out)
failures = 0
for (record, how, document, expected), accepted in zip(CASES, result["verdicts"], strict=True):
    schema = result["schemas"][record + "/" + how]
    Draft202012Validator.check_schema(schema)
    valid = Draft202012Validator(schema).is_valid(json.loads(document))
    if expected == "X":
        ok = not accepted and valid
    else:
        ok = valid == accepted and (expected == "W" or accepted == (expected == "A"))
    if not ok:
        failures += 1
        print(f"{record} {how or 'complete'}: {document}\n  expected {expected}, library "
              f"{'accepts' if accepted else 'refuses'}, schema {'accepts' if valid else 'refuses'}")
print(f"schema check: {len(CASES) - failures} of {len(CASES)} documents as expected")
sys.exit(1 if failures else 0)
