// Opaque JSON blocks: storage, factories, attributes and the block codec in every mode.

#include <cstdint>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <tolvi/opaque_json_block.hpp>

#include "codec_driver.hpp"
#include "test_support.hpp"

// Readable failure output; Variant's namespace is the global one.
[[maybe_unused]] static void PrintTo(Variant const& v, std::ostream* os) {
    *os << v.toJson();
}

namespace {

using korvax::tolvi::opaque_json_block;
namespace tv = korvax::tolvi;
using block_codec = tv::impl<opaque_json_block>;

Variant parsed(char const* text) {
    return Variant::fromJson(text);
}

opaque_json_block block_of(char const* text) {
    return opaque_json_block::from_string(text);
}

char const* const non_object_message = "cannot set_attribute() on JSON storing a non-Object";

TEST(OpaqueBlock, FactoriesAndTypeNames) {
    EXPECT_STREQ(opaque_json_block().json_type(), "null");
    EXPECT_STREQ(opaque_json_block::empty_object().json_type(), "Object");
    EXPECT_TRUE(opaque_json_block::empty_object().json.value.mapValue->empty());
    struct {
        char const* text;
        char const* type;
    } const cases[] = {{"1", "Number"},      {"1.5", "Number"}, {"\"s\"", "String"},
                       {"false", "Boolean"}, {"{}", "Object"},  {"[1]", "Array"},
                       {"null", "null"},     {"", "null"},      {"{\"a\":", "null"}};
    for (auto const& c : cases) {
        EXPECT_STREQ(block_of(c.text).json_type(), c.type) << c.text;
    }
    // The counted form reads exactly `length` bytes: a prefix parses, a cut value does not.
    EXPECT_EQ(opaque_json_block::from_string("[1,2]xyz", 5).json, parsed("[1,2]"));
    EXPECT_TRUE(opaque_json_block::from_string("[1,2]", 3).json.isNull());
}

TEST(OpaqueBlock, SetAttributeStoresEachKind) {
    opaque_json_block b = opaque_json_block::empty_object();
    opaque_json_block inner = block_of(R"({"x":[1]})");
    std::string long_text(40, 'q');
    std::string const kept = "kept";
    b.set_attribute("blk", inner);
    b.set_attribute("tmp", opaque_json_block(inner));
    b.set_attribute("nul", nullptr);
    b.set_attribute("t", true);
    b.set_attribute("i", -1);
    b.set_attribute("ll", -(1LL << 40));
    b.set_attribute("d", 1e-12);
    b.set_attribute("nb", "a\0b", 3u);
    b.set_attribute("txt", "text");
    b.set_attribute("mv", std::move(long_text));
    b.set_attribute("cp", kept);
    inner.set_attribute("x", 0); // the stored copy is deep
    EXPECT_EQ(*b.json.get("nb").value.stringValue, std::string("a\0b", 3));
    b.set_attribute("nb", "a?b");
    EXPECT_EQ(b.json, parsed(R"({"blk":{"x":[1]},"tmp":{"x":[1]},"nul":null,"t":true,"i":-1,
        "ll":-1099511627776,"d":1e-12,"nb":"a?b","txt":"text",
        "mv":"qqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqqq","cp":"kept"})"));
    EXPECT_EQ(b.json.get("d").value.doubleValue, 1e-12); // not flushed like the double codec
    EXPECT_TRUE(long_text.empty());
    EXPECT_EQ(kept, "kept");
}

TEST(OpaqueBlock, SetAttributeWidensOtherArithmeticTypes) {
    opaque_json_block b = opaque_json_block::empty_object();
    b.set_attribute("l", -5L);
    b.set_attribute("u", 4000000000u);
    b.set_attribute("i64", std::int64_t{1} << 62);
    b.set_attribute("u64", ~0ULL); // keeps its bits, as Variant does
    b.set_attribute("c", 'A');
    b.set_attribute("f", 0.5f);
    EXPECT_EQ(b.json, parsed(R"({"l":-5,"u":4000000000,"i64":4611686018427387904,"u64":-1,
        "c":65,"f":0.5})"));
}

TEST(OpaqueBlock, SetAttributeReplacesAndIgnoresItself) {
    opaque_json_block b = block_of(R"({"a":1,"b":2})");
    b.set_attribute("a", "x");
    b.set_attribute("b", b);
    EXPECT_EQ(b.json, parsed(R"({"a":"x","b":2})"));
}

TEST(OpaqueBlock, SetAttributeNeedsAnObject) {
    for (char const* text : {"null", "[1]", "3", "\"s\""}) {
        opaque_json_block b = block_of(text);
        Variant const before = b.json;
        std::string moved_in = "must survive";
        EXPECT_THROW_MSG(b.set_attribute("k", 1), std::logic_error, non_object_message);
        EXPECT_THROW_MSG(b.set_attribute("k", std::move(moved_in)), std::logic_error,
                         non_object_message);
        EXPECT_THROW_MSG(b.set_attribute("k", "t", 1u), std::logic_error, non_object_message);
        EXPECT_THROW_MSG(b.set_attribute("k", b), std::logic_error, non_object_message);
        EXPECT_EQ(b.json, before) << text;
        EXPECT_EQ(moved_in, "must survive");
    }
    // Variant::set alone would turn Null into an Object; a default block refuses instead.
    opaque_json_block b;
    EXPECT_THROW_MSG(b.set_attribute("k", nullptr), std::logic_error, non_object_message);
    EXPECT_TRUE(b.json.isNull());
}

TEST(OpaqueBlockCodec, SerializeWritesADeepCopy) {
    opaque_json_block b = block_of(R"({"a":[1,{"b":null}]})");
    Variant out("previous");
    tolvi_test::run<block_codec>(tv::serialize_to_json, &b, &out);
    EXPECT_EQ(out, b.json);
    b.set_attribute("a", 0);
    EXPECT_EQ(out, parsed(R"({"a":[1,{"b":null}]})"));
}

TEST(OpaqueBlockCodec, DeserializeTakesAnyJson) {
    for (char const* text : {"\"s\"", "-3", "2.5", "null", "true", "[1,[]]", R"({"k":{}})"}) {
        opaque_json_block b = block_of(R"({"old":1})");
        Variant const src = parsed(text);
        tolvi_test::run<block_codec>(tv::deserialize_from_json, &b, const_cast<Variant*>(&src));
        EXPECT_EQ(b.json, src) << text;
    }
}

// Patch mode merges; a refused merge leaves the block as it was and reports nothing.
TEST(OpaqueBlockCodec, PatchMerges) {
    struct {
        char const* held;
        char const* source;
        char const* result;
    } const cases[] = {
        {R"({"a":1,"b":2})", R"({"b":null,"c":3})", R"({"a":1,"c":3})"},
        {R"({"a":{"x":1}})", R"({"a":{"y":2}})", R"({"a":{"x":1,"y":2}})"},
        {"null", R"({"a":null})", R"({"a":null})"},
        {"1", "2.0", "1"},
        {R"({"a":1})", R"({"0":5,"a":"s"})", R"({"a":1})"},
        {R"({"a":1})", "null", R"({"a":1})"},
        {"[1,2]", "[3]", "[3]"},
    };
    for (auto const& c : cases) {
        tolvi_test::log_capture cap;
        opaque_json_block b = block_of(c.held);
        Variant src = parsed(c.source);
        block_codec codec;
        codec.set_operation(tv::deserialize_from_json, tv::as_data(&src));
        codec.patch = true;
        codec.set_data(nullptr, &b, tv::as_data(&src));
        EXPECT_NO_THROW(codec.apply());
        EXPECT_EQ(b.json, parsed(c.result)) << c.held << " <- " << c.source;
        EXPECT_TRUE(cap.entries.empty());
    }
}

// Unlike the scalar codecs, the block codec writes the flag both ways.
TEST(OpaqueBlockCodec, CompareWritesTheFlag) {
    using tolvi_test::compare;
    EXPECT_TRUE(compare<block_codec>(block_of(R"({"a":[1]})"), block_of(R"({"a":[1]})"), false));
    EXPECT_FALSE(compare<block_codec>(block_of(R"({"a":[1]})"), block_of(R"({"a":[2]})"), true));
    EXPECT_FALSE(compare<block_codec>(block_of("1"), block_of("1.0"), true)); // deep equality
    EXPECT_TRUE(compare<block_codec>(opaque_json_block(), opaque_json_block(), false));
}

} // namespace
