// What the record calls say when they refuse: document_error with the path of the refused value
// (a refused read changes nothing), missing_member and unwritable_value with the path of what
// cannot be written; and whole documents that load, save and load again alike.

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "record_fixture.hpp"
#include "record_kinds.hpp"

using tolvi_test::json;

namespace {

// A document refused by both records of a row: `doc` read with `o` into `base`.
template <class R>
void expect_refused(R const& base, Variant const& doc, tv::options const& o,
                    std::string const& path, std::string const& what) {
    R r = base;
    try {
        tv::from_variant(r, doc, o);
        ADD_FAILURE() << what << ": accepted";
    } catch (tv::document_error const& e) {
        EXPECT_EQ(e.path(), path);
        EXPECT_EQ(e.what(), what);
    }
    EXPECT_TRUE(tv::equal(r, base)) << what << ": the record changed";
}

struct refusal {
    bool shape;              // read into rec::shape, else kinds::panel
    tv::options o;           // a patch gets a new first member ("name", "gain") beside `value`
    char const* place;       // where `value` goes in the record's document; null: `value` is all
    std::string value, path; // the refused value and its path
    std::string reason;      // what() after the path
};

std::string const long_name(300, 'x');

} // namespace

TEST(RecordErrors, RefusedReadsSayWhereAndChangeNothing) {
    tv::options const whole, patch = tv::options().as_patch();
    char const* const floats = "expected a number from -3.4028235e38 to 3.4028235e38: ";
    refusal const rows[] = {
        {0, whole, "", "[1]", "", "expected an object: an array of 1 element"},
        {0, whole, "gain", "\"1\"", "/gain", floats + std::string("\"1\"")},
        {0, whole, "@rgb", "[1,2]", "/@rgb",
         "expected an array of 3 elements: an array of 2 elements"},
        {0, whole, "@rgb/2", "256", "/@rgb/2", "expected an integer from 0 to 255: 256"},
        {0, whole, "by hour", R"({"7":[1,1e39]})", "/by hour/7/1", floats + std::string("1e39")},
        {0, whole, "by hour/seven", "[]", "/by hour/seven",
         R"(map key is not an integer from -128 to 127: "seven")"},
        {0, whole, "counters/-1", "0", "/counters/-1",
         R"(map key is not an integer from 0 to 18446744073709551615: "-1")"},
        {0, whole, "modes/Heat", "{}", "/modes/Heat",
         R"(map key is not one of "heat", "cool", "off": "Heat")"},
        {0, whole, "modes/heat", "{}", "/modes/heat/max-temp", "required member is missing"},
        {0, whole, "modes/cool/max-temp", "null", "/modes/cool/max-temp",
         "required member is null"},
        {0, whole, "modes/cool/min_temp", "7e4", "/modes/cool/min_temp",
         "expected an integer from -32768 to 32767: 70000.0"},
        {0, whole, "pair", "{}", "/pair",
         "expected an array of 2 elements: an object of 0 members"},
        {0, whole, "pair/1/class", "5", "/pair/1/class", "expected a string: 5"},
        {0, patch, nullptr, R"({"modes":{"cool":{"class":[]}}})", "/modes/cool/class",
         "expected a string: an array of 0 elements"},
        {0, tv::options().from(kinds::cloud).as_patch(), nullptr,
         R"({"modes":{"off":{"max-temp":1}}})", "/modes/off/max-temp",
         "refused from this document's source type: 1"},
        {1, whole, "groups/a~b", R"([{"x":"1"}])", "/groups/a~0b/0/x",
         R"(expected an integer from -2147483648 to 2147483647: "1")"},
        {1, whole, "layers/1", R"({"k~/":{"x":1,"label":{}}})", "/layers/1/k~0~1/label",
         "expected a string: an object of 0 members"},
        {1, whole, "history/1", "\"dim\"", "/history/1",
         R"(expected one of "off", "on", "blink": "dim")"},
        {1, whole, "bits/0", "1", "/bits/0", "expected true or false: 1"},
        {1, whole, "serial", "0.5", "/serial",
         "expected an integer from 0 to 18446744073709551615: 0.5"},
        {1, whole, "serial", "-1", "/serial",
         "expected an integer from 0 to 18446744073709551615: -1"},
        {1, whole, "weights/t", "\"x\"", "/weights/t", "expected a number: \"x\""},
        {1, whole, "weights/t", "\"" + long_name + "\"", "/weights/t",
         "expected a number: \"" + long_name.substr(0, 64) + "\"..."},
        {1, patch, nullptr, R"({"origin":{"x":"7"}})", "/origin/x",
         R"(expected an integer from -2147483648 to 2147483647: "7")"},
    };
    kinds::panel panel = kinds::make_panel();
    panel.gain = 0.25f; // what a partial read would change first
    rec::shape shape = rec::make_shape();
    shape.name = "before";
    for (refusal const& r : rows) {
        Variant doc =
            r.place ? json(r.shape ? rec::shape_text : kinds::panel_text) : json(r.value.c_str());
        if (r.place != nullptr) {
            rec::place(doc, r.place) = json(r.value.c_str());
        } else if (r.shape) {
            doc["name"] = "changed";
        } else {
            doc["gain"] = 2;
        }
        std::string const what = r.path.empty() ? r.reason : r.path + ": " + r.reason;
        if (r.shape) {
            expect_refused(shape, doc, r.o, r.path, what);
        } else {
            expect_refused(panel, doc, r.o, r.path, what);
        }
    }

    // Text that is not JSON, whole or patch: the parser's position, and nothing logged.
    tolvi_test::log_capture cap;
    for (auto const& o : {whole, patch}) {
        rec::shape s = shape;
        try {
            tv::from_json(s, "{\"name\": \"n\",\n \"serial\": tru}", o);
            ADD_FAILURE() << "accepted";
        } catch (tv::document_error const& e) {
            EXPECT_EQ(std::string(e.what()), "line 2, column 14: invalid token near 'tru'");
            EXPECT_EQ(std::make_tuple(e.path(), e.line(), e.column(), e.position()),
                      std::make_tuple(std::string(), 2, 14, 28));
        }
        EXPECT_TRUE(tv::equal(s, shape));
    }
    EXPECT_TRUE(cap.entries.empty());
}

