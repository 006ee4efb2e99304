// Parsing sorts each object's members before building its map, comparing the first eight bytes
// of the keys first, and releases the parsed tree while converting it. Whatever the text order,
// every member must arrive under its own key with its own value.

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tolvi/Variant.hpp>

namespace {

using Map = Variant::map_type;

// Keys that agree in their first eight bytes and differ after, prefixes of one another, bytes
// above 0x7F (which sort after ASCII), upper before lower case, and the empty key.
std::vector<std::string> const tricky_keys = {
    "",
    "a",
    "ab",
    "B",
    "abcdefgh",
    "abcdefgh0",
    "abcdefgh1",
    "abcdefg",
    "abcdefghij",
    "abcdefgi",
    "\xC3\xA4",
    "\xC3\xA4x",
    "zzzzzzzzzzzzzzzz",
    "zzzzzzzz",
    "0",
    "00000000",
    "000000000",
    "~",
    "key 10",
    "key 9",
};

std::string json_key(std::string const& key) {
    return "\"" + key + "\"";
}

TEST(JsonMembers, EveryMemberArrivesWhateverTheTextOrder) {
    std::vector<std::string> keys = tricky_keys;
    std::mt19937 shuffle(42);
    for (int round = 0; round < 20; ++round) {
        std::shuffle(keys.begin(), keys.end(), shuffle);
        // Each member holds its key's position in the text, and an object of its own in which
        // the same keys come in the opposite order: objects inside objects, inside arrays.
        std::string text = "{";
        Map expected;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            std::string inner = "{";
            Map inner_expected;
            for (std::size_t j = keys.size(); j-- > 0;) {
                inner += json_key(keys[j]) + ":" + std::to_string(j) + (j > 0 ? "," : "}");
                inner_expected.emplace(keys[j], Variant(static_cast<int>(j)));
            }
            text += json_key(keys[i]) + ":[" + std::to_string(i) + "," + inner + "]";
            text += i + 1 < keys.size() ? "," : "}";
            expected.emplace(keys[i], Variant::vector_type{Variant(static_cast<int>(i)),
                                                           Variant(std::move(inner_expected))});
        }
        Variant const parsed = Variant::fromJson(text);
        ASSERT_EQ(parsed.type, Variant::Map) << text;
        EXPECT_EQ(parsed, Variant(std::move(expected))) << text;
    }
}

TEST(JsonMembers, LargeShuffledObjectsKeepEveryMember) {
    std::vector<int> order(5000);
    for (int i = 0; i < 5000; ++i) {
        order[static_cast<std::size_t>(i)] = i;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    std::string text = "{";
    for (int i : order) {
        text += (text.size() > 1 ? ",\"k" : "\"k") + std::to_string(i) + "\":" + std::to_string(i);
    }
    text += "}";
    Variant const parsed = Variant::fromJson(text);
    ASSERT_EQ(parsed.type, Variant::Map);
    ASSERT_EQ(parsed.value.mapValue->size(), 5000u);
    for (int i = 0; i < 5000; ++i) {
        EXPECT_EQ(parsed.get("k" + std::to_string(i)), Variant(i));
    }
    // The compact form reads back as the same value.
    EXPECT_EQ(Variant::fromJson(parsed.toJson()), parsed);
}

} // namespace
