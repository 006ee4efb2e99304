// Large documents: parse_json steps through the outer containers of a large text and has Jansson
// parse one value at a time; what it gives or refuses must be what json_loads gives the whole
// text. The texts below are padded with blanks past the size where that starts.

#include <string>
#include <utility>
#include <vector>

#include <jansson.h>
#include <tolvi/tolvi.hpp>

#include "test_support.hpp"

namespace tolvi = korvax::tolvi;

namespace {

std::string const pad = [] {
    std::string p;
    while (p.size() < 300 * 1024) {
        p += " \t\r\n  ";
    }
    return p;
}();

std::string nested(int depth, std::string const& inner) {
    return std::string(static_cast<std::size_t>(depth), '[') + inner +
           std::string(static_cast<std::size_t>(depth), ']');
}

// The text padded before and after, parsed by parse_json, a copy given up, and by json_loads;
// with unique keys too, as strict reads parse.
void expectSameAsWhole(std::string const& text) {
    for (auto const& [padded, unique] :
         {std::pair(pad + text, false), std::pair(text + pad, false), std::pair(pad + text, true),
          std::pair(text + pad, true)}) {
        SCOPED_TRACE(testing::Message()
                     << text.substr(0, 80) << (padded[0] == ' ' ? " after" : " before") << " blanks"
                     << (unique ? ", unique keys" : ""));
        json_error_t e;
        json_t* const tree =
            json_loads(padded.c_str(), JSON_DECODE_ANY | (unique ? JSON_REJECT_DUPLICATES : 0), &e);
        Variant const expected = tree != nullptr ? Variant::fromJson(padded) : Variant(-1);
        json_decref(tree);
        for (bool const given : {false, true}) {
            Variant out(-1);
            tolvi::parse_failure why;
            std::string copy = padded;
            bool const ok = given ? tolvi::parse_json(std::move(copy), out, why, unique)
                                  : tolvi::parse_json(padded, out, why, unique);
            EXPECT_EQ(ok, tree != nullptr);
            EXPECT_EQ(out, expected);
            if (tree == nullptr) {
                EXPECT_EQ(why.reason, tolvi::detail::parser_reason(e.text));
                EXPECT_EQ(why.line, e.line);
                EXPECT_EQ(why.column, e.column);
                EXPECT_EQ(why.position, e.position);
            }
        }
    }
}

TEST(LargeDocuments, StepwiseParseGivesWhatTheWholeTextGives) {
    std::string const deep = std::string(JSON_PARSER_MAX_DEPTH, '[');
    std::vector<std::string> const rows = {
        // values, keys that come twice, text that is not ASCII
        R"({"a":[1,2.5,"s",{"b":null}],"c":{"d":[true,false],"d":{}},"e":"x","a":7})",
        "[1,\t2 ,\r\n\"\xC3\xA9\" , [] ,{},{\"k\":[{}]}]",
        "{ }",
        "[ ]",
        "{\"\xE2\x82\xAC\":{\"x\":[1]},\"list\":[[1,[2]],{\"q\":\"\\u00e9\"}]}",
        // keys that come twice, for strict reads: at every depth, not ASCII, the empty key
        "{\"\xC3\xA9\":1,\"x\":[1],\"\xC3\xA9\":2}",
        R"({"m":{"":1,"":2}})",
        R"({"a":1,"":[1,]})",
        R"([{"a":1,"b":{"c":2,"c":3}}])",
        // bad text inside a value
        R"([1,{"a":tru}])",
        R"({"a":[1,2,"\u0000"]})",
        R"({"list":[{"a":1},{"b":}]})",
        R"({"m":{"a":[1, 2}}})",
        "[1, 9223372036854775808]",
        "{\"a\": 1e309}",
        "[\"\xC3\xA9\xC3\xA9\",\n  \"\xFF\"]",
        // bad text between values
        "[1 2]",
        "[1,,2]",
        "[1,]",
        "[,1]",
        "{\"a\":1 \"b\":2}",
        "{\"a\" 1}",
        "{\"a\" 11}", // a colon skipped blindly would take 1
        "{\"a\"}",
        "{1:2}",
        "{\"a\":1,}",
        "{,}",
        "{\"list\":[1 2]}",
        "{\"list\":[1,]}",
        "{\"m\":{\"a\" 1}}",
        "{\"m\":{\"a\" 11}}",
        "{\"m\":{\"a\":1,}}",
        "{\"m\":[1]x}",
        "[1.5.3]",
        "[1\xFF]",
        "{\"m\":{\"a\":true\xFF}}",
        "[1x]",
        "{\"a\\u0000b\":1}",
        "{\"m\":{\"\\u0000\":1}}",
        "{\"\xFF\":1}",
        "[1,\n \xFF]",
        "[1,\n  \"\xC3\xA9\",\n  x]",
        "{\"m\":{\"a\":1}\n,\n \"b\" : [1 , \"\xC3\xA9\" x]}",
        // after the document, and cut short
        "[1] x",
        "{} {}",
        "[1]]",
        "{\"m\":[1]}}",
        "[1,2",
        "{\"a\":",
        "{\"a\"",
        "{\"a",
        "{\"list\":[1,",
        "{\"list\":{\"b\":",
        "[",
        "{",
        // NUL bytes: the text ends at the first
        std::string("[1,2]\0garbage", 13),
        std::string("[1,\0 2]", 7),
        std::string("{\"a\":[1]\0}", 10),
        // the depth limit, counted over the whole text
        nested(JSON_PARSER_MAX_DEPTH, ""),
        nested(JSON_PARSER_MAX_DEPTH + 1, ""),
        "[0," + nested(JSON_PARSER_MAX_DEPTH - 1, "") + "]",
        "[0," + nested(JSON_PARSER_MAX_DEPTH, "") + "]",
        "{\"a\":" + nested(JSON_PARSER_MAX_DEPTH - 1, "") + "}",
        "{\"a\":" + nested(JSON_PARSER_MAX_DEPTH, "") + "}",
        "{\"a\":[" + nested(JSON_PARSER_MAX_DEPTH - 2, "") + "]}",
        "{\"a\":[" + nested(JSON_PARSER_MAX_DEPTH - 1, "") + "]}",
        "{\"a\":{\"b\":" + nested(JSON_PARSER_MAX_DEPTH - 1, "") + "}}",
        deep,
    };
    for (std::string const& text : rows) {
        expectSameAsWhole(text);
    }
}

struct part {
    tolvi::required<int> a;
    int cache = 0; // not in the document
};
TOLVI_RECORD(part, a);

struct whole {
    tolvi::required<part> first;
    tolvi::optional<std::vector<part>> more;
    int cache = 0;
};
TOLVI_RECORD(whole, first, more);

// A whole document is read into a fresh record and moved in member by member: what a record does
// not declare stays, in the record and in the nested records it held, as when reading in place.
TEST(LargeDocuments, WholeDocumentsReplaceOnlyDeclaredMembers) {
    whole w;
    tolvi::from_json(w, R"({"first": {"a": 1}, "more": [{"a": 2}]})");
    w.cache = 7;
    w.first->cache = 8;
    (*w.more)[0].cache = 9;
    std::string const text = R"({"first": {"a": 3}, "more": [{"a": 4}]})";
    Variant const document = Variant::fromJson(text);
    for (bool const parsed : {false, true}) {
        if (parsed) {
            tolvi::from_json(w, text);
        } else {
            tolvi::from_variant(w, document); // the caller's document is left as it was
        }
        EXPECT_EQ(tolvi::to_json(document), tolvi::to_json(w));
        // Fields left out of TOLVI_RECORD keep their values, but in list elements, read whole.
        EXPECT_EQ(w.cache, 7);
        EXPECT_EQ(w.first->cache, 8);
        EXPECT_EQ((*w.more)[0].cache, 0);
        (*w.more)[0].cache = 9;
    }
    EXPECT_THROW(tolvi::from_json(w, R"({"first": {"a": 5}, "more": [{"a": "x"}]})"),
                 tolvi::document_error);
    EXPECT_EQ(*w.first->a, 3); // the refused read changed nothing
    EXPECT_EQ((*w.more)[0].cache, 9);
}

} // namespace
