// Scalar codecs: bool, the ten integer widths, double with its epsilon.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "codec_driver.hpp"

using namespace tolvi_test;

namespace {

template <class T>
class IntegerCodec : public ::testing::Test {};
using IntegerTypes =
    ::testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                     unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(IntegerCodec, IntegerTypes);

} // namespace

// numeric_limits of the real type: `long` is checked at its own width on every target. The
// conversion to int64_t sign-extends signed and zero-extends unsigned types, and keeps the bits
// of an unsigned long long: its max travels as Integer -1, both ways.
TYPED_TEST(IntegerCodec, RangeEdgesRefusalsAndCompare) {
    using T = TypeParam;
    T const lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    for (T edge : {lo, hi, T(0)}) {
        Variant src(static_cast<std::int64_t>(edge)), back("to be replaced");
        T out = edge == 0 ? T(1) : T(0);
        run<tv::impl<T>>(tv::deserialize_from_json, &out, &src);
        run<tv::impl<T>>(tv::serialize_to_json, &out, &back);
        EXPECT_EQ(+out, +edge);
        EXPECT_EQ(back, src);
    }
    std::vector<Variant> refused{Variant(3.0), Variant(true), Variant("3"), Variant(),
                                 Variant(Variant::vector_type{Variant(3)})};
    if constexpr (sizeof(T) < sizeof(std::int64_t)) {
        refused.emplace_back(static_cast<std::int64_t>(lo) - 1);
        refused.emplace_back(static_cast<std::int64_t>(hi) + 1);
    }
    expect_refused(T(7), refused);
    EXPECT_TRUE(compare<tv::impl<T>>(hi, hi));
    EXPECT_FALSE(compare<tv::impl<T>>(lo, hi));
    EXPECT_FALSE(compare<tv::impl<T>>(hi, hi, false));
}

TEST(IntegerCodec, TextConversions) {
    // The narrow types are cut to their width.
    EXPECT_EQ(tv::impl<unsigned char>::scalar_from_string("300"), 44);
    EXPECT_EQ(tv::impl<signed char>::scalar_from_string("200"), -56);
    EXPECT_EQ(tv::impl<unsigned short>::scalar_from_string("-1"), 65535);
    EXPECT_EQ(tv::impl<unsigned int>::scalar_from_string("4294967295"), 4294967295U);
    EXPECT_EQ(tv::impl<unsigned int>::scalar_from_string(" -1"), 4294967295U);
    EXPECT_EQ(tv::impl<long long>::scalar_from_string("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(tv::impl<unsigned long long>::scalar_from_string("18446744073709551615"), UINT64_MAX);
    EXPECT_THROW(tv::impl<int>::scalar_from_string("abc"), std::invalid_argument);
    // A 32-bit stoul's limits, also where long is 64 bits wide.
    EXPECT_THROW(tv::impl<unsigned int>::scalar_from_string("4294967296"), std::out_of_range);
    EXPECT_THROW(tv::impl<unsigned int>::scalar_from_string("-4294967296"), std::out_of_range);
    EXPECT_EQ(tv::impl<signed char>::scalar_to_string(-5), "-5");
}

TEST(BoolAndDoubleCodecs, OnlyTheirJsonTypesAndExactCompare) {
    expect_refused(true, {Variant(1), Variant(0), Variant("true"), Variant()});
    EXPECT_FALSE(compare<tv::impl<bool>>(true, false));
    EXPECT_FALSE(compare<tv::impl<bool>>(false, false, false));
    // Values strictly inside (-epsilon, epsilon) are written as 0.0, read anew at every call.
    ASSERT_EQ(tv::impl<double>::epsilon, 1e-08);
    double const nan = std::nan("");
    std::pair<double, double> const cases[] = {{5e-09, 0.0},   {-5e-09, 0.0},    {-0.0, 0.0},
                                               {1e-08, 1e-08}, {-1e-08, -1e-08}, {nan, nan}};
    for (auto [in, want] : cases) {
        Variant out("old");
        run<tv::impl<double>>(tv::serialize_to_json, &in, &out);
        ASSERT_EQ(out.type, Variant::Double);
        EXPECT_EQ(std::memcmp(&out.value.doubleValue, &want, sizeof want), 0) << in; // sign too
    }
    tv::impl<double>::epsilon = 0.5;
    double v = -0.25;
    Variant out, three(3);
    run<tv::impl<double>>(tv::serialize_to_json, &v, &out);
    tv::impl<double>::epsilon = 1e-08;
    run<tv::impl<double>>(tv::deserialize_from_json, &v, &three);
    EXPECT_EQ(out, Variant(0.0));
    EXPECT_EQ(v, 3.0);
    expect_refused(2.5, {Variant(true), Variant("1.5"), Variant()});
    EXPECT_FALSE(compare<tv::impl<double>>(nan, nan));
    EXPECT_FALSE(compare<tv::impl<double>>(0.0, 1e-09));
    EXPECT_TRUE(compare<tv::impl<double>>(0.0, -0.0));
    EXPECT_FALSE(compare<tv::impl<double>>(1.5, 1.5, false));
}
