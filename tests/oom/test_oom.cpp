// Out of memory: every allocation an operation makes (operator new and Jansson's) is made to fail
// in turn. The operation must then throw std::bad_alloc and leave its target as it was, or give
// one of the answers its row allows, and in every case give back every block.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <jansson.h>

#include <skrib/skrib.hpp>
#include <tolvi/files.hpp>
#include <tolvi/record.hpp>

#include "../../examples/device_demo/device_config.hpp"

namespace {

namespace tv = korvax::tolvi;
using devcfg::device_config;

enum class source { none, operator_new, jansson };

// One thread runs the tests: plain counters. While armed, allocation number fail_at fails.
bool armed = false;
bool new_only = false;
unsigned long fail_at = 0;
unsigned long made = 0;
source failed = source::none;
long live = 0; // blocks held, from both allocators
int reports = 0;

void* take(std::size_t size, source from) {
    if (armed && !(new_only && from == source::jansson) && ++made == fail_at) {
        failed = from;
        return nullptr;
    }
    void* p = std::malloc(size != 0 ? size : 1);
    live += p != nullptr;
    return p;
}

void give(void* p) noexcept {
    live -= p != nullptr;
    std::free(p);
}

void* take_or_throw(std::size_t size) {
    if (void* p = take(size, source::operator_new)) {
        return p;
    }
    throw std::bad_alloc();
}

// A row of the table: `run` works on `target` and returns its answer as a Variant. `absorbs`:
// Jansson's allocations fail too, and a failure may give an answer instead of a throw: parsing
// gives Null and a report, printing leaves out what Jansson could not make (text that still
// parses) or, when its buffer cannot grow, gives no text.
struct operation {
    std::string name;
    Variant target;
    std::function<Variant(Variant&)> run;
    bool absorbs = false;
    // For an operation whose effect lies outside `target`: judges each attempt in place of the
    // checks below, once allocations succeed again. `threw`: it ended with std::bad_alloc.
    std::function<void(Variant const& answer, bool threw)> judge = nullptr;
};

bool absorbed_answer(Variant const& v) {
    if (v.type != Variant::String) {
        return v.isNull() && reports == 1;
    }
    return v.value.stringValue->empty() || !Variant::fromJson(*v.value.stringValue).isNull();
}

void sweep(operation const& op) {
    SCOPED_TRACE(op.name);
    Variant expected_target = op.target;
    Variant const expected = op.run(expected_target);
    int absorbed = 0;
    // Until an attempt makes fewer allocations than the one meant to fail.
    for (unsigned long n = 1; n == 1 || failed != source::none; ++n) {
        ASSERT_LT(n, 100000u) << "allocations without end";
        long const before = live;
        {
            Variant target = op.target, answer("unset");
            reports = 0;
            made = 0;
            fail_at = n;
            failed = source::none;
            new_only = !op.absorbs;
            armed = true;
            bool threw = false;
            try {
                answer = op.run(target);
            } catch (std::bad_alloc const&) {
                threw = true;
            }
            armed = false;
            if (op.judge) {
                op.judge(answer, threw);
            } else if (failed == source::none) {
                EXPECT_FALSE(threw);
                EXPECT_EQ(target, expected_target);
                EXPECT_EQ(answer, expected);
            } else if (threw) {
                EXPECT_EQ(failed, source::operator_new);
                // A Null may have become an empty Map before the failure.
                EXPECT_TRUE(target == op.target ||
                            (op.target.isNull() && target == Variant(Variant::map_type())))
                    << "allocation " << n;
            } else {
                ++absorbed;
                EXPECT_TRUE(op.absorbs) << "allocation " << n;
                EXPECT_TRUE(absorbed_answer(answer)) << "allocation " << n;
            }
        }
        EXPECT_EQ(live, before) << "blocks leaked when allocation " << n << " failed";
    }
    if (!op.judge) {
        EXPECT_EQ(absorbed > 0, op.absorbs) << "no absorbed failure was injected";
    }
}

// Values that allocate at several depths; strings longer than the in-place buffer.
char const* const documents[] = {
    "null", "\"a string long enough to need the heap\"",
    "[1, 2.5, \"a string long enough to need the heap\", [true, null], {}, [[[\"deep long\"]]]]",
    R"({"name": "a string long enough to need the heap", "list": [1, {"x": "another long string"}],
        "map": {"a": 1, "b": [2, 3], "c": {"d": "yet another long string value"}}, "z": null})"};

// The demo's own documents.
Variant demo(char const* name) {
    return tv::detail::variant_from_json_file(TOLVI_SOURCE_DIR "/examples/device_demo/data/" +
                                              std::string(name));
}

// The operations, each applying `f` to the target and a source value.
template <class F>
operation with(std::string name, char const* target, char const* source, F f) {
    return {std::move(name), Variant::fromJson(target),
            [f, s = Variant::fromJson(source)](Variant& v) { return f(v, s); }};
}

// A save of a document of a few hundred values, over a file holding "old":
// an exception and the old file, or the new file; never a temporary file left beside it.
std::string const save_dir = ::testing::TempDir() + "tolvi_oom_" + std::to_string(::getpid());
std::string const save_file = save_dir + "/config.json";

