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
    return {Variant(),
            Variant(5),
            Variant(2.5),
            Variant("s"),
            Variant(true),
            Variant(Map{{"k", Variant(1)}, {"n", Variant()}}),
            Variant(Vec{Variant(1), Variant(2)})};
}

TEST(VariantAccess, AsDouble) {
    std::int64_t const two53 = std::int64_t{1} << 53;
    EXPECT_EQ(Variant(two53 + 1).asDouble(), 9007199254740992.0); // ties to even
    EXPECT_EQ(Variant(two53 + 3).asDouble(), 9007199254740996.0);
    EXPECT_EQ(Variant(std::numeric_limits<std::int64_t>::min()).asDouble(), -9223372036854775808.0);
    EXPECT_EQ(Variant(-3).asDouble(), -3.0);

    double const nan = std::nan("0x5");
    double const got = Variant(nan).asDouble();
    EXPECT_EQ(std::memcmp(&got, &nan, sizeof nan), 0);
    EXPECT_EQ(Variant(-0.0).asDouble(), 0.0);
    EXPECT_TRUE(std::signbit(Variant(-0.0).asDouble()));
    EXPECT_TRUE(std::isnan(Variant("x").asDouble()));
}

TEST(VariantAccess, GetFindsOnlyPresentMapEntries) {
    for (auto const& v : oneOfEach()) {
        Variant const copy = v;
        Variant const& missing = v.get("absent");
        EXPECT_EQ(missing.type, Variant::Null) << jsonTypeName(v.type);
        EXPECT_EQ(v, copy) << "get changed a " << jsonTypeName(v.type);
        if (v.type != Variant::Map) {
            EXPECT_EQ(&v.get("k"), &missing) << "all misses share one Null";
        }
    }
    Variant const m(Map{{"k", Variant(1)}, {"n", Variant()}});
    EXPECT_EQ(m.get("k"), Variant(1));
    EXPECT_EQ(&m.get("n"), &m.value.mapValue->at("n")); // a stored Null is the entry itself
    EXPECT_EQ(m.value.mapValue->size(), 2u);
}

TEST(VariantAccess, IndexReadsVectorElements) {
    Variant v(Vec{Variant(1), Variant("two")});
    EXPECT_EQ(v[1], Variant("two"));
    v[0] = Variant(10);
    EXPECT_EQ((*v.value.vectorValue)[0], Variant(10));
}

TEST(VariantAccess, IndexOnOtherTypesGivesAThrowawayNull) {
    for (auto v : oneOfEach()) {
        if (v.type == Variant::Vector) {
            continue;
        }
        Variant const before = v;
        Variant& r = v[0];
        EXPECT_EQ(r.type, Variant::Null) << jsonTypeName(v.type);
        r = Variant("written through");
        EXPECT_EQ(v[3].type, Variant::Null) << "a write must not leak into later lookups";
        EXPECT_EQ(v.get("k").type, before.get("k").type);
        EXPECT_EQ(v, before);
    }
    Variant vec(Vec{Variant(1)});
    EXPECT_EQ(vec[1].type, Variant::Null); // past the end
    EXPECT_EQ(vec[-1].type, Variant::Null);
    vec[5] = Variant(7);
    EXPECT_EQ(vec, Variant(Vec{Variant(1)}));
}

TEST(VariantAccess, ConstKeyLookupInsertsIntoMapsOnly) {
    Variant const m(Map{{"a", Variant(1)}});
    Variant const& entry = m["k"];
    EXPECT_EQ(entry.type, Variant::Null);
    EXPECT_EQ(m.value.mapValue->size(), 2u);
    EXPECT_EQ(&entry, &m.value.mapValue->at("k"));
    EXPECT_EQ(m["a"], Variant(1));

    for (auto const& v : oneOfEach()) {
        if (v.type == Variant::Map) {
            continue;
        }
        Variant const copy = v;
        EXPECT_EQ(&v["k"], &v) << jsonTypeName(v.type);
        EXPECT_EQ(v, copy);
    }
}

