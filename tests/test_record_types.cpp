// JSON key names, and the member types beyond the scalars: float, std::array, maps keyed by
// integers and enumerations, and a record of 64 members.

#include <cfloat>
#include <iterator>

#include "codec_driver.hpp"
#include "record_kinds.hpp"

using tolvi_test::json;

namespace {

struct big {
    tv::required<int> m0, m1, m2, m3, m4, m5, m6, m7, m8, m9, m10, m11, m12, m13, m14, m15, m16,
        m17, m18, m19, m20, m21, m22, m23, m24, m25, m26, m27, m28, m29, m30, m31, m32, m33, m34,
        m35, m36, m37, m38, m39, m40, m41, m42, m43, m44, m45, m46, m47, m48, m49, m50, m51, m52,
        m53, m54, m55, m56, m57, m58, m59, m60, m61, m62, m63;
};
TOLVI_RECORD(big, m0, m1, m2, m3, m4, m5, m6, m7, m8, m9, m10, m11, m12, m13, m14, m15, m16, m17,
             m18, m19, m20, m21, m22, m23, m24, m25, m26, m27, m28, m29, m30, m31, m32, m33, m34,
             m35, m36, m37, m38, m39, m40, m41, m42, m43, m44, m45, m46, m47, m48, m49, m50, m51,
             m52, m53, m54, m55, m56, m57, m58, m59, m60, m61, (m62, "m-62"), m63);

} // namespace

TEST(RecordKeys, EveryPlaceNamesTheKey) {
    tolvi_test::log_capture cap;
    kinds::limits l;
    tv::from_json(l, R"({"max-temp": 30, "min_temp": -5, "class": "b", "maxtemp": 1})");
    EXPECT_EQ(*l.max_temp, 30); // "maxtemp" is a key the record does not describe
    EXPECT_EQ(tv::to_json(l), R"({"class":"b","max-temp":30,"min_temp":-5})");
    std::vector<char const*> const names = tv::member_names<kinds::limits>();
    EXPECT_EQ(std::vector<std::string>(names.begin(), names.end()),
              (std::vector<std::string>{"max-temp", "min_temp", "class"}));

    kinds::limits changed = l;
    changed.max_temp = 31;
    changed.klass = tv::none;
    Variant const patch = tv::make_patch(changed, l);
    EXPECT_EQ(patch, json(R"({"class":null,"max-temp":31})"));
    tv::from_variant(l, patch, tv::options().as_patch());
    EXPECT_TRUE(tv::equal(l, changed));

    EXPECT_THROW_MSG(tv::from_json(l, R"({"class":"c"})"), tv::document_error,
                     "/max-temp: required member is missing");
    EXPECT_THROW_MSG(tv::from_json(l, R"({"max-temp":1})", tv::options().from(kinds::cloud)),
                     tv::document_error, "/max-temp: refused from this document's source type: 1");
    EXPECT_THROW_MSG(tv::to_variant(kinds::limits()), tv::missing_member,
                     "/max-temp was never provided");
    ASSERT_EQ(cap.entries.size(), 2u);
    EXPECT_EQ(cap.entries[0].message, "rejecting field max-temp from unacceptable source type");
    EXPECT_EQ(cap.entries[1].message, "cannot serialize unprovided value max-temp");
}

TEST(RecordKeys, OlderKeysAndStrictReading) {
    struct row {
        bool strict, patch;
        char const* document;
        char const* refusal; // "" when read
    };
    row const rows[] = {
        {false, false, R"({"gain": 1, "modes": {"cool": {"maxTemp": 3}}, "gian": 0})", ""},
        {true, false, R"({"gain": 1, "modes": {"heat": {"max_temp": 3}}})", ""},
        {false, false, R"({"gain": 1, "modes": {"cool": {"max_temp": 3, "maxTemp": 4}}})",
         R"(/modes/cool/max_temp: the same member as "maxTemp")"},
        {true, false, R"({"gain": 1, "gian": 0})",
         R"(unknown key "gian" at /gian; did you mean "gain"?)"},
        {true, true, R"({"pair": [{"max-temp": 1}, {"max-tmp": 1}]})",
         R"(unknown key "max-tmp" at /pair/1/max-tmp; did you mean "max-temp"?)"},
        {true, true, R"({"modes": {"off": {"a/b~": 1}}})",
         R"(unknown key "a/b~" at /modes/off/a~1b~0)"},
        {true, false, R"({"gain": 1, "colour": 0})", R"(unknown key "colour" at /colour)"},
    };
    for (row const& r : rows) {
        SCOPED_TRACE(r.document);
        kinds::panel p;
        auto const read = [&] {
            tv::from_json(p, r.document, tv::options().strict(r.strict).as_patch(r.patch));
        };
        if (*r.refusal == '\0') {
            EXPECT_NO_THROW(read());
        } else {
            EXPECT_THROW_MSG(read(), tv::document_error, r.refusal);
        }
    }
    kinds::panel p; // written under the first key
    tv::from_json(p, R"({"gain": 1, "modes": {"cool": {"maxTemp": 3}}})");
    EXPECT_EQ(tv::to_json(p), R"({"gain":1.0,"modes":{"cool":{"max-temp":3}}})");
}