operation save() {
    Variant::vector_type list;
    for (int i = 0; i < 50; ++i) {
        list.push_back(Variant::fromJson("{\"id\": " + std::to_string(i) + ", \"kind\": \"sensor-" +
                                         std::to_string(i % 5) + "\", \"at\": [" +
                                         std::to_string(i % 3) + ", 1000000000], \"on\": true}"));
    }
    std::filesystem::create_directories(save_dir);
    auto const run = [](Variant& v) {
        int const fd = ::open(save_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        bool const reset = ::write(fd, "old", 3) == 3; // allocating nothing
        ::close(fd);
        try {
            tv::to_file(v, save_file);
        } catch (std::runtime_error const&) {
            return Variant(false);
        }
        return Variant(reset); // true: saved over the old file
    };
    auto const judge = [text = tv::to_json(Variant(list))](Variant const& answer, bool threw) {
        std::ifstream in(save_file, std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}),
                  !threw && answer == Variant(true) ? text : "old");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(save_dir), {}), 1);
    };
    return {"save", Variant(list), run, true, judge};
}

std::vector<operation> table() {
    std::vector<operation> ops;
    auto const assign = [](Variant& v, Variant const& s) { return Variant(&(v = s) == &v); };
    auto const set = [](Variant& v, Variant const& s) { return Variant(v.set("list", s)); };
    auto const merge = [](Variant& v, Variant const& s) { return Variant(v.mergeWith(s)); };
    for (char const* t : documents) {
        for (char const* s : documents) {
            ops.push_back(with(std::string(t) + " = " + s, t, s, assign));
        }
    }
    for (char const* key : {"name", "list", "map"}) { // the source lies inside the target
        ops.push_back({key, Variant::fromJson(documents[3]),
                       [key](Variant& v) { return Variant(&(v = v.get(key)) == &v); }});
    }
    for (char const* t :
         {"null", R"({"list": [7, 8, 9]})", R"({"list": "a short"})", documents[3]}) {
        ops.push_back(with(std::string(t) + " set", t, documents[2], set));
        ops.push_back(with(std::string(t) + "[key]", t, "null", [](Variant& v, Variant const&) {
            return v["a key long enough to need the heap"];
        }));
    }
    ops.push_back(with("merge: new keys", documents[3], R"({"map": {"b": null, "c": {"e":
        "a string long enough for the heap"}}, "new": {"x": {"y": null, "z": [1]}}, "name": "s"})",
                       merge));
    ops.push_back(
        with("merge refused deep down", documents[3], R"({"map": {"c": {"d": 5}}})", merge));
    ops.push_back(with("merge into null", "null", documents[3], merge));
    ops.push_back(with("merge equal", documents[3], documents[3], merge));
    ops.push_back(with("merge into itself", documents[3], "null",
                       [](Variant& v, Variant const&) { return Variant(v.mergeWith(v)); }));
    // Jansson 2.14's lexer goes on when growing its token buffer fails, and can then read past it:
    // Jansson's own allocations fail only on texts whose tokens fit its first 16 bytes. When they
    // fail, Jansson gives up and says so: Null and the report, nothing thrown.
    std::vector<std::pair<std::string, bool>> parses{
        {R"({"bad": [1, 2, "a string long enough for the heap" ]]})", false},
        {R"({"a": [1, 2.5, "xy", true, {"b": {}}], "c": "short", "d": {"e": [[], {}]}})", true},
        {R"({"a": [1, 2.5, "xy", true, null, {"b": {}}]]})", true}};
    for (char const* t : documents) {
        parses.emplace_back(t, false);
    }
    for (auto const& [text, short_tokens] : parses) {
        ops.push_back({"parse " + text, Variant(),
                       [t = text](Variant&) { return Variant::fromJson(t); }, short_tokens});
    }
    for (bool const pretty : {false, true}) {
        ops.push_back(
            {"print", Variant::fromJson(documents[3]),
             [pretty](Variant& v) { return Variant(pretty ? v.prettyPrintJson() : v.toJson()); },
             true});
    }

    ops.push_back(save());
    ops.push_back({"record read", demo("device.json"), [](Variant& v) {
                       device_config r;
                       tv::from_variant(r, v);
                       return tv::to_variant(r);
                   }});
    return ops;
}

TEST(oom, EveryAllocationFailingInTurn) {
    for (operation const& op : table()) {
        sweep(op);
    }
    std::filesystem::remove_all(save_dir);
}

} // namespace

// The replaceable allocation functions that the library and the tests use.
void* operator new(std::size_t size) {
    return take_or_throw(size);
}
void* operator new[](std::size_t size) {
    return take_or_throw(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return take(size, source::operator_new);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return take(size, source::operator_new);
}
void operator delete(void* p) noexcept {
    give(p);
}
void operator delete[](void* p) noexcept {
    give(p);
}
void operator delete(void* p, std::size_t) noexcept {
    give(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    give(p);
}

int main(int argc, char** argv) {
    json_set_alloc_funcs([](std::size_t size) { return take(size, source::jansson); }, give);
    // Error reports are counted without allocating, and built whenever they are logged.
    korvax::skrib::add_sink(korvax::skrib::level::error,
                            [](korvax::skrib::log_entry const&) { ++reports; });
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
