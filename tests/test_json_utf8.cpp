// Printing checks text for UTF-8 itself before handing it to Jansson's unchecked constructors:
// it must accept and refuse exactly what Jansson's own check does, in values and in keys, at
// every position relative to its eight-byte ASCII steps.

#include <string>

#include <gtest/gtest.h>

#include <tolvi/Variant.hpp>

namespace {

using Map = Variant::map_type;

struct sample {
    char const* name;
    std::string bytes;
    bool valid;
};

sample const samples[] = {
    {"ASCII", "plain text", true},
    {"DEL", "\x7F", true},
    {"two-byte first", "\xC2\x80", true},
    {"two-byte last", "\xDF\xBF", true},
    {"three-byte first", "\xE0\xA0\x80", true},
    {"last before the surrogates", "\xED\x9F\xBF", true},
    {"first after the surrogates", "\xEE\x80\x80", true},
    {"three-byte last", "\xEF\xBF\xBF", true},
    {"four-byte first", "\xF0\x90\x80\x80", true},
    {"U+10FFFF", "\xF4\x8F\xBF\xBF", true},
    {"lone continuation", "\x80", false},
    {"continuation BF", "\xBF", false},
    {"overlong C0", "\xC0\x80", false},
    {"overlong C1", "\xC1\xBF", false},
    {"overlong three-byte", "\xE0\x9F\xBF", false},
    {"surrogate", "\xED\xA0\x80", false},
    {"overlong four-byte", "\xF0\x8F\xBF\xBF", false},
    {"past U+10FFFF", "\xF4\x90\x80\x80", false},
    {"lead F5", "\xF5\x80\x80\x80", false},
    {"lead FF", "\xFF", false},
    {"ASCII after a lead", "\xC2\x41", false},
    {"bad third byte", "\xE2\x82\x28", false},
    {"bad fourth byte", "\xF0\x90\x80\x28", false},
    {"cut two-byte", "\xC3", false},
    {"cut three-byte", "\xE2\x82", false},
    {"cut four-byte", "\xF0\x90\x80", false},
};

// The sample after 0 to 9 ASCII bytes and before 0 or 9 more: inside, at and across the edges of
// the eight-byte steps.
template <class Check>
void everyPlacement(Check check) {
    for (sample const& s : samples) {
        for (std::size_t before = 0; before <= 9; ++before) {
            for (std::size_t after : {0, 9}) {
                std::string const text =
                    std::string(before, 'a') + s.bytes + std::string(after, 'z');
                SCOPED_TRACE(std::string(s.name) + ", " + std::to_string(before) + " before, " +
                             std::to_string(after) + " after");
                check(text, s.valid);
            }
        }
    }
}

TEST(JsonUtf8, ValuesArePrintedExactlyWhenValid) {
    everyPlacement([](std::string const& text, bool valid) {
        EXPECT_EQ(Variant(text).toJson(), valid ? "\"" + text + "\"" : "");
        EXPECT_EQ(Variant(Map{{"k", Variant(text)}}).toJson(),
                  valid ? "{\"k\":\"" + text + "\"}" : "{}");
    });
}

TEST(JsonUtf8, KeysArePrintedExactlyWhenValid) {
    everyPlacement([](std::string const& text, bool valid) {
        // The space sorts before every sample.
        Variant const v(Map{{text, Variant(1)}, {" ", Variant(2)}});
        EXPECT_EQ(v.toJson(), valid ? "{\" \":2,\"" + text + "\":1}" : "{\" \":2}");
        EXPECT_EQ(v.prettyPrintJson(),
                  valid ? "{\n    \" \": 2,\n    \"" + text + "\": 1\n}" : "{\n    \" \": 2\n}");
    });
}

TEST(JsonUtf8, TextEndsAtTheFirstNul) {
    // Whatever follows the NUL, valid or not, is not part of the text Jansson is given.
    std::string const value("ab\0\xFF", 4);
    std::string const key("k\0\xFF", 3);
    EXPECT_EQ(Variant(value).toJson(), "\"ab\"");
    EXPECT_EQ(Variant(Map{{key, Variant(value)}}).toJson(), R"({"k":"ab"})");
    // Two keys that agree up to their NUL become one member; the later one in key order wins.
    Variant const twins(
        Map{{std::string("k\0a", 3), Variant(1)}, {std::string("k\0b", 3), Variant(2)}});
    EXPECT_EQ(twins.toJson(), R"({"k":2})");
}

TEST(JsonUtf8, LargeDocumentsPrintWhole) {
    // Printing appends piece by piece; a document of several megabytes comes back equal.
    Variant::vector_type list;
    for (int i = 0; i < 100000; ++i) {
        list.emplace_back(
            Map{{"id", Variant(i)}, {"name", Variant("n\xC3\xA4me " + std::to_string(i))}});
    }
    Variant const v(std::move(list));
    std::string const compact = v.toJson();
    std::string const pretty = v.prettyPrintJson();
    EXPECT_GT(compact.size(), 3000000u);
    EXPECT_EQ(Variant::fromJson(compact), v);
    EXPECT_EQ(Variant::fromJson(pretty), v);
}

} // namespace