// Messages show little of the document: keys and strings cut to 64 bytes, control bytes escaped,
// no parser flag; path() stays exact. Strict text reads refuse a key given twice.
TEST(RecordErrors, MessagesShowLittleOfTheDocument) {
    std::string const k(100000, 'k'), cut = k.substr(0, 64);
    tv::options const whole, strict = tv::options().strict();
    std::tuple<std::string, tv::options, std::string, std::string> const rows[] = {
        {R"({"gain":1,")" + k + R"(":1})", strict, "/" + k,
         "unknown key \"" + cut + "\"... at /" + cut + "..."},
        {R"({"gain":1,"by hour":{"\u001b[2J":[]}})", whole, "/by hour/\x1b[2J",
         R"(/by hour/\u001b[2J: map key is not an integer from -128 to 127: "\u001b[2J")"},
        {R"({"gain":1,"\n\u0007\"":1})", strict, "/\n\x07\"",
         R"(unknown key "\n\u0007\"" at /\n\u0007")"},
        {R"({"gain":"a\u0000"})", whole, "",
         R"(line 1, column 17: \u0000 (a NUL character) is not allowed in a string near '"a\u0000"')"},
        {"{\"gain\":\x1b}", whole, "", R"(line 1, column 9: invalid token near '\u001b')"},
        {R"({"gain":1,"gain":2})", strict, "",
         R"(line 1, column 16: duplicate object key near '"gain"')"},
    };
    for (auto const& [text, o, path, what] : rows) {
        kinds::panel p;
        try {
            tv::from_json(p, text, o);
            ADD_FAILURE() << what << ": accepted";
        } catch (tv::document_error const& e) {
            EXPECT_EQ(std::make_pair(e.path(), std::string(e.what())), std::make_pair(path, what));
        }
    }
    EXPECT_EQ(*tv::from_json<kinds::panel>(R"({"gain":1,"gain":2})").gain, 2.0f);
}