TEST(VariantAccess, KeyLookupTurnsNullIntoMap) {
    Variant v;
    Variant& entry = v["k"];
    EXPECT_EQ(v.type, Variant::Map);
    ASSERT_EQ(v.value.mapValue->size(), 1u);
    EXPECT_EQ(&entry, &v.value.mapValue->at("k"));
    entry["deeper"] = Variant(3); // the Null entry becomes a Map in turn
    EXPECT_EQ(v.get("k").get("deeper"), Variant(3));

    for (auto v2 : oneOfEach()) {
        if (v2.type == Variant::Map || v2.type == Variant::Null) {
            continue;
        }
        Variant const copy = v2;
        EXPECT_EQ(&v2["k"], &v2) << jsonTypeName(v2.type);
        EXPECT_EQ(v2, copy);
    }

    // A chain that meets a non-map keeps answering with it.
    Variant chain(Map{{"a", Variant("str")}});
    EXPECT_EQ(&chain["a"]["b"]["c"], &chain.value.mapValue->at("a"));
}

TEST(VariantAccess, FailedMapCreationLeavesNull) {
    Variant v;
    tolvi_test::fail_each_allocation(
        [&] { v["k"] = Variant(1); },
        [&] { EXPECT_TRUE(v.type == Variant::Null || v == Variant(Map{})); });
    EXPECT_EQ(v, Variant(Map{{"k", Variant(1)}}));

    Variant n;
    {
        tolvi_test::allocation_watch watch(0);
        EXPECT_THROW(n["k"], std::bad_alloc);
    }
    EXPECT_EQ(n.type, Variant::Null);
}

TEST(VariantAccess, SetOnEveryType) {
    for (auto v : oneOfEach()) {
        Variant const before = v;
        bool const replaced = v.set("k", Variant("new"));
        switch (before.type) {
        case Variant::Null:
            EXPECT_FALSE(replaced);
            EXPECT_EQ(v, Variant(Map{{"k", Variant("new")}}));
            break;
        case Variant::Map:
            EXPECT_TRUE(replaced);
            EXPECT_EQ(v, Variant(Map{{"k", Variant("new")}, {"n", Variant()}}));
            break;
        default:
            EXPECT_FALSE(replaced) << jsonTypeName(before.type);
            EXPECT_EQ(v, before);
        }
    }
}

TEST(VariantAccess, SetReportsReplacement) {
    Variant v;
    EXPECT_FALSE(v.set("k", Variant(1)));
    EXPECT_TRUE(v.set("k", Variant(2)));
    EXPECT_FALSE(v.set("j", Variant()));
    EXPECT_EQ(v, Variant(Map{{"j", Variant()}, {"k", Variant(2)}}));
}

TEST(VariantAccess, SetCopiesItsValue) {
    Variant value(Map{{"x", Variant(1)}});
    Variant v;
    v.set("k", value);
    value.set("x", Variant(2));
    EXPECT_EQ(v.get("k").get("x"), Variant(1));
}

TEST(VariantAccess, SetWithItselfChangesNothing) {
    Variant n;
    EXPECT_FALSE(n.set("k", n));
    EXPECT_EQ(n.type, Variant::Null);
    Variant m(Map{{"a", Variant(1)}});
    EXPECT_FALSE(m.set("a", m));
    EXPECT_EQ(m, Variant(Map{{"a", Variant(1)}}));
}

TEST(VariantAccess, SetFromInsideItself) {
    Variant v(Map{{"a", Variant(Map{{"x", Variant(Vec{Variant(1)})}})}});
    EXPECT_TRUE(v.set("a", v.get("a").get("x"))); // replaces the entry holding the value
    EXPECT_EQ(v, Variant(Map{{"a", Variant(Vec{Variant(1)})}}));
    EXPECT_FALSE(v.set("b", v.get("a")));
    EXPECT_EQ(v.get("b"), v.get("a"));
}

TEST(VariantAccess, FailedSetKeepsTheFormerEntries) {
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
