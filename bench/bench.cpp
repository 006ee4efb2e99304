// libtolvi against the floor that Jansson sets and against nlohmann::json, the library users
// would otherwise pick. Every figure of one row comes from the same run; each benchmark warms up
// and repeats, and its fastest repetition counts (thread CPU time), which keeps the ratios
// steady on a machine shared with other work. Prints one table and whether each target is met.
//
//     tolvi_bench [--data-dir=DIR] [--quick] [--group=published|generated|scaling|records]
//                 [--save=FILE | --load=FILE...]
//                 [--peak-text-kb=N --peak-tolvi-kb=N --peak-jansson-kb=N]
//                 [--armhf-tolvi-bytes=N --armhf-skrib-bytes=N --armhf-variant-size=N]
//                 [--benchmark_...]
//
// Without --group every group runs in this process. scripts/bench.sh runs each group in a process
// of its own (--save), so that no group runs on a heap that another left fragmented, then prints
// the table from the saved results (--load) with the peak memory and armhf sizes it measured.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <jansson.h>
#include <nlohmann/json.hpp>
#include <tolvi/tolvi.hpp>

#include "documents.hpp"
#include "records.hpp"

#include "allocations.hpp"
#include "report.hpp"

namespace {

namespace tolvi = korvax::tolvi;
using nljson = nlohmann::json;

constexpr std::size_t parse_flags = JSON_DECODE_ANY;
constexpr std::size_t compact_flags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(7);
constexpr std::size_t pretty_flags = JSON_INDENT(4) | JSON_SORT_KEYS | JSON_ENCODE_ANY;

using bench::doc_info;
using bench::record_info;
using bench::settings;

struct prepared {
    std::string name;
    std::string text;
    Variant value;
    nljson nvalue;
    json_t* tree = nullptr; // toJansson(value): what json_dumps prints
    std::size_t nodes = 0;
    std::size_t compact_bytes = 0;
    std::size_t pretty_bytes = 0;
};

std::size_t count_nodes(Variant const& v) {
    std::size_t n = 1;
    if (v.type == Variant::Map) {
        for (auto const& entry : *v.value.mapValue) {
            n += count_nodes(entry.second);
        }
    } else if (v.type == Variant::Vector) {
        for (Variant const& element : *v.value.vectorValue) {
            n += count_nodes(element);
        }
    }
    return n;
}

std::unique_ptr<prepared> prepare(std::string name, std::string text) {
    auto p = std::make_unique<prepared>();
    p->name = std::move(name);
    p->text = std::move(text);
    p->value = Variant::fromJson(p->text);
    p->nvalue = nljson::parse(p->text);
    p->tree = toJansson(p->value);
    p->nodes = count_nodes(p->value);
    p->compact_bytes = p->value.toJson().size();
    p->pretty_bytes = p->value.prettyPrintJson().size();
    return p;
}

// ---- benchmark registration ----

template <class F>
void add(std::string const& name, F&& body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        for (auto _ : state) {
            body();
        }
    });
}

void add_text_benchmarks(prepared const& d) {
    std::string const& text = d.text;
    add("parse/tolvi/" + d.name, [&text] {
        Variant v = Variant::fromJson(text);
        benchmark::DoNotOptimize(v);
    });
    add("parse/jansson/" + d.name, [&text] {
        json_error_t error;
        json_t* tree = json_loads(text.c_str(), parse_flags, &error);
        benchmark::DoNotOptimize(tree);
        json_decref(tree);
    });
    add("parse/nlohmann/" + d.name, [&text] {
        nljson j = nljson::parse(text);
        benchmark::DoNotOptimize(j);
    });

    Variant const& v = d.value;
    json_t const* tree = d.tree;
    nljson const& j = d.nvalue;
    add("compact/tolvi/" + d.name, [&v] {
        std::string s = v.toJson();
        benchmark::DoNotOptimize(s);
    });
    add("compact/jansson/" + d.name, [tree] {
        char* s = json_dumps(tree, compact_flags);
        benchmark::DoNotOptimize(s);
        std::free(s);
    });
    add("compact/nlohmann/" + d.name, [&j] {
        std::string s = j.dump();
        benchmark::DoNotOptimize(s);
    });
    add("pretty/tolvi/" + d.name, [&v] {
        std::string s = v.prettyPrintJson();
        benchmark::DoNotOptimize(s);
    });
    add("pretty/jansson/" + d.name, [tree] {
        char* s = json_dumps(tree, pretty_flags);
        benchmark::DoNotOptimize(s);
        std::free(s);
    });
    add("pretty/nlohmann/" + d.name, [&j] {
        std::string s = j.dump(4);
        benchmark::DoNotOptimize(s);
    });
}

