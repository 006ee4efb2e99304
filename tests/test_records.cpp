// The record API: member wrappers, record descriptions with nested containers, the user calls,
// refusals by source type and what bad documents do.

#include <tolvi/tolvi.hpp>

#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace tv = korvax::tolvi;

namespace rec {

TOLVI_SOURCE_TYPE(factory);
TOLVI_SOURCE_TYPE(cloud);

enum class mode { off, on, blink };
TOLVI_ENUM(mode, {mode::off, "off"}, {mode::on, "on"}, {mode::blink, "blink"});

struct point {
    tv::required<int> x;
    tv::optional<std::string> label;
};
TOLVI_RECORD(point, x, label);

struct shape {
    tv::required<std::string> name;
    tv::required<std::vector<point>> points;
    tv::required<std::map<std::string, std::vector<point>>> groups;
    tv::optional<std::vector<std::map<std::string, point>>> layers;
    tv::required<std::map<std::string, double>> weights;
    tv::required<mode> led;
    tv::required<std::vector<mode>> history;
    tv::required<std::uint64_t> serial;
    tv::required<std::int64_t> offset;
    tv::required<std::uint8_t> level;
    tv::optional<std::vector<bool>> bits;
    tv::optional<point> origin;
};
TOLVI_RECORD(shape, name, points, groups, layers, weights, led, history, serial, offset, level,
             bits, origin);
TOLVI_REFUSE(shape, serial, cloud);

struct pair {
    tv::required<int> a;
    tv::required<int> b;
};
TOLVI_RECORD(pair, a, b);

TOLVI_SOURCE_TYPE(s1);
TOLVI_SOURCE_TYPE(s2);
TOLVI_SOURCE_TYPE(s3);
TOLVI_SOURCE_TYPE(s4);
TOLVI_SOURCE_TYPE(s5);
TOLVI_SOURCE_TYPE(s6);
TOLVI_REFUSE(pair, b, s1, s2, s3, s4, s5);

struct labelled {
    tv::required<char const*> text;
};
TOLVI_RECORD(labelled, text);

struct tagged {
    tv::required<int> id;
    tv::required<tv::opaque_json_block> extra;
};
TOLVI_RECORD(tagged, id, extra);

} // namespace rec

namespace {

rec::point make_point(int x, char const* label) {
    rec::point p;
    p.x = x;
    if (label != nullptr) {
        p.label = label;
    } else {
        p.label = tv::none;
    }
    return p;
}

rec::shape make_shape() {
    rec::shape s;
    s.name = "ünïcode name";
    s.points = std::vector<rec::point>{make_point(1, "a"), make_point(-2, nullptr)};
    s.groups = std::map<std::string, std::vector<rec::point>>{
        {"empty", {}}, {"two", {make_point(3, "c"), make_point(4, "d")}}};
    s.layers = std::vector<std::map<std::string, rec::point>>{{{"k", make_point(5, nullptr)}}, {}};
    s.weights = std::map<std::string, double>{{"t", 0.25}, {"h", -1.5}};
    s.led = rec::mode::blink;
    s.history = std::vector<rec::mode>{rec::mode::off, rec::mode::on};
    s.serial = std::numeric_limits<std::uint64_t>::max();
    s.offset = std::numeric_limits<std::int64_t>::min();
    s.level = 255;
    s.bits = std::vector<bool>{true, false, true};
    s.origin = tv::none;
    return s;
}

} // namespace

TEST(RecordMembers, AccessThrowsWhereTheMessagesSay) {
    char const missing[] =
        "attempted to use a non-provided tolvi::required or tolvi::optional variable";
    char const disengaged[] = "attempted to use a disengaged tolvi::optional variable";

    tv::required<int> r;
    EXPECT_THROW_MSG(r.get(), tv::missing_value, missing);
    r = 4;
    EXPECT_TRUE(r.provided());
    EXPECT_EQ(*r, 4);
    r.clear();
    EXPECT_FALSE(r.provided());
    EXPECT_THROW_MSG(*r, tv::missing_value, missing);

    tv::optional<std::string> o;
    EXPECT_EQ(o.quality(), tv::unprovided);
    EXPECT_THROW_MSG(o.get(), tv::missing_value, missing);
    EXPECT_EQ(o.value_or("fallback"), "fallback");
    o = tv::none;
    EXPECT_EQ(o.quality(), tv::disengaged);
    EXPECT_THROW_MSG(o->size(), tv::disengaged_value, disengaged);
    o = "set";
    EXPECT_EQ(o.quality(), tv::engaged);
    EXPECT_EQ(o.value_or("fallback"), "set");
    o.disengage();
    EXPECT_TRUE(o.provided());
    EXPECT_FALSE(o.engaged());
    o.clear();
    EXPECT_FALSE(o.provided());
}

