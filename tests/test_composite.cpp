// The record codec: map handling, get_attr's decisions, the serialization-needed tables and their
// log lines.

#include <tolvi/codecs.hpp>

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace tv = korvax::tolvi;

namespace {

tv::source_type_t const from_cloud = 1;
tv::source_type_t const from_peer = 2;

char const composite_file[] = "src/main/tolvi/composite.cpp";

// A root record codec in mode `m` over `data`, with `top` as the document.
struct root_record : tv::composite_impl {
    root_record(tv::mode m, Variant* d, Variant const* top) {
        set_operation(m, tv::as_data(top));
        set_data(nullptr, nullptr, tv::as_data(d));
    }
};

void expect_log(tolvi_test::log_capture const& cap, unsigned line, char const* function,
                std::string const& message) {
    ASSERT_EQ(cap.entries.size(), 1u);
    tolvi_test::captured_entry const& e = cap.entries[0];
    EXPECT_EQ(e.level, 0);
    EXPECT_EQ(e.file, composite_file);
    EXPECT_EQ(e.line, line);
    EXPECT_EQ(e.function, function);
    EXPECT_EQ(e.message, message);
}

// What the header code of a record { int a; int b; } does, member by member.
struct pair_record {
    int a = 0;
    int b = 0;
    bool a_provided = true;
    bool b_provided = true;
};

void deserialize(pair_record& r, Variant& doc) {
    root_record c(tv::deserialize_from_json, &doc, &doc);
    c.apply();
    int* members[] = {&r.a, &r.b};
    char const* names[] = {"a", "b"};
    for (int i = 0; i < 2; ++i) {
        tv::impl<int> m;
        m.set_operation(c);
        tv::data_t* d = c.get_attr(names[i], tv::required_member);
        if (d == nullptr) {
            continue;
        }
        m.set_data(nullptr, members[i], d);
        m.apply();
    }
}

void serialize(pair_record& r, Variant& out) {
    root_record c(tv::serialize_to_json, &out, &out);
    c.apply();
    int* members[] = {&r.a, &r.b};
    bool provided[] = {r.a_provided, r.b_provided};
    char const* names[] = {"a", "b"};
    for (int i = 0; i < 2; ++i) {
        tv::impl<int> m;
        m.set_operation(c);
        if (!c.required_member_serialization_needed(false, provided[i], names[i])) {
            continue;
        }
        m.set_data(nullptr, members[i], c.get_attr(names[i], tv::required_member));
        m.apply();
    }
}

} // namespace

TEST(Composite, ConstructorStartsWithAnEmptyList) {
    tv::composite_impl c;
    EXPECT_EQ(c.unacceptable_count, 0u);
}

TEST(Composite, ApplyPreparesOrChecksTheMap) {
    Variant out(Variant::map_type{{"keep", Variant(1)}});
    root_record(tv::serialize_to_json, &out, &out).apply();
    EXPECT_EQ(out, Variant(Variant::map_type{{"keep", Variant(1)}}));

    Variant number(5);
    root_record(tv::serialize_to_json, &number, &number).apply();
    EXPECT_EQ(number, Variant(Variant::map_type{}));

    Variant text("x");
    EXPECT_THROW_MSG(root_record(tv::deserialize_from_json, &text, &text).apply(),
                     tv::bad_deserialization_source,
                     "bad source provided for deserialization; top-level: \"x\"");
    Variant doc(Variant::map_type{{"r", Variant(3)}});
    EXPECT_THROW_MSG(root_record(tv::deserialize_from_json, &doc[std::string("r")], &doc).apply(),
                     tv::bad_deserialization_source,
                     "bad source provided for deserialization; element `3` top-level: {\"r\":3}");

    for (tv::mode m : {tv::compare, tv::collect_attr_names, static_cast<tv::mode>(9)}) {
        Variant untouched(7);
        root_record(m, &untouched, nullptr).apply();
        EXPECT_EQ(untouched, Variant(7));
    }
}