void add_value_benchmarks(prepared const& d) {
    Variant const& v = d.value;
    nljson const& j = d.nvalue;
    add("copy/tolvi/" + d.name, [&v] {
        Variant c(v);
        benchmark::DoNotOptimize(c);
    });
    add("copy/nlohmann/" + d.name, [&j] {
        nljson c(j);
        benchmark::DoNotOptimize(c);
    });

    // Equal values in separate trees, so the walk cannot stop at shared pointers.
    auto const vcopy = std::make_shared<Variant const>(v);
    auto const jcopy = std::make_shared<nljson const>(j);
    add("equal/tolvi/" + d.name, [&v, vcopy] { benchmark::DoNotOptimize(v == *vcopy); });
    add("equal/nlohmann/" + d.name, [&j, jcopy] { benchmark::DoNotOptimize(j == *jcopy); });

    // Merging a document into an equal one: after the first round the target no longer
    // changes, so every round does the same work.
    auto const vtarget = std::make_shared<Variant>(v);
    auto const jtarget = std::make_shared<nljson>(j);
    add("merge/tolvi/" + d.name,
        [&v, vtarget] { benchmark::DoNotOptimize(vtarget->mergeWith(v)); });
    add("merge/nlohmann/" + d.name, [&j, jtarget] {
        jtarget->merge_patch(j);
        benchmark::DoNotOptimize(*jtarget);
    });
}

// Time per byte: libtolvi and the Jansson floor only.
void add_scaling_benchmarks(prepared const& d) {
    std::string const& text = d.text;
    Variant const& v = d.value;
    json_t const* tree = d.tree;
    add("parse/tolvi/" + d.name, [&text] { benchmark::DoNotOptimize(Variant::fromJson(text)); });
    add("parse/jansson/" + d.name, [&text] {
        json_error_t error;
        json_t* t = json_loads(text.c_str(), parse_flags, &error);
        benchmark::DoNotOptimize(t);
        json_decref(t);
    });
    add("compact/tolvi/" + d.name, [&v] { benchmark::DoNotOptimize(v.toJson()); });
    add("compact/jansson/" + d.name, [tree] {
        char* t = json_dumps(tree, compact_flags);
        benchmark::DoNotOptimize(t);
        std::free(t);
    });
}

struct record_data {
    std::vector<devcfg::device_config> tolvi;
    std::vector<nl::device_config> nlohmann;
    bool same_documents = false;
    bool round_trips = false;
};

void add_record_benchmarks(record_data const& r) {
    using tolvi_list = std::vector<devcfg::device_config>;
    using nl_list = std::vector<nl::device_config>;
    tolvi_list const& tr = r.tolvi;
    nl_list const& nr = r.nlohmann;
    add("records_variant/tolvi", [&tr] {
        Variant v = tolvi::to_variant(tr);
        tolvi_list back;
        tolvi::from_variant(back, v);
        benchmark::DoNotOptimize(back);
    });
    add("records_variant/nlohmann", [&nr] {
        nljson j = nr;
        nl_list back = j.get<nl_list>();
        benchmark::DoNotOptimize(back);
    });
    add("records_text/tolvi", [&tr] {
        std::string text = tolvi::to_json(tr);
        tolvi_list back;
        tolvi::from_json(back, text);
        benchmark::DoNotOptimize(back);
    });
    add("records_text/nlohmann", [&nr] {
        std::string text = nljson(nr).dump();
        nl_list back = nljson::parse(text).get<nl_list>();
        benchmark::DoNotOptimize(back);
    });
}

// ---- collecting the results ----

// Fastest thread CPU time per iteration of each benchmark, in seconds.
class collector : public benchmark::BenchmarkReporter {
public:
    std::map<std::string, double> best;

    bool ReportContext(Context const&) override { return true; }
    void ReportRuns(std::vector<Run> const& runs) override {
        for (Run const& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) {
                continue;
            }
            double const t = run.cpu_accumulated_time / static_cast<double>(run.iterations);
            auto const [it, fresh] = best.emplace(run.run_name.function_name, t);
            if (!fresh) {
                it->second = std::min(it->second, t);
            }
        }
    }
};

// ---- main ----

bool take_long(char const* arg, char const* prefix, long& out) {
    std::size_t const n = std::strlen(prefix);
    if (std::strncmp(arg, prefix, n) != 0) {
        return false;
    }
    out = std::strtol(arg + n, nullptr, 10);
    return true;
}

bool take_text(char const* arg, char const* prefix, std::string& out) {
    std::size_t const n = std::strlen(prefix);
    if (std::strncmp(arg, prefix, n) != 0) {
        return false;
    }
    out = arg + n;
    return true;
}

} // namespace

