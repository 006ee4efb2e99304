// json_schema: what it states for each member type. tests/schema checks it against a validator.

#include <cfloat>
#include <limits>

#include "codec_driver.hpp"
#include "record_kinds.hpp"

using tolvi_test::json;

TEST(Schema, StatesKeysRequiredMembersAndRanges) {
    Variant schema = tv::json_schema<kinds::limits>();
    // The description states in words what the schema cannot, the limits of the text among them.
    EXPECT_NE(schema.get("description").toJson().find("(1e309)"), std::string::npos);
    schema.value.mapValue->erase("description");
    // "max-temp" reads the older keys "maxTemp" and "max_temp" too: exactly one of the three.
    EXPECT_EQ(schema, json(R"({
        "$schema": "https://json-schema.org/draft/2020-12/schema", "title": "limits",
        "type": "object", "allOf": [{"oneOf": [{"required": ["max-temp"]},
            {"required": ["maxTemp"]}, {"required": ["max_temp"]}]}], "properties": {
            "max-temp": {"type": "integer", "minimum": -2147483648, "maximum": 2147483647},
            "maxTemp": {"type": "integer", "minimum": -2147483648, "maximum": 2147483647,
                        "deprecated": true},
            "max_temp": {"type": "integer", "minimum": -2147483648, "maximum": 2147483647,
                         "deprecated": true},
            "min_temp": {"type": ["integer", "null"], "minimum": -32768, "maximum": 32767},
            "class": {"type": ["string", "null"]}}})"));
    // A patch requires nothing but at most one key of a member; from a source type, a refused
    // member must be absent under every key; strict, no other key may stand.
    Variant const patch =
        tv::json_schema<kinds::limits>(tv::options().as_patch().from(kinds::cloud).strict());
    EXPECT_EQ(patch.get("required"), Variant());
    EXPECT_EQ(patch.get("allOf"), json(R"([{"not": {"anyOf": [{"required": ["max-temp", "maxTemp"]},
        {"required": ["max-temp", "max_temp"]}, {"required": ["maxTemp", "max_temp"]}]}}])"));
    EXPECT_EQ(patch.get("properties").get("maxTemp"), Variant(false));
    EXPECT_EQ(patch.get("additionalProperties"), Variant(false));
}

TEST(Schema, ContainersKeysAndNestedRecords) {
    Variant const s = tv::json_schema<kinds::panel>();
    Variant const& p = s.get("properties");
    EXPECT_EQ(p.get("@rgb"), json(R"({"type": ["array", "null"], "minItems": 3, "maxItems": 3,
                                      "items": {"type": "integer", "minimum": 0, "maximum": 255}})"));
    EXPECT_EQ(p.get("by hour").get("propertyNames").get("pattern"),
              Variant(R"(^(0|-?[1-9][0-9]*)(?![\s\S]))"));
    EXPECT_EQ(p.get("counters").get("propertyNames").get("pattern"),
              Variant(R"(^(0|[1-9][0-9]*)(?![\s\S]))"));
    EXPECT_EQ(p.get("counters").get("additionalProperties").get("maximum"),
              Variant(std::numeric_limits<long>::max())); // as built: 32 bits on armhf
    EXPECT_EQ(p.get("modes"), json(R"({"type": ["object", "null"],
                                      "propertyNames": {"enum": ["heat", "cool", "off"]},
                                      "additionalProperties": {"$ref": "#/$defs/limits"}})"));
    EXPECT_EQ(p.get("pair").get("items"), json(R"({"$ref": "#/$defs/limits"})"));
    EXPECT_EQ(s.get("$defs").value.mapValue->size(), 1u);
    EXPECT_EQ(s.get("$defs").get("limits").get("allOf"),
              tv::json_schema<kinds::limits>().get("allOf"));
    EXPECT_EQ(p.get("extra"), Variant(true));
    EXPECT_EQ(p.get("gain").get("maximum"), Variant(static_cast<double>(FLT_MAX)));
    EXPECT_EQ(tv::json_schema<kinds::node>().get("properties").get("children"),
              json(R"({"type": ["array", "null"], "items": {"$ref": "#"}})"));
}

TEST(Schema, PlainMembersStdOptionalSetsAndDurations) {
    Variant const s = tv::json_schema<kinds::agent>();
    Variant const& p = s.get("properties");
    EXPECT_EQ(s.get("required"), json(R"(["name", "seq", "quiet", "tags", "modes", "levels",
                                          "counts", "ports", "timeout", "blob"])"));
    EXPECT_EQ(p.get("last-error"), json(R"({"type": ["string", "null"]})"));
    EXPECT_EQ(p.get("modes"), json(R"({"type": "array", "uniqueItems": true,
                                      "items": {"enum": ["heat", "cool", "off"]}})"));
    EXPECT_EQ(p.get("latency"), json(R"({"type": ["number", "null"], "description":
        "a duration in milliseconds", "minimum": -3.4028234663852886e38,
        "maximum": 3.4028234663852886e38})"));
    EXPECT_EQ(s.get("$defs").get("window").get("properties").get("start"),
              json(R"({"type": "integer", "minimum": -2147483648, "maximum": 2147483647,
                       "description": "a duration in minutes"})"));
    EXPECT_EQ(p.get("ports").get("additionalProperties"), json(R"({"$ref": "#/$defs/limits"})"));
}
