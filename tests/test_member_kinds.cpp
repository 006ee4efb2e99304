// Structs as applications write them: plain members, std::optional, sets, unordered maps and
// durations read, written, patched and compared at their edges; and the member wrappers beside
// std::optional.

#include <cfloat>
#include <functional>
#include <iterator>
#include <limits>

#include "codec_driver.hpp"
#include "record_kinds.hpp"

using tolvi_test::json;

namespace {

using kinds::agent;

// An element type of an unordered set that holds a record member: ordered and hashed by `id`.
struct tag {
    int id = 0;
    tv::optional<std::string> note;
};
TOLVI_RECORD(tag, id, note);
bool operator<(tag const& a, tag const& b) {
    return a.id < b.id;
}
bool operator==(tag const& a, tag const& b) {
    return a.id == b.id;
}
struct tag_hash {
    std::size_t operator()(tag const& t) const { return std::hash<int>()(t.id); }
};

} // namespace

namespace std {
template <>
struct hash<tag> : tag_hash {};
} // namespace std

namespace {

struct tagged {
    std::unordered_set<tag> tags;
};
TOLVI_RECORD(tagged, tags);

} // namespace

TEST(MemberKinds, WholeDocumentsAndPatches) {
    agent const fresh; // nothing unprovided: a default-constructed struct saves
    EXPECT_EQ(tv::to_json(fresh),
              R"({"blob":[],"counts":{},"levels":[],"modes":[],"name":"",)"
              R"("ports":{},"quiet":{"start":0},"seq":0,"tags":[],"timeout":0})");
    EXPECT_EQ(tv::to_variant(fresh, tv::options().as_patch()).get("quiet"),
              json(R"({"start":0,"length":null})"));
    agent const base = tv::from_json<agent>(kinds::agent_text);
    EXPECT_EQ(tv::to_json(base), kinds::agent_text);
    EXPECT_EQ(base.timeout, std::chrono::seconds::min());
    EXPECT_EQ(base.quiet.start.count(), INT32_MIN);

    // Absent or null, a std::optional reads as nullopt in a whole document; a patch keeps what it
    // does not name, plain members too.
    agent a = tv::from_json<agent>(R"({"name":"n","seq":1,"last-error":null,"quiet":{"start":0},)"
                                   R"("tags":[],"modes":[],"levels":[],"counts":{},"ports":{},)"
                                   R"("timeout":0,"blob":[]})");
    EXPECT_FALSE(a.last_error || a.bounds || a.latency || a.quiet.length);
    struct {
        char const* patch;
        char const* refusal; // "" when taken
    } const rows[] = {
        {R"({"quiet":{"start":5},"tags":["x"],"ports":{"22":null,"23":{"max-temp":1}}})", ""},
        {R"({"bounds":null,"latency":null,"last-error":null,"counts":{"b":null}})", ""},
        {R"({"bounds":{"class":"c"}})", ""},
        {R"({"quiet":null})", "/quiet: required member is null"},
        {R"({"ports":{"80":{"min_temp":1},"24":{}}})",
         "/ports/24/max-temp: required member is missing"},
        {R"({"levels":[1,1.0]})", "/levels/1: duplicate element: 1.0"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.patch);
        agent r = base;
        Variant const patch = json(row.patch);
        try {
            tv::from_variant(r, patch, tv::options().as_patch());
            EXPECT_STREQ(row.refusal, "");
            EXPECT_TRUE(tv::equal(
                r, tv::from_variant<agent>(tv::merge_patch(tv::to_variant(base), patch))));
        } catch (tv::document_error const& e) {
            EXPECT_STREQ(e.what(), row.refusal);
            EXPECT_TRUE(tv::equal(r, base));
        }
    }
    EXPECT_THROW_MSG(tv::from_json(a, R"({"bounds":{"class":"c"}})", tv::options().as_patch()),
                     tv::document_error, "/bounds/max-temp: required member is missing");
}

TEST(MemberKinds, ChangesCompareAndPatch) {
    agent const base = tv::from_json<agent>(kinds::agent_text);
    using ms = std::chrono::duration<float, std::milli>;
    void (*const changes[])(agent&) = {
        [](agent& a) { a.name = "m"; },
        [](agent& a) { a.seq = 0; },
        [](agent& a) { a.last_error.reset(); },
        [](agent& a) { a.quiet.start = decltype(a.quiet.start)::max(); },
        [](agent& a) { a.quiet.length = std::nullopt; },
        [](agent& a) { a.bounds->min_temp = 4; },
        [](agent& a) { a.bounds.reset(); },
        [](agent& a) { a.tags.clear(); },
        [](agent& a) { a.tags.insert("c"); },
        [](agent& a) { a.modes.erase(kinds::mode::cool); },
        [](agent& a) {
            a.modes = {kinds::mode::heat, kinds::mode::off};
        },
        [](agent& a) { a.levels.insert(-0.25); },
        [](agent& a) { a.counts["zz"] = 0; },
        [](agent& a) { a.counts.erase("a"); },
        [](agent& a) { a.ports[22].klass = "y"; },
        [](agent& a) { a.ports.erase(80); },
        [](agent& a) { a.timeout = std::chrono::seconds::max(); },
        [](agent& a) { a.latency = ms(-FLT_MAX); },
        [](agent& a) { a.latency = ms(FLT_MAX); },
        [](agent& a) { a.blob.push_back(7); },
    };
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        agent changed = base, patched = base;
        changes[i](changed);
        EXPECT_FALSE(tv::equal(base, changed)) << "change " << i;
        EXPECT_FALSE(tv::equal(changed, base)) << "change " << i;
        tv::from_variant(patched, tv::make_patch(changed, base), tv::options().as_patch());
        EXPECT_TRUE(tv::equal(patched, changed)) << "change " << i;
        EXPECT_TRUE(tv::equal(tv::from_json<agent>(tv::to_json(changed)), changed)) << i;
    }

    // Unordered containers write the same text whatever their history.
    agent a, b;
    for (int i = 0; i < 500; ++i) {
        a.counts[std::to_string(i)] = static_cast<short>(i);
        b.counts[std::to_string(499 - i)] = static_cast<short>(499 - i);
        a.levels.insert(i * 0.5);
        b.levels.insert((499 - i) * 0.5);
    }
    b.counts.rehash(4096);
    std::map<std::string, short> const sorted(a.counts.begin(), a.counts.end());
    std::set<double> const levels(a.levels.begin(), a.levels.end());
    EXPECT_EQ(tv::to_json(b), tv::to_json(a));
    EXPECT_EQ(tv::to_variant(a).get("counts"), tv::to_variant(sorted));
    EXPECT_EQ(tv::to_variant(a).get("levels"), tv::to_variant(levels));
    EXPECT_TRUE(tv::equal(a, b));
}