int main(int argc, char** argv) {
#if defined(__GLIBC__)
    // Fixed malloc thresholds: by default glibc moves them as blocks come and go, and whether a
    // large block is then served from the heap or from fresh pages changes from one repetition
    // to the next. The same for all three libraries.
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
#endif
    settings s;
    std::string group; // empty: every group
    std::string save_to;
    std::vector<std::string> load_from;
    std::vector<char*> args{argv[0]};
    for (int i = 1; i < argc; ++i) {
        char const* a = argv[i];
        std::string text;
        if (take_text(a, "--data-dir=", s.data_dir) || take_text(a, "--group=", group) ||
            take_text(a, "--save=", save_to)) {
        } else if (take_text(a, "--load=", text)) {
            load_from.push_back(text);
        } else if (std::strcmp(a, "--quick") == 0) {
            s.quick = true;
        } else if (take_long(a, "--peak-text-kb=", s.peak_text_kb) ||
                   take_long(a, "--peak-tolvi-kb=", s.peak_tolvi_kb) ||
                   take_long(a, "--peak-jansson-kb=", s.peak_jansson_kb) ||
                   take_long(a, "--armhf-tolvi-bytes=", s.armhf_tolvi_bytes) ||
                   take_long(a, "--armhf-skrib-bytes=", s.armhf_skrib_bytes) ||
                   take_long(a, "--armhf-variant-size=", s.armhf_variant_size)) {
        } else {
            args.push_back(argv[i]);
        }
    }

    std::vector<doc_info> docs;
    record_info rec_info;
    std::map<std::string, double> best;
    if (!load_from.empty()) {
        for (std::string const& path : load_from) {
            if (!load(path, docs, rec_info, best)) {
                return 1;
            }
        }
        print_table(docs, rec_info, best, s);
        return 0;
    }
    auto wanted = [&group](char const* g) { return group.empty() || group == g; };

    // Each benchmark runs its repetitions back to back after a warm-up, so that it measures its
    // own steady state: how fast malloc serves a tree depends much on what was freed before.
    std::vector<std::string> defaults = {
        "--benchmark_repetitions=7", "--benchmark_min_warmup_time=0.2", "--benchmark_min_time=0.2"};
    if (s.quick) {
        defaults = {"--benchmark_repetitions=1", "--benchmark_min_time=0.05"};
    }
    // Flags given on the command line come later and win.
    std::vector<char*> full{args[0]};
    for (std::string& d : defaults) {
        full.push_back(d.data());
    }
    full.insert(full.end(), args.begin() + 1, args.end());
    int full_argc = static_cast<int>(full.size());
    benchmark::Initialize(&full_argc, full.data());
    if (benchmark::ReportUnrecognizedArguments(full_argc, full.data())) {
        return 2;
    }

    std::cerr << "tolvi_bench: preparing documents" << (group.empty() ? "" : " (" + group + ")")
              << "\n";
    std::vector<std::unique_ptr<prepared>> prepared_docs;
    auto keep = [&](char const* g, std::string name, std::string text) {
        prepared_docs.push_back(prepare(std::move(name), std::move(text)));
        prepared const& d = *prepared_docs.back();
        doc_info info{g, d.name, d.text.size(), d.nodes, d.compact_bytes, d.pretty_bytes, 0};
        if (std::strcmp(g, "scaling") != 0) {
            add_text_benchmarks(d);
            add_value_benchmarks(d);
            Variant const other(d.value);
            std::size_t const before = bench::allocation_count;
            bool const same = d.value == other;
            info.equal_allocations = bench::allocation_count - before;
            if (!same) {
                std::cerr << "tolvi_bench: a copy of " << d.name << " compares unequal\n";
            }
        } else {
            add_scaling_benchmarks(d);
        }
        docs.push_back(info);
    };
    std::size_t const mb = 1000 * 1000;
    if (wanted("published")) {
        for (bench::document& d : bench::published_documents(s.data_dir)) {
            keep("published", d.name, std::move(d.text));
        }
    }
    if (wanted("generated")) {
        std::size_t const big = s.quick ? 5 * mb : 50 * mb;
        keep("generated", "records-" + std::to_string(big / mb) + "MB", bench::record_array(big));
        keep("generated", "map-100k", bench::wide_map(100000));
        keep("generated", "deep-2000", bench::deep_nesting(2000));
    }
    if (wanted("scaling")) {
        keep("scaling", "records-1MB", bench::record_array(1 * mb));
        keep("scaling", "records-10MB", bench::record_array(10 * mb));
    }
    record_data rec;
    if (wanted("records")) {
        rec.tolvi = bench::tolvi_records(10000);
        rec.nlohmann = bench::nlohmann_records(10000);
        // Both mappings must write the same document and read back what they wrote.
        std::string const a = tolvi::to_json(rec.tolvi);
        std::string const b = nljson(rec.nlohmann).dump();
        rec.same_documents = Variant::fromJson(a) == Variant::fromJson(b);
        std::vector<devcfg::device_config> back;
        tolvi::from_json(back, a);
        rec.round_trips = tolvi::equal(back, rec.tolvi) &&
                          nljson::parse(b).get<std::vector<nl::device_config>>().size() == 10000;
        if (!rec.same_documents || !rec.round_trips) {
            std::cerr << "tolvi_bench: the two record mappings disagree\n";
        }
        add_record_benchmarks(rec);
        rec_info = {rec.tolvi.size(), rec.same_documents, rec.round_trips};
    }

    std::cerr << "tolvi_bench: running\n";
    collector c;
    benchmark::RunSpecifiedBenchmarks(&c);
    if (save_to.empty()) {
        print_table(docs, rec_info, c.best, s);
    } else {
        save(save_to, docs, rec_info, c.best);
    }

    for (auto const& d : prepared_docs) {
        json_decref(d->tree);
    }
    benchmark::Shutdown();
    return 0;
}
