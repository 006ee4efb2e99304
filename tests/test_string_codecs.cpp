// String codecs: std::string both ways, char const* written and compared only.

#include <tolvi/codecs.hpp>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "codec_driver.hpp"
#include "test_support.hpp"

namespace tv = korvax::tolvi;
using tolvi_test::compare;
using tolvi_test::run;

TEST(StringCodec, TravelsBothWaysWithEveryByte) {
    for (std::string const& text :
         {std::string(), std::string("h\xc3\xa9llo"), std::string("a\0b", 3)}) {
        std::string v = text;
        Variant out(Variant::map_type{{"old", Variant(1)}});
        run<tv::impl<std::string>>(tv::serialize_to_json, &v, &out);
        ASSERT_EQ(out.type, Variant::String);
        EXPECT_EQ(*out.value.stringValue, text);

        std::string back = "previous";
        run<tv::impl<std::string>>(tv::deserialize_from_json, &back, &out);
        EXPECT_EQ(back, text);
    }
}

TEST(StringCodec, RefusesOtherTypesAndKeepsTheString) {
    for (Variant src : {Variant(5), Variant(true), Variant(), Variant(Variant::map_type{})}) {
        std::string v = "kept";
        EXPECT_THROW_MSG(run<tv::impl<std::string>>(tv::deserialize_from_json, &v, &src, &src),
                         tv::bad_deserialization_source,
                         "bad source provided for deserialization; top-level: " + src.toJson());
        EXPECT_EQ(v, "kept");
    }
}

TEST(StringCodec, CompareSeesPastEmbeddedNul) {
    EXPECT_TRUE(compare<tv::impl<std::string>>(std::string("abc"), std::string("abc")));
    EXPECT_FALSE(compare<tv::impl<std::string>>(std::string("a\0b", 3), std::string("a\0c", 3)));
    EXPECT_FALSE(compare<tv::impl<std::string>>(std::string("a"), std::string("a\0", 2)));
    EXPECT_FALSE(compare<tv::impl<std::string>>(std::string("x"), std::string("x"), false));
}

TEST(CharPointerCodec, WritesAndCompares) {
    char const* v = "text";
    Variant out(3);
    run<tv::impl<char const*>>(tv::serialize_to_json, &v, &out);
    EXPECT_EQ(out, Variant("text"));

    // Compared up to the terminating NUL, whatever follows.
    char const a[] = "same\0one";
    char const b[] = "same\0two";
    EXPECT_TRUE(
        compare<tv::impl<char const*>>(static_cast<char const*>(a), static_cast<char const*>(b)));
    EXPECT_FALSE(compare<tv::impl<char const*>>(static_cast<char const*>("ab"),
                                                static_cast<char const*>("abc")));
    EXPECT_FALSE(compare<tv::impl<char const*>>(static_cast<char const*>("ab"),
                                                static_cast<char const*>("ab"), false));
}

TEST(CharPointerCodec, NeverDeserializes) {
    char const* v = "kept";
    Variant src("would fit");
    EXPECT_THROW_MSG(run<tv::impl<char const*>>(tv::deserialize_from_json, &v, &src),
                     std::logic_error,
                     "tolvi::mode::deserialize_from_json unsupported for char const *");
    EXPECT_STREQ(v, "kept");
    // The source is not even looked at.
    EXPECT_THROW(
        run<tv::impl<char const*>>(tv::deserialize_from_json, &v, static_cast<Variant*>(nullptr)),
        std::logic_error);
}
