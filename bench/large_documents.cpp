// Large documents in small memory: the peak heap of loading and saving a record-shaped document of
// 1, 10 and 50 MB, beside nlohmann::json on the same structs, and time ratios measured
// interleaved in one run, with their medians.
//
//     tolvi_large_documents [--data-dir=DIR] [--work-dir=DIR] [--quick] [--rounds=N]
//
// The heap is counted by this program's operator new and delete and by Jansson's allocation
// functions (json_set_alloc_funcs): the bytes alive, as malloc_usable_size gives them, and their
// peak during one call. Times are thread CPU time. Each ratio row runs its sides alternately, the
// order swapped every round, and prints the median of each side and of the per-round ratios.
// --quick leaves out the 50 MB document and runs 3 rounds. The documents are written to the work
// directory (default: the current one) and removed at the end.

#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include <jansson.h>
#include <nlohmann/json.hpp>
#include <tolvi/tolvi.hpp>

#include "documents.hpp"
#include "schedules.hpp"

namespace tolvi = korvax::tolvi;

namespace heap {
std::size_t alive = 0;
std::size_t peak = 0;

void* take(std::size_t size) noexcept {
    void* const p = std::malloc(size != 0 ? size : 1);
    if (p != nullptr) {
        alive += malloc_usable_size(p);
        peak = std::max(peak, alive);
    }
    return p;
}

void give(void* p) noexcept {
    if (p != nullptr) {
        alive -= malloc_usable_size(p);
        std::free(p);
    }
}
} // namespace heap

