#pragma once

// Large text: the input behind a run of blanks long enough that parse_json and the record calls
// step through its outer containers and have Jansson parse one value at a time. Whatever the
// bytes, they must give what the whole text gives to json_loads: the same value or the same
// refusal (reason, line, column, position), and the same record or the same document_error
// (message, path, line, column) as reading the Variant that Variant::fromJson builds.

#include <string>

#include <jansson.h>

#include "checks.hpp"

namespace tolvi_fuzz {

inline std::string describe(korvax::tolvi::document_error const& e) {
    return std::string(e.what()) + " | " + e.path() + " | " + std::to_string(e.line()) + ":" +
           std::to_string(e.column()) + ":" + std::to_string(e.position());
}

// The record read the old way: the whole text parsed by Jansson, then read from the Variant.
inline std::string read_whole(devcfg::device_config& record, std::string const& text,
                              korvax::tolvi::options const& o) {
    namespace tv = korvax::tolvi;
    json_error_t e;
    json_t* const tree = json_loads(
        text.c_str(), JSON_DECODE_ANY | (o.strict_keys ? JSON_REJECT_DUPLICATES : 0), &e);
    if (tree == nullptr) {
        return describe(tv::document_error::not_json(tv::detail::parser_reason(e.text), e.line,
                                                     e.column, e.position));
    }
    json_decref(tree);
    try {
        tv::from_variant(record, Variant::fromJson(text), o);
    } catch (tv::document_error const& error) {
        return describe(error);
    }
    return {};
}

inline void check_large_text_once(std::string const& text) {
    namespace tv = korvax::tolvi;
    for (bool const unique : {false, true}) {
        json_error_t e;
        json_t* const tree =
            json_loads(text.c_str(), JSON_DECODE_ANY | (unique ? JSON_REJECT_DUPLICATES : 0), &e);
        Variant const expected = tree != nullptr ? Variant::fromJson(text) : Variant(-1);
        json_decref(tree);
        Variant out(-1);
        tv::parse_failure why;
        bool const ok = tv::parse_json(std::string(text), out, why, unique);
        require(ok == (tree != nullptr) && out == expected, "parse_json gave another value");
        require(ok || (why.reason == tv::detail::parser_reason(e.text) && why.line == e.line &&
                       why.column == e.column && why.position == e.position),
                "parse_json refused the text elsewhere or otherwise");
    }

    devcfg::device_config baseline;
    tv::from_json(baseline, baseline_configuration);
    for (int mode = 0; mode < 4; ++mode) {
        tv::options o;
        o.patch = (mode & 1) != 0;
        o.strict_keys = (mode & 2) != 0;
        devcfg::device_config stepwise = o.patch ? baseline : devcfg::device_config{};
        devcfg::device_config whole = stepwise;
        std::string refused;
        try {
            tv::from_json(stepwise, text, o);
        } catch (tv::document_error const& error) {
            refused = describe(error);
        }
        require(refused == read_whole(whole, text, o), "a record read refused otherwise");
        require(tv::equal(stepwise, whole), "a record read took another record");
    }
}

inline void check_large_text(std::string const& input) {
    static std::string const blanks = [] {
        std::string b;
        while (b.size() < 256 * 1024) {
            b += "  \n\t \r";
        }
        return b;
    }();
    check_large_text_once(blanks + input);
    if (!input.empty()) { // the blanks inside the document, after its first byte
        check_large_text_once(input.substr(0, 1) + blanks + input.substr(1));
    }
}

} // namespace tolvi_fuzz
