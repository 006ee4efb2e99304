#pragma once

// Shared test helpers: exact exception checks and a sink that records log entries.

#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>
#include <skrib/skrib.hpp>

// Checks the exception's exact dynamic type and exact message.
#define EXPECT_THROW_MSG(statement, exception_type, message)                                       \
    EXPECT_EQ(tolvi_test::thrown<exception_type>([&] { statement; }), std::string(message))

namespace tolvi_test {

// What `f` threw: the message of an E of exactly that type, or what happened instead.
template <class E, class F>
std::string thrown(F&& f) {
    try {
        f();
    } catch (E const& e) {
        return typeid(e) == typeid(E) ? e.what() : std::string("a ") + typeid(e).name();
    } catch (...) {
        return "another exception";
    }
    return "no exception";
}

struct captured_entry {
    int level;
    std::string file;
    unsigned line;
    std::string function, message;
};

// Registers a sink for its lifetime and keeps copies of what reaches it.
class log_capture {
public:
    explicit log_capture(korvax::skrib::level highest = korvax::skrib::level::trace) {
        handle_ = korvax::skrib::add_sink(highest, [this](korvax::skrib::log_entry const& e) {
            entries.push_back(
                {static_cast<int>(e.get_level()), e.file(), e.line(), e.function(), e.message()});
        });
    }
    ~log_capture() { korvax::skrib::remove_sink(handle_); }
    log_capture(log_capture const&) = delete;
    log_capture& operator=(log_capture const&) = delete;

    std::vector<captured_entry> entries;

private:
    korvax::skrib::sink_handle handle_;
};

} // namespace tolvi_test
