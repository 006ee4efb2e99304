// Variant lookup by key and index, numbers, and map updates.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

#include "alloc_probe.hpp"

namespace {

using Map = Variant::map_type;
using Vec = Variant::vector_type;

// One Variant of each type; the Map holds "k" -> 1 and "n" -> null.
std::vector<Variant> oneOfEach() {
    return {Variant(),         Variant(5),
            Variant(2.5),      Variant("s"),
            Variant(true),     Map{{"k", Variant(1)}, {"n", Variant()}},
            Vec{Variant(1), Variant(2)}};
}

TEST(VariantAccess, AsDouble) {
    std::int64_t const two53 = std::int64_t{1} << 53;
    EXPECT_EQ(Variant(two53 + 1).asDouble(), 9007199254740992.0); // ties to even
    EXPECT_EQ(Variant(two53 + 3).asDouble(), 9007199254740996.0);
    EXPECT_EQ(Variant(std::numeric_limits<std::int64_t>::min()).asDouble(), -0x1p63);
    double const nan = std::nan("0x5");
    double const got = Variant(nan).asDouble();
    EXPECT_EQ(std::memcmp(&got, &nan, sizeof nan), 0);
    EXPECT_TRUE(std::isnan(Variant("x").asDouble()));
}

// get, both key lookups and set on every type, with and without the key.
TEST(VariantAccess, KeyOperationsOnEveryType) {
    for (Variant const& original : oneOfEach()) {
        char const* name = jsonTypeName(original.type);
        bool const is_map = original.type == Variant::Map;
        Variant v = original;

        Variant const& missing = v.get("absent");
        EXPECT_EQ(missing.type, Variant::Null) << name;
        EXPECT_EQ(&v.get("other"), &missing) << name << ": misses share one Null";
        EXPECT_EQ(v, original) << name;

        Variant const& cv = v;
        Variant const& c = cv["new"];
        EXPECT_EQ(&c, is_map ? &v.value.mapValue->at("new") : &v) << name;
        EXPECT_EQ(v.type == Variant::Map && v.value.mapValue->size() == 3, is_map) << name;

        Variant w = original;
        Variant& r = w["new"];
        if (is_map || original.type == Variant::Null) {
            EXPECT_EQ(&r, &w.value.mapValue->at("new")) << name;
            EXPECT_EQ(r.type, Variant::Null);
        } else {
            EXPECT_EQ(&r, &w) << name;
            EXPECT_EQ(w, original) << name;
        }

        Variant s = original;
        EXPECT_EQ(s.set("k", Variant("new")), is_map) << name; // true only when replacing
        if (is_map) {
            EXPECT_EQ(s, Variant(Map{{"k", Variant("new")}, {"n", Variant()}}));
        } else if (original.type == Variant::Null) {
            EXPECT_EQ(s, Variant(Map{{"k", Variant("new")}}));
        } else {
            EXPECT_EQ(s, original) << name;
        }
    }
}

TEST(VariantAccess, MapLookups) {
    Variant v(Map{{"k", Variant(1)}, {"n", Variant()}, {"s", Variant("str")}});
    EXPECT_EQ(v.get("k"), Variant(1));
    EXPECT_EQ(&v.get("n"), &v.value.mapValue->at("n")); // a stored Null is the entry itself
    // A chain that meets a non-map keeps answering with it.
    EXPECT_EQ(&v["s"]["b"]["c"], &v.value.mapValue->at("s"));
    Variant fresh;
    fresh["a"]["b"] = Variant(3);
    EXPECT_EQ(fresh, Variant(Map{{"a", Map{{"b", Variant(3)}}}}));
}

TEST(VariantAccess, IndexOutsideAVectorGivesAThrowawayNull) {
    Variant vec(Vec{Variant(1), Variant("two")});
    vec[0] = Variant(10);
    EXPECT_EQ(vec, Variant(Vec{Variant(10), Variant("two")}));
    for (Variant v : oneOfEach()) {
        int const index = v.type == Variant::Vector ? 2 : 0; // past the end, or not a vector
        Variant const before = v;
        Variant& r = v[index];
        EXPECT_EQ(r.type, Variant::Null) << jsonTypeName(v.type);
        r = Variant("written through");
        EXPECT_EQ(v[index].type, Variant::Null) << "a write must not reach later lookups";
        EXPECT_EQ(v.get("absent").type, Variant::Null);
        EXPECT_EQ(v, before);
    }
}

TEST(VariantAccess, SetCopiesAndRefusesItself) {
    Variant v;
    EXPECT_FALSE(v.set("k", v));
    EXPECT_EQ(v.type, Variant::Null);
    Variant value(Map{{"x", Variant(1)}});
    EXPECT_FALSE(v.set("k", value));
    value.set("x", Variant(2));
    EXPECT_EQ(v.get("k").get("x"), Variant(1));
    EXPECT_FALSE(v.set("k", v));
    // Values from inside the target: one replaces its own ancestor entry.
    EXPECT_FALSE(v.set("c", v.get("k")));
    EXPECT_TRUE(v.set("k", v.get("k").get("x")));
    EXPECT_EQ(v, Variant(Map{{"c", Map{{"x", Variant(1)}}}, {"k", Variant(1)}}));
}

TEST(VariantAccess, FailedUpdatesKeepTheFormerValue) {
    Variant n;
    {
        tolvi_test::allocation_watch watch(0);
        EXPECT_THROW(n["k"], std::bad_alloc);
    }
    EXPECT_EQ(n.type, Variant::Null);

    Variant const before(Map{{"a", Variant(std::string(40, 'a'))}, {"b", Variant(1)}});
    Variant const value(Map{{"x", Variant(std::string(40, 'x'))}});
    for (char const* key : {"a", "c"}) {
        Variant v = before;
        tolvi_test::fail_each_allocation([&] { v.set(key, value); },
                                         [&] { EXPECT_EQ(v, before) << key; });
        EXPECT_EQ(v.get(key), value);
    }
}

} // namespace
