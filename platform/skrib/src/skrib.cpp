#include <skrib/skrib.hpp>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <utility>
#include <vector>

namespace korvax {
namespace skrib {
inline namespace v1 {

namespace detail {
int highest_sink_level = -1;
bool scrub_buffer = false;

namespace {

int print_text(char* dst, unsigned size, char const* text) {
    return std::snprintf(dst, size, "%s", text);
}

} // namespace

int var_printer<std::string>::operator()(char* dst, unsigned size, char const*,
                                         std::string const& value) {
    // Counted copy: the argument may hold NUL bytes, which snprintf("%s") would stop at.
    if (size > 0) {
        std::size_t n = std::min<std::size_t>(value.size(), size - 1);
        std::memcpy(dst, value.data(), n);
        dst[n] = '\0';
    }
    return static_cast<int>(value.size());
}

int var_printer<char*>::operator()(char* dst, unsigned size, char const*,
                                   char const* const& value) {
    return print_text(dst, size, value != nullptr ? value : "(null)");
}

} // namespace detail

namespace {

struct registered_sink {
    sink_handle handle;
    level highest;
    sink fn;
};

struct sink_registry {
    std::mutex mutex;
    std::vector<registered_sink> sinks;
    sink_handle next = 1;

    // Called with the mutex held.
    void update_threshold() {
        int highest = -1;
        for (auto const& s : sinks) {
            highest = std::max(highest, static_cast<int>(s.highest));
        }
        detail::highest_sink_level = highest;
    }
};

sink_registry& registry() {
    static sink_registry r;
    return r;
}

} // namespace

log_entry::log_entry(level lvl, char const* file, unsigned line, char const* function,
                     char const* message)
    : level_(lvl), file_(file), line_(line), function_(function), message_(message) {}

void log_entry::write_to_sinks() const {
    // Copy the targets first so that a sink may add or remove sinks without deadlock.
    std::vector<sink> targets;
    {
        std::lock_guard<std::mutex> lock(registry().mutex);
        for (auto const& s : registry().sinks) {
            if (static_cast<int>(s.highest) >= static_cast<int>(level_)) {
                targets.push_back(s.fn);
            }
        }
    }
    for (auto const& fn : targets) {
        fn(*this);
    }
}

sink_handle add_sink(level highest, sink s) {
    auto& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    sink_handle h = r.next++;
    r.sinks.push_back({h, highest, std::move(s)});
    r.update_threshold();
    return h;
}

void remove_sink(sink_handle h) {
    auto& r = registry();
    std::lock_guard<std::mutex> lock(r.mutex);
    r.sinks.erase(std::remove_if(r.sinks.begin(), r.sinks.end(),
                                 [h](registered_sink const& s) { return s.handle == h; }),
                  r.sinks.end());
    r.update_threshold();
}

void stderr_sink(log_entry const& e) {
    static char const* const names[] = {"error", "info", "debug", "trace"};
    int lvl = static_cast<int>(e.get_level());
    char const* name = (lvl >= 0 && lvl < 4) ? names[lvl] : "log";
    std::fprintf(stderr, "[%s] %s:%u %s: %s\n", name, e.file(), e.line(), e.function(),
                 e.message());
}

} // namespace v1
} // namespace skrib
} // namespace korvax
