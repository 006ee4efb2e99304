// Scalar codecs: bool, the ten integer widths, double with its epsilon.

#include <tolvi/codecs.hpp>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "codec_driver.hpp"
#include "test_support.hpp"

namespace tv = korvax::tolvi;
using tolvi_test::compare;
using tolvi_test::run;

namespace {

template <class T>
class IntegerCodec : public ::testing::Test {};

using IntegerTypes =
    ::testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                     unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(IntegerCodec, IntegerTypes);

// The Integer a value of T is written as: sign-extended or zero-extended, 64-bit values as bits.
template <class T>
std::int64_t widened(T v) {
    if (std::is_signed<T>::value) {
        return static_cast<std::int64_t>(v);
    }
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(v));
}

} // namespace

TYPED_TEST(IntegerCodec, EdgesTravelBothWays) {
    using T = TypeParam;
    for (T edge : {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(0)}) {
        Variant src(widened(edge));
        T out = edge == 0 ? T(1) : T(0);
        run<tv::impl<T>>(tv::deserialize_from_json, &out, &src, &src);
        EXPECT_EQ(out, edge);

        Variant back("to be replaced");
        run<tv::impl<T>>(tv::serialize_to_json, &out, &back);
        ASSERT_EQ(back.type, Variant::Integer);
        EXPECT_EQ(back.value.intValue, widened(edge));
    }
}

TYPED_TEST(IntegerCodec, RejectsOutsideItsOwnWidth) {
    using T = TypeParam;
    if constexpr (sizeof(T) < sizeof(std::int64_t)) {
        for (std::int64_t outside :
             {static_cast<std::int64_t>(std::numeric_limits<T>::min()) - 1,
              static_cast<std::int64_t>(std::numeric_limits<T>::max()) + 1}) {
            Variant src(outside);
            T out = 5;
            EXPECT_THROW_MSG(run<tv::impl<T>>(tv::deserialize_from_json, &out, &src, &src),
                             tv::bad_deserialization_source,
                             "bad source provided for deserialization; top-level: " +
                                 std::to_string(outside));
            EXPECT_EQ(out, T(5));
        }
    } else {
        // A 64-bit T takes every Integer.
        for (std::int64_t any : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1},
                                 std::numeric_limits<std::int64_t>::max()}) {
            Variant src(any);
            T out = 5;
            run<tv::impl<T>>(tv::deserialize_from_json, &out, &src, &src);
            EXPECT_EQ(out, static_cast<T>(any));
        }
    }
}

TYPED_TEST(IntegerCodec, AcceptsNothingButInteger) {
    using T = TypeParam;
    for (Variant const& src : {Variant(3.0), Variant(true), Variant("3"), Variant(),
                               Variant(Variant::vector_type{Variant(3)})}) {
        Variant doc(Variant::map_type{{"n", src}});
        Variant& member = doc[std::string("n")];
        T out = 7;
        EXPECT_THROW_MSG(run<tv::impl<T>>(tv::deserialize_from_json, &out, &member, &doc),
                         tv::bad_deserialization_source,
                         "bad source provided for deserialization; element `" + src.toJson() +
                             "` top-level: " + doc.toJson());
        EXPECT_EQ(out, T(7));
    }
}

TYPED_TEST(IntegerCodec, CompareOnlyEverClearsTheFlag) {
    using T = TypeParam;
    T const lo = std::numeric_limits<T>::min();
    T const hi = std::numeric_limits<T>::max();
    EXPECT_TRUE(compare<tv::impl<T>>(hi, hi));
    EXPECT_FALSE(compare<tv::impl<T>>(lo, hi));
    EXPECT_FALSE(compare<tv::impl<T>>(hi, hi, false));
}

TYPED_TEST(IntegerCodec, OtherModesDoNothing) {
    using T = TypeParam;
    for (tv::mode m : {tv::collect_attr_names, static_cast<tv::mode>(9)}) {
        Variant data(42);
        T v = 3;
        run<tv::impl<T>>(m, &v, &data);
        EXPECT_EQ(v, T(3));
        EXPECT_EQ(data, Variant(42));
    }
}

