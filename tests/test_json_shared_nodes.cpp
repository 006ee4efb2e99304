// Printing shares the Jansson nodes of values that recur in a document. What a user sees must not
// change: the text is exactly what an unshared tree prints, and the tree that toJansson hands out
// shares nothing.

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <jansson.h>

#include <tolvi/Variant.hpp>

static std::string printed(json_t* tree, std::size_t flags) {
    std::unique_ptr<char, decltype(&std::free)> const text(json_dumps(tree, flags), &std::free);
    return text ? text.get() : "";
}

// True, false and null are Jansson's own constants; every other node must be held once.
static bool shares_nothing(json_t* node) {
    bool alone = node->refcount == 1 || json_is_boolean(node) || json_is_null(node);
    char const* key;
    std::size_t i;
    json_t* value;
    json_object_foreach(node, key, value) {
        alone = alone && shares_nothing(value);
    }
    json_array_foreach(node, i, value) {
        alone = alone && shares_nothing(value);
    }
    return alone;
}

TEST(json_shared_nodes, TextAsUnsharedAndTheHandedOutTreeSharesNothing) {
    using Map = Variant::map_type;
    using Vec = Variant::vector_type;
    // Values that look alike but print differently or are refused, recurring in a document, so
    // that a cache that confused two of them shows in the text.
    Variant pool = Variant::fromJson(R"([1, 1.0, 0.0, -0.0, {}, [], {"a": 1, "b": "x"},
        {"a": 1.0, "b": "x"}, {"a": -0.0}, {"a": 0.0}, [1, 2, 3], [1, 2, 3.0], true, null,
        {"d": {"u": [-0.0]}}, {"d": {"u": [0.0]}}])");
    for (Variant v :
         {Variant(std::nan("")), Variant(std::string("ab\0c", 4)), Variant(std::string("ab\0d", 4)),
          Variant("\xff"), Variant(std::string(65, 'L')), Variant(std::string(300, 'S')),
          Variant(Vec{Variant("\xff"), Variant(2)}),
          // Two texts of one length whose 64-bit hashes in the printer's cache are equal.
          Variant("shared-string-00"), Variant("-pwgaq83C;Vf^spZ")}) {
        pool.value.vectorValue->push_back(v);
    }
    Vec list;
    unsigned seed = 7;
    for (unsigned i = 0; i < 2000; ++i) {
        Map m{{"\xc0", 1}}; // a refused key
        for (unsigned k = 0; k < 6; ++k) {
            seed = seed * 1103515245u + 12345u;
            m["k" + std::to_string(k)] =
                (*pool.value.vectorValue)[(seed >> 16) % pool.value.vectorValue->size()];
        }
        list.push_back(Variant(std::move(m)));
        if (i == 0 || i == 9 || i == 1999) {
            SCOPED_TRACE(i);
            Variant const doc(list);
            json_t* tree = toJansson(doc);
            ASSERT_NE(tree, nullptr);
            ASSERT_TRUE(shares_nothing(tree));
            // Compared whole: a diff of two large texts would take gigabytes.
            EXPECT_TRUE(doc.toJson() ==
                        printed(tree, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7)));
            EXPECT_TRUE(doc.prettyPrintJson() ==
                        printed(tree, JSON_INDENT(4) | JSON_SORT_KEYS | JSON_ENCODE_ANY));
            json_decref(tree);
        }
    }
}

// Small maps that each grow the cache while they are built: a container must not keep a slot
// taken before its children were built (the sanitizer and valgrind runs see the stale write).
TEST(json_shared_nodes, CacheGrowsWhileAContainerIsBuilt) {
    Variant::vector_type list{Variant(1000000000LL), Variant(1000000001LL)};
    for (int i = 0; i < 600; i += 2) {
        list.push_back(Variant(Variant::map_type{{"a", i}, {"b", i + 1}}));
    }
    Variant const doc(std::move(list));
    json_t* tree = toJansson(doc);
    EXPECT_EQ(doc.toJson(), printed(tree, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7)));
    json_decref(tree);
}
