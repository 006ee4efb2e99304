// Parsing a large document without ever holding Jansson's tree of the whole of it: the outer
// containers are stepped through here, and Jansson parses each of their values on its own, which
// is converted and released before the next is parsed. Jansson still parses every value; this code
// only steps over the brackets, commas, colons and blanks between them, and takes each object key
// from Jansson too. Whatever it does not expect, it hands back to Jansson with the parser put into
// the same state, so that a refusal carries Jansson's own reason, line, column and position.

#include "json_trees.hpp"

#include <tolvi/json_text.hpp>

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace json_trees {

namespace {

constexpr std::size_t load_flags = JSON_DECODE_ANY;
constexpr std::size_t value_flags = JSON_DECODE_ANY | JSON_DISABLE_EOF_CHECK;
constexpr std::size_t unique_flags = JSON_REJECT_DUPLICATES;

// Below this size the whole tree is small enough, and one json_loads is faster than a call per
// value.
constexpr std::size_t stream_from = 256 * 1024;

bool blank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Jansson's input for a replay: a few bytes that put its parser in a state, then the document
// from where that state was reached.
struct replay_input {
    char const* head;
    std::size_t head_size;
    char const* rest;
    std::size_t rest_size;

    static std::size_t read(void* buffer, std::size_t size, void* data) noexcept {
        auto* in = static_cast<replay_input*>(data);
        auto* out = static_cast<char*>(buffer);
        std::size_t const a = std::min(size, in->head_size);
        std::memcpy(out, in->head, a);
        in->head += a;
        in->head_size -= a;
        std::size_t const b = std::min(size - a, in->rest_size);
        std::memcpy(out + a, in->rest, b);
        in->rest += b;
        in->rest_size -= b;
        return a + b;
    }
};

enum class outcome { parsed, refused, unsure };

class stream_parser {
public:
    stream_parser(char const* text, std::size_t size, bool unique_keys,
                  json_error_t& error) noexcept
        : text_(text), size_(size), unique_(unique_keys), error_(error) {}

    outcome parse(Variant& out) {
        skip_blanks();
        outcome const o = container(out, 1);
        if (o != outcome::parsed) {
            return o;
        }
        std::size_t const after = pos_;
        skip_blanks();
        // Anything but blanks after the value: the state of a parser that has read a whole value.
        return pos_ == size_ ? outcome::parsed : refuse(after, "0 ");
    }

private:
    char const* const text_;
    std::size_t const size_;
    std::size_t pos_ = 0;
    bool const unique_; // an object that holds a key twice is refused, as Jansson refuses it
    json_error_t& error_;
    // The way into the container being read, as a replay writes it: "[" for each array around it
    // and "{\"\":" for each object.
    std::string context_;

    void skip_blanks() noexcept {
        while (pos_ < size_ && blank(text_[pos_])) {
            ++pos_;
        }
    }

    bool at(char c) const noexcept { return pos_ < size_ && text_[pos_] == c; }

    std::size_t load_flags_of(std::size_t flags) const noexcept {
        return unique_ ? flags | unique_flags : flags;
    }

    // `"key":0,`, a member of the object a replay opens.
    static std::string member_head(std::string const& key) {
        return korvax::tolvi::to_json(Variant(key)) + ":0,";
    }

    // The container at pos_, whose brackets are the depth-th open ones. Its values are parsed by
    // Jansson one at a time, except that the containers that are members of the document's top
    // object are stepped through as well: a record-shaped document keeps its bulk there, in a list
    // or a map of records, and a value parsed whole is at most one record.
    outcome container(Variant& out, std::size_t depth) {
        bool const object = text_[pos_] == '{';
        char const close = object ? '}' : ']';
        bool const step_into = depth == 1 && object;
        std::string const opener = context_ + (object ? "{" : "[");
        ++pos_;
        Variant result = object ? Variant(Variant::map_type{}) : Variant(Variant::vector_type{});
        std::size_t from = pos_; // where the current step started
        bool first = true;
        skip_blanks();
        if (at(close)) {
            ++pos_;
            out = std::move(result);
            return outcome::parsed;
        }
        for (;;) {
            // A refusal inside this step replays it from its start, after the opener and a value.
            // In an object the value stands under a key it already holds, which cannot be the
            // step's own key: that would have been refused as a duplicate before.
            auto const refuse_step = [&] {
                return refuse(
                    from, opener + (first    ? ""
                                    : object ? member_head(result.value.mapValue->begin()->first)
                                             : "0,"));
            };
            std::string key;
            if (object) {
                skip_blanks();
                if (!at('"') || !take_key(key)) {
                    return refuse_step();
                }
                if (unique_ && result.value.mapValue->count(key) != 0) {
                    // The replay holds the key already, so Jansson refuses it where it stands.
                    return refuse(from, opener + member_head(key));
                }
                skip_blanks();
                if (!at(':')) {
                    return refuse_step();
                }
                ++pos_;
            }
            skip_blanks();
            Variant v;
            if (step_into && (at('[') || at('{'))) {
                std::size_t const kept = context_.size();
                context_ += object ? "{\"\":" : "[";
                outcome const o = container(v, depth + 1);
                context_.resize(kept);
                if (o != outcome::parsed) {
                    return o;
                }
            } else if (outcome const o = take_value(v, depth); o != outcome::parsed) {
                return o == outcome::refused ? o : refuse_step();
            }
            if (object) {
                // A key that comes again keeps its last value, as Jansson's object does.
                result.value.mapValue->insert_or_assign(std::move(key), std::move(v));
            } else {
                result.value.vectorValue->push_back(std::move(v));
            }
            from = pos_;
            skip_blanks();
            if (at(',')) {
                ++pos_;
                from = pos_;
                first = false;
                continue;
            }
            if (at(close)) {
                ++pos_;
                out = std::move(result);
                return outcome::parsed;
            }
            return refuse(from, opener + (object ? "\"\":0 " : "0 "));
        }
    }

    // One key, at a '"', parsed by Jansson as a string value: false where Jansson refuses it. A
    // string value never holds a NUL (Jansson refuses the escape), so it is a key Jansson takes.
    bool take_key(std::string& key) {
        json_error_t e;
        json_ptr const k(json_loadb(text_ + pos_, size_ - pos_, value_flags, &e));
        if (!k) {
            return false;
        }
        key.assign(json_string_value(k.get()), json_string_length(k.get()));
        pos_ += static_cast<std::size_t>(e.position);
        return true;
    }

    // One value parsed whole by Jansson, inside `depth` open containers. Unsure where the whole
    // document would be refused in this value, too deep included: the step is replayed.
    outcome take_value(Variant& v, std::size_t depth) {
        json_error_t e;
        json_ptr const tree(json_loadb(text_ + pos_, size_ - pos_, load_flags_of(value_flags), &e));
        if (!tree) {
            return outcome::unsure;
        }
        if (e.text[0] != '\0') {
            // A number or a literal ended at a byte that is not UTF-8: Jansson noted it while
            // looking past the value, and the whole text is refused there, the value's text as
            // its context. A replay would start after the value and lose that context.
            error_ = e;
            place(pos_, std::string());
            return outcome::refused;
        }
        std::size_t deepest = 0;
        v = convert_tree(tree.get(), &deepest);
        if (depth + deepest > JSON_PARSER_MAX_DEPTH) {
            return outcome::unsure;
        }
        pos_ += static_cast<std::size_t>(e.position);
        return outcome::parsed;
    }

    // Has Jansson parse `head` and then the text from `from`: `head` puts its parser in the state
    // that this parser was in at `from`, so Jansson refuses the text where and as it would refuse
    // the whole document. Its line, column and position are then moved to the whole text's.
    outcome refuse(std::size_t from, std::string const& head) {
        replay_input in{head.data(), head.size(), text_ + from, size_ - from};
        json_ptr const tree(
            json_load_callback(&replay_input::read, &in, load_flags_of(load_flags), &error_));
        if (tree) {
            return outcome::unsure; // this parser was stricter than Jansson: let it decide
        }
        place(from, head);
        return outcome::refused;
    }

    // Moves Jansson's error for text that started at `from` behind `head`, on its first line, to
    // the place in the whole text.
    void place(std::size_t from, std::string const& head) noexcept {
        int line = 1;
        int column = 0; // Jansson counts characters, not bytes: UTF-8 lead bytes only
        for (std::size_t i = 0; i < from; ++i) {
            auto const c = static_cast<unsigned char>(text_[i]);
            if (c == '\n') {
                ++line;
                column = 0;
            } else if ((c & 0xC0) != 0x80) {
                ++column;
            }
        }
        int head_columns = 0;
        for (char const c : head) {
            head_columns += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
        }
        if (error_.line == 1) {
            error_.column += column - head_columns;
        }
        error_.line += line - 1;
        error_.position += static_cast<int>(from) - static_cast<int>(head.size());
    }
};

} // namespace

bool parse_text(char const* text, std::size_t size, Variant& out, json_error_t& error,
                bool unique_keys, std::string* release) {
    auto const done = [release] {
        if (release != nullptr) {
            std::string().swap(*release);
        }
    };
    std::size_t start = 0;
    while (start < size && blank(text[start])) {
        ++start;
    }
    if (size >= stream_from && start < size && (text[start] == '[' || text[start] == '{')) {
        Variant v;
        outcome const o = stream_parser(text, size, unique_keys, error).parse(v);
        if (o != outcome::unsure) {
            done();
            if (o == outcome::parsed) {
                out = std::move(v);
            }
            return o == outcome::parsed;
        }
        // Unreachable while this parser is right: then the whole text decides.
    }
    json_ptr const tree(
        json_loadb(text, size, unique_keys ? load_flags | unique_flags : load_flags, &error));
    done();
    if (!tree) {
        return false;
    }
    out = convert_tree(tree.get());
    return true;
}

} // namespace json_trees
