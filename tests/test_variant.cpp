// Variant construction, copy, move, assignment and release.

#include <cstdint>
#include <cstdlib>
#include <limits>
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
using tolvi_test::fail_each_allocation;

// {"list": [1, "two", {"k": [true]}], "name": "n", "sub": {"x": 1.5, "y": null}}
Variant sample() {
    return Map{{"list", Vec{Variant(1), Variant("two"), Map{{"k", Vec{Variant(true)}}}}},
               {"name", Variant("n")},
               {"sub", Map{{"x", Variant(1.5)}, {"y", Variant()}}}};
}

TEST(Variant, ConstructorsGiveTypeAndValue) {
    struct row {
        Variant v;
        Variant::Type type;
        std::int64_t integer; // checked for Integer rows
    };
    std::vector<row> const rows = {
        {Variant(), Variant::Null, 0},
        {Variant(nullptr), Variant::Null, 0},
        {Variant(true), Variant::Boolean, 0},
        {Variant(-1), Variant::Integer, -1},
        {Variant(static_cast<short>(-3)), Variant::Integer, -3},
        {Variant(std::numeric_limits<long>::min()), Variant::Integer,
         std::numeric_limits<long>::min()},
        {Variant(4000000000U), Variant::Integer, 4000000000LL},
        {Variant(std::numeric_limits<long long>::max()), Variant::Integer,
         std::numeric_limits<long long>::max()},
        {Variant(std::numeric_limits<std::uint64_t>::max()), Variant::Integer, -1},
        {Variant(static_cast<unsigned char>(200)), Variant::Integer, 200},
        {Variant(2.5f), Variant::Double, 0},
        {Variant("text"), Variant::String, 0},
        {Variant(Map{}), Variant::Map, 0},
        {Variant(Vec{}), Variant::Vector, 0},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].v.type, rows[i].type) << "row " << i;
        if (rows[i].type == Variant::Integer) {
            EXPECT_EQ(rows[i].v.value.intValue, rows[i].integer) << "row " << i;
        }
    }
}

TEST(Variant, JsonTypeNames) {
    char const* const names[] = {"null",    "Number", "Number", "String",
                                 "Boolean", "Object", "Array"};
    for (int t = Variant::Null; t <= Variant::Vector; ++t) {
        EXPECT_STREQ(jsonTypeName(static_cast<Variant::Type>(t)), names[t]);
    }
}

TEST(Variant, TakeoverConstructorsEmptyTheirArgumentCopiesDoNot) {
    std::string s(40, 's');
    Map m{{"a", Variant(1)}};
    Vec v{Variant(1), Variant(2)};
    Variant const cs(s), cm(m), cv(v);
    EXPECT_EQ(s.size() + m.size() + v.size(), 43u);
    Variant const ms(std::move(s)), mm(std::move(m)), mv(std::move(v));
    EXPECT_TRUE(s.empty() && m.empty() && v.empty());
    EXPECT_EQ(ms, cs);
    EXPECT_EQ(mm, cm);
    EXPECT_EQ(mv, cv);
}

TEST(Variant, MovesNeverAllocate) {
    Variant a = sample();
    Variant c("x");
    Variant d("into itself");
    Variant& alias = d;
    std::size_t allocations = 0;
    {
        tolvi_test::allocation_watch watch;
        Variant b(std::move(a));
        c = std::move(b); // releases the String, takes the Map
        a = std::move(c);
        d = std::move(alias);
        allocations = watch.count();
        EXPECT_EQ(b.type, Variant::Null);
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(c.type, Variant::Null);
    EXPECT_EQ(d.type, Variant::Null);
    EXPECT_EQ(a, sample());
}

TEST(Variant, CopyIsDeepAndExact) {
    Variant copy = sample();
    Variant& self = copy;
    copy = self;
    EXPECT_EQ(copy, sample());
    copy["list"][0] = Variant(99);
    copy["sub"]["x"] = Variant("changed");
    EXPECT_NE(copy, sample());

    Vec roomy;
    roomy.reserve(64);
    roomy.push_back(Variant(1));
    EXPECT_EQ(Variant(roomy).value.vectorValue->capacity(), 1u);
    Variant const taken(std::move(roomy));
    EXPECT_EQ(Variant(taken).value.vectorValue->capacity(), 1u);
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
    v = v["list"][2].get("k"); // Vector three levels down
    EXPECT_EQ(v, Variant(Vec{Variant(true)}));
    v = Variant(Vec{Vec{Variant(1)}, Variant(3)});
    v = v[0]; // Vector out of a Vector
    EXPECT_EQ(v, Variant(Vec{Variant(1)}));
    v = sample();
    v = std::move(v["sub"]);
    EXPECT_EQ(v, sample().get("sub"));
}

TEST(Variant, CopyAssignmentIsAllOrNothing) {
    struct row {
        Variant target, source;
    };
    std::vector<row> const rows = {
        {sample(), Map{{"a", Vec{Variant(std::string(40, 'a'))}}, {"b", Variant(1)}}},
        {Vec{Variant(1)}, Vec{Variant("x"), Map{{"k", Variant(2)}}}},
        {Variant("old"), sample()},
        {sample(), Variant(std::string(64, 'z'))},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Variant target = rows[i].target;
        std::size_t const failures =
            fail_each_allocation([&] { target = rows[i].source; },
                                 [&] { EXPECT_EQ(target, rows[i].target) << "row " << i; });
        EXPECT_GT(failures, 0u);
        EXPECT_EQ(target, rows[i].source);
    }
    EXPECT_GT(fail_each_allocation([] { Variant copy(sample()); }, [] {}), 5u);
}

TEST(Variant, MapKeysIterateInByteOrder) {
    Variant const v(Map{{"ab", Variant(1)},
                        {"a", Variant(2)},
                        {"B", Variant(3)},
                        {"\xC3\xA9", Variant(4)},
                        {"z", Variant(5)},
                        {"", Variant(6)}});
    std::string keys;
    for (auto const& entry : *v.value.mapValue) {
        keys += entry.first + "|";
    }
    EXPECT_EQ(keys, "|B|a|ab|z|\xC3\xA9|");
}

} // namespace
