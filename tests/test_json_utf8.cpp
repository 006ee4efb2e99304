// Printing checks text for UTF-8 itself before handing it to Jansson's unchecked constructors:
// it must accept and refuse exactly what Jansson's own check does, in values and in keys, at
// every position relative to its eight-byte ASCII steps.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tolvi/Variant.hpp>

namespace {

using Map = Variant::map_type;

// The first and last of each length, both sides of the surrogates, U+10FFFF.
std::vector<std::string> const valid = {
    "plain text",   "\x7F",         "\xC2\x80",     "\xDF\xBF",         "\xE0\xA0\x80",
    "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"};
// Lone continuations, overlong forms, a surrogate, past U+10FFFF; leads F5 and FF, ASCII or "("
// after a lead, and sequences cut short.
std::vector<std::string> const invalid[] = {
    {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
     "\xF4\x90\x80\x80"},
    {"\xF5\x80\x80\x80", "\xFF", "\xC2\x41", "\xE2\x82\x28", "\xF0\x90\x80\x28", "\xC3", "\xE2\x82",
     "\xF0\x90\x80"}};

// The sample after 0 to 9 ASCII bytes and before 0 or 9 more: inside, at and across the edges of
// the eight-byte steps.
template <class Check>
void everyPlacement(Check check) {
    for (int list = 0; list < 3; ++list) {
        bool const ok = list == 0;
        for (std::string const& bytes : ok ? valid : invalid[list - 1]) {
            for (std::size_t before = 0; before <= 9; ++before) {
                for (std::size_t after : {0, 9}) {
                    std::string const text =
                        std::string(before, 'a') + bytes + std::string(after, 'z');
                    SCOPED_TRACE(::testing::PrintToString(bytes) + ", " + std::to_string(before) +
                                 " before, " + std::to_string(after) + " after");
                    check(text, ok);
                }
            }
        }
    }
}

TEST(JsonUtf8, ValuesAndKeysArePrintedExactlyWhenValid) {
    everyPlacement([](std::string const& text, bool valid) {
        std::string const quoted = "\"" + text + "\"";
        EXPECT_EQ(Variant(text).toJson(), valid ? quoted : "");
        // The space sorts before every sample.
        Variant const v(Map{{text, Variant(text)}, {" ", Variant(2)}});
        EXPECT_EQ(v.toJson(), valid ? "{\" \":2," + quoted + ":" + quoted + "}" : "{\" \":2}");
    });
}

TEST(JsonUtf8, TextEndsAtTheFirstNul) {
    // Whatever follows the NUL, valid or not, is not part of the text Jansson is given; here
    // the NUL lies inside an eight-byte step.
    std::string const value("ab\0cdefghij\xFF", 12);
    std::string const key("k\0\xFF", 3);
    EXPECT_EQ(Variant(value).toJson() + Variant(Map{{key, Variant(value)}}).toJson(),
              R"("ab"{"k":"ab"})");
    // Two keys that agree up to their NUL become one member; the later one in key order wins.
    Variant const twins(
        Map{{std::string("k\0a", 3), Variant(1)}, {std::string("k\0b", 3), Variant(2)}});
    EXPECT_EQ(twins.toJson(), R"({"k":2})");
}

} // namespace