TEST(RecordMembers, PrintIntoLogMessages) {
    tolvi_test::log_capture cap;
    tv::required<int> r;
    tv::optional<rec::point> o;
    SKRIB_LOG(korvax::skrib::level::error, "r={}", r);
    SKRIB_LOG(korvax::skrib::level::error, "o={}", o);
    o = tv::none;
    SKRIB_LOG(korvax::skrib::level::error, "o={}", o);
    r = 7;
    o = make_point(1, nullptr);
    o->label.clear(); // a partly filled record prints what it holds
    SKRIB_LOG(korvax::skrib::level::error, "r={}", r);
    SKRIB_LOG(korvax::skrib::level::error, "o={}", o);
    ASSERT_EQ(cap.entries.size(), 5u);
    EXPECT_EQ(cap.entries[0].message, "r=(unprovided)");
    EXPECT_EQ(cap.entries[1].message, "o=(unprovided)");
    EXPECT_EQ(cap.entries[2].message, "o=(disengaged)");
    EXPECT_EQ(cap.entries[3].message, "r=7");
    EXPECT_EQ(cap.entries[4].message, "o={\"x\":1}");
}

TEST(Records, NestedContainersRoundTripThroughText) {
    rec::shape const s = make_shape();
    // Disengaged members are left out of a complete document, so compare after a patch-form
    // write, which keeps them as nulls.
    std::string const text = tv::to_json(s, tv::options().as_patch());
    rec::shape back;
    tv::from_json(back, text);
    EXPECT_TRUE(tv::equal(s, back)) << text;
    EXPECT_EQ(*back.serial, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(*back.offset, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ((*back.groups)["two"][1].label.get(), "d");
    EXPECT_EQ(tv::to_variant(back), tv::to_variant(s));
}

TEST(Records, CompleteDocumentLeavesDisengagedMembersOut) {
    rec::point p = make_point(1, nullptr);
    EXPECT_EQ(tv::to_json(p), "{\"x\":1}");
    p.label.clear();
    EXPECT_THROW_MSG(tv::to_json(p), tv::missing_value,
                     "attempted to use a non-provided tolvi::required or tolvi::optional variable");
}

TEST(Records, EqualityLooksAtEveryMember) {
    rec::shape const base = make_shape();
    using change = void (*)(rec::shape&);
    change const changes[] = {
        [](rec::shape& s) { s.name = "other"; },
        [](rec::shape& s) { s.points->pop_back(); },
        [](rec::shape& s) { (*s.points)[1].label = "now set"; },
        [](rec::shape& s) { (*s.groups)["two"][0].x = 9; },
        [](rec::shape& s) { s.groups->erase("empty"); },
        [](rec::shape& s) {
            (*s.groups)["emptz"] = (*s.groups)["empty"];
            s.groups->erase("empty");
        },
        [](rec::shape& s) { (*s.layers)[0]["k"].label.clear(); },
        [](rec::shape& s) { (*s.weights)["t"] = 0.25000001; },
        [](rec::shape& s) { s.led = rec::mode::on; },
        [](rec::shape& s) { (*s.history)[1] = rec::mode::blink; },
        [](rec::shape& s) { s.serial = 1u; },
        [](rec::shape& s) { (*s.bits)[2] = false; },
        [](rec::shape& s) { s.origin.clear(); },
        [](rec::shape& s) { s.origin = make_point(0, nullptr); },
        [](rec::shape& s) { s.level.clear(); },
    };
    EXPECT_TRUE(tv::equal(base, make_shape()));
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        rec::shape s = make_shape();
        changes[i](s);
        EXPECT_FALSE(tv::equal(base, s)) << "change " << i;
        EXPECT_FALSE(tv::equal(s, base)) << "change " << i;
    }
}

TEST(Records, LaterEqualMemberCannotHideEarlierDifference) {
    // The opaque block's codec stores `true` when its blocks are equal.
    rec::tagged a, b;
    a.id = 1;
    b.id = 2;
    a.extra = tv::opaque_json_block::from_string("{\"k\":1}");
    b.extra = *a.extra;
    EXPECT_FALSE(tv::equal(a, b));
    b.id = 1;
    EXPECT_TRUE(tv::equal(a, b));
}

TEST(Records, MemberNamesInDeclarationOrder) {
    std::vector<std::string> names;
    for (char const* n : tv::member_names<rec::shape>()) {
        names.push_back(n);
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"name", "points", "groups", "layers", "weights", "led",
                                        "history", "serial", "offset", "level", "bits", "origin"}));
}

