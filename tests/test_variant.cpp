// The value type: construction, copies, lookups, updates, equality and the all-or-nothing merge.

#include <climits>
#include <cmath>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

namespace {

Variant json(char const* text) {
    return Variant::fromJson(text);
}

TEST(Variant, ConstructionAndCopies) {
    // Every integer type gives an Integer with its value, whatever the width of long.
    EXPECT_EQ(Variant(static_cast<short>(-3)), Variant(-3));
    EXPECT_EQ(Variant(LONG_MIN), Variant(static_cast<long long>(LONG_MIN)));
    EXPECT_EQ(Variant(4000000000U), Variant(4000000000LL));
    EXPECT_EQ(Variant(~std::uint64_t{0}), Variant(-1)); // keeps its bits
    std::string s(40, 's');
    Variant::map_type m{{"a", Variant(1)}};
    Variant const ms(std::move(s)), mm(std::move(m)); // the takeovers leave their arguments empty
    EXPECT_EQ(s.size() + m.size(), 0u);
    EXPECT_EQ(ms, Variant(std::string(40, 's')));
    // Copies are deep, and the source may lie inside the target, of another type or the same.
    Variant const original = json(R"({"list":[1,"two",{"k":[true]}],"name":"n","sub":{"x":1.5}})");
    Variant v = original;
    v["list"][0] = Variant(99);
    EXPECT_NE(v, original);
    EXPECT_EQ(Variant(original), original);
    v = v.get("name");
    EXPECT_EQ(v, Variant("n"));
    v = original;
    v = v.get("sub");
    EXPECT_EQ(v, original.get("sub"));
    v = json("[[1],3]");
    v = v[0]; // a Vector out of a Vector
    EXPECT_EQ(v, json("[1]"));
    Variant const flags = json("[true,false,true,false,true]");
    EXPECT_EQ(Variant(flags).toJson(), "[true,false,true,false,true]");
}

// get, both key lookups, the index lookup and set, on one Variant of each type.
TEST(Variant, LookupsAndSetOnEveryType) {
    for (char const* text : {"null", "5", "\"s\"", R"({"k":1,"n":null})", "[1,2]"}) {
        SCOPED_TRACE(text);
        Variant const original = json(text);
        bool const is_map = original.type == Variant::Map, is_null = original.isNull();
        Variant v = original;
        EXPECT_TRUE(v.get("absent").isNull());
        EXPECT_FALSE(v.set("k", v)); // never itself
        // Past the end, or not a vector: a Null whose writes do not reach later lookups.
        v[v.type == Variant::Vector ? 2 : 0] = Variant("written through");
        EXPECT_EQ(v, original);
        // The const form answers anything but a map with itself; the other first turns a Null
        // into a map.
        Variant const* const c = &static_cast<Variant const&>(v)["new"];
        Variant const* const r = &v["k2"];
        EXPECT_EQ(c, is_map ? &v.get("new") : &v);
        EXPECT_EQ(r, is_map || is_null ? &v.get("k2") : &v);
        Variant s = original;
        EXPECT_EQ(s.set("k", Variant("new")), is_map); // true only when replacing
        EXPECT_EQ(s, is_map    ? json(R"({"k":"new","n":null})")
                     : is_null ? json(R"({"k":"new"})")
                               : original);
    }
    EXPECT_EQ(json("[7,8]")[0], Variant(7));
    EXPECT_EQ(Variant((std::int64_t{1} << 53) + 1).asDouble(), 0x1p53); // ties to even
    EXPECT_TRUE(std::isnan(Variant("1").asDouble()));
    EXPECT_TRUE(std::isnan(Variant().asDouble()));
}

TEST(Variant, Equality) {
    // Rows of [a, b, whether a == b].
    Variant const rows = json(R"([[null, {}, false], [1, 1.0, false], [0.0, -0.0, true],
        [{"a": 1, "b": [1, 2]}, {"b": [1, 2], "a": 1}, true], [{"a": 1}, {"a": 1, "b": null}, false],
        [{"a": 1}, {"b": 1}, false], [[1, 2], [2, 1], false], [[1, 2], [1, 2, 3], false]])");
    for (Variant const& r : *rows.value.vectorValue) {
        Variant const &a = (*r.value.vectorValue)[0], &b = (*r.value.vectorValue)[1];
        bool const equal = (*r.value.vectorValue)[2].value.boolValue;
        SCOPED_TRACE(r.toJson());
        EXPECT_EQ(a == b, equal);
        EXPECT_EQ(b != a, !equal);
    }
    Variant two_true(true);
    two_true.value.intValue = 2; // a foreign writer's "true"
    EXPECT_EQ(Variant(true), two_true);
    EXPECT_NE(Variant(false), two_true);
    EXPECT_NE(Variant(std::nan("")), Variant(std::nan("")));
}

TEST(Variant, Merge) {
    // Rows of [target, source, the target afterwards or false where the merge is refused]. The
    // refusal deep down comes after earlier keys and levels were merged in the working copy.
    Variant const rows = json(R"([[{"a": 1, "b": 2}, {"b": null, "c": 3}, {"a": 1, "c": 3}],
        [{"a": {"x": 1}}, {"a": {"y": 2}}, {"a": {"x": 1, "y": 2}}],
        [{}, {"a": {"b": {"x": null}, "v": [{"x": null}]}}, {"a": {"b": {}, "v": [{"x": null}]}}],
        [{"a": 1}, {"0": 5, "a": "s"}, false], [{"a": [1, 2]}, {"a": [3]}, {"a": [3]}],
        [{"a": null}, {"a": 1}, false], [{"a": {"b": {"c": 1}}, "z": 1},
        {"a": {"b": {"d": 2, "e": "x"}, "n": null}, "z": "s"}, false],
        [null, {"a": {"x": null}}, {"a": {"x": null}}], [{}, null, false], [5, {"a": 1}, false],
        [[1], [2, 3], [2, 3]]])");
    for (Variant const& r : *rows.value.vectorValue) {
        Variant target = (*r.value.vectorValue)[0];
        Variant const& after = (*r.value.vectorValue)[2];
        bool const refused = after.type == Variant::Boolean;
        EXPECT_EQ(target.mergeWith((*r.value.vectorValue)[1]), !refused) << r.toJson();
        EXPECT_EQ(target, refused ? (*r.value.vectorValue)[0] : after) << r.toJson();
    }
    Variant v = json(R"({"a":null,"m":{"b":null,"c":{"d":null}},"v":[{"e":null}]})");
    EXPECT_TRUE(v.mergeWith(v)); // the source is the target
    EXPECT_EQ(v, json(R"({"m":{"c":{}},"v":[{"e":null}]})"));
    v = json(R"({"a":1,"inner":{"a":2,"inner":null,"z":{"q":1}}})");
    EXPECT_TRUE(v.mergeWith(v.get("inner"))); // or lies inside it
    EXPECT_EQ(v, json(R"({"a":2,"z":{"q":1}})"));
}

} // namespace
