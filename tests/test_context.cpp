// The operation context: setters, inheritance of settings, optional qualities.

#include <tuple>

#include "codec_driver.hpp"

namespace {

auto fields(tv::impl_base const& c) {
    return std::make_tuple(c.other, c.value, c.data, c.top_level, c.source_type, c.op_mode, c.patch,
                           c.extra_flag);
}

} // namespace

TEST(Context, SettersTouchOnlyTheirFieldsAndOptionalQuality) {
    static tv::source_type_t const cloud = 7;
    tv::source_type_t const* const unspecified = &tv::_ac::source_type::unspecified;
    tv::data_t doc, top;
    int x = 0;
    // Every field differs from what any setter writes.
    tv::impl_base const dirty{&x, &x, &doc, &doc, &cloud, tv::serialize_to_json, true, true};
    tv::impl_base c = dirty;
    c.set_operation(tv::deserialize_from_json, &top);
    EXPECT_EQ(fields(c),
              fields({&x, &x, &doc, &top, unspecified, tv::deserialize_from_json, 0, 0}));
    c = dirty;
    c.set_source_type(nullptr);
    EXPECT_EQ(fields(c), fields({&x, &x, &doc, &doc, unspecified, tv::serialize_to_json, 1, 1}));
    c.set_source_type(&cloud);
    EXPECT_EQ(fields(c), fields(dirty));
    for (int flags = 0; flags < 4; ++flags) { // patch and extra_flag are copied each on its own
        bool const patch = flags & 1, extra = flags & 2;
        c = dirty;
        c.patch = !patch;
        c.extra_flag = !extra;
        c.set_operation(
            tv::impl_base{nullptr, nullptr, nullptr, &top, &cloud, tv::compare, patch, extra});
        EXPECT_EQ(fields(c), fields({&x, &x, &doc, &top, &cloud, tv::compare, patch, extra}));
    }
    EXPECT_EQ(tv::detail::get_optional_quality(false, false), tv::unprovided);
    EXPECT_EQ(tv::detail::get_optional_quality(false, true), tv::unprovided);
    EXPECT_EQ(tv::detail::get_optional_quality(true, false), tv::disengaged);
    EXPECT_EQ(tv::detail::get_optional_quality(true, true), tv::engaged);
}