TEST(Records, BadDocumentsThrowTheFrameworkErrors) {
    struct bad_case {
        char const* text;
        char const* message;
    };
    bad_case const cases[] = {
        {"[1,2]", "bad source provided for deserialization; top-level: [1,2]"},
        {"{\"a\":1,", "bad source provided for deserialization; top-level: null"},
        {"{\"a\":1}",
         "bad source provided for deserialization; attribute \"b\" top-level: {\"a\":1}"},
        {"{\"a\":1,\"b\":null}", "bad source provided for deserialization; attribute \"b\" "
                                 "top-level: {\"a\":1,\"b\":null}"},
        {"{\"a\":1,\"b\":2.0}",
         "bad source provided for deserialization; element `2.0` top-level: {\"a\":1,\"b\":2.0}"},
        {"{\"a\":1,\"b\":4294967296}", "bad source provided for deserialization; element "
                                       "`4294967296` top-level: {\"a\":1,\"b\":4294967296}"},
    };
    for (bad_case const& c : cases) {
        rec::pair p;
        EXPECT_THROW_MSG(tv::from_json(p, c.text), tv::bad_deserialization_source, c.message);
    }
}

TEST(Records, NestedFailureNamesTheMemberAndKeepsWhatWasRead) {
    rec::shape s = make_shape();
    Variant doc = tv::to_variant(s, tv::options().as_patch());
    doc["name"] = Variant("renamed");
    doc["points"][1] = Variant(std::map<std::string, Variant>{{"label", Variant("no x")}});
    EXPECT_THROW_MSG(tv::from_variant(s, doc), tv::bad_deserialization_source,
                     "bad source provided for deserialization; attribute \"x\" element "
                     "`{\"label\":\"no x\"}` top-level: " +
                         doc.toJson());
    EXPECT_EQ(*s.name, "renamed");   // read before the failure
    EXPECT_EQ(s.points->size(), 2u); // the list keeps its old content
    EXPECT_EQ((*s.points)[1].label.quality(), tv::disengaged);
}

TEST(Records, MembersReadBeforeAFailureKeepTheirValues) {
    rec::pair p;
    p.a = 1;
    p.b = 2;
    EXPECT_THROW(tv::from_json(p, "{\"a\":10,\"b\":\"x\"}"), tv::bad_deserialization_source);
    EXPECT_EQ(*p.a, 10);
    EXPECT_EQ(*p.b, 2);
}

TEST(Records, RefusedSourceTypes) {
    std::string const doc = "{\"level\":3,\"serial\":5}";
    rec::shape s = make_shape();
    {
        tolvi_test::log_capture cap;
        EXPECT_THROW_MSG(
            tv::from_json(s, doc, tv::options().from(rec::cloud).as_patch()),
            tv::bad_deserialization_source,
            "bad source provided for deserialization; attribute \"serial\" top-level: " + doc);
        ASSERT_EQ(cap.entries.size(), 1u);
        EXPECT_EQ(cap.entries[0].message, "rejecting field serial from unacceptable source type");
    }
    EXPECT_EQ(*s.serial, std::numeric_limits<std::uint64_t>::max());

    // The refusal concerns one member and one source type.
    tv::from_json(s, "{\"level\":3}", tv::options().from(rec::cloud).as_patch());
    EXPECT_EQ(*s.level, 3);
    tv::from_json(s, doc, tv::options().from(rec::factory).as_patch());
    EXPECT_EQ(*s.serial, 5u);
    tv::from_json(s, "{\"serial\":6}", tv::options().as_patch());
    EXPECT_EQ(*s.serial, 6u);
}