void* operator new(std::size_t size) {
    if (void* p = heap::take(size)) {
        return p;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return ::operator new(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return heap::take(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return heap::take(size);
}
void operator delete(void* p) noexcept {
    heap::give(p);
}
void operator delete[](void* p) noexcept {
    heap::give(p);
}
void operator delete(void* p, std::size_t) noexcept {
    heap::give(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    heap::give(p);
}

namespace {

// The peak of the bytes alive while `f` runs, above those alive before.
template <class F>
double peak_of(F&& f) {
    std::size_t const before = heap::alive;
    heap::peak = before;
    f();
    return static_cast<double>(heap::peak - before);
}

double cpu_seconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    std::size_t const n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

struct side {
    std::string name;
    std::function<void()> run;
    double bytes; // what the time is divided by, for a cost per byte; 1 for a time per call
};

struct measured {
    std::vector<double> medians;    // per side, seconds per unit
    std::vector<double> ratios;     // per side, the median of its time over side 0's
    double spread_max_over_min = 0; // the largest of `ratios` over the smallest
};

// Runs the sides in turn, `rounds` times, the order reversed every other round; each run repeats
// its side until it has taken 0.2 s at least. A side's ratio to side 0 is the median of the
// ratios of the rounds, so that a busy spell, which slows both sides of a round, does not count.
measured interleave(std::vector<side> const& sides, int rounds) {
    std::vector<int> reps(sides.size(), 1);
    for (std::size_t s = 0; s < sides.size(); ++s) {
        double const t0 = cpu_seconds();
        sides[s].run();
        double const once = std::max(cpu_seconds() - t0, 1e-6);
        reps[s] = std::max(1, static_cast<int>(0.2 / once));
    }
    std::vector<std::vector<double>> per(sides.size());
    std::vector<std::vector<double>> ratio(sides.size());
    for (int r = 0; r < rounds; ++r) {
        std::vector<double> t(sides.size());
        for (std::size_t k = 0; k < sides.size(); ++k) {
            std::size_t const s = r % 2 == 0 ? k : sides.size() - 1 - k;
            double const t0 = cpu_seconds();
            for (int i = 0; i < reps[s]; ++i) {
                sides[s].run();
            }
            t[s] = (cpu_seconds() - t0) / reps[s] / sides[s].bytes;
        }
        for (std::size_t s = 0; s < sides.size(); ++s) {
            per[s].push_back(t[s]);
            ratio[s].push_back(t[s] / t[0]);
        }
    }
    measured m;
    for (std::size_t s = 0; s < sides.size(); ++s) {
        m.medians.push_back(median(per[s]));
        m.ratios.push_back(median(ratio[s]));
    }
    m.spread_max_over_min = *std::max_element(m.ratios.begin(), m.ratios.end()) /
                            *std::min_element(m.ratios.begin(), m.ratios.end());
    return m;
}

std::string fixed(double v, int decimals) {
    char b[64];
    std::snprintf(b, sizeof b, "%.*f", decimals, v);
    return b;
}

void row(std::string const& figure, std::string const& document, std::string const& measuredText,
         std::string const& ratio, std::string const& target, bool met) {
    std::cout << "| " << figure << " | " << document << " | " << measuredText << " | " << ratio
              << " | " << target << " | "
              << (target.empty() ? ""
                  : met          ? "yes"
                                 : "NO")
              << " |\n";
}

void write_file(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string mb(std::size_t bytes) {
    return fixed(static_cast<double>(bytes) / 1e6, 2) + " MB";
}

void jansson_parse(std::string const& text) {
    json_error_t e;
    json_decref(json_loads(text.c_str(), JSON_DECODE_ANY, &e));
}

struct sized {
    std::size_t mb;
    std::string path;
    std::string text;
};

void peak_rows(sized const& d) {
    double const n = static_cast<double>(d.text.size());
    auto const times = [n](double bytes) { return fixed(bytes / n, 1) + "x"; };
    std::string const doc = "fleet " + mb(d.text.size());

    double const nl_peak = peak_of([&] {
        nl::fleet f = nlohmann::json::parse(tolvi::read_text_file(d.path)).get<nl::fleet>();
    });
    double record_bytes = 0;
    double const record_peak = peak_of([&] {
        sched::fleet f;
        tolvi::from_file(f, d.path);
        record_bytes = static_cast<double>(heap::alive);
    });
    record_bytes -= static_cast<double>(heap::alive);
    bool const targeted = d.mb >= 10; // the targets are for 10 MB and more
    row("peak heap: `from_file` into a record", doc, times(record_peak),
        fixed(record_peak / nl_peak, 2) + " of nlohmann", "≤ 10x, ≤ 1.0 of nlohmann",
        !targeted || (record_peak <= 10 * n && record_peak <= nl_peak));
    {
        sched::fleet f;
        tolvi::from_file(f, d.path);
        double const again = peak_of([&] { tolvi::from_file(f, d.path); });
        row("peak heap: `from_file` into a record holding the document", doc,
            times(again + record_bytes) + " (the old record " + times(record_bytes) + ")", "", "",
            true);
        std::size_t const before = heap::alive;
        Variant out = tolvi::to_variant(f);
        double const variant_bytes = static_cast<double>(heap::alive - before);
        out = Variant();
        std::string const saved = d.path + ".saved";
        double const file_peak = peak_of([&] { tolvi::to_file(f, saved); });
        std::remove(saved.c_str());
        row("peak heap: `to_file` of a record, above the record", doc,
            times(file_peak) + " (its Variant " + times(variant_bytes) + ")",
            "Variant + " + fixed((file_peak - variant_bytes) / 1e6, 2) + " MB", "≤ Variant + 1 MB",
            file_peak <= variant_bytes + 1e6);
    }
    double const variant_peak = peak_of([&] {
        Variant v;
        tolvi::from_file(v, d.path);
    });
    row("peak heap: `tolvi::from_file` into a Variant", doc, times(variant_peak),
        fixed(variant_peak / nl_peak, 2) + " of nlohmann", "≤ 10x",
        !targeted || variant_peak <= 10 * n);
    double const from_json_peak =
        peak_of([&] { Variant v = tolvi::detail::variant_from_json_file(d.path); });
    row("peak heap: `detail::variant_from_json_file` (fromJson)", doc, times(from_json_peak), "",
        "", true);
    double const jansson_peak = peak_of([&] { jansson_parse(tolvi::read_text_file(d.path)); });
    row("peak heap: the text and `json_loads`", doc, times(jansson_peak), "", "", true);
    row("peak heap: nlohmann `parse` + `get<T>`", doc, times(nl_peak), "", "", true);
}

} // namespace

int main(int argc, char** argv) {
    std::string data_dir = TOLVI_BENCH_DATA_DIR;
    std::string work_dir = ".";
    bool quick = false;
    int rounds = 7;
    for (int i = 1; i < argc; ++i) {
        std::string const a = argv[i];
        if (a.rfind("--data-dir=", 0) == 0) {
            data_dir = a.substr(11);
        } else if (a.rfind("--work-dir=", 0) == 0) {
            work_dir = a.substr(11);
        } else if (a.rfind("--rounds=", 0) == 0) {
            rounds = std::max(1, std::atoi(a.c_str() + 9));
        } else if (a == "--quick") {
            quick = true;
            rounds = 3;
        } else {
            std::cerr << "usage: tolvi_large_documents [--data-dir=DIR] [--work-dir=DIR] "
                         "[--quick] [--rounds=N]\n";
            return 2;
        }
    }
    // The same malloc settings as tolvi_bench, so that large blocks come from the heap alike.
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
    json_set_alloc_funcs(&heap::take, &heap::give);

    std::vector<sized> docs;
    for (std::size_t size : {std::size_t{1}, std::size_t{10}, std::size_t{50}}) {
        if (quick && size == 50) {
            continue;
        }
        sized d{size, work_dir + "/fleet-" + std::to_string(size) + "MB.json",
                sched::fleet_document(size * 1000 * 1000)};
        write_file(d.path, d.text);
        docs.push_back(std::move(d));
    }

    std::cout << "| Figure | Document | Measured | Ratio (median) | Target | Met |\n"
                 "|---|---|---|---|---|---|\n";
    for (sized const& d : docs) {
        peak_rows(d);
    }

    // Cost per byte from 1 MB up: the sides are the sizes.
    auto const per_byte = [&](char const* what, auto op) {
        std::vector<side> sides;
        for (sized const& d : docs) {
            sides.push_back(
                {mb(d.text.size()), [&d, op] { op(d.text); }, static_cast<double>(d.text.size())});
        }
        measured const m = interleave(sides, rounds);
        for (std::size_t s = 0; s < sides.size(); ++s) {
            row(std::string(what) + " per byte", "fleet " + sides[s].name,
                fixed(m.medians[s] * 1e9, 2) + " ns/B", "", "", true);
        }
        row(std::string(what) + " per byte, largest / smallest", "", "",
            fixed(m.spread_max_over_min, 2) + " max/min", "≤ 1.20", m.spread_max_over_min <= 1.2);
    };
    per_byte("`Variant::fromJson`", [](std::string const& t) { Variant v = Variant::fromJson(t); });
    per_byte("record read (`from_json`)", [](std::string const& t) {
        sched::fleet f;
        tolvi::from_json(f, t);
    });

    // fromJson against Jansson's parse and release on the published documents.
    for (bench::document const& d : bench::published_documents(data_dir)) {
        std::string const& t = d.text;
        measured const m =
            interleave({{"json_loads + json_decref", [&t] { jansson_parse(t); }, 1.0},
                        {"fromJson", [&t] { Variant v = Variant::fromJson(t); }, 1.0}},
                       rounds);
        row("`Variant::fromJson` / `json_loads` + `json_decref`", d.name,
            fixed(m.medians[1] * 1e3, 2) + " ms · " + fixed(m.medians[0] * 1e3, 2) + " ms",
            fixed(m.ratios[1], 2), "≤ 1.15", m.ratios[1] <= 1.15);
    }

    // A record read against fromJson on the 10 MB document.
    for (sized const& d : docs) {
        if (d.mb != 10) {
            continue;
        }
        std::string const& t = d.text;
        measured const m = interleave({{"fromJson", [&t] { Variant v = Variant::fromJson(t); }, 1},
                                       {"record",
                                        [&t] {
                                            sched::fleet f;
                                            tolvi::from_json(f, t);
                                        },
                                        1}},
                                      rounds);
        row("record read (`from_json`) / `Variant::fromJson`", "fleet " + mb(t.size()),
            fixed(m.medians[1] * 1e3, 1) + " ms · " + fixed(m.medians[0] * 1e3, 1) + " ms",
            fixed(m.ratios[1], 2), "≤ 1.20", m.ratios[1] <= 1.2);
    }

    // 20,000 small status reports read strictly, against Jansson's parse and nlohmann's.
    {
        std::vector<std::string> const reports = sched::status_documents(20000);
        std::size_t bytes = 0;
        for (std::string const& r : reports) {
            bytes += r.size();
        }
        measured const m = interleave({{"json_loads + json_decref",
                                        [&] {
                                            for (std::string const& r : reports) {
                                                jansson_parse(r);
                                            }
                                        },
                                        1},
                                       {"strict record read",
                                        [&] {
                                            for (std::string const& r : reports) {
                                                sched::status s;
                                                tolvi::from_json(s, r, tolvi::options().strict());
                                            }
                                        },
                                        1},
                                       {"nlohmann",
                                        [&] {
                                            for (std::string const& r : reports) {
                                                nl::status s =
                                                    nlohmann::json::parse(r).get<nl::status>();
                                            }
                                        },
                                        1}},
                                      rounds);
        std::string const doc =
            "20,000 status reports (" + std::to_string(bytes / reports.size()) + " B)";
        row("strict record read / `json_loads` + `json_decref`", doc,
            fixed(m.medians[1] * 1e3, 1) + " ms · " + fixed(m.medians[0] * 1e3, 1) + " ms",
            fixed(m.ratios[1], 2), "≤ 1.25", m.ratios[1] <= 1.25);
        row("nlohmann `parse` + `get<T>` / `json_loads` + `json_decref`", doc,
            fixed(m.medians[2] * 1e3, 1) + " ms", fixed(m.ratios[2], 2), "", true);
    }

    for (sized const& d : docs) {
        std::remove(d.path.c_str());
    }
}
