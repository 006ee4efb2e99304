#pragma once

// Small stand-in for the platform's logging library. A device build links the real one instead;
// this header offers the same call interface.

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>

#if defined(_WIN32)
#define SKRIB_API
#else
#define SKRIB_API __attribute__((visibility("default")))
#endif

namespace korvax {
namespace skrib {
inline namespace v1 {

// Smaller is more important. A message of level L is produced only when some sink accepts L.
enum class level : std::int32_t {
    error = 0,
    info = 1,
    debug = 2,
    trace = 3,
};

namespace detail {

// Highest level any registered sink accepts; -1 when there is no sink.
extern SKRIB_API int highest_sink_level;
// When true, every formatted message is scrubbed before it becomes an entry.
extern SKRIB_API bool scrub_buffer;

// Formats one message into its own fixed buffer. Every log call zero-fills one on its stack.
// The first three members are read and written by the log call itself.
template <unsigned BufferSize = 4096, unsigned SpecSize = 32>
struct message_formatter {
    char spec[SpecSize];     // specification text of the current replacement field
    std::int32_t free_count; // bytes still free in `buffer`, the terminating NUL's place included
    char buffer[BufferSize]; // the NUL-terminated message
    char const* format;      // unread rest of the format
    unsigned argument_count; // arguments of the call
    unsigned fields_seen;    // replacement fields met so far

    void init(char const* fmt) {
        format = fmt;
        free_count = static_cast<std::int32_t>(BufferSize);
        fields_seen = 0;
        buffer[0] = '\0';
    }

    char* get_buffer_free_ptr() {
        return buffer + (BufferSize - static_cast<unsigned>(free_count));
    }

    // Copies format text up to the next "{...}" field; returns 0 at the end of the format,
    // otherwise the 1-based number of the argument the field stands for.
    unsigned write_till_next_replacement() {
        while (*format != '\0') {
            if (format[0] == '{' && format[1] == '{') {
                put(format, 1);
                format += 2;
            } else if (format[0] == '}' && format[1] == '}') {
                put(format, 1);
                format += 2;
            } else if (format[0] == '{') {
                char const* close = std::strchr(format, '}');
                if (close == nullptr) {
                    put(format, std::strlen(format));
                    format += std::strlen(format);
                    break;
                }
                std::size_t n = static_cast<std::size_t>(close - format - 1);
                if (n >= SpecSize) {
                    n = SpecSize - 1;
                }
                std::memcpy(spec, format + 1, n);
                spec[n] = '\0';
                format = close + 1;
                return ++fields_seen;
            } else {
                std::size_t n = std::strcspn(format, "{}");
                if (n == 0) {
                    n = 1; // a lone '}'
                }
                put(format, n);
                format += n;
            }
        }
        return 0;
    }

    // A field with no argument; n is its argument number minus the call's argument count.
    void write_replacement(unsigned n) {
        (void)n;
        put("{}", 2);
    }

    // Control characters would break a log line apart; they become '?'.
    void scrub_buffer() {
        for (char* p = buffer; *p != '\0'; ++p) {
            unsigned char c = static_cast<unsigned char>(*p);
            if (c < 0x20 || c == 0x7f) {
                *p = '?';
            }
        }
    }

private:
    void put(char const* text, std::size_t n) {
        if (free_count <= 1) {
            return;
        }
        std::size_t room = static_cast<std::size_t>(free_count) - 1;
        if (n > room) {
            n = room;
        }
        char* dst = get_buffer_free_ptr();
        std::memcpy(dst, text, n);
        dst[n] = '\0';
        free_count -= static_cast<std::int32_t>(n);
    }
};

// Prints one argument: writes at most `size` bytes, the NUL included, and returns the length of
// the full text, as snprintf does.
template <class T>
struct var_printer;

template <>
struct SKRIB_API var_printer<std::string> {
    int operator()(char* dst, unsigned size, char const* spec, std::string const& value);
};

template <>
struct SKRIB_API var_printer<char*> {
    int operator()(char* dst, unsigned size, char const* spec, char const* const& value);
};

// Which printer serves an argument type: every character pointer and array uses the one for char*.
template <class T>
struct printer_for {
    using type = var_printer<std::remove_cv_t<std::remove_reference_t<T>>>;
};
template <>
struct printer_for<char const*> {
    using type = var_printer<char*>;
};
template <std::size_t N>
struct printer_for<char[N]> {
    using type = var_printer<char*>;
};
template <std::size_t N>
struct printer_for<char const [N]> { using type = var_printer<char*>; };

template <class T>
struct printer_arg {
    static T const& get(T const& v) { return v; }
};
template <std::size_t N>
struct printer_arg<char[N]> {
    static char const* get(char const (&v)[N]) { return v; }
};

} // namespace detail

// One log message. It refers to its texts, which live for the duration of the log call.
class SKRIB_API log_entry {
public:
    log_entry(level lvl, char const* file, unsigned line, char const* function,
              char const* message);

    // Hands the entry to every sink whose highest level admits it.
    void write_to_sinks() const;

    level get_level() const { return level_; }
    char const* file() const { return file_; }
    unsigned line() const { return line_; }
    char const* function() const { return function_; }
    char const* message() const { return message_; }

private:
    level level_;
    char const* file_;
    unsigned line_;
    char const* function_;
    char const* message_;
};

using sink = std::function<void(log_entry const&)>;
using sink_handle = unsigned;

// Registers a sink that receives entries of `highest` and more important levels.
SKRIB_API sink_handle add_sink(level highest, sink s);
// Unregisters a sink; an unknown handle is ignored.
SKRIB_API void remove_sink(sink_handle h);
// Ready-made sink: one line per entry on stderr.
SKRIB_API void stderr_sink(log_entry const& e);

// Runs one log call. The level test belongs at the call site (see SKRIB_LOG); at most one argument.
template <class... Args>
bool log(level lvl, char const* file, unsigned line, char const* function, char const* format,
         Args const&... args) {
    static_assert(sizeof...(Args) <= 1, "log calls take at most one argument");
    detail::message_formatter<> f;
    std::memset(static_cast<void*>(&f), 0, sizeof f);
    f.argument_count = sizeof...(Args);
    f.init(format);
    if constexpr (sizeof...(Args) == 0) {
        (void)f.write_till_next_replacement();
    } else {
        for (;;) {
            unsigned k = f.write_till_next_replacement();
            if (k == 0) {
                break;
            }
            if (k == 1) {
                (
                    [&] {
                        using printer = typename detail::printer_for<Args>::type;
                        int n =
                            printer{}(f.get_buffer_free_ptr(), static_cast<unsigned>(f.free_count),
                                      f.spec, detail::printer_arg<Args>::get(args));
                        if (n >= f.free_count) {
                            f.free_count = 0;
                        } else if (n > 0) {
                            f.free_count -= n;
                        }
                    }(),
                    ...);
            } else {
                f.write_replacement(k - static_cast<unsigned>(sizeof...(Args)));
            }
        }
    }
    if (detail::scrub_buffer) {
        f.scrub_buffer();
    }
    log_entry entry(lvl, file, line, function, f.buffer);
    entry.write_to_sinks();
    return true;
}

} // namespace v1
} // namespace skrib
} // namespace korvax

// The level test at the call site: nothing is formatted when no sink would take the message.
#define SKRIB_LOG(lvl, ...)                                                                        \
    ((::korvax::skrib::detail::highest_sink_level >= static_cast<int>(lvl))                        \
         ? ::korvax::skrib::log((lvl), __FILE__, __LINE__, __func__, __VA_ARGS__)                  \
         : false)