TEST(Records, FiveRefusedSourceTypesAndOnlyThem) {
    tv::source_type_t const* const refused[] = {&rec::s1, &rec::s2, &rec::s3, &rec::s4, &rec::s5};
    for (tv::source_type_t const* st : refused) {
        rec::pair p;
        EXPECT_THROW(tv::from_json(p, "{\"a\":1,\"b\":2}", tv::options().from(*st)),
                     tv::bad_deserialization_source);
        EXPECT_EQ(*p.a, 1);
        EXPECT_FALSE(p.b.provided());
    }
    rec::pair p;
    tv::from_json(p, "{\"a\":1,\"b\":2}", tv::options().from(rec::s6));
    EXPECT_EQ(*p.b, 2);
}

// Any value in any place either reads into exactly what the document says or throws
// bad_deserialization_source: never another exception, never a silent partial read.
TEST(Records, WrongShapesThrowOrReadExactly) {
    Variant const good = tv::to_variant(make_shape(), tv::options().as_patch());
    char const* const replacements[] = {"null", "1",  "-1", "1.5", "\"s\"",     "\"on\"",
                                        "true", "{}", "[]", "[1]", "{\"x\":1}", "[{\"x\":1}]"};
    using place = Variant& (*)(Variant&);
    place const places[] = {
        [](Variant& d) -> Variant& { return d; },
        [](Variant& d) -> Variant& { return d["points"][0]; },
        [](Variant& d) -> Variant& { return d["points"][0]["x"]; },
        [](Variant& d) -> Variant& { return d["groups"]["two"]; },
        [](Variant& d) -> Variant& { return d["layers"][0]["k"]; },
        [](Variant& d) -> Variant& { return d["weights"]["t"]; },
        [](Variant& d) -> Variant& { return d["history"][0]; },
        [](Variant& d) -> Variant& { return d["bits"][1]; },
    };
    std::vector<std::string> members;
    for (char const* n : tv::member_names<rec::shape>()) {
        members.push_back(n);
    }
    auto check = [&](Variant const& doc) {
        rec::shape s;
        try {
            tv::from_variant(s, doc);
        } catch (tv::bad_deserialization_source const&) {
            return;
        } catch (...) {
            ADD_FAILURE() << "unexpected exception for " << doc.toJson();
            return;
        }
        Variant expected = doc; // integers read into doubles come back as doubles
        for (auto& [key, w] : *expected["weights"].value.mapValue) {
            if (w.type == Variant::Integer) {
                w = Variant(w.asDouble());
            }
        }
        EXPECT_EQ(tv::to_variant(s, tv::options().as_patch()), expected) << doc.toJson();
    };
    for (char const* text : replacements) {
        Variant const value = Variant::fromJson(text);
        for (std::string const& m : members) {
            Variant doc = good;
            doc[m] = value;
            check(doc);
        }
        for (place p : places) {
            Variant doc = good;
            p(doc) = value;
            check(doc);
        }
    }
}

TEST(Records, CharPointerMembersWriteButNeverRead) {
    rec::labelled l;
    l.text = "hello";
    EXPECT_EQ(tv::to_json(l), "{\"text\":\"hello\"}");
    rec::labelled same;
    same.text = "hello";
    EXPECT_TRUE(tv::equal(l, same));
    EXPECT_THROW_MSG(tv::from_json(l, "{\"text\":\"x\"}"), std::logic_error,
                     "tolvi::mode::deserialize_from_json unsupported for char const *");
}

TEST(Records, UnknownEnumeratorsFailBothWays) {
    std::vector<rec::mode> modes;
    EXPECT_THROW_MSG(tv::from_json(modes, "[\"on\",\"ON\"]"), tv::bad_deserialization_source,
                     "bad source provided for deserialization; element `\"ON\"` top-level: "
                     "[\"on\",\"ON\"]");
    EXPECT_TRUE(modes.empty());
    modes.push_back(static_cast<rec::mode>(7));
    EXPECT_THROW_MSG(tv::to_json(modes), std::runtime_error, "value 7 not member of enumeration");
}

TEST(Records, Files) {
    rec::shape const s = make_shape();
    std::string const path = ::testing::TempDir() + "tolvi_records_shape.json";
    tv::to_file(s, path, tv::options().as_patch());
    rec::shape back;
    tv::from_file(back, path);
    EXPECT_TRUE(tv::equal(s, back));
    std::remove(path.c_str());
    EXPECT_THROW_MSG(tv::from_file(back, path), std::runtime_error,
                     "unable to open file \u201c" + path + "\u201d for deserialization");
}
