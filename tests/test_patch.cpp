// Patches both ways: reading with patch leaves absent members alone, writing with patch keeps
// only provided members, and make_patch against a baseline reproduces the changed record.

#include <tolvi/tolvi.hpp>

#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.hpp"

namespace tv = korvax::tolvi;

namespace patchrec {

enum class band { b24, b5 };
TOLVI_ENUM(band, {band::b24, "2.4"}, {band::b5, "5"});

struct radio {
    tv::required<std::string> ssid;
    tv::required<band> freq;
    tv::optional<std::string> ip;
    tv::optional<std::uint16_t> mtu;
};
TOLVI_RECORD(radio, ssid, freq, ip, mtu);

struct unit {
    tv::required<std::string> name;
    tv::required<radio> wifi;
    tv::optional<radio> backup;
    tv::required<std::vector<radio>> fallbacks;
    tv::required<std::map<std::string, double>> offsets;
    tv::optional<std::int64_t> since;
    tv::required<tv::opaque_json_block> extra;
};
TOLVI_RECORD(unit, name, wifi, backup, fallbacks, offsets, since, extra);

radio make_radio(char const* ssid) {
    radio r;
    r.ssid = ssid;
    r.freq = band::b24;
    r.ip = tv::none;
    r.mtu = std::uint16_t{1500};
    return r;
}

unit make_unit() {
    unit u;
    u.name = "hall";
    u.wifi = make_radio("home");
    u.backup = tv::none;
    u.fallbacks = std::vector<radio>{make_radio("guest")};
    u.offsets = std::map<std::string, double>{{"t", 0.5}};
    u.since = std::int64_t{1700000000000};
    u.extra = tv::opaque_json_block::from_string("{\"a\":1}");
    return u;
}

} // namespace patchrec

using patchrec::unit;

TEST(Patch, ReadingLeavesAbsentMembersAlone) {
    unit u = patchrec::make_unit();
    tv::from_json(u, "{\"wifi\":{\"ip\":\"10.0.0.2\"},\"since\":null,\"extra\":{\"b\":2}}",
                  tv::options().as_patch());
    EXPECT_EQ(*u.name, "hall");
    EXPECT_EQ(*u.wifi->ssid, "home"); // nested records are patched member by member
    EXPECT_EQ(*u.wifi->ip, "10.0.0.2");
    EXPECT_EQ(u.since.quality(), tv::disengaged);
    EXPECT_EQ(u.extra->json, Variant::fromJson("{\"a\":1,\"b\":2}")); // blocks merge

    // Without patch the same document lacks required members.
    EXPECT_THROW(tv::from_json(u, "{\"wifi\":{}}"), tv::bad_deserialization_source);
}

TEST(Patch, NewValuesAreReadWhole) {
    unit u = patchrec::make_unit();
    // The backup was disengaged: it is read from scratch, and the patch may leave members out.
    // The list is replaced, its elements read from scratch too.
    tv::from_json(u,
                  "{\"backup\":{\"ssid\":\"b\"},\"fallbacks\":[{\"ssid\":\"f\",\"freq\":\"5\"}],"
                  "\"offsets\":{}}",
                  tv::options().as_patch());
    EXPECT_EQ(*u.backup->ssid, "b");
    EXPECT_FALSE(u.backup->freq.provided());
    ASSERT_EQ(u.fallbacks->size(), 1u);
    EXPECT_EQ(*(*u.fallbacks)[0].freq, patchrec::band::b5);
    EXPECT_FALSE((*u.fallbacks)[0].mtu.provided());
    EXPECT_TRUE(u.offsets->empty());

    // An opaque block that held nothing takes a non-object value whole instead of merging.
    unit fresh;
    tv::from_json(fresh, "{\"extra\":[1,2]}", tv::options().as_patch());
    EXPECT_EQ(fresh.extra->json, Variant::fromJson("[1,2]"));
}

TEST(Patch, WritingKeepsProvidedMembersAndNullsDisengagedOnes) {
    unit u;
    u.name = "n";
    u.backup = tv::none;
    u.since = std::int64_t{-1};
    EXPECT_EQ(tv::to_variant(u, tv::options().as_patch()),
              Variant::fromJson("{\"name\":\"n\",\"backup\":null,\"since\":-1}"));
    EXPECT_THROW(tv::to_variant(u), tv::missing_value);
}

TEST(Patch, MakePatchHoldsOnlyChanges) {
    unit const a = patchrec::make_unit();
    unit b = a;
    EXPECT_EQ(tv::make_patch(b, a), Variant::fromJson("{}"));
    b.wifi->mtu = tv::none;
    (*b.offsets)["h"] = 2.0;
    EXPECT_EQ(tv::make_patch(b, a),
              Variant::fromJson("{\"wifi\":{\"mtu\":null},\"offsets\":{\"t\":0.5,\"h\":2.0}}"));
}

TEST(Patch, AppliedPatchReproducesTheChangedRecord) {
    using change = void (*)(unit&);
    change const changes[] = {
        [](unit& u) { u.name = "renamed"; },
        [](unit& u) { u.wifi->freq = patchrec::band::b5; },
        [](unit& u) { u.wifi->ip = "192.168.1.9"; },
        [](unit& u) { u.wifi->mtu = tv::none; },
        [](unit& u) { u.wifi = patchrec::make_radio("other"); },
        [](unit& u) { u.backup = patchrec::make_radio("spare"); },
        [](unit& u) {
            patchrec::radio partial;
            partial.ssid = "partial";
            partial.ip = tv::none;
            u.backup = partial;
        },
        [](unit& u) { (*u.fallbacks)[0].ssid = "guest2"; },
        [](unit& u) { u.fallbacks->clear(); },
        [](unit& u) { u.fallbacks->push_back(patchrec::make_radio("third")); },
        [](unit& u) { (*u.offsets)["t"] = -0.75; },
        [](unit& u) { u.offsets->erase("t"); },
        [](unit& u) { u.since = tv::none; },
        [](unit& u) { u.since = std::int64_t{-5}; },
        [](unit& u) { u.extra->set_attribute("b", true); },
        [](unit& u) {
            u.name = "all";
            u.wifi->ssid = "x";
            u.backup = patchrec::make_radio("y");
            u.since = tv::none;
        },
    };
    unit const a = patchrec::make_unit();
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        unit b = a;
        changes[i](b);
        Variant const patch = tv::make_patch(b, a);
        unit c = a;
        tv::from_variant(c, patch, tv::options().as_patch());
        EXPECT_TRUE(tv::equal(c, b)) << "change " << i << ": " << patch.toJson();
        unit t = a; // the same through text
        tv::from_json(t, patch.toJson(), tv::options().as_patch());
        EXPECT_TRUE(tv::equal(t, b)) << "change " << i << " through text";
    }
}

TEST(Patch, WhatAPatchCannotSay) {
    unit const a = patchrec::make_unit();
    unit b = a;
    b.since.clear();                                 // no longer provided: left out of the patch
    b.extra = tv::opaque_json_block::empty_object(); // a block's dropped key is not removed
    unit c = a;
    tv::from_variant(c, tv::make_patch(b, a), tv::options().as_patch());
    EXPECT_EQ(*c.since, 1700000000000);
    EXPECT_EQ(c.extra->json, a.extra->json);
}
