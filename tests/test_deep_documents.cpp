// Documents nested as deep as the parser allows, handled on a thread with the stack that threads
// get by default on the device (1 MiB): one that recursed too deep would overflow it and crash.

#include <pthread.h>

#include <functional>
#include <iterator>

#include <jansson.h>

#include <tolvi/json_text.hpp>
#include <tolvi/opaque_json_block.hpp>

#include "test_support.hpp"

namespace {

namespace tv = korvax::tolvi;
constexpr int limit = JSON_PARSER_MAX_DEPTH - 1; // containers around a leaf

// The device runs optimized code, where the bound is the 1 MiB of a default thread. Unoptimized
// frames are several times larger, and sanitizer redzones larger still: there the run only proves
// that nothing recurses without bound.
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__)
constexpr std::size_t thread_stack = 1u << 20;
#else
constexpr std::size_t thread_stack = 8u << 20;
#endif

// Runs `f` on a thread with a stack of `thread_stack` bytes.
void run_on_small_stack(std::function<void()> f) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, thread_stack);
    pthread_t thread;
    auto const body = [](void* p) -> void* {
        (*static_cast<std::function<void()>*>(p))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attr, body, &f), 0);
    pthread_attr_destroy(&attr);
    pthread_join(thread, nullptr);
}

// `levels` containers around the string "leaf": arrays, objects, or both in turn.
std::string nested(int levels, int shape) {
    std::string open, close;
    for (int i = 0; i < levels; ++i) {
        bool const object = shape == 1 || (shape == 2 && i % 2 == 0);
        open += object ? "{\"k\":" : "[";
        close.insert(0, object ? "}" : "]");
    }
    return open + "\"leaf\"" + close;
}

TEST(deep_documents, EveryOperationFitsADefaultThreadStack) {
    using operation = std::function<void(Variant const&, std::string const&)>;
    operation const operations[] = {
        [](Variant const& d, std::string const& text) {
            EXPECT_EQ(Variant::fromJson(text), d);
            EXPECT_EQ(d.toJson(), text);
            EXPECT_EQ(tv::to_json(d), text);
            EXPECT_GT(d.prettyPrintJson().size(), text.size());
        },
        [](Variant const& d, std::string const&) { // copies, released on this thread
            Variant copy(d), target(Variant::map_type{{"doc", Variant(1)}});
            EXPECT_FALSE(target.mergeWith(Variant::map_type{{"doc", d}}));
            target = Variant::map_type{{"doc", copy}};
            EXPECT_TRUE(target.mergeWith(Variant::map_type{{"doc", d}}));
            EXPECT_EQ(target.get("doc"), d);
        },
        [](Variant const& d, std::string const&) { // JSONPath wildcards to the bottom
            tv::opaque_json_block block;
            block.json = d;
            std::string path = "$";
            for (int i = 0; i < limit; ++i) {
                path += "[*]";
            }
            auto const found = block.attribute_at_path(path.c_str());
            ASSERT_TRUE(found);
            EXPECT_EQ(*found, Variant("leaf"));
        },
    };
    for (int shape = 0; shape < 3; ++shape) {
        std::string const text = nested(limit, shape);
        for (std::size_t i = 0; i < std::size(operations); ++i) {
            SCOPED_TRACE("shape " + std::to_string(shape) + ", operation " + std::to_string(i));
            Variant deep = Variant::fromJson(text);
            ASSERT_FALSE(deep.isNull());
            run_on_small_stack([&] {
                Variant const mine = std::move(deep); // released on this thread
                operations[i](mine, text);
            });
        }
        tolvi_test::log_capture cap;
        EXPECT_TRUE(Variant::fromJson(nested(limit + 1, shape)).isNull());
        ASSERT_EQ(cap.entries.size(), 1u);
        EXPECT_EQ(cap.entries[0].message.rfind("JSON error [", 0), 0u);
    }
}

} // namespace
