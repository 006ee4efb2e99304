// Documents nested as deep as the parser allows, handled on a thread with the stack that threads
// get by default on the device (1 MiB).

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <jansson.h>

#include <tolvi/Variant.hpp>
#include <tolvi/opaque_json_block.hpp>
#include <tolvi/record.hpp>

#include "test_support.hpp"

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_DEFINED(addr, size) ((void)(addr), (void)(size))
#endif

namespace {

constexpr int depth_limit = JSON_PARSER_MAX_DEPTH;

#if defined(__SANITIZE_ADDRESS__)
#define TOLVI_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLVI_TEST_ASAN 1
#endif
#endif

// The device runs optimized code, where the bound is the 1 MiB of a default thread. Unoptimized
// frames are several times larger, and sanitizer redzones larger still: there the run only proves
// that nothing recurses without bound.
#if defined(TOLVI_TEST_ASAN)
constexpr std::size_t thread_stack = 8u << 20;
#elif !defined(__OPTIMIZE__)
constexpr std::size_t thread_stack = 4u << 20;
#else
constexpr std::size_t thread_stack = 1u << 20;
#endif

constexpr unsigned char paint = 0xA5;
constexpr std::size_t page = 4096;

// Runs `f` on a thread whose stack is `size` bytes of our own memory, painted first, and returns
// how many bytes of it the run touched. An exception of `f` is rethrown here.
std::size_t run_on_stack(std::size_t size, std::function<void()> const& f) {
    std::unique_ptr<unsigned char, decltype(&std::free)> stack(
        static_cast<unsigned char*>(std::aligned_alloc(page, size)), &std::free);
    if (!stack) {
        throw std::bad_alloc();
    }
    std::memset(stack.get(), paint, size);

    struct job {
        std::function<void()> const& f;
        std::exception_ptr error;
    } j{f, nullptr};
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstack(&attr, stack.get(), size);
    pthread_t thread;
    int const rc = pthread_create(
        &thread, &attr,
        [](void* p) -> void* {
            auto& jb = *static_cast<job*>(p);
            try {
                jb.f();
            } catch (...) {
                jb.error = std::current_exception();
            }
            return nullptr;
        },
        &j);
    pthread_attr_destroy(&attr);
    if (rc != 0) {
        throw std::runtime_error("pthread_create failed");
    }
    pthread_join(thread, nullptr);
    if (j.error) {
        std::rethrow_exception(j.error);
    }
    // Memcheck marks what lies below a thread's last stack pointer as unusable; the thread is
    // gone and the memory is ours again.
    VALGRIND_MAKE_MEM_DEFINED(stack.get(), size);
    // The stack grows down: the untouched paint is at the low end.
    static auto const clean = [] {
        std::array<unsigned char, page> a;
        a.fill(paint);
        return a;
    }();
    std::size_t untouched = 0;
    while (untouched + page <= size &&
           std::memcmp(stack.get() + untouched, clean.data(), page) == 0) {
        untouched += page;
    }
    while (untouched < size && stack.get()[untouched] == paint) {
        ++untouched;
    }
    return size - untouched;
}

// Nested containers, `levels` values deep counting the innermost one.
std::string nested_arrays(int levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

std::string nested_objects(int levels) {
    std::string text;
    for (int i = 1; i < levels; ++i) {
        text += "{\"k\":";
    }
    return text + "{}" + std::string(levels - 1, '}');
}

// Alternating objects and arrays around a string leaf.
std::string nested_mixed(int levels) {
    std::string open, close;
    for (int i = 1; i < levels; ++i) {
        open += i % 2 ? "{\"k\":" : "[";
        close.insert(0, i % 2 ? "}" : "]");
    }
    return open + "\"leaf\"" + close;
}

int depth_of(Variant const& v) {
    int depth = 1;
    for (Variant const* p = &v;; ++depth) {
        if (p->type == Variant::Map && !p->value.mapValue->empty()) {
            p = &p->value.mapValue->begin()->second;
        } else if (p->type == Variant::Vector && !p->value.vectorValue->empty()) {
            p = &p->value.vectorValue->front();
        } else {
            return depth;
        }
    }
}

struct shape {
    char const* name;
    std::string (*make)(int);
};
shape const shapes[] = {
    {"arrays", nested_arrays}, {"objects", nested_objects}, {"mixed", nested_mixed}};

TEST(deep_documents, ParseUpToTheParserDepthLimit) {
    for (auto const& s : shapes) {
        SCOPED_TRACE(s.name);
        tolvi_test::log_capture cap;
        Variant const deepest = Variant::fromJson(s.make(depth_limit));
        EXPECT_EQ(depth_of(deepest), depth_limit);
        EXPECT_TRUE(cap.entries.empty());

        Variant const too_deep = Variant::fromJson(s.make(depth_limit + 1));
        EXPECT_EQ(too_deep.type, Variant::Null);
        ASSERT_EQ(cap.entries.size(), 1u);
        EXPECT_EQ(cap.entries[0].level, 0);
        EXPECT_EQ(cap.entries[0].message.rfind("JSON error [", 0), 0u);
    }
}

// Every operation the library offers on a whole document, on a document of maximal depth. Each
// gets the parsed document and its text; only what the operation itself does runs on the small
// stack.
struct deep_operation {
    char const* name;
    void (*run)(Variant const& deep, std::string const& text);
};

namespace tv = korvax::tolvi;

// A record that carries a whole document as uninterpreted JSON.
struct envelope {
    tv::required<std::string> kind;
    tv::required<tv::opaque_json_block> body;
};
TOLVI_RECORD(envelope, kind, body);

deep_operation const operations[] = {
    {"parse", [](Variant const& deep,
                 std::string const& text) { EXPECT_EQ(Variant::fromJson(text), deep); }},
    {"destruction",
     [](Variant const& deep, std::string const&) {
         (void)deep; // released when the run ends, on the small stack
     }},
    {"copy construction",
     [](Variant const& deep, std::string const&) {
         Variant const copy(deep);
         EXPECT_EQ(depth_of(copy), depth_limit);
     }},
    {"copy assignment",
     [](Variant const& deep, std::string const&) {
         Variant target = Variant::map_type{{"x", Variant(1)}};
         target = deep;
         EXPECT_EQ(depth_of(target), depth_limit);
     }},
    {"equality", [](Variant const& deep, std::string const&) { EXPECT_TRUE(deep == deep); }},
    {"merge",
     [](Variant const& deep, std::string const&) {
         Variant target = Variant::map_type{};
         EXPECT_TRUE(target.mergeWith(Variant::map_type{{"doc", deep}}));
         EXPECT_TRUE(target.mergeWith(Variant::map_type{{"doc", deep}}));
         EXPECT_EQ(target.get("doc"), deep);
     }},
    {"compact print",
     [](Variant const& deep, std::string const& text) {
         EXPECT_EQ(deep.toJson().size(), text.size());
     }},
    {"pretty print",
     [](Variant const& deep, std::string const& text) {
         EXPECT_GT(deep.prettyPrintJson().size(), text.size());
     }},
    {"record holding it as an opaque block",
     [](Variant const& deep, std::string const&) {
         envelope e;
         e.kind = "deep";
         e.body = tv::opaque_json_block();
         e.body->json = deep;
         Variant const doc = tv::to_variant(e);
         envelope back;
         tv::from_variant(back, doc);
         tv::from_variant(back, doc, tv::options().as_patch()); // merged into what it holds
         EXPECT_TRUE(tv::equal(e, back));
     }},
    {"JSONPath wildcards to the bottom",
     [](Variant const& deep, std::string const&) {
         tv::opaque_json_block block;
         block.json = deep;
         std::string path = "$";
         for (int i = 1; i < depth_limit; ++i) {
             path += "[*]";
         }
         auto const found = block.attribute_at_path(path.c_str());
         ASSERT_TRUE(found);
         EXPECT_EQ(depth_of(*found), 1);
     }},
};

TEST(deep_documents, EveryOperationFitsADefaultThreadStack) {
    std::size_t worst = 0;
    for (auto const& s : shapes) {
        std::string const text = s.make(depth_limit);
        for (auto const& op : operations) {
            SCOPED_TRACE(std::string(s.name) + ": " + op.name);
            Variant deep = Variant::fromJson(text);
            ASSERT_EQ(depth_of(deep), depth_limit);
            std::size_t const used = run_on_stack(thread_stack, [&] {
                Variant const mine = std::move(deep); // released on this thread
                op.run(mine, text);
            });
            EXPECT_LT(used, thread_stack);
            worst = std::max(worst, used);
            std::cout << "[ stack ] " << s.name << ", " << op.name << ": " << used / 1024
                      << " KiB\n";
        }
    }
    std::cout << "[ stack ] depth " << depth_limit << ": at most " << worst / 1024 << " KiB of "
              << thread_stack / 1024 << " KiB used, " << worst / depth_limit
              << " bytes per level\n";
}

} // namespace
