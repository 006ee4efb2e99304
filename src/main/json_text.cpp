// The exact compact text of tolvi::to_json, written into a string or straight into a file, and the
// check of what JSON text can hold.

#include <tolvi/errors.hpp>
#include <tolvi/json_text.hpp>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include <unistd.h>

#include "json_trees.hpp"
#include "shown_text.hpp"

namespace korvax {
namespace tolvi {
inline namespace v1 {

namespace {

// The compact form that Jansson prints (JSON_COMPACT | JSON_ENCODE_ANY), straight into a string,
// except that every double has the fewest significant digits that read back the same double:
// Jansson has one precision for the whole text. Members go in the map's order and text is escaped
// as Jansson escapes it. What Jansson refuses is left out, as toJson leaves it out. `Text` is a
// std::string or a file_sink, which takes only what was checked before and never goes back.
template <class Text>
class exact_printer {
public:
    explicit exact_printer(Text& out) noexcept : text(out) {}

    Text& text;

    // Appends `v`; false, with nothing appended, when JSON text cannot hold it.
    bool value(Variant const& v) {
        switch (v.type) {
        case Variant::Integer: {
            char digits[24];
            text.append(digits,
                        std::to_chars(digits, digits + sizeof digits, v.value.intValue).ptr);
            return true;
        }
        case Variant::Double:
            return real(v.value.doubleValue);
        case Variant::String:
            return string(*v.value.stringValue);
        case Variant::Boolean:
            text += json_trees::bool_of(v.value) ? "true" : "false";
            return true;
        case Variant::Map:
            text += '{';
            members(*v.value.mapValue);
            text += '}';
            return true;
        case Variant::Vector: {
            text += '[';
            bool first = true;
            for (Variant const& element : *v.value.vectorValue) {
                std::size_t const mark = text.size();
                if (!first) {
                    text += ',';
                }
                if (value(element)) {
                    first = false;
                } else {
                    text.resize(mark);
                }
            }
            text += ']';
            return true;
        }
        default:
            text += "null";
            return true;
        }
    }

private:
    // A key is cut at a NUL byte, as Jansson takes it, so that keys after it in the map may come to
    // the same text: the member then stands once, with the last of their values that prints, as
    // Jansson's object keeps it.
    void members(Variant::map_type const& map) {
        bool none = true; // no member printed yet
        for (auto first = map.begin(); first != map.end();) {
            std::string const& key = first->first;
            std::size_t const n = json_trees::utf8_length(key.data(), key.size());
            auto end = std::next(first);
            while (n != json_trees::not_utf8 && end != map.end() && end->first.size() > n &&
                   end->first[n] == '\0' && end->first.compare(0, n, key, 0, n) == 0) {
                ++end;
            }
            std::size_t const mark = text.size();
            if (!none) {
                text += ',';
            }
            bool printed = false;
            if (string(key)) {
                text += ':';
                for (auto last = end; !printed && last != first;) {
                    printed = value((--last)->second);
                }
            }
            if (printed) {
                none = false;
            } else {
                text.resize(mark);
            }
            first = end;
        }
    }

    // Text not UTF-8 is refused; text holding a NUL byte is cut there, as Jansson takes it.
    bool string(std::string const& s) {
        std::size_t const n = json_trees::utf8_length(s.data(), s.size());
        if (n == json_trees::not_utf8) {
            return false;
        }
        text += '"';
        std::size_t plain = 0; // where the bytes not yet copied start
        for (std::size_t i = 0; i < n; ++i) {
            auto const c = static_cast<unsigned char>(s[i]);
            if (c >= 0x20 && c != '"' && c != '\\') {
                continue;
            }
            text.append(s, plain, i - plain);
            plain = i + 1;
            char escape[6] = {'\\', static_cast<char>(c)};
            text.append(escape,
                        c >= 0x20 ? 2 : detail::control_escape(c, escape, "0123456789ABCDEF"));
        }
        text.append(s, plain, n - plain);
        text += '"';
        return true;
    }

    // "%.*g" with the fewest digits that read back, in Jansson's form: a '.' or an exponent, so
    // that it reads back as a real, and the exponent without '+' or leading zeros. The shortest
    // text that reads back (std::to_chars) tells the digits; a whole number below 1e17 keeps all
    // its digits, so that 100.0 prints as "100.0" and not "1e2". "%.*g" rounds to nearest, which
    // near a power of two may land outside, and then one more digit is taken.
    bool real(double x) {
        if (!std::isfinite(x)) {
            return false;
        }
        char out[32];
        char const* const shortest =
            std::to_chars(out, out + sizeof out, x, std::chars_format::scientific).ptr;
        int digits = 0;
        char const* c = out;
        for (; *c != 'e'; ++c) {
            digits += *c >= '0' && *c <= '9';
        }
        int tens = 0;
        std::from_chars(c + (c[1] == '+' ? 2 : 1), shortest, tens);
        if (tens >= digits && tens < 17) {
            digits = tens + 1;
        }
        char* end;
        for (;; ++digits) {
            end = std::to_chars(out, out + sizeof out, x, std::chars_format::general, digits).ptr;
            double back = 0;
            std::from_chars(out, end, back);
            if (back == x || digits >= 17) {
                break;
            }
        }
        std::string_view printed(out, static_cast<std::size_t>(end - out));
        std::size_t const e = printed.find('e');
        if (e == std::string_view::npos) {
            text.append(printed);
            if (printed.find('.') == std::string_view::npos) {
                text += ".0";
            }
            return true;
        }
        text.append(printed.substr(0, e + 1));
        std::size_t exponent = e + 1;
        if (printed[exponent] == '-') {
            text += '-';
        }
        exponent = printed.find_first_not_of("+-0", exponent);
        text.append(printed.substr(exponent));
        return true;
    }
};

// Text on its way to a file, through a fixed buffer: the whole text never stands in memory.
class file_sink {
public:
    file_sink(int fd, char* buffer, std::size_t capacity) noexcept
        : fd_(fd), buffer_(buffer), capacity_(capacity) {}

    void append(char const* bytes, std::size_t n) noexcept {
        total_ += n;
        while (n > 0) {
            if (used_ == capacity_) {
                flush();
            }
            std::size_t const k = std::min(n, capacity_ - used_);
            std::memcpy(buffer_ + used_, bytes, k);
            used_ += k;
            bytes += k;
            n -= k;
        }
    }
    void append(std::string const& s, std::size_t from, std::size_t n) noexcept {
        append(s.data() + from, n);
    }
    void append(char const* first, char const* last) noexcept {
        append(first, static_cast<std::size_t>(last - first));
    }
    void append(std::string_view s) noexcept { append(s.data(), s.size()); }
    file_sink& operator+=(char c) noexcept {
        append(&c, 1);
        return *this;
    }
    file_sink& operator+=(char const* s) noexcept {
        append(s, std::strlen(s));
        return *this;
    }
    std::size_t size() const noexcept { return total_; }
    // The printer goes back only over a value that text cannot hold, which the check refused.
    void resize(std::size_t n) {
        if (n != total_) {
            throw std::logic_error("tolvi::to_file: a value that passed the check was left out");
        }
    }
    // 0 once everything is written, or the errno of the write that failed.
    int finish() noexcept {
        flush();
        return error_;
    }

private:
    void flush() noexcept {
        for (char const* p = buffer_; used_ > 0 && error_ == 0;) {
            ssize_t const n = ::write(fd_, p, used_);
            if (n < 0) {
                error_ = errno == EINTR ? 0 : errno;
                continue;
            }
            if (n == 0) {
                error_ = ENOSPC;
            }
            p += n;
            used_ -= static_cast<std::size_t>(n);
        }
        used_ = 0; // after a failure the rest goes nowhere
    }

    int const fd_;
    char* const buffer_;
    std::size_t const capacity_;
    std::size_t used_ = 0;
    std::size_t total_ = 0;
    int error_ = 0;
};

} // namespace

std::string to_json(Variant const& value) {
    std::string text;
    exact_printer<std::string>(text).value(value);
    return text;
}

namespace {

// Why the printer cannot write `text` whole: it would leave text that is not UTF-8 out, and cut
// text at a NUL byte.
char const* text_problem(std::string const& text) noexcept {
    std::size_t const n = json_trees::utf8_length(text.data(), text.size());
    return n == json_trees::not_utf8 ? "is not UTF-8"
           : n < text.size()         ? "holds a NUL byte"
                                     : nullptr;
}

} // namespace

void check_writable(Variant const& value) {
    switch (value.type) {
    case Variant::Double:
        if (!std::isfinite(value.value.doubleValue)) {
            throw unwritable_value(std::string(), std::isnan(value.value.doubleValue)
                                                      ? "NaN cannot be written as JSON"
                                                      : "an infinity cannot be written as JSON");
        }
        break;
    case Variant::String:
        if (char const* problem = text_problem(*value.value.stringValue)) {
            throw unwritable_value(std::string(), std::string("text that ") + problem +
                                                      " cannot be written as JSON");
        }
        break;
    case Variant::Map:
        // The path is put together only on the way out of a failure.
        for (auto const& [key, element] : *value.value.mapValue) {
            try {
                detail::check_writable_key(key);
                check_writable(element);
            } catch (unwritable_value& e) {
                e.prepend_key(key);
                throw;
            }
        }
        break;
    case Variant::Vector: {
        auto const& list = *value.value.vectorValue;
        for (std::size_t i = 0; i < list.size(); ++i) {
            try {
                check_writable(list[i]);
            } catch (unwritable_value& e) {
                e.prepend_index(i);
                throw;
            }
        }
        break;
    }
    default:
        break;
    }
}

namespace detail {

void check_writable_key(std::string const& key) {
    if (char const* problem = text_problem(key)) {
        throw unwritable_value(std::string(),
                               std::string("a key that ") + problem + " cannot be written as JSON");
    }
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax

int json_trees::write_exact(int fd, Variant const& value, char* buffer, std::size_t capacity) {
    korvax::tolvi::file_sink sink(fd, buffer, capacity);
    korvax::tolvi::exact_printer<korvax::tolvi::file_sink>(sink).value(value);
    return sink.finish();
}
