// Variant lookup by key and index, numbers, and map updates.

#include <cmath>
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

namespace {

TEST(VariantAccess, AsDouble) {
    EXPECT_EQ(Variant((std::int64_t{1} << 53) + 1).asDouble(), 0x1p53); // ties to even
    double const nan = std::nan("0x5");
    double const got = Variant(nan).asDouble();
    EXPECT_EQ(std::memcmp(&got, &nan, sizeof nan), 0);
}

// get, both key lookups, the index lookup and set, on one Variant of each type.
TEST(VariantAccess, LookupsAndSetOnEveryType) {
    for (char const* text : {"null", "5", "2.5", "\"s\"", "true", R"({"k":1,"n":null})", "[1,2]"}) {
        SCOPED_TRACE(text);
        Variant const original = Variant::fromJson(text);
        bool const is_map = original.type == Variant::Map;
        bool const is_null = original.type == Variant::Null;
        Variant v = original;
        EXPECT_TRUE(v.get("absent").isNull());
        EXPECT_EQ(&v.get("other"), &v.get("absent")); // misses share one Null
        EXPECT_FALSE(v.set("k", v));                  // never itself
        // Past the end, or not a vector: a Null whose writes do not reach later lookups.
        int const index = v.type == Variant::Vector ? 2 : 0;
        v[index] = Variant("written through");
        EXPECT_TRUE(v[index].isNull() && v.get("absent").isNull());
        EXPECT_EQ(v, original);

        // The const form inserts into a map only; anything else answers with itself.
        Variant const& c = static_cast<Variant const&>(v)["new"];
        EXPECT_EQ(&c, is_map ? &v.value.mapValue->at("new") : &v);
        EXPECT_EQ(v.type, original.type);
        // The non-const form first turns a Null into a map.
        Variant& r = v["k2"];
        EXPECT_EQ(&r, is_map || is_null ? &v.value.mapValue->at("k2") : &v);
        EXPECT_EQ(r.type, is_map || is_null ? Variant::Null : original.type);

        Variant s = original;
        EXPECT_EQ(s.set("k", Variant("new")), is_map); // true only when replacing
        EXPECT_EQ(s, is_map    ? Variant::fromJson(R"({"k":"new","n":null})")
                     : is_null ? Variant::fromJson(R"({"k":"new"})")
                               : original);
    }
}

TEST(VariantAccess, EntriesFoundAndSetFromInside) {
    Variant v = Variant::fromJson(R"({"k":{"x":1},"n":null,"s":"str"})");
    EXPECT_EQ(&v.get("n"), &v.value.mapValue->at("n")); // a stored Null is the entry itself
    // A chain that meets a non-map keeps answering with it.
    EXPECT_EQ(&v["s"]["b"]["c"], &v.value.mapValue->at("s"));
    // Values from inside the target: one replaces its own ancestor entry.
    EXPECT_FALSE(v.set("c", v.get("k")));
    EXPECT_TRUE(v.set("k", v.get("k").get("x")));
    EXPECT_EQ(v, Variant::fromJson(R"({"c":{"x":1},"k":1,"n":null,"s":"str"})"));
}

} // namespace
