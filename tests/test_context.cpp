// The operation context: setters, inheritance of settings, optional qualities.

#include <tolvi/context.hpp>

#include <gtest/gtest.h>

namespace tv = korvax::tolvi;

namespace {

tv::source_type_t const from_cloud = 7;

// A context whose every field differs from what any setter writes.
tv::impl_base dirty_context() {
    static int payload;
    static tv::data_t doc;
    tv::impl_base c{};
    c.other = &payload;
    c.value = &payload;
    c.data = &doc;
    c.top_level = &doc;
    c.source_type = &from_cloud;
    c.op_mode = tv::serialize_to_json;
    c.patch = true;
    c.extra_flag = true;
    return c;
}

} // namespace

TEST(Context, UnspecifiedSourceTypeIsAZeroByteConstant) {
    EXPECT_EQ(tv::_ac::source_type::unspecified, 0);
}

TEST(Context, SetOperationStartsARootOperation) {
    tv::impl_base c = dirty_context();
    void const* const other = c.other;
    void* const value = c.value;
    tv::data_t* const data = c.data;
    tv::data_t top;
    c.set_operation(tv::deserialize_from_json, &top);
    EXPECT_EQ(c.top_level, &top);
    EXPECT_EQ(c.source_type, &tv::_ac::source_type::unspecified);
    EXPECT_EQ(c.op_mode, tv::deserialize_from_json);
    EXPECT_FALSE(c.patch);
    EXPECT_FALSE(c.extra_flag);
    // The data pointers are set_data's business only.
    EXPECT_EQ(c.other, other);
    EXPECT_EQ(c.value, value);
    EXPECT_EQ(c.data, data);
}

TEST(Context, SetSourceTypeFallsBackToUnspecified) {
    tv::impl_base c = dirty_context();
    c.set_source_type(&from_cloud);
    EXPECT_EQ(c.source_type, &from_cloud);
    c.set_source_type(nullptr);
    EXPECT_EQ(c.source_type, &tv::_ac::source_type::unspecified);
    EXPECT_TRUE(c.patch);
    EXPECT_EQ(c.op_mode, tv::serialize_to_json);
}

TEST(Context, ChildInheritsEachSettingSeparately) {
    struct flags {
        bool patch, extra;
    };
    for (flags f :
         {flags{false, false}, flags{true, false}, flags{false, true}, flags{true, true}}) {
        tv::data_t top;
        tv::impl_base parent{};
        parent.set_operation(tv::compare, &top);
        parent.set_source_type(&from_cloud);
        parent.patch = f.patch;
        parent.extra_flag = f.extra;

        tv::impl_base child = dirty_context();
        child.patch = !f.patch;
        child.extra_flag = !f.extra;
        void const* const other = child.other;
        void* const value = child.value;
        tv::data_t* const data = child.data;
        child.set_operation(parent);
        EXPECT_EQ(child.top_level, &top);
        EXPECT_EQ(child.source_type, &from_cloud);
        EXPECT_EQ(child.op_mode, tv::compare);
        EXPECT_EQ(child.patch, f.patch);
        EXPECT_EQ(child.extra_flag, f.extra);
        EXPECT_EQ(child.other, other);
        EXPECT_EQ(child.value, value);
        EXPECT_EQ(child.data, data);
    }
}

TEST(Context, SetDataTouchesOnlyTheDataPointers) {
    tv::impl_base c = dirty_context();
    tv::data_t const* const top = c.top_level;
    int a = 0, b = 0;
    tv::data_t d;
    c.set_data(&a, &b, &d);
    EXPECT_EQ(c.other, &a);
    EXPECT_EQ(c.value, &b);
    EXPECT_EQ(c.data, &d);
    EXPECT_EQ(c.top_level, top);
    EXPECT_EQ(c.source_type, &from_cloud);
    EXPECT_EQ(c.op_mode, tv::serialize_to_json);
    EXPECT_TRUE(c.patch);
    EXPECT_TRUE(c.extra_flag);
}

TEST(Context, OptionalQuality) {
    EXPECT_EQ(tv::detail::get_optional_quality(false, false), tv::unprovided);
    EXPECT_EQ(tv::detail::get_optional_quality(false, true), tv::unprovided);
    EXPECT_EQ(tv::detail::get_optional_quality(true, false), tv::disengaged);
    EXPECT_EQ(tv::detail::get_optional_quality(true, true), tv::engaged);
}
