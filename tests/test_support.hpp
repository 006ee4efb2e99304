#pragma once

// Shared test helpers: exact exception checks and a sink that records log entries.

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <skrib/skrib.hpp>

// Checks the exception's exact dynamic type and exact message.
#define EXPECT_THROW_MSG(statement, exception_type, message)                                       \
    do {                                                                                           \
        bool tolvi_caught_ = false;                                                                \
        try {                                                                                      \
            statement;                                                                             \
        } catch (exception_type const& e) {                                                        \
            tolvi_caught_ = true;                                                                  \
            EXPECT_TRUE(typeid(e) == typeid(exception_type))                                       \
                << "dynamic type is " << typeid(e).name();                                         \
            EXPECT_EQ(std::string(e.what()), std::string(message));                                \
        } catch (...) {                                                                            \
            ADD_FAILURE() << "unexpected exception type from " #statement;                         \
            tolvi_caught_ = true;                                                                  \
        }                                                                                          \
        if (!tolvi_caught_) {                                                                      \
            ADD_FAILURE() << #statement " did not throw";                                          \
        }                                                                                          \
    } while (0)

namespace tolvi_test {

struct captured_entry {
    int level;
    std::string file;
    unsigned line;
    std::string function;
    std::string message;
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
