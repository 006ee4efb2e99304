// toJson shares the Jansson nodes of values that recur in a document; the text must be exactly
// what an unshared tree prints, and the tree toJansson hands out must share nothing.
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <jansson.h>

#include <tolvi/tolvi.hpp>

namespace {

std::string printed(json_t* tree, std::size_t flags) {
    char* text = json_dumps(tree, flags);
    std::string out = text != nullptr ? text : "";
    std::free(text);
    return out;
}

// Values that look alike but print differently, or are refused, so that a cache that confused
// two of them shows in the text.
Variant pool(unsigned i) {
    static Variant::map_type const small_map{{"a", 1}, {"b", "x"}};
    static Variant::map_type const small_map_other{{"a", 1.0}, {"b", "x"}};
    static Variant::map_type const small_map_negzero{{"a", -0.0}};
    static Variant::map_type const small_map_zero{{"a", 0.0}};
    switch (i % 30) {
    case 0:
        return 1;
    case 1:
        return 1.0;
    case 2:
        return 0.0;
    case 3:
        return -0.0;
    case 4:
        return std::numeric_limits<double>::quiet_NaN();
    case 5:
        return std::string("ab\0c", 4);
    case 6:
        return std::string("ab\0d", 4);
    case 7:
        return "ab";
    case 8:
        return "\xff";
    case 9:
        return "caf\xc3\xa9";
    case 10:
        return std::string(65, 'L');
    case 11:
        return std::string(64, 'L');
    case 12:
        return Variant::map_type{};
    case 13:
        return Variant::vector_type{};
    case 14:
        return small_map;
    case 15:
        return small_map_other;
    case 16:
        return small_map_negzero;
    case 17:
        return small_map_zero;
    case 18:
        return Variant::vector_type{1, 2, 3};
    case 19:
        return Variant::vector_type{1, 2, 3.0};
    case 20:
        return Variant::vector_type{"\xff", 2};
    case 21:
        return true;
    case 22:
        return Variant();
    case 23:
        return Variant::map_type{{"d", Variant::map_type{{"u", Variant::vector_type{}}}}};
    case 24:
        return Variant::map_type{{"d", Variant::map_type{{"u", Variant::vector_type{-0.0}}}}};
    case 25:
        return Variant::map_type{{"d", Variant::map_type{{"u", Variant::vector_type{0.0}}}}};
    case 26:
        return std::string(300, 'S');
    default:
        return static_cast<long long>(i % 7) - 3;
    }
}

Variant repetitive_document(unsigned entries) {
    Variant::vector_type list;
    unsigned seed = 7;
    for (unsigned i = 0; i < entries; ++i) {
        Variant::map_type m;
        for (unsigned k = 0; k < 6; ++k) {
            seed = seed * 1103515245u + 12345u;
            m["k" + std::to_string(k)] = pool(seed >> 16);
        }
        m[std::string(70, 'K')] = pool(i);
        m["\xc0"] = 1; // a refused key
        list.push_back(Variant(std::move(m)));
    }
    return Variant(std::move(list));
}

bool shares_nothing(json_t* node) {
    if (json_is_true(node) || json_is_false(node) || json_is_null(node)) {
        return true;
    }
    if (node->refcount != 1) {
        return false;
    }
    if (json_is_object(node)) {
        char const* key;
        json_t* value;
        json_object_foreach(node, key, value) {
            if (!shares_nothing(value)) {
                return false;
            }
        }
    } else if (json_is_array(node)) {
        std::size_t i;
        json_t* value;
        json_array_foreach(node, i, value) {
            if (!shares_nothing(value)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

TEST(json_shared_nodes, PrintsExactlyWhatAnUnsharedTreePrints) {
    for (unsigned entries : {1u, 10u, 2000u}) {
        SCOPED_TRACE(entries);
        Variant const doc = repetitive_document(entries);
        json_t* tree = toJansson(doc);
        ASSERT_NE(tree, nullptr);
        EXPECT_TRUE(shares_nothing(tree));
        EXPECT_EQ(doc.toJson(), printed(tree, 0x3A20));
        EXPECT_EQ(doc.prettyPrintJson(), printed(tree, 0x284));
        json_decref(tree);
    }
}

TEST(json_shared_nodes, RepeatedValuesKeepTheirOwnText) {
    Variant::vector_type list;
    for (int i = 0; i < 300; ++i) {
        list.push_back(i % 2 == 0 ? Variant(0.0) : Variant(-0.0));
        list.push_back(i % 2 == 0 ? Variant(7) : Variant(7.0));
        list.push_back(Variant::map_type{{"v", i % 2 == 0 ? Variant(0.0) : Variant(-0.0)}});
    }
    std::string const text = Variant(list).toJson();
    EXPECT_EQ(text.substr(0, 58),
              "[0.0,7,{\"v\":0.0},-0.0,7.0,{\"v\":-0.0},0.0,7,{\"v\":0.0},-0.0,");
    EXPECT_EQ(Variant::fromJson(text), Variant(list));
}
