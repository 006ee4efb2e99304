// The framework's exceptions: composed messages, fixed texts and throw_one(). The type mismatch
// message is checked with the opaque block comparisons that throw it.

#include <tuple>

#include "codec_driver.hpp"

TEST(Errors, Messages) {
    tv::data_t const top(tolvi_test::json(R"({"a":1})")), el(Variant("x"));
    std::tuple<tv::data_t const*, tv::data_t const*, char const*, char const*> const rows[] = {
        {nullptr, nullptr, nullptr, ""},
        {nullptr, &el, nullptr, R"(; element `"x"`)"},
        {&top, &top, nullptr, R"(; top-level: {"a":1})"},
        {&top, &el, "n", R"(; attribute "n" element `"x"` top-level: {"a":1})"},
        {&top, &top, "n", R"(; attribute "n" top-level: {"a":1})"}};
    for (auto const& [t, element, attribute, rest] : rows) {
        EXPECT_BAD_SOURCE(throw tv::bad_deserialization_source(t, element, attribute), rest);
    }
    EXPECT_THROW_MSG(tv::missing_value::throw_one(), tv::missing_value,
                     "attempted to use a non-provided tolvi::required or tolvi::optional variable");
    EXPECT_THROW_MSG(tv::disengaged_value::throw_one(), tv::disengaged_value,
                     "attempted to use a disengaged tolvi::optional variable");
}
