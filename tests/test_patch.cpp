// Patches both ways: cloud patches read into a fleet gateway's configuration as RFC 7396 merges
// them, refused whole where they would leave it incomplete; writing with patch keeps only provided
// members; make_patch against a baseline reproduces the changed record.

#include <fstream>

#include "record_fixture.hpp"

using tolvi_test::json;

namespace gw {

struct device {
    tv::required<std::string> name;
    tv::required<std::uint32_t> interval;
    tv::optional<std::string> site;
};
TOLVI_RECORD(device, name, (interval, "report-interval-s"), site);

struct alarm {
    tv::required<std::string> sensor;
    tv::required<double> above, below;
};
TOLVI_RECORD(alarm, sensor, above, below);

struct uplink {
    tv::required<std::string> host;
    tv::required<std::uint16_t> port;
};
TOLVI_RECORD(uplink, host, port);

struct gateway {
    tv::required<std::string> name;
    tv::required<std::map<std::string, device>> devices;
    tv::required<std::vector<alarm>> alarms;
    tv::optional<uplink> backup;
    tv::optional<std::uint64_t> seq;
    tv::optional<tv::opaque_json_block> vendor;
};
TOLVI_RECORD(gateway, name, devices, alarms, backup, seq, vendor);

char const gateway_text[] =
    R"({"name":"gw-1","devices":{"dev-001":{"name":"boiler","report-interval-s":60},)"
    R"("dev-002":{"name":"pump","report-interval-s":10,"site":"b2"}},)"
    R"("alarms":[{"sensor":"t1","above":80,"below":5}],"seq":7,"vendor":{"modem":{"fw":"4.2"}}})";

} // namespace gw

namespace {

// `patch` read into a copy of `base`: refused at `path` with the copy unchanged, or taken with the
// record that RFC 7396 gives on the record's document (what `tolvi patch` writes), after which it
// saves and loads back equal.
void expect_patch(gw::gateway const& base, Variant const& patch, std::string const& path,
                  std::string const& what = "") {
    SCOPED_TRACE(patch.toJson());
    gw::gateway r = base;
    try {
        tv::from_variant(r, patch, tv::options().as_patch());
    } catch (tv::document_error const& e) {
        EXPECT_EQ(e.path(), path) << e.what();
        if (!what.empty()) {
            EXPECT_EQ(e.what(), what);
        }
        EXPECT_TRUE(tv::equal(r, base)) << "a refused patch changed the record";
        return;
    }
    EXPECT_EQ(path, "") << "taken";
    auto const rfc = tv::from_variant<gw::gateway>(tv::merge_patch(tv::to_variant(base), patch));
    EXPECT_TRUE(tv::equal(r, rfc)) << tv::to_json(r);
    EXPECT_TRUE(tv::equal(tv::from_json<gw::gateway>(tv::to_json(r)), r));
}

} // namespace

TEST(Patch, CloudPatchesAreMergedOrRefusedWhole) {
    gw::gateway const base = tv::from_json<gw::gateway>(gw::gateway_text);
    struct {
        char const* patch;
        std::string path, what = ""; // where and why it is refused; "" when taken
    } const rows[] = {
        {R"({"devices":{"dev-002":{"report-interval-s":30}}})", ""},
        {R"({"devices":{"dev-002":{"site":null},"dev-001":null,"dev-9":{"name":"n",)"
         R"("report-interval-s":5}}})",
         ""},
        {R"({"devices":{"dev-100":{"name":"new"}}})", "/devices/dev-100/report-interval-s",
         "/devices/dev-100/report-interval-s: required member is missing"},
        {R"({"devices":{"dev-001":{"name":null}}})", "/devices/dev-001/name"},
        {R"({"devices":{"dev-001":[]}})", "/devices/dev-001",
         "/devices/dev-001: expected an object: an array of 0 elements"},
        {R"({"backup":{"host":"b"}})", "/backup/port"},
        {R"({"backup":{"host":"b","port":22},"seq":null})", ""},
        {R"({"alarms":[{"sensor":"x","above":1}]})", "/alarms/0/below"},
        {R"({"alarms":[{"sensor":"x","above":1,"below":0}],"name":"gw-2"})", ""},
        {R"({"vendor":{"modem":{"fw":5}}})", "/vendor/modem/fw",
         "/vendor/modem/fw: a patch cannot change the type of a string in an opaque block: 5"},
        {R"({"vendor":{"modem":{"bands":[3]},"lab":null}})", ""},
        {R"({"seq":-1})", "/seq", "/seq: expected an integer from 0 to 18446744073709551615: -1"},
        {R"({"seq":{"token":"SECRET-1"}})", "/seq",
         "/seq: expected an integer from 0 to 18446744073709551615: an object of 1 member"},
        {R"({"name":null})", "/name"},
    };
    for (auto const& row : rows) {
        expect_patch(base, json(row.patch), row.path, row.what);
    }

    // RFC 7396's own examples, on the opaque block: a merge takes the type conflicts of five of
    // them for mistakes and refuses them.
    std::ifstream examples(TOLVI_TEST_DATA_DIR "/merge_patch.tsv");
    std::string const refused[] = {"", "",        "", "",        "/vendor/a", "/vendor/a", "", "",
                                   "", "/vendor", "", "/vendor", "",          "/vendor",   ""};
    std::size_t n = 0;
    for (std::string line; std::getline(examples, line);) {
        std::size_t const tab = line.find('\t'), tab2 = line.find('\t', tab + 1);
        if (line[0] == '#' || tab2 == std::string::npos || n == std::size(refused)) {
            continue;
        }
        Variant const target = json(line.substr(0, tab).c_str());
        Variant const patch = json(line.substr(tab + 1, tab2 - tab - 1).c_str());
        EXPECT_EQ(tv::merge_patch(target, patch), json(line.substr(tab2 + 1).c_str())) << line;
        gw::gateway r = base;
        r.vendor->json = target;
        expect_patch(r, Variant(Variant::map_type{{"vendor", patch}}), refused[n++]);
    }
    EXPECT_EQ(n, std::size(refused));

    gw::gateway bare = base; // a block it does not hold is read whole, whatever the value's type
    bare.vendor = tv::none;
    expect_patch(bare, json(R"({"vendor":5})"), "");

    gw::gateway incomplete = base; // a patch taken into it would leave it unsaveable
    (*incomplete.devices)["dev-002"].name.clear();
    expect_patch(incomplete, json(R"({"seq":8})"), "/devices/dev-002/name");
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
    b.groups->erase("empty");
    b.extra->json = json(R"({"new":{"n":1}})");
    EXPECT_EQ(tv::make_patch(b, a),
              json(R"({"extra":{"k":null,"new":{"n":1}},"groups":{"empty":null},)"
                   R"("origin":{"label":null},"weights":{"h":2.0}})"));
    for (char const* block : {R"({"k":null})", R"({"k":{}})", R"({"new":{"n":null}})"}) {
        b.extra->json = json(block);
        EXPECT_THROW(tv::make_patch(b, a), tv::unwritable_value) << block;
    }
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
