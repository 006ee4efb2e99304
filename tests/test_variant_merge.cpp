// Deep equality and the all-or-nothing merge.

#include <cmath>
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <tolvi/Variant.hpp>

namespace {

Variant json(char const* text) {
    return Variant::fromJson(text);
}

TEST(VariantEquality, Table) {
    std::tuple<char const*, char const*, bool> const rows[] = {
        {"null", "null", true},
        {"null", "{}", false},
        {"1", "1.0", false},
        {"0.0", "-0.0", true},
        {R"("ab")", R"("abc")", false},
        {R"({"a":1,"b":[1,2]})", R"({"b":[1,2],"a":1})", true},
        {R"({"a":1})", R"({"a":1,"b":null})", false},
        {R"({"a":1})", R"({"b":1})", false},
        {R"({"a":{"x":1}})", R"({"a":{"x":1.0}})", false},
        {"[1,2]", "[2,1]", false},
        {"[1,2]", "[1,2,3]", false}};
    for (auto const& [a, b, equal] : rows) {
        EXPECT_EQ(json(a) == json(b), equal) << a << " == " << b;
        EXPECT_EQ(json(b) != json(a), !equal) << b << " != " << a;
    }
    Variant two_true(true);
    two_true.value.intValue = 2; // a foreign writer's "true"
    EXPECT_TRUE(Variant(true) == two_true && Variant(false) != two_true);
    EXPECT_NE(Variant(std::nan("")), Variant(std::nan("")));
    EXPECT_NE(Variant(std::string("a\0b", 3)), Variant(std::string("a\0c", 3)));
}

TEST(VariantMerge, Table) {
    // Target, source, and the target afterwards; null where the merge is refused.
    char const* const rows[][3] = {
        {R"({"a":1,"b":2})", R"({"b":null,"c":3})", R"({"a":1,"c":3})"},
        {R"({"a":{"x":1}})", R"({"a":{"y":2}})", R"({"a":{"x":1,"y":2}})"},
        {"{}", R"({"a":{"x":null,"y":1}})", R"({"a":{"y":1}})"},
        {"{}", R"({"a":{"b":{"x":null},"v":[{"x":null}]}})", R"({"a":{"b":{},"v":[{"x":null}]}})"},
        {R"({"a":null})", R"({"a":{"x":null}})", R"({"a":{"x":null}})"},
        {R"({"a":1})", R"({"0":5,"a":"s"})", nullptr},
        {R"({"a":1})", R"({"a":2.0})", nullptr},
        {R"({"a":[1,2]})", R"({"a":[3]})", R"({"a":[3]})"},
        {R"({"a":null})", R"({"a":1})", nullptr},
        {R"({"keep":null,"a":"old"})", R"({"a":"new","gone":null})", R"({"keep":null,"a":"new"})"},
        // A conflict deep down, after earlier keys and levels were already merged in the copy.
        {R"({"a":{"b":{"c":1}},"z":1})", R"({"a":{"b":{"d":2,"e":"x"},"n":null},"z":"s"})",
         nullptr},
        // Top level
        {"null", "5", nullptr},
        {"null", R"({"a":{"x":null}})", R"({"a":{"x":null}})"},
        {"{}", "null", nullptr},
        {"5", R"({"a":1})", nullptr},
        {R"("a")", R"("b")", R"("b")"},
        {"[1]", "[2,3]", "[2,3]"},
        {"null", "null", "null"},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(std::string(r[0]) + " <- " + r[1]);
        Variant target = json(r[0]);
        EXPECT_EQ(target.mergeWith(json(r[1])), r[2] != nullptr);
        EXPECT_EQ(target, json(r[2] != nullptr ? r[2] : r[0]));
    }
}

TEST(VariantMerge, SourceIsTheTargetOrInsideIt) {
    Variant v = json(R"({"a":null,"m":{"b":null,"c":{"d":null}},"v":[{"e":null}]})");
    EXPECT_TRUE(v.mergeWith(v));
    EXPECT_EQ(v, json(R"({"m":{"c":{}},"v":[{"e":null}]})"));
    v = json(R"({"a":1,"inner":{"a":2,"inner":null,"z":{"q":1}}})");
    EXPECT_TRUE(v.mergeWith(v.get("inner")));
    EXPECT_EQ(v, json(R"({"a":2,"z":{"q":1}})"));
    v = json(R"({"a":"text","inner":{"a":2}})");
    EXPECT_FALSE(v.mergeWith(v.get("inner")));
    EXPECT_EQ(v, json(R"({"a":"text","inner":{"a":2}})"));
    v = json(R"({"v":[1],"w":[[2]]})");
    Variant& vec = v["w"];
    EXPECT_TRUE(vec.mergeWith(vec[0])); // same-type copy from inside
    EXPECT_EQ(v, json(R"({"v":[1],"w":[2]})"));
}

} // namespace
