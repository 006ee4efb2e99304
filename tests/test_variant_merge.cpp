// Deep equality and the all-or-nothing merge.

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

#include "alloc_probe.hpp"

namespace {

using Map = Variant::map_type;
using Vec = Variant::vector_type;

Variant json(char const* text) {
    return Variant::fromJson(text);
}

TEST(VariantEquality, Table) {
    Variant two_true(true);
    two_true.value.intValue = 2; // a foreign writer's "true"
    struct row {
        Variant a, b;
        bool equal;
    };
    std::vector<row> const rows = {
        {Variant(), Variant(), true},
        {Variant(), Variant(Map{}), false},
        {Variant(1), Variant(1.0), false},
        {Variant(1), Variant(1), true},
        {Variant(std::nan("")), Variant(std::nan("")), false},
        {Variant(0.0), Variant(-0.0), true},
        {Variant(true), two_true, true},
        {Variant(false), two_true, false},
        {Variant(std::string("a\0b", 3)), Variant(std::string("a\0c", 3)), false},
        {Variant("ab"), Variant("abc"), false},
        {json(R"({"a":1,"b":[1,2]})"), json(R"({"b":[1,2],"a":1})"), true},
        {json(R"({"a":1})"), json(R"({"a":1,"b":null})"), false},
        {json(R"({"a":1})"), json(R"({"b":1})"), false},
        {json(R"({"a":{"x":1}})"), json(R"({"a":{"x":1.0}})"), false},
        {json("[1,2]"), json("[2,1]"), false},
        {json("[1,2]"), json("[1,2,3]"), false},
        {json("[[],{}]"), json("[[],{}]"), true},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].a == rows[i].b, rows[i].equal) << "row " << i;
        EXPECT_EQ(rows[i].b == rows[i].a, rows[i].equal) << "row " << i << " reversed";
        EXPECT_EQ(rows[i].a != rows[i].b, !rows[i].equal) << "row " << i;
    }
}

TEST(VariantEquality, AllocatesNothing) {
    Variant const a = json(R"({"a":[1,{"b":"long enough to be on the heap"}]})");
    Variant const b = a;
    tolvi_test::allocation_watch watch;
    EXPECT_TRUE(a == b);
    EXPECT_EQ(watch.count(), 0u);
}

struct merge_row {
    char const* target;
    char const* source;
    bool ok;
    char const* result; // the target afterwards
};

TEST(VariantMerge, Table) {
    merge_row const rows[] = {
        {R"({"a":1,"b":2})", R"({"b":null,"c":3})", true, R"({"a":1,"c":3})"},
        {R"({"a":{"x":1}})", R"({"a":{"y":2}})", true, R"({"a":{"x":1,"y":2}})"},
        {"{}", R"({"a":{"x":null,"y":1}})", true, R"({"a":{"y":1}})"},
        {"{}", R"({"a":{"b":{"x":null},"v":[{"x":null}]}})", true,
         R"({"a":{"b":{},"v":[{"x":null}]}})"},
        {R"({"a":null})", R"({"a":{"x":null}})", true, R"({"a":{"x":null}})"},
        {R"({"a":1})", R"({"0":5,"a":"s"})", false, R"({"a":1})"},
        {R"({"a":1})", R"({"a":2.0})", false, R"({"a":1})"},
        {R"({"a":[1,2]})", R"({"a":[3]})", true, R"({"a":[3]})"},
        {"{}", R"({"a":[{"x":null}]})", true, R"({"a":[{"x":null}]})"},
        {R"({"a":null})", R"({"a":1})", false, R"({"a":null})"},
        {R"({"a":{"x":1}})", R"({"a":1})", false, R"({"a":{"x":1}})"},
        {R"({"a":1})", R"({"a":{"x":1}})", false, R"({"a":1})"},
        {R"({"keep":null,"a":"old"})", R"({"a":"new","gone":null})", true,
         R"({"keep":null,"a":"new"})"},
        {R"({"a":true})", R"({"a":false})", true, R"({"a":false})"},
        // A conflict deep down, after earlier keys and levels were already merged in the copy.
        {R"({"a":{"b":{"c":1}},"z":1})", R"({"a":{"b":{"d":2,"e":"x"},"n":null},"z":"s"})", false,
         R"({"a":{"b":{"c":1}},"z":1})"},
        {R"({"a":{"b":{"c":1}}})", R"({"a":{"b":{"c":"x"}},"y":2})", false,
         R"({"a":{"b":{"c":1}}})"},
        // Top level
        {"null", "5", false, "null"},
        {"null", R"({"a":{"x":null}})", true, R"({"a":{"x":null}})"},
        {"{}", "null", false, "{}"},
        {"5", R"({"a":1})", false, "5"},
        {R"("a")", R"("b")", true, R"("b")"},
        {"[1]", "[2,3]", true, "[2,3]"},
        {"null", "null", true, "null"},
        {"1", "1.5", false, "1"},
    };
    for (auto const& r : rows) {
        Variant target = json(r.target);
        EXPECT_EQ(target.mergeWith(json(r.source)), r.ok) << r.target << " <- " << r.source;
        EXPECT_EQ(target, json(r.result)) << r.target << " <- " << r.source;
    }
}

TEST(VariantMerge, SourceIsTheTargetItself) {
    Variant v = json(R"({"a":null,"m":{"b":null,"c":{"d":null}},"v":[{"e":null}]})");
    EXPECT_TRUE(v.mergeWith(v));
    EXPECT_EQ(v, json(R"({"m":{"c":{}},"v":[{"e":null}]})"));
}

TEST(VariantMerge, SourceInsideTheTarget) {
    Variant v = json(R"({"a":1,"inner":{"a":2,"inner":null,"z":{"q":1}}})");
    EXPECT_TRUE(v.mergeWith(v.get("inner")));
    EXPECT_EQ(v, json(R"({"a":2,"z":{"q":1}})"));

    Variant w = json(R"({"a":"text","inner":{"a":2}})");
    Variant const before = w;
    EXPECT_FALSE(w.mergeWith(w.get("inner")));
    EXPECT_EQ(w, before);

    Variant x = json(R"({"v":[1],"w":[[2]]})");
    Variant& vec = (*x.value.mapValue)["w"];
    EXPECT_TRUE(vec.mergeWith((*vec.value.vectorValue)[0])); // same-type copy from inside
    EXPECT_EQ(x, json(R"({"v":[1],"w":[2]})"));
}

TEST(VariantMerge, FailedAllocationLeavesTargetUnchanged) {
    Variant const before =
        json(R"({"a":{"b":[1,2],"c":"some text beyond the small buffer"},"d":1})");
    Variant const source =
        json(R"({"a":{"b":[3],"n":{"x":null,"y":"another long text value"}},"d":null})");
    Variant target = before;
    std::size_t const failures = tolvi_test::fail_each_allocation(
        [&] { target.mergeWith(source); }, [&] { EXPECT_EQ(target, before); });
    EXPECT_GT(failures, 5u);
    EXPECT_EQ(
        target,
        json(
            R"({"a":{"b":[3],"c":"some text beyond the small buffer","n":{"y":"another long text value"}}})"));
}

} // namespace
