// The record API: member wrappers, record descriptions with nested containers, the user calls,
// refusals by source type and what bad documents do.

#include "record_fixture.hpp"

namespace rec {

TOLVI_SOURCE_TYPE(factory);
TOLVI_SOURCE_TYPE(cloud);
TOLVI_SOURCE_TYPE(s1);
TOLVI_SOURCE_TYPE(s2);
TOLVI_SOURCE_TYPE(s3);

struct pair {
    tv::required<int> a;
    tv::required<int> b;
};
TOLVI_RECORD(pair, a, b);
TOLVI_REFUSE(pair, b, factory, cloud, s1, s2, s3);

} // namespace rec

namespace {

std::vector<std::string> messages(tolvi_test::log_capture const& cap) {
    std::vector<std::string> out;
    for (auto const& e : cap.entries) {
        out.push_back(e.message);
    }
    return out;
}

} // namespace

TEST(RecordMembers, AccessThrowsAndLogsPrintTheState) {
    tolvi_test::log_capture cap;
    tv::required<int> r;
    tv::optional<rec::point> o;
    EXPECT_THROW_MSG(*r, tv::missing_value,
                     "attempted to use a non-provided tolvi::required or tolvi::optional variable");
    SKRIB_LOG(korvax::skrib::level::error, "r={}", r);
    SKRIB_LOG(korvax::skrib::level::error, "o={}", o);
    o = tv::none;
    EXPECT_THROW_MSG(o->x, tv::disengaged_value,
                     "attempted to use a disengaged tolvi::optional variable");
    SKRIB_LOG(korvax::skrib::level::error, "o={}", o);
    r = 7;
    o = rec::point();
    o->x = 1; // a partly filled record prints what it holds
    SKRIB_LOG(korvax::skrib::level::error, "r={}", r);
    SKRIB_LOG(korvax::skrib::level::error, "o={}", o);
    EXPECT_EQ(messages(cap), (std::vector<std::string>{"r=(unprovided)", "o=(unprovided)",
                                                       "o=(disengaged)", "r=7", "o={\"x\":1}"}));
}

TEST(Records, NestedContainersRoundTripThroughText) {
    rec::shape const s = rec::make_shape();
    EXPECT_EQ(*s.serial, std::uint64_t{INT64_MAX});
    EXPECT_EQ(*s.offset, INT64_MIN);
    EXPECT_EQ(tv::to_json(s, tv::options().as_patch()), rec::shape_text); // disengaged as nulls
    std::vector<char const*> const listed = tv::member_names<rec::shape>();
    EXPECT_EQ(
        std::vector<std::string>(listed.begin(), listed.end()),
        (std::vector<std::string>{"name", "points", "groups", "layers", "weights", "led", "history",
                                  "serial", "offset", "level", "bits", "origin", "extra"}));
}

TEST(Records, EqualityLooksAtEveryMember) {
    rec::shape const base = rec::make_shape();
    EXPECT_TRUE(tv::equal(base, rec::make_shape()));
    for (std::size_t i = 0; i < std::size(rec::changes); ++i) {
        rec::shape s = rec::make_shape();
        rec::changes[i](s);
        EXPECT_FALSE(tv::equal(base, s)) << "change " << i;
        EXPECT_FALSE(tv::equal(s, base)) << "change " << i;
    }
}

TEST(Records, RefusedSourceTypes) {
    std::string const doc = R"({"a":1,"b":2})";
    for (tv::source_type_t const* st : {&rec::factory, &rec::cloud, &rec::s1, &rec::s2, &rec::s3}) {
        tolvi_test::log_capture cap;
        rec::pair p;
        EXPECT_THROW_MSG(tv::from_json(p, doc, tv::options().from(*st)), tv::document_error,
                         "/b: refused from this document's source type: 2");
        EXPECT_EQ(messages(cap),
                  std::vector<std::string>{"rejecting field b from unacceptable source type"});
        EXPECT_FALSE(p.a.provided()); // the refused read changed nothing
        EXPECT_FALSE(p.b.provided());
        p.b = 2;
        tv::from_json(p, R"({"a":3})", tv::options().from(*st).as_patch()); // nothing to refuse
        EXPECT_EQ(*p.a, 3);
    }
    rec::pair p;
    tv::from_json(p, doc); // unspecified
    EXPECT_EQ(*p.b, 2);
}

// Any value in any place either reads into exactly what the document says or throws
// document_error: never another exception, never a silent partial read.
TEST(Records, WrongShapesThrowOrReadExactly) {
    std::vector<std::string> places = {"",           "points/0",   "points/0/x",
                                       "groups/two", "layers/0/k", "weights/t",
                                       "history/0",  "bits/1",     "origin/label"};
    for (char const* m : tv::member_names<rec::shape>()) {
        places.push_back(m);
    }
    for (char const* text : {"null", "1", "-1", "1.5", "\"s\"", "\"on\"", "true", "{}", "[]", "[1]",
                             R"({"x":1})", R"([{"x":1}])"}) {
        for (std::string const& path : places) {
            Variant doc = Variant::fromJson(rec::shape_text);
            rec::place(doc, path) = Variant::fromJson(text);
            rec::shape s;
            try {
                tv::from_variant(s, doc);
            } catch (tv::document_error const&) {
                continue;
            }
            for (auto& [key, w] : *doc["weights"].value.mapValue) {
                w = Variant(w.asDouble()); // integers read into doubles come back as doubles
            }
            // Null and absent optional members both read as disengaged, written as absent.
            EXPECT_EQ(tv::to_variant(s), rec::without_nulls(doc)) << doc.toJson();
        }
    }
}

// Typed reads of plain values return the value; a wrong type or range is a refusal.
TEST(Records, TypedReadsOfPlainValues) {
    EXPECT_EQ(tv::from_variant<int>(Variant(7)), 7);
    EXPECT_EQ(tv::from_variant<std::string>(Variant("x")), "x");
    EXPECT_EQ(tv::from_json<std::vector<double>>("[1, 2.5]"), (std::vector<double>{1, 2.5}));
    EXPECT_THROW(tv::from_variant<unsigned char>(Variant(256)), tv::bad_deserialization_source);
    EXPECT_THROW(tv::from_json<int>("\"7\""), tv::bad_deserialization_source);
}
