// Variant construction, copy, move, assignment and release.

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

namespace {

// Allocations are counted, and the one numbered `fail_at` fails.
constexpr std::size_t failed = SIZE_MAX;
std::size_t allocations = 0;
std::size_t fail_at = failed;

// Runs `op`; returns the number of allocations it made, or `failed` when allocation number
// `fail` (from 0) threw.
template <class Op>
std::size_t allocationsOf(Op op, std::size_t fail = failed) {
    std::size_t made = failed;
    allocations = 0;
    fail_at = fail;
    try {
        op();
        made = allocations;
    } catch (std::bad_alloc const&) {
    }
    fail_at = failed;
    return made;
}

Variant sample() {
    return Variant::fromJson(R"({"list":[1,"two",{"k":[true]}],"name":"n","sub":{"x":1.5}})");
}

TEST(Variant, Constructors) {
    // Every integer type gives an Integer with its value, whatever the width of long.
    EXPECT_EQ(Variant(static_cast<short>(-3)), Variant(-3));
    EXPECT_EQ(Variant(LONG_MIN), Variant(static_cast<long long>(LONG_MIN)));
    EXPECT_EQ(Variant(4000000000U), Variant(4000000000LL));
    EXPECT_EQ(Variant(~std::uint64_t{0}), Variant(-1)); // keeps its bits
    // The takeover constructors leave their arguments empty.
    std::string s(40, 's');
    Variant::map_type m{{"a", Variant(1)}};
    Variant::vector_type v{Variant(1)};
    Variant const ms(std::move(s)), mm(std::move(m)), mv(std::move(v));
    EXPECT_TRUE(s.empty() && m.empty() && v.empty());
    EXPECT_EQ(*ms.value.stringValue, std::string(40, 's'));
}

TEST(Variant, MovesAndComparisonsNeverAllocate) {
    Variant a = sample(), c("x"), d("into itself");
    Variant const other = sample();
    Variant& alias = d;
    EXPECT_EQ(allocationsOf([&] {
                  Variant b(std::move(a));
                  c = std::move(b); // releases the String, takes the Map
                  a = std::move(c);
                  d = std::move(alias);
                  EXPECT_TRUE(a == other && b.isNull() && c.isNull() && d.isNull());
              }),
              0u);
}

// The source may lie inside the target's own payload, of another or of the same type.
TEST(Variant, CopyAssignment) {
    Variant const original = sample();
    Variant v = original;
    Variant& self = v;
    v = self;
    v["list"][0] = Variant(99);
    EXPECT_TRUE(v != original && original == sample()); // copies are deep

    v = v.get("name"); // String out of a Map
    EXPECT_EQ(v, Variant("n"));
    v = sample();
    v = v.get("sub"); // Map out of a Map
    EXPECT_EQ(v, sample().get("sub"));
    v = Variant::fromJson("[[1],3]");
    v = v[0]; // Vector out of a Vector
    EXPECT_EQ(v, Variant::fromJson("[1]"));
    v = sample();
    v = std::move(v["sub"]);
    EXPECT_EQ(v, sample().get("sub"));
}

TEST(Variant, CopyAssignmentIsAllOrNothing) {
    struct row {
        Variant target, source;
    } const rows[] = {
        {sample(), Variant::fromJson(R"({"a":["a text too long to be stored inline"]})")},
        {Variant::fromJson("[1]"), Variant::fromJson(R"(["x",{"k":2}])")},
        {Variant("old"), sample()}};
    for (auto const& r : rows) {
        Variant target = r.target;
        std::size_t n = 0;
        while (allocationsOf([&] { target = r.source; }, n) == failed) {
            EXPECT_EQ(target, r.target) << "allocation " << n << " of " << r.source.toJson();
            ++n;
        }
        EXPECT_GT(n, 0u);
        EXPECT_EQ(target, r.source);
    }
}

TEST(Variant, MapKeysIterateInByteOrder) {
    Variant const v = Variant::fromJson(R"({"ab":1,"a":2,"B":3,"\u00e9":4,"z":5,"":6})");
    std::string keys;
    for (auto const& entry : *v.value.mapValue) {
        keys += entry.first + "|";
    }
    EXPECT_EQ(keys, "|B|a|ab|z|\xC3\xA9|");
}

} // namespace

// The one replacement of the global allocation functions in the test binary. Out of line, so
// that the compiler does not pair malloc inside one with free inside the other.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* p = allocations++ == fail_at ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
    std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