TEST(Composite, GetAttrRefusesOtherModes) {
    for (tv::mode m : {tv::compare, tv::collect_attr_names, static_cast<tv::mode>(9)}) {
        Variant data(Variant::map_type{{"a", Variant(1)}});
        root_record c(m, &data, &data);
        EXPECT_THROW_MSG(c.get_attr("a", tv::optional_member), std::logic_error,
                         "tolvi::composite_impl::get_attr() called for unsupported tolvi::mode");
    }
}

TEST(Composite, AbsentMemberDependsOnPolicyAndPatch) {
    Variant doc(Variant::map_type{});
    root_record c(tv::deserialize_from_json, &doc, &doc);
    EXPECT_EQ(c.get_attr("a", tv::optional_member), nullptr);
    EXPECT_THROW_MSG(c.get_attr("a", tv::required_member), tv::bad_deserialization_source,
                     "bad source provided for deserialization; attribute \"a\" top-level: {}");
    // Any policy value other than optional_member acts as required_member.
    EXPECT_THROW(c.get_attr("a", static_cast<tv::get_attr_policy>(7)),
                 tv::bad_deserialization_source);
    c.patch = true;
    EXPECT_EQ(c.get_attr("a", tv::required_member), nullptr);

    // A nested record shows its own map as the element.
    Variant outer(Variant::map_type{{"in", Variant(Variant::map_type{})}});
    root_record nested(tv::deserialize_from_json, &outer[std::string("in")], &outer);
    EXPECT_THROW_MSG(nested.get_attr("a", tv::required_member), tv::bad_deserialization_source,
                     "bad source provided for deserialization; attribute \"a\" element `{}` "
                     "top-level: {\"in\":{}}");
}

TEST(Composite, NullMemberIsForOptionalMembersOnly) {
    Variant doc(Variant::map_type{{"a", Variant()}});
    root_record c(tv::deserialize_from_json, &doc, &doc);
    tv::data_t* got = c.get_attr("a", tv::optional_member);
    EXPECT_EQ(got, &doc[std::string("a")]);
    for (bool patch : {false, true}) {
        c.patch = patch;
        EXPECT_THROW_MSG(c.get_attr("a", tv::required_member), tv::bad_deserialization_source,
                         "bad source provided for deserialization; attribute \"a\" top-level: "
                         "{\"a\":null}");
    }
}

TEST(Composite, KeysMatchWholly) {
    Variant doc(Variant::map_type{{"ab", Variant(1)}, {"A", Variant(2)}});
    root_record c(tv::deserialize_from_json, &doc, &doc);
    EXPECT_EQ(c.get_attr("a", tv::optional_member), nullptr);
    EXPECT_EQ(c.get_attr("abc", tv::optional_member), nullptr);
    EXPECT_EQ(*c.get_attr("ab", tv::optional_member), Variant(1));
}

TEST(Composite, UnacceptableSourceIsLoggedAndRefused) {
    Variant doc(Variant::map_type{{"a", Variant(1)}});
    tolvi_test::log_capture cap;
    root_record c(tv::deserialize_from_json, &doc, &doc);
    c.set_source_type(&from_cloud);
    for (tv::get_attr_policy policy : {tv::optional_member, tv::required_member}) {
        cap.entries.clear();
        c.unacceptable_source_types[0] = &from_cloud;
        c.unacceptable_source_types[1] = &from_peer;
        c.unacceptable_count = 2;
        EXPECT_THROW_MSG(c.get_attr("a", policy), tv::bad_deserialization_source,
                         "bad source provided for deserialization; attribute \"a\" top-level: "
                         "{\"a\":1}");
        EXPECT_EQ(c.unacceptable_count, 0u);
        expect_log(cap, 67, "get_attr", "rejecting field a from unacceptable source type");
    }
}

