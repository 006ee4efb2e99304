// Variant construction, copy, move, assignment and release.

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

#include "alloc_probe.hpp"

// The one replacement of the global allocation functions in the test binary (see alloc_probe.hpp).
namespace tolvi_test {
namespace alloc_detail {
bool armed = false;
std::size_t count = 0;
std::size_t fail_at = 0;
} // namespace alloc_detail
} // namespace tolvi_test

// Out of line, so that the compiler does not pair malloc inside one with free inside the other.
[[gnu::noinline]] void* operator new(std::size_t size) {
    namespace d = tolvi_test::alloc_detail;
    if (d::armed && d::count++ == d::fail_at) {
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
    std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

using Map = Variant::map_type;
using Vec = Variant::vector_type;
using tolvi_test::allocation_watch;
using tolvi_test::fail_each_allocation;

// {"list": [1, "two", {"k": [true]}], "name": "n", "sub": {"x": 1.5, "y": null}}
Variant sample() {
    Map inner{{"k", Vec{Variant(true)}}};
    Map sub{{"x", Variant(1.5)}, {"y", Variant()}};
    return Map{{"list", Vec{Variant(1), Variant("two"), Variant(inner)}},
               {"name", Variant("n")},
               {"sub", Variant(sub)}};
}

TEST(Variant, ConstructorsGiveTheirTypes) {
    struct row {
        Variant v;
        Variant::Type type;
    };
    std::vector<row> const rows = {
        {Variant(), Variant::Null},
        {Variant(nullptr), Variant::Null},
        {Variant(true), Variant::Boolean},
        {Variant(0), Variant::Integer},
        {Variant(-7LL), Variant::Integer},
        {Variant(static_cast<short>(3)), Variant::Integer},
        {Variant(7L), Variant::Integer},
        {Variant(7UL), Variant::Integer},
        {Variant(std::uint64_t{1}), Variant::Integer},
        {Variant('c'), Variant::Integer},
        {Variant(0.0), Variant::Double},
        {Variant(2.5f), Variant::Double},
        {Variant("text"), Variant::String},
        {Variant(std::string("text")), Variant::String},
        {Variant(Map{}), Variant::Map},
        {Variant(Vec{}), Variant::Vector},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].v.type, rows[i].type) << "row " << i;
    }
}

TEST(Variant, IntegerConstructorsKeepValueAndBits) {
    EXPECT_EQ(Variant(-1).value.intValue, -1); // sign-extended from int
    EXPECT_EQ(Variant(std::numeric_limits<long>::min()).value.intValue,
              std::numeric_limits<long>::min());
    EXPECT_EQ(Variant(std::numeric_limits<long long>::max()).value.intValue,
              std::numeric_limits<long long>::max());
    EXPECT_EQ(Variant(std::numeric_limits<std::uint64_t>::max()).value.intValue, -1);
    EXPECT_EQ(Variant(4000000000U).value.intValue, 4000000000LL);
    EXPECT_EQ(Variant(static_cast<unsigned char>(200)).value.intValue, 200);
}

TEST(Variant, JsonTypeNames) {
    std::pair<Variant::Type, char const*> const rows[] = {
        {Variant::Null, "null"},     {Variant::Integer, "Number"},  {Variant::Double, "Number"},
        {Variant::String, "String"}, {Variant::Boolean, "Boolean"}, {Variant::Map, "Object"},
        {Variant::Vector, "Array"},
    };
    for (auto const& r : rows) {
        EXPECT_STREQ(jsonTypeName(r.first), r.second);
    }
    EXPECT_STREQ(jsonTypeName(Variant().type), "null");
}

TEST(Variant, TakeoverConstructorsEmptyTheirArgumentCopiesDoNot) {
    std::string s(40, 's');
    Map m{{"a", Variant(1)}};
    Vec v{Variant(1), Variant(2)};

    Variant cs(s), cm(m), cv(v);
    EXPECT_EQ(s.size(), 40u);
    EXPECT_EQ(m.size(), 1u);
    EXPECT_EQ(v.size(), 2u);

    Variant ms(std::move(s)), mm(std::move(m)), mv(std::move(v));
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(m.empty());
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(*ms.value.stringValue, std::string(40, 's'));
    EXPECT_EQ(mm.value.mapValue->size(), 1u);
    EXPECT_EQ(mv.value.vectorValue->size(), 2u);
    EXPECT_EQ(ms, cs);
    EXPECT_EQ(mm, cm);
    EXPECT_EQ(mv, cv);
}

TEST(Variant, MovesNeverAllocate) {
    Variant a = sample();
    Variant const expected = sample();
    std::size_t allocations = 0;
    {
        allocation_watch watch;
        Variant b(std::move(a));
        Variant c("x");
        c = std::move(b); // releases the String, takes the Map
        a = std::move(c);
        allocations = watch.count();
        EXPECT_EQ(b.type, Variant::Null);
        EXPECT_EQ(c.type, Variant::Null);
    }
    EXPECT_EQ(allocations, 1u); // the String "x" only
    EXPECT_EQ(a, expected);
}