TEST(RecordTypes, RoundTripCompareAndPatch) {
    kinds::panel const base = kinds::make_panel();
    EXPECT_EQ(tv::to_json(base), kinds::panel_text);
    EXPECT_EQ((*base.counters).at(UINT64_MAX), 2147483647);
    EXPECT_EQ((*base.hours).at(7)[0], 0.1f);
    void (*const changes[])(kinds::panel&) = {
        [](kinds::panel& p) { p.gain = 0.25f; },
        [](kinds::panel& p) { (*p.rgb)[2] = 254; },
        [](kinds::panel& p) { (*p.hours)[7][0] = 0.2f; },
        [](kinds::panel& p) { p.hours->erase(7); },
        [](kinds::panel& p) { (*p.modes)[kinds::mode::heat].max_temp = 0; },
        [](kinds::panel& p) { p.modes->erase(kinds::mode::cool); },
        [](kinds::panel& p) {
            (*p.modes)[kinds::mode::off] = tv::from_json<kinds::limits>(R"({"max-temp":0})");
        },
        [](kinds::panel& p) { (*p.modes)[kinds::mode::cool].klass = "c"; },
        [](kinds::panel& p) { p.counters->emplace(1, 0); },
        [](kinds::panel& p) { (*p.pair)[0].max_temp = 3; },
    };
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        kinds::panel changed = base, patched = base;
        changes[i](changed);
        EXPECT_FALSE(tv::equal(base, changed)) << "change " << i;
        tv::from_variant(patched, tv::make_patch(changed, base), tv::options().as_patch());
        EXPECT_TRUE(tv::equal(patched, changed)) << "change " << i;
    }
}

TEST(RecordTypes, EdgeValuesReadAndWriteBack) {
    for (char const* text :
         {R"({"gain":3.4028234663852886e38})", R"({"gain":-3.4028234663852886e38})",
          R"({"gain":0.1,"by hour":{"-128":[],"127":[]}})",
          R"({"gain":1.5,"counters":{"18446744073709551615":-2147483648}})"}) {
        kinds::panel p;
        tv::from_json(p, text);
        EXPECT_EQ(tv::to_variant(p), json(text)) << text;
    }
}

// Each refusal is a document_error at or below the member, and changes nothing.
TEST(RecordTypes, RefusedValues) {
    kinds::panel const base = kinds::make_panel();
    std::pair<char const*, std::vector<char const*>> const refused[] = {
        {"gain", {"1e39", "-3.5e38", "\"1\""}},
        {"@rgb", {"[1,2]", "[1,2,3,4]", "[1,2,256]"}},
        {"by hour",
         {R"({"128":[]})", R"({"-129":[]})", R"({"07":[]})", R"({"+7":[]})", R"({" 7":[]})",
          R"({"7 ":[]})", R"({"":[]})", R"({"-0":[]})", R"({"99999999999999999999":[]})",
          R"({"7":[1e39]})"}},
        {"counters", {R"({"-1":0})", R"({"18446744073709551616":0})", R"({"1":2.0})"}},
        {"modes", {R"({"Heat":{"max-temp":1}})", R"({"heat":{"max_tmp":1}})"}},
        {"pair", {R"([{"max-temp":1}])"}}};
    for (auto const& [key, values] : refused) {
        for (char const* value : values) {
            Variant doc = json(kinds::panel_text);
            doc[key] = json(value);
            kinds::panel p = base;
            try {
                tv::from_variant(p, doc);
                ADD_FAILURE() << key << ": " << value << " accepted";
            } catch (tv::document_error const& e) {
                EXPECT_EQ(e.path().rfind(std::string("/") + key, 0), 0u) << e.what();
            }
            EXPECT_TRUE(tv::equal(p, base)) << key << ": " << value;
        }
    }
}

TEST(RecordTypes, SixtyFourMembers) {
    std::vector<char const*> const names = tv::member_names<big>();
    ASSERT_EQ(names.size(), 64u);
    EXPECT_STREQ(names[62], "m-62");
    Variant doc;
    for (std::size_t i = 0; i < names.size(); ++i) {
        doc[names[i]] = Variant(static_cast<int>(i));
    }
    big b;
    tv::from_variant(b, doc);
    EXPECT_EQ(*b.m63, 63);
    EXPECT_EQ(tv::to_variant(b), doc);
}