TEST(Composite, PresenceIsDecidedBeforeSource) {
    Variant doc(Variant::map_type{});
    tolvi_test::log_capture cap;
    root_record c(tv::deserialize_from_json, &doc, &doc);
    c.set_source_type(&from_cloud);
    c.unacceptable_source_types[0] = &from_cloud;
    c.unacceptable_count = 1;
    EXPECT_EQ(c.get_attr("a", tv::optional_member), nullptr);
    EXPECT_EQ(c.unacceptable_count, 0u);
    c.unacceptable_count = 1;
    EXPECT_THROW_MSG(c.get_attr("a", tv::required_member), tv::bad_deserialization_source,
                     "bad source provided for deserialization; attribute \"a\" top-level: {}");
    EXPECT_EQ(c.unacceptable_count, 0u);
    EXPECT_TRUE(cap.entries.empty());
}

TEST(Composite, ListAppliesToOneMemberAndOnlyItsUsedSlots) {
    Variant doc(Variant::map_type{{"a", Variant(1)}, {"b", Variant(2)}});
    tolvi_test::log_capture cap;
    root_record c(tv::deserialize_from_json, &doc, &doc);
    c.set_source_type(&from_cloud);

    // Consumed by the first get_attr, so "b" is accepted.
    c.unacceptable_source_types[0] = &from_cloud;
    c.unacceptable_count = 1;
    EXPECT_EQ(c.get_attr("missing", tv::optional_member), nullptr);
    EXPECT_EQ(*c.get_attr("b", tv::required_member), Variant(2));

    // A match beyond the count does not count.
    c.unacceptable_source_types[0] = &from_peer;
    c.unacceptable_source_types[1] = &from_cloud;
    c.unacceptable_count = 1;
    EXPECT_EQ(*c.get_attr("a", tv::required_member), Variant(1));

    // Source types are told apart by address, not by their byte.
    static tv::source_type_t const also_one = 1;
    c.unacceptable_source_types[0] = &also_one;
    c.unacceptable_count = 1;
    EXPECT_EQ(*c.get_attr("a", tv::required_member), Variant(1));

    // The default source type can be refused too.
    c.set_source_type(nullptr);
    c.unacceptable_source_types[2] = &from_peer; // every slot in use holds a source type
    c.unacceptable_source_types[3] = &from_peer;
    c.unacceptable_source_types[4] = &tv::_ac::source_type::unspecified;
    c.unacceptable_count = 5;
    EXPECT_THROW(c.get_attr("a", tv::optional_member), tv::bad_deserialization_source);
    EXPECT_EQ(cap.entries.size(), 1u);
}

TEST(Composite, SerializationFindsOrCreatesMembers) {
    Variant out(Variant::map_type{{"a", Variant(1)}});
    root_record c(tv::serialize_to_json, &out, &out);
    c.apply();
    c.set_source_type(&from_cloud);
    c.unacceptable_source_types[0] = &from_cloud;
    c.unacceptable_count = 1;
    EXPECT_EQ(c.get_attr("a", tv::required_member), &out[std::string("a")]);
    tv::data_t* created = c.get_attr("new", tv::required_member);
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(created->isNull());
    EXPECT_EQ(created, &out[std::string("new")]);
    EXPECT_EQ(c.unacceptable_count, 1u) << "the list is for deserialization only";
}

TEST(Composite, CollectsNamesByPointer) {
    static char const name_a[] = "a";
    static char const name_b[] = "b";
    std::vector<char const*> names;
    tv::composite_impl c;
    c.set_operation(tv::collect_attr_names, nullptr);
    c.set_data(nullptr, nullptr, reinterpret_cast<tv::data_t*>(&names));
    c.apply();
    c.add_attr_name_to_vector(name_a);
    c.add_attr_name_to_vector(name_b);
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], name_a);
    EXPECT_EQ(names[1], name_b);
}