TEST(Variant, MoveLeavesNullThatCanBeReused) {
    Variant a("payload");
    Variant b(std::move(a));
    EXPECT_EQ(a.type, Variant::Null);
    EXPECT_EQ(*b.value.stringValue, "payload");
    a = Variant(3);
    EXPECT_EQ(a, Variant(3));
}

TEST(Variant, SelfAssignment) {
    Variant v = sample();
    Variant& alias = v;
    v = alias;
    EXPECT_EQ(v, sample());
    Variant s("keep");
    Variant& salias = s;
    s = salias;
    EXPECT_EQ(s, Variant("keep"));
    v = std::move(alias);
    EXPECT_EQ(v.type, Variant::Null);
}

TEST(Variant, CopyIsDeepAndIndependent) {
    Variant original = sample();
    Variant copy(original);
    (*copy.value.mapValue)["list"][0] = Variant(99);
    (*(*copy.value.mapValue)["sub"].value.mapValue)["x"] = Variant("changed");
    EXPECT_EQ(original, sample());
    EXPECT_NE(copy, original);
    EXPECT_NE(copy.value.mapValue, original.value.mapValue);
}

TEST(Variant, VectorCopyReservesExactly) {
    Vec source;
    source.reserve(64);
    source.assign({Variant(1), Variant(2), Variant(3)});
    Variant v(source);
    EXPECT_EQ(v.value.vectorValue->capacity(), 3u);
    Variant w(v);
    EXPECT_EQ(w.value.vectorValue->capacity(), 3u);
}

TEST(Variant, AssignmentAcrossTypesReleasesTheOldPayload) {
    Variant v = sample();
    v = Variant("now a string");
    EXPECT_EQ(v.type, Variant::String);
    EXPECT_EQ(*v.value.stringValue, "now a string");
    v = Variant(Vec{Variant(1)});
    EXPECT_EQ(v.type, Variant::Vector);
    v = Variant(2.0);
    EXPECT_EQ(v.type, Variant::Double);
    EXPECT_EQ(v.value.doubleValue, 2.0);
}

// The source lies inside the target's own payload, of the same or of another type.
TEST(Variant, AssignmentFromInsideTheTarget) {
    Variant v = sample();
    v = v.get("name"); // String out of a Map
    EXPECT_EQ(v, Variant("n"));

    v = sample();
    v = v.get("sub"); // Map out of a Map
    EXPECT_EQ(v, sample().get("sub"));

    v = sample();
    Variant const expected = (*sample().get("list").value.vectorValue)[2].get("k");
    v = (*v.get("list").value.vectorValue)[2].get("k"); // Vector three levels down
    EXPECT_EQ(v, expected);

    Variant nested(Vec{Variant(Vec{Variant(1), Variant(2)}), Variant(3)});
    nested = (*nested.value.vectorValue)[0]; // Vector out of a Vector
    EXPECT_EQ(nested, Variant(Vec{Variant(1), Variant(2)}));

    v = sample();
    v = std::move((*v.value.mapValue)["sub"]); // move from inside
    EXPECT_EQ(v, sample().get("sub"));
}

TEST(Variant, CopyAssignmentIsAllOrNothing) {
    struct row {
        char const* name;
        Variant target;
        Variant source;
    };
    std::vector<row> const rows = {
        {"map over map", sample(),
         Variant(Map{{"a", Variant(Vec{Variant("long string value "
                                               "beyond SSO")})},
                     {"b", Variant(1)}})},
        {"vector over vector", Variant(Vec{Variant(1)}),
         Variant(Vec{Variant("x"), Variant(Map{{"k", Variant(2)}})})},
        {"map over string", Variant("old"), sample()},
        {"string over map", sample(), Variant(std::string(64, 'z'))},
    };
    for (auto const& r : rows) {
        Variant target = r.target;
        std::size_t const failures =
            fail_each_allocation([&] { target = r.source; }, [&] { EXPECT_EQ(target, r.target); });
        EXPECT_GT(failures, 0u) << r.name;
        EXPECT_EQ(target, r.source) << r.name;
    }
}

TEST(Variant, FailedCopyConstructionLeavesNothingBehind) {
    Variant const source = sample();
    std::size_t const failures = fail_each_allocation([&] { Variant copy(source); }, [] {});
    EXPECT_GT(failures, 5u);
}

TEST(Variant, MapKeysIterateInByteOrder) {
    Variant v(Map{{"ab", Variant(1)},
                  {"a", Variant(2)},
                  {"B", Variant(3)},
                  {"\xC3\xA9", Variant(4)},
                  {"z", Variant(5)},
                  {"", Variant(6)}});
    std::vector<std::string> keys;
    for (auto const& entry : *v.value.mapValue) {
        keys.push_back(entry.first);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"", "B", "a", "ab", "z", "\xC3\xA9"}));
}

} // namespace