TEST(IntegerCodec, LongFollowsItsRealWidth) {
    Variant above_i32(std::int64_t{1} << 31);
    Variant above_u32(std::int64_t{1} << 32);
    long l = 0;
    unsigned long ul = 0;
    if (sizeof(long) == 8) {
        run<tv::impl<long>>(tv::deserialize_from_json, &l, &above_i32);
        EXPECT_EQ(static_cast<std::int64_t>(l), std::int64_t{1} << 31);
        run<tv::impl<unsigned long>>(tv::deserialize_from_json, &ul, &above_u32);
        EXPECT_EQ(static_cast<std::uint64_t>(ul), std::uint64_t{1} << 32);
    } else {
        EXPECT_THROW(run<tv::impl<long>>(tv::deserialize_from_json, &l, &above_i32),
                     tv::bad_deserialization_source);
        EXPECT_THROW(run<tv::impl<unsigned long>>(tv::deserialize_from_json, &ul, &above_u32),
                     tv::bad_deserialization_source);
    }
}

TEST(IntegerCodec, UnsignedLongLongKeepsItsBits) {
    Variant src(-1);
    unsigned long long v = 0;
    run<tv::impl<unsigned long long>>(tv::deserialize_from_json, &v, &src);
    EXPECT_EQ(v, 18446744073709551615ULL);
    Variant out;
    run<tv::impl<unsigned long long>>(tv::serialize_to_json, &v, &out);
    EXPECT_EQ(out, Variant(-1));

    // Narrower unsigned types widen without a sign.
    unsigned int u = 4294967295U;
    run<tv::impl<unsigned int>>(tv::serialize_to_json, &u, &out);
    EXPECT_EQ(out, Variant(4294967295LL));
    signed char s = -1;
    run<tv::impl<signed char>>(tv::serialize_to_json, &s, &out);
    EXPECT_EQ(out, Variant(-1));
}

TEST(IntegerCodec, FromStringCutsNarrowTypes) {
    EXPECT_EQ(tv::impl<unsigned char>::scalar_from_string("300"), 44);
    EXPECT_EQ(tv::impl<signed char>::scalar_from_string("200"), -56);
    EXPECT_EQ(tv::impl<unsigned short>::scalar_from_string("-1"), 65535);
    EXPECT_EQ(tv::impl<short>::scalar_from_string("70000"), 4464);
    EXPECT_EQ(tv::impl<int>::scalar_from_string(" -2147483648"), -2147483647 - 1);
    EXPECT_EQ(tv::impl<unsigned int>::scalar_from_string("4294967295"), 4294967295U);
    EXPECT_EQ(tv::impl<unsigned int>::scalar_from_string("-1"), 4294967295U);
    EXPECT_EQ(tv::impl<long long>::scalar_from_string("-9223372036854775808"),
              std::numeric_limits<long long>::min());
    EXPECT_EQ(tv::impl<unsigned long long>::scalar_from_string("18446744073709551615"),
              std::numeric_limits<unsigned long long>::max());
    EXPECT_EQ(tv::impl<int>::scalar_from_string("12abc"), 12);
}

TEST(IntegerCodec, FromStringPassesConversionErrors) {
    EXPECT_THROW(tv::impl<int>::scalar_from_string("abc"), std::invalid_argument);
    EXPECT_THROW(tv::impl<unsigned char>::scalar_from_string(""), std::invalid_argument);
    EXPECT_THROW(tv::impl<int>::scalar_from_string("2147483648"), std::out_of_range);
    // Same on every target: the number does not fit a 32-bit unsigned.
    EXPECT_THROW(tv::impl<unsigned int>::scalar_from_string("4294967296"), std::out_of_range);
    EXPECT_THROW(tv::impl<unsigned int>::scalar_from_string("-4294967296"), std::out_of_range);
    EXPECT_THROW(tv::impl<long long>::scalar_from_string("9223372036854775808"), std::out_of_range);
    if (sizeof(long) == 4) {
        EXPECT_THROW(tv::impl<long>::scalar_from_string("2147483648"), std::out_of_range);
    } else {
        EXPECT_EQ(tv::impl<long>::scalar_from_string("2147483648"), 2147483648L);
    }
}

TEST(IntegerCodec, ToStringPrintsNumbersNotCharacters) {
    EXPECT_EQ(tv::impl<signed char>::scalar_to_string(-5), "-5");
    EXPECT_EQ(tv::impl<unsigned char>::scalar_to_string(200), "200");
    EXPECT_EQ(tv::impl<unsigned short>::scalar_to_string(65535), "65535");
    EXPECT_EQ(tv::impl<unsigned int>::scalar_to_string(4294967295U), "4294967295");
    EXPECT_EQ(tv::impl<long long>::scalar_to_string(std::numeric_limits<long long>::min()),
              "-9223372036854775808");
    EXPECT_EQ(tv::impl<unsigned long long>::scalar_to_string(18446744073709551615ULL),
              "18446744073709551615");
}