TEST(Composite, OptionalMemberSerializationTable) {
    enum outcome { write, refuse, leave_out, write_null };
    struct row {
        bool patch;
        tv::optional_quality first, quality;
        outcome expected;
    };
    using q = tv::optional_quality;
    row const rows[] = {
        {false, q::unprovided, q::engaged, write},
        {false, q::disengaged, q::engaged, write},
        {false, q::engaged, q::engaged, write},
        {false, q::unprovided, q::unprovided, refuse},
        {false, q::disengaged, q::unprovided, refuse},
        {false, q::engaged, q::unprovided, refuse},
        {false, q::unprovided, q::disengaged, leave_out},
        {false, q::disengaged, q::disengaged, leave_out},
        {false, q::engaged, q::disengaged, leave_out},
        {true, q::unprovided, q::engaged, write},
        {true, q::disengaged, q::engaged, write},
        {true, q::engaged, q::engaged, write},
        {true, q::disengaged, q::unprovided, leave_out},
        {true, q::disengaged, q::disengaged, leave_out},
        {true, q::unprovided, q::unprovided, leave_out},
        {true, q::engaged, q::unprovided, leave_out},
        {true, q::unprovided, q::disengaged, write_null},
        {true, q::engaged, q::disengaged, write_null},
    };
    for (row const& r : rows) {
        SCOPED_TRACE(::testing::Message()
                     << "patch " << r.patch << " first " << r.first << " quality " << r.quality);
        for (bool present : {false, true}) {
            Variant const before = present ? Variant(Variant::map_type{{"m", Variant(5)}})
                                           : Variant(Variant::map_type{{"x", Variant(1)}});
            Variant out = before;
            tolvi_test::log_capture cap;
            root_record c(tv::serialize_to_json, &out, &out);
            c.patch = r.patch;
            if (r.expected == refuse) {
                EXPECT_THROW(c.optional_member_serialization_needed(r.first, r.quality, "m"),
                             tv::missing_value);
                expect_log(cap, 149, "optional_member_serialization_needed",
                           "cannot serialize unprovided value m");
                EXPECT_EQ(out, before);
                continue;
            }
            EXPECT_EQ(c.optional_member_serialization_needed(r.first, r.quality, "m"),
                      r.expected == write);
            EXPECT_TRUE(cap.entries.empty());
            if (r.expected == write_null) {
                Variant expected = before;
                expected.value.mapValue->operator[]("m") = Variant();
                EXPECT_EQ(out, expected);
            } else {
                EXPECT_EQ(out, before);
            }
        }
    }
}

TEST(Composite, RequiredMemberSerializationTable) {
    enum outcome { write, refuse, leave_out };
    struct row {
        bool patch, provided, first_flag;
        outcome expected;
    };
    row const rows[] = {
        {true, false, false, leave_out}, {true, false, true, leave_out},
        {true, true, false, write},      {true, true, true, write},
        {false, true, false, write},     {false, true, true, refuse},
        {false, false, false, refuse},   {false, false, true, refuse},
    };
    for (row const& r : rows) {
        SCOPED_TRACE(::testing::Message() << "patch " << r.patch << " provided " << r.provided
                                          << " first_flag " << r.first_flag);
        Variant out(Variant::map_type{});
        tolvi_test::log_capture cap;
        root_record c(tv::serialize_to_json, &out, &out);
        c.patch = r.patch;
        if (r.expected == refuse) {
            EXPECT_THROW_MSG(c.required_member_serialization_needed(r.first_flag, r.provided, "m"),
                             tv::missing_value,
                             "attempted to use a non-provided tolvi::required or tolvi::optional "
                             "variable");
            expect_log(cap, 182, "required_member_serialization_needed",
                       "cannot serialize unprovided value m");
        } else {
            EXPECT_EQ(c.required_member_serialization_needed(r.first_flag, r.provided, "m"),
                      r.expected == write);
            EXPECT_TRUE(cap.entries.empty());
        }
        EXPECT_EQ(out, Variant(Variant::map_type{}));
    }
}

TEST(Composite, NothingIsRolledBack) {
    pair_record r;
    Variant doc(Variant::map_type{{"a", Variant(5)}, {"b", Variant("x")}});
    EXPECT_THROW(deserialize(r, doc), tv::bad_deserialization_source);
    EXPECT_EQ(r.a, 5);
    EXPECT_EQ(r.b, 0);

    pair_record unfinished;
    unfinished.a = 4;
    unfinished.b_provided = false;
    Variant out;
    EXPECT_THROW(serialize(unfinished, out), tv::missing_value);
    EXPECT_EQ(out, Variant(Variant::map_type{{"a", Variant(4)}}));
}
