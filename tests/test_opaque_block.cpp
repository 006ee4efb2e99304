// Opaque JSON blocks: factories, attributes, and the block codec alone and in records.

#include <string>

#include <gtest/gtest.h>

#include <tolvi/tolvi.hpp>

#include "codec_driver.hpp"
#include "test_support.hpp"

namespace opaque_rec {

struct device {
    korvax::tolvi::required<korvax::tolvi::opaque_json_block> config;
    korvax::tolvi::optional<korvax::tolvi::opaque_json_block> extra;
};
TOLVI_RECORD(device, config, extra);

} // namespace opaque_rec

namespace {

namespace tl = korvax::tolvi;
using opaque_rec::device;
using tl::opaque_json_block;

opaque_json_block block_of(std::string const& text) {
    return opaque_json_block::from_string(text);
}

device make(char const* config, char const* extra) {
    device d;
    d.config = block_of(config);
    d.extra = block_of(extra);
    return d;
}

TEST(OpaqueBlock, FactoriesAndTypeNames) {
    EXPECT_STREQ(opaque_json_block().json_type(), "null");
    EXPECT_EQ(opaque_json_block::empty_object().json, Variant::fromJson("{}"));
    std::pair<char const*, char const*> const cases[] = {
        {"1", "Number"},      {"1.5", "Number"}, {"\"s\"", "String"},
        {"false", "Boolean"}, {"{}", "Object"},  {"[1]", "Array"},
        {"null", "null"},     {"", "null"},      {"{\"a\":", "null"}};
    for (auto const& c : cases) {
        EXPECT_STREQ(block_of(c.first).json_type(), c.second) << c.first;
    }
    // The counted form reads exactly `length` bytes: a prefix parses, a cut value does not.
    EXPECT_EQ(opaque_json_block::from_string("[1,2]xyz", 5).json, Variant::fromJson("[1,2]"));
    EXPECT_TRUE(opaque_json_block::from_string("[1,2]", 3).json.isNull());
}

TEST(OpaqueBlock, SetAttributeStoresEachKind) {
    opaque_json_block b = block_of(R"({"blk":"replaced"})");
    opaque_json_block inner = block_of(R"({"x":[1]})");
    std::string moved(40, 'q');
    b.set_attribute("blk", inner);
    b.set_attribute("nul", nullptr);
    b.set_attribute("t", true);
    b.set_attribute("i", -1);
    b.set_attribute("ll", -(1LL << 40));
    b.set_attribute("d", 1e-12); // not flushed like the double codec
    b.set_attribute("nb", "a\0b", 3u);
    b.set_attribute("txt", "text"); // a bare text is a String, not a Boolean
    b.set_attribute("mv", std::move(moved));
    // Other arithmetic types are widened; unsigned 64-bit values keep their bits.
    b.set_attribute("l", -5L);
    b.set_attribute("u", 4000000000u);
    b.set_attribute("u64", ~0ULL);
    b.set_attribute("self", b);  // ignored
    inner.set_attribute("x", 0); // the stored copies are deep
    Variant expected = Variant::fromJson(R"({"blk":{"x":[1]},"nul":null,"t":true,
        "i":-1,"ll":-1099511627776,"d":1e-12,"txt":"text","l":-5,"u":4000000000,"u64":-1})");
    expected.set("nb", Variant(std::string("a\0b", 3)));
    expected.set("mv", Variant(std::string(40, 'q')));
    EXPECT_EQ(b.json, expected);
    EXPECT_TRUE(moved.empty());
}

TEST(OpaqueBlock, SetAttributeNeedsAnObject) {
    char const* const message = "cannot set_attribute() on JSON storing a non-Object";
    // A default block holds null, which Variant::set alone would turn into an Object.
    for (char const* text : {"null", "[1]", "3", "\"s\""}) {
        opaque_json_block b = block_of(text);
        std::string moved_in = "must survive";
        EXPECT_THROW_MSG(b.set_attribute("k", 1), std::logic_error, message);
        EXPECT_THROW_MSG(b.set_attribute("k", std::move(moved_in)), std::logic_error, message);
        EXPECT_THROW_MSG(b.set_attribute("k", b), std::logic_error, message);
        EXPECT_EQ(b.json, Variant::fromJson(text));
        EXPECT_EQ(moved_in, "must survive");
    }
}

// Blocks as required and optional record members are written and read whole, of any type.
TEST(OpaqueBlock, RecordMembers) {
    device d = make("null", R"({"a":[1,{"b":null}]})"); // null is a value of a required member
    EXPECT_EQ(tl::to_json(d), R"({"config":null,"extra":{"a":[1,{"b":null}]}})");
    d.extra = tl::none;
    EXPECT_EQ(tl::to_json(d), R"({"config":null})");
    for (std::string value : {"5", "2.5", "\"s\"", "true", "[1,[2]]", R"({"k":{}})"}) {
        std::string const text = R"({"config":)" + value + R"(,"extra":)" + value + "}";
        tl::from_json(d, text);
        EXPECT_EQ(tl::to_json(d), text);
    }
    // Null disengages an optional block and is refused for a required one.
    tl::from_json(d, R"({"config":{},"extra":null})");
    EXPECT_TRUE(d.extra.provided() && !d.extra.engaged());
    EXPECT_THROW(tl::from_json(d, R"({"config":null})"), tl::bad_deserialization_source);
}

// In a patch a held block is merged; a conflict leaves it as it was, silently.
TEST(OpaqueBlock, RecordPatchMergesHeldBlocks) {
    char const* const cases[][3] = {{R"({"a":1,"b":2})", R"({"b":null,"c":3})", R"({"a":1,"c":3})"},
                                    {R"({"a":1})", R"({"0":5,"a":"s"})", R"({"a":1})"},
                                    {"1", "2.0", "1"},
                                    {"[1,2]", "[3]", "[3]"}};
    auto const doc = [](char const* v) {
        return std::string(R"({"config":)") + v + R"(,"extra":)" + v + "}";
    };
    tolvi_test::log_capture cap;
    for (auto const& c : cases) {
        device d = make(c[0], c[0]);
        tl::from_json(d, doc(c[1]), tl::options().as_patch());
        EXPECT_EQ(tl::to_json(d), doc(c[2]));
    }
    EXPECT_TRUE(cap.entries.empty());
}

// The codec writes the compare flag both ways, by deep equality; unlike the scalar codecs.
TEST(OpaqueBlock, CodecCompareWritesTheFlag) {
    using codec = tl::impl<opaque_json_block>;
    EXPECT_TRUE(tolvi_test::compare<codec>(block_of("[{}]"), block_of("[{}]"), false));
    EXPECT_FALSE(tolvi_test::compare<codec>(block_of("[1]"), block_of("[2]"), true));
    EXPECT_FALSE(tolvi_test::compare<codec>(block_of("1"), block_of("1.0"), true));
}

} // namespace