TEST(BoolCodec, OnlyBooleansAreBools) {
    for (bool b : {false, true}) {
        bool v = b;
        Variant out(5);
        run<tv::impl<bool>>(tv::serialize_to_json, &v, &out);
        EXPECT_EQ(out, Variant(b));
        bool back = !b;
        run<tv::impl<bool>>(tv::deserialize_from_json, &back, &out);
        EXPECT_EQ(back, b);
    }
    for (Variant src : {Variant(1), Variant(0), Variant("true"), Variant()}) {
        bool v = true;
        EXPECT_THROW_MSG(run<tv::impl<bool>>(tv::deserialize_from_json, &v, &src, &src),
                         tv::bad_deserialization_source,
                         "bad source provided for deserialization; top-level: " + src.toJson());
        EXPECT_TRUE(v);
    }
    EXPECT_TRUE(compare<tv::impl<bool>>(true, true));
    EXPECT_FALSE(compare<tv::impl<bool>>(true, false));
    EXPECT_FALSE(compare<tv::impl<bool>>(false, false, false));
}

TEST(DoubleCodec, EpsilonSnapsOnlyStrictlyInside) {
    ASSERT_EQ(tv::impl<double>::epsilon, 1e-08);
    struct row {
        double in, out;
    };
    for (row r : {row{5e-09, 0.0}, row{-5e-09, 0.0}, row{-0.0, 0.0}, row{1e-08, 1e-08},
                  row{-1e-08, -1e-08}, row{2.5, 2.5}}) {
        double v = r.in;
        Variant out("old");
        run<tv::impl<double>>(tv::serialize_to_json, &v, &out);
        ASSERT_EQ(out.type, Variant::Double);
        EXPECT_EQ(out.value.doubleValue, r.out) << r.in;
        EXPECT_FALSE(std::signbit(out.value.doubleValue) && r.out == 0.0) << r.in;
        EXPECT_EQ(v, r.in) << "the application value stays as it was";
    }
    double nan = std::nan("");
    Variant out;
    run<tv::impl<double>>(tv::serialize_to_json, &nan, &out);
    ASSERT_EQ(out.type, Variant::Double);
    EXPECT_TRUE(std::isnan(out.value.doubleValue));
}

TEST(DoubleCodec, EpsilonIsReadAtEveryCall) {
    double const saved = tv::impl<double>::epsilon;
    tv::impl<double>::epsilon = 0.5;
    double v = -0.25;
    Variant out;
    run<tv::impl<double>>(tv::serialize_to_json, &v, &out);
    tv::impl<double>::epsilon = saved;
    EXPECT_EQ(out, Variant(0.0));
    run<tv::impl<double>>(tv::serialize_to_json, &v, &out);
    EXPECT_EQ(out, Variant(-0.25));
}

TEST(DoubleCodec, DeserializesNumbersOnly) {
    Variant i(3);
    double v = 0;
    run<tv::impl<double>>(tv::deserialize_from_json, &v, &i);
    EXPECT_EQ(v, 3.0);
    Variant d(-2.5);
    run<tv::impl<double>>(tv::deserialize_from_json, &v, &d);
    EXPECT_EQ(v, -2.5);
    for (Variant src : {Variant(true), Variant("1.5"), Variant()}) {
        EXPECT_THROW_MSG(run<tv::impl<double>>(tv::deserialize_from_json, &v, &src),
                         tv::bad_deserialization_source,
                         "bad source provided for deserialization; element `" + src.toJson() + "`");
        EXPECT_EQ(v, -2.5);
    }
}

TEST(DoubleCodec, CompareIsExact) {
    double const nan = std::nan("");
    EXPECT_FALSE(compare<tv::impl<double>>(nan, nan));
    EXPECT_FALSE(compare<tv::impl<double>>(0.0, 1e-09));
    EXPECT_TRUE(compare<tv::impl<double>>(0.0, -0.0));
    EXPECT_TRUE(compare<tv::impl<double>>(1.5, 1.5));
    EXPECT_FALSE(compare<tv::impl<double>>(1.5, 1.5, false));
}