TEST(RecordErrors, WritesRefuseWhatCannotReadBack) {
    using change = void (*)(rec::shape&, kinds::panel&);
    std::tuple<change, std::string, std::string> const rows[] = {
        {[](rec::shape& s, kinds::panel&) { s.name.clear(); }, "/name", " was never provided"},
        {[](rec::shape& s, kinds::panel&) { (*s.points)[1].x.clear(); }, "/points/1/x",
         " was never provided"},
        {[](rec::shape& s, kinds::panel&) { (*s.layers)[0]["k"].label.clear(); },
         "/layers/0/k/label", " was never provided"},
        {[](rec::shape& s, kinds::panel&) { (*s.weights)["t"] = NAN; }, "/weights/t",
         ": NaN cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { s.serial = UINT64_MAX; }, "/serial",
         ": an integer above 9223372036854775807 cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { (*s.weights)["h"] = -INFINITY; }, "/weights/h",
         ": an infinity cannot be written as JSON"},
        {[](rec::shape&, kinds::panel& p) { p.gain = INFINITY; }, "/gain",
         ": an infinity cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { s.name = std::string("a\0b", 3); }, "/name",
         ": text that holds a NUL byte cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { (*s.groups)["two"][1].label = "\xff"; },
         "/groups/two/1/label", ": text that is not UTF-8 cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { (*s.weights)["\xc3("] = 1; }, "/weights/\xc3(",
         ": a key that is not UTF-8 cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { s.extra->json["k"][0] = NAN; }, "/extra/k/0",
         ": NaN cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { s.extra->json["\xe9"] = 1; }, "/extra/\xe9",
         ": a key that is not UTF-8 cannot be written as JSON"},
        {[](rec::shape& s, kinds::panel&) { s.extra = tv::opaque_json_block(); }, "/extra",
         ": null cannot be read back into a required member"},
        {[](rec::shape&, kinds::panel& p) { p.extra = tv::opaque_json_block(); }, "/extra",
         ": null would read back as a disengaged member"},
    };
    std::string const file = testing::TempDir() + "record_errors.json";
    for (auto const& [change, path, rest] : rows) {
        rec::shape s = rec::make_shape();
        kinds::panel p = kinds::make_panel();
        tv::to_file(s, file);
        change(s, p);
        std::string const what = path + rest;
        try { // the record's own checks, before to_file checks the whole value again
            tv::to_variant(s);
            tv::to_variant(p);
            ADD_FAILURE() << what << ": written";
        } catch (tv::missing_member const& e) {
            EXPECT_EQ(std::make_pair(e.path(), std::string(e.what())), std::make_pair(path, what));
        } catch (tv::unwritable_value const& e) {
            EXPECT_EQ(std::make_pair(e.path(), std::string(e.what())), std::make_pair(path, what));
        }
        EXPECT_ANY_THROW((tv::to_file(s, file), tv::to_file(p, file))) << what;
        std::ifstream in(file);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}),
                  tv::to_json(rec::make_shape()))
            << what << ": the file changed";
    }
    std::remove(file.c_str());
    EXPECT_THROW_MSG(tv::to_json(static_cast<char const*>("\xe2\x82")), tv::unwritable_value,
                     "text that is not UTF-8 cannot be written as JSON");
}

// A whole document that lacks optional members, at any depth, loads with them disengaged; saved,
// it loads back equal and saves the same bytes.
TEST(Records, WholeDocumentsLoadSaveAndLoadAlike) {
    rec::shape s = rec::make_shape();
    tv::from_json(s, R"({"name":"n","points":[{"x":1}],"groups":{"g":[{"x":2}]},"led":"on",)"
                     R"("weights":{"a":0.1,"b":0.3333333333333333},"history":[],"serial":7,)"
                     R"("offset":-7,"level":0,"extra":{"e":1e-9}})");
    EXPECT_EQ(std::make_tuple(s.layers.quality(), s.origin.quality(),
                              (*s.points)[0].label.quality(), (*s.groups)["g"][0].label.quality()),
              std::make_tuple(tv::disengaged, tv::disengaged, tv::disengaged, tv::disengaged));
    std::string const text = tv::to_json(s);
    rec::shape again;
    tv::from_json(again, text);
    EXPECT_TRUE(tv::equal(again, s));
    EXPECT_EQ(tv::to_json(again), text);
}
