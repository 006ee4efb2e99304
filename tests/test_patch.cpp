// Patches both ways: reading with patch leaves absent members alone, writing with patch keeps
// only provided members, and make_patch against a baseline reproduces the changed record.

#include "record_fixture.hpp"

using tolvi_test::json;

TEST(Patch, ReadingLeavesAbsentMembersAloneAndReadsNewValuesWhole) {
    rec::shape s = rec::make_shape();
    tv::from_json(s, R"({"origin":{"x":7},"layers":null,"extra":{"b":2}})",
                  tv::options().as_patch());
    EXPECT_EQ(*s.level, 255);
    EXPECT_EQ(*s.origin->label, "o"); // nested records are patched member by member
    EXPECT_EQ(*s.origin->x, 7);
    EXPECT_EQ(s.layers.quality(), tv::disengaged);
    EXPECT_EQ(s.extra->json, json(R"({"b":2,"k":[1]})")); // blocks merge
    EXPECT_THROW(tv::from_json(s, R"({"origin":{}})"), tv::bad_deserialization_source);

    // A value the record did not hold is read from scratch; containers are replaced whole.
    s.origin = tv::none;
    tv::from_json(s, R"({"origin":{"label":"b"},"points":[{"x":5}],"weights":{}})",
                  tv::options().as_patch());
    EXPECT_EQ(*s.origin->label, "b");
    EXPECT_FALSE(s.origin->x.provided());
    ASSERT_EQ(s.points->size(), 1u);
    EXPECT_FALSE((*s.points)[0].label.provided());
    EXPECT_TRUE(s.weights->empty());
}

TEST(Patch, WritingLeavesUnprovidedOutAndNullsDisengaged) {
    rec::point p;
    p.label = tv::none;
    EXPECT_EQ(tv::to_variant(p, tv::options().as_patch()), json(R"({"label":null})"));
    EXPECT_THROW(tv::to_variant(p), tv::missing_value);
    p.x = 1;
    EXPECT_EQ(tv::to_json(p), R"({"x":1})"); // a complete document leaves disengaged out

    rec::shape const a = rec::make_shape();
    rec::shape b = a;
    EXPECT_EQ(tv::make_patch(b, a), json("{}"));
    b.origin->label = tv::none;
    (*b.weights)["h"] = 2.0;
    EXPECT_EQ(tv::make_patch(b, a),
              json(R"({"origin":{"label":null},"weights":{"h":2.0,"t":0.25}})"));
}

TEST(Patch, AppliedPatchReproducesTheChangedRecord) {
    rec::shape const a = rec::make_shape();
    for (std::size_t i = 0; i < rec::patchable_changes; ++i) {
        rec::shape b = a, c = a, t = a;
        rec::changes[i](b);
        Variant const patch = tv::make_patch(b, a);
        tv::from_variant(c, patch, tv::options().as_patch());
        EXPECT_TRUE(tv::equal(c, b)) << "change " << i << ": " << patch.toJson();
        tv::from_json(t, patch.toJson(), tv::options().as_patch());
        EXPECT_TRUE(tv::equal(t, b)) << "change " << i << " through text";
    }
}