// Each refusal names the value's place and reason, and leaves the record as it was.
TEST(MemberKinds, RefusedValues) {
    agent const base = tv::from_json<agent>(kinds::agent_text);
    std::tuple<char const*, char const*, char const*> const rows[] = {
        {"tags", R"(["a","b","a"])", R"(/tags/2: duplicate element: "a")"},
        {"modes", R"(["off","heat","off"])", R"(/modes/2: duplicate element: "off")"},
        {"timeout", "1.5",
         "/timeout: expected an integer from -9223372036854775808 to 9223372036854775807 "
         "(seconds): 1.5"},
        {"quiet", R"({"start":2147483648})",
         "/quiet/start: expected an integer from -2147483648 to 2147483647 (minutes): 2147483648"},
        {"quiet", R"({"start":1,"length":"1s"})",
         R"(/quiet/length: expected a number (seconds): "1s")"},
        {"latency", "1e39",
         "/latency: expected a number from -3.4028235e38 to 3.4028235e38 (milliseconds): 1e39"},
        {"name", "null", "/name: required member is null"},
        {"counts", R"({"a":32768})", "/counts/a: expected an integer from -32768 to 32767: 32768"},
        {"ports", R"({"65536":{"max-temp":1}})",
         R"(/ports/65536: map key is not an integer from 0 to 65535: "65536")"},
        {"blob", "[256]", "/blob/0: expected an integer from 0 to 255: 256"},
        {"levels", "{}", "/levels: expected an array: an object of 0 members"},
    };
    for (auto const& [key, value, what] : rows) {
        Variant doc = json(kinds::agent_text);
        doc[key] = json(value);
        agent a = base;
        EXPECT_THROW_MSG(tv::from_variant(a, doc), tv::document_error, what);
        EXPECT_TRUE(tv::equal(a, base)) << key;
    }
    agent a = base; // written in order, a duplicate or NaN is refused where it would stand
    a.levels = {1e-9, 2.0, 2e-9};
    EXPECT_THROW_MSG(tv::to_json(a), tv::unwritable_value,
                     "/levels/1: written as the element before it, it would read back as a "
                     "duplicate");
    a.levels = {std::nan(""), 2.0, 1.0};
    EXPECT_THROW_MSG(tv::to_json(a), tv::unwritable_value,
                     "/levels/2: NaN cannot be written as JSON");
    // Parsed text is the call's own, and its strings are moved into the set as it is read.
    EXPECT_THROW_MSG(tv::from_json<std::unordered_set<std::string>>(R"(["a","b","a"])"),
                     tv::document_error, R"(/2: duplicate element: "a")");
    std::set<int> s; // driven by hand
    Variant doc = json("[1,1]");
    EXPECT_THROW(tolvi_test::run<tv::impl<std::set<int>>>(tv::deserialize_from_json, &s, &doc),
                 tv::bad_deserialization_source);

    // A patch that leaves an element of an unordered set incomplete is refused at the place the
    // element is written: its value's among the others.
    tagged t;
    t.tags = {tag{3, std::string("c")}, tag{1, {}}, tag{2, std::string("b")}};
    EXPECT_THROW_MSG(tv::from_json(t, "{}", tv::options().as_patch()), tv::document_error,
                     "/tags/0/note: optional member is missing");
}

TEST(MemberWrappers, MeetStdOptional) {
    tv::required<int> r = std::nullopt;
    tv::optional<std::string> o = std::optional<std::string>("x");
    EXPECT_TRUE(r == std::nullopt && std::nullopt == r && !r.provided());
    r = std::optional<int>(3);
    EXPECT_TRUE(r == 3 && 3 == r && r != 4 && r == std::optional<int>(3) && r != std::nullopt);
    EXPECT_TRUE(o == "x" && o.engaged() && o != std::optional<std::string>());
    o = std::nullopt; // disengaged, as tolvi::none
    EXPECT_TRUE(o.provided() && !o.engaged() && o == std::nullopt);
    EXPECT_FALSE(o == tv::optional<std::string>()); // unprovided: another state
    o = std::optional<std::string>();
    EXPECT_EQ(o.quality(), tv::disengaged);
    std::optional<int> const v = r;
    std::optional<std::string> const none = o;
    EXPECT_EQ(v, 3);
    EXPECT_FALSE(none.has_value());
    r = std::optional<int>();
    EXPECT_FALSE(r.provided());
    EXPECT_TRUE(r == tv::required<int>() && r != tv::required<int>(0));
}
