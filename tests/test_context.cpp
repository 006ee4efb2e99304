// The operation context: setters, inheritance of settings, optional qualities; and the member
// wrappers whose qualities it reads.

#include <tuple>

#include <tolvi/members.hpp>

#include "codec_driver.hpp"

TEST(Context, SettersAndOptionalQualities) {
    auto const fields = [](tv::impl_base const& c) {
        return std::make_tuple(c.other, c.value, c.data, c.top_level, c.source_type, c.op_mode,
                               c.patch, c.extra_flag);
    };
    static tv::source_type_t const cloud = 7;
    tv::source_type_t const* const unspecified = &tv::_ac::source_type::unspecified;
    tv::data_t doc, top;
    int x = 0;
    // Every field differs from what any setter writes; the settings are copied each on its own.
    tv::impl_base const dirty{&x, &x, &doc, &doc, &cloud, tv::serialize_to_json, true, true};
    for (int flags = 0; flags < 4; ++flags) {
        bool const patch = flags & 1, extra = flags & 2;
        tv::impl_base c = dirty;
        c.set_operation(
            tv::impl_base{nullptr, nullptr, nullptr, &top, unspecified, tv::compare, patch, extra});
        EXPECT_EQ(fields(c), fields({&x, &x, &doc, &top, unspecified, tv::compare, patch, extra}));
        c.set_operation(tv::deserialize_from_json, &doc);
        c.set_source_type(nullptr);
        EXPECT_EQ(fields(c),
                  fields({&x, &x, &doc, &doc, unspecified, tv::deserialize_from_json, 0, 0}));
    }
    EXPECT_EQ(tv::detail::get_optional_quality(false, true), tv::unprovided);
    EXPECT_EQ(tv::detail::get_optional_quality(true, false), tv::disengaged);
    tv::optional<int> none(tv::none), unprovided;
    EXPECT_EQ(none.quality(), tv::disengaged);
    EXPECT_EQ(none.value_or(4), 4);
    EXPECT_THROW(none.get(), tv::disengaged_value);
    EXPECT_THROW(unprovided.get(), tv::missing_value);
    tv::required<int> r(3);
    r.clear();
    EXPECT_FALSE(r.provided());
    EXPECT_EQ(tv::optional<int>(2).quality(), tv::engaged);
}
