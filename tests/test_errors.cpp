// The framework's exceptions: composed messages, fixed texts and throw_one().

#include <tolvi/errors.hpp>

#include <exception>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace tv = korvax::tolvi;

TEST(Errors, BadSourceMessageShapes) {
    tv::data_t const top(Variant::map_type{{"a", Variant(1)}});
    tv::data_t const element(Variant("x"));
    std::string const prefix = "bad source provided for deserialization";
    struct row {
        tv::data_t const* top;
        tv::data_t const* element;
        char const* attribute;
        std::string message;
    };
    row const rows[] = {
        {nullptr, nullptr, nullptr, prefix},
        {nullptr, nullptr, "name", prefix + "; attribute \"name\""},
        {nullptr, nullptr, "", prefix + "; attribute \"\""},
        {nullptr, &element, nullptr, prefix + "; element `\"x\"`"},
        {&top, nullptr, nullptr, prefix + "; top-level: {\"a\":1}"},
        {&top, &top, nullptr, prefix + "; top-level: {\"a\":1}"},
        {&top, &element, nullptr, prefix + "; element `\"x\"` top-level: {\"a\":1}"},
        {&top, &element, "n", prefix + "; attribute \"n\" element `\"x\"` top-level: {\"a\":1}"},
        {&top, &top, "n", prefix + "; attribute \"n\" top-level: {\"a\":1}"},
    };
    for (row const& r : rows) {
        tv::bad_deserialization_source const e(r.top, r.element, r.attribute);
        EXPECT_EQ(std::string(e.what()), r.message);
    }
}

TEST(Errors, BadSourceFromTextKeepsIt) {
    tv::bad_deserialization_source const e(std::string("as given"));
    EXPECT_STREQ(e.what(), "as given");
}

TEST(Errors, JsonTypeMismatchMessage) {
    tv::json_type_mismatch const e("Number", "String");
    EXPECT_STREQ(e.what(), "requested JSON type: Number; actual JSON type: String");
    std::runtime_error const& base = e;
    EXPECT_STREQ(base.what(), e.what());
}

TEST(Errors, ThrowOneThrowsExactlyItsClass) {
    EXPECT_THROW_MSG(tv::missing_value::throw_one(), tv::missing_value,
                     "attempted to use a non-provided tolvi::required or tolvi::optional variable");
    EXPECT_THROW_MSG(tv::disengaged_value::throw_one(), tv::disengaged_value,
                     "attempted to use a disengaged tolvi::optional variable");

    // Catchable as std::exception, but not runtime errors.
    auto category = [](void (*thrower)()) {
        try {
            thrower();
        } catch (std::runtime_error const&) {
            return "runtime_error";
        } catch (std::exception const&) {
            return "exception";
        }
        return "none";
    };
    EXPECT_STREQ(category(&tv::missing_value::throw_one), "exception");
    EXPECT_STREQ(category(&tv::disengaged_value::throw_one), "exception");
}
