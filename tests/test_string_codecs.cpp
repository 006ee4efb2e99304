// String codecs: std::string both ways, char const* written and compared only.

#include "codec_driver.hpp"

using namespace tolvi_test;

TEST(StringCodec, EveryByteBothWaysAndNothingElse) {
    using s = std::string;
    for (s const& text : {s(), s("h\xc3\xa9llo"), s("a\0b", 3)}) {
        s v = text, back = "previous";
        Variant out(Variant::map_type{{"old", Variant(1)}});
        run<tv::impl<s>>(tv::serialize_to_json, &v, &out);
        run<tv::impl<s>>(tv::deserialize_from_json, &back, &out);
        EXPECT_EQ(out, Variant(text));
        EXPECT_EQ(back, text);
    }
    expect_refused(s("kept"), {Variant(5), Variant(true), Variant(), Variant(Variant::map_type{})});
    EXPECT_TRUE(compare<tv::impl<s>>(s("abc"), s("abc")));
    EXPECT_FALSE(compare<tv::impl<s>>(s("a\0b", 3), s("a\0c", 3)));
    EXPECT_FALSE(compare<tv::impl<s>>(s("x"), s("x"), false));
}

TEST(CharPointerCodec, WritesAndComparesButNeverReads) {
    using text = char const*;
    text v = "kept";
    Variant out(3);
    run<tv::impl<text>>(tv::serialize_to_json, &v, &out);
    EXPECT_EQ(out, Variant("kept"));
    // Compared up to the terminating NUL, whatever follows.
    EXPECT_TRUE(compare<tv::impl<text>>(text("same\0one"), text("same\0two")));
    EXPECT_FALSE(compare<tv::impl<text>>(text("ab"), text("abc")));
    // Refused without looking at the source; other modes touch nothing, not even the value.
    EXPECT_THROW_MSG(run<tv::impl<text>>(tv::deserialize_from_json, &v, nullptr), std::logic_error,
                     "tolvi::mode::deserialize_from_json unsupported for char const *");
    run<tv::impl<text>>(tv::collect_attr_names, static_cast<text*>(nullptr), nullptr);
}
