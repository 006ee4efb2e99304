// The table of tolvi_bench, and its results saved and loaded.

#include "report.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>

#include <tolvi/tolvi.hpp>

namespace bench {
namespace {

// ---- the table ----

constexpr double missing = -1;

struct table {
    std::vector<std::vector<std::string>> rows;
    int targets = 0;
    int met = 0;

    void row(std::vector<std::string> cells) { rows.push_back(std::move(cells)); }

    // "yes"/"NO" for a target, counted.
    std::string verdict(bool ok) {
        ++targets;
        met += ok ? 1 : 0;
        return ok ? "yes" : "NO";
    }

    void print(std::ostream& out) const {
        std::vector<std::size_t> width;
        for (auto const& r : rows) {
            width.resize(std::max(width.size(), r.size()));
            for (std::size_t i = 0; i < r.size(); ++i) {
                width[i] = std::max(width[i], display_width(r[i]));
            }
        }
        for (std::size_t n = 0; n < rows.size(); ++n) {
            print_row(out, rows[n], width);
            if (n == 0) {
                std::vector<std::string> rule;
                for (std::size_t w : width) {
                    rule.push_back(std::string(std::max<std::size_t>(w, 3), '-'));
                }
                print_row(out, rule, width);
            }
        }
    }

private:
    // Cells are ASCII apart from a few symbols; count code points, not bytes.
    static std::size_t display_width(std::string const& s) {
        return static_cast<std::size_t>(std::count_if(s.begin(), s.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    }
    static void print_row(std::ostream& out, std::vector<std::string> const& r,
                          std::vector<std::size_t> const& width) {
        out << '|';
        for (std::size_t i = 0; i < width.size(); ++i) {
            std::string const cell = i < r.size() ? r[i] : "";
            out << ' ' << cell << std::string(width[i] - display_width(cell), ' ') << " |";
        }
        out << '\n';
    }
};

std::string fixed(double v, int decimals) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, v);
    return buffer;
}

std::string size_text(std::size_t bytes) {
    if (bytes >= 1000 * 1000) {
        return fixed(static_cast<double>(bytes) / 1e6, 1) + " MB";
    }
    return fixed(static_cast<double>(bytes) / 1e3, 0) + " kB";
}

struct results {
    std::map<std::string, double> const& best;

    double time(std::string const& name) const {
        auto const it = best.find(name);
        return it == best.end() ? missing : it->second;
    }
    bool has(std::string const& a, std::string const& b) const {
        return time(a) > 0 && time(b) > 0;
    }
    double ratio(std::string const& a, std::string const& b) const {
        return has(a, b) ? time(a) / time(b) : missing;
    }
    std::string mbps(std::string const& name, std::size_t bytes) const {
        double const t = time(name);
        return t > 0 ? fixed(static_cast<double>(bytes) / t / 1e6, 0) + " MB/s" : "n/a";
    }
    std::string per_node(std::string const& name, std::size_t nodes) const {
        double const t = time(name);
        return t > 0 ? fixed(t * 1e9 / static_cast<double>(nodes), 1) + " ns/node" : "n/a";
    }
    std::string per_byte(std::string const& name, std::size_t bytes) const {
        double const t = time(name);
        return t > 0 ? fixed(t * 1e9 / static_cast<double>(bytes), 2) + " ns/B" : "n/a";
    }
    std::string ms(std::string const& name) const {
        double const t = time(name);
        return t > 0 ? fixed(t * 1e3, 1) + " ms" : "n/a";
    }
};

std::string ratio_text(double r, char const* of) {
    return r > 0 ? fixed(r, 2) + " " + of : "n/a";
}

void text_rows(table& t, results const& r, doc_info const& d, bool targeted) {
    std::string const doc = d.name + " (" + size_text(d.bytes) + ")";
    std::string const p = "parse/", c = "compact/", q = "pretty/";
    double const parse_ratio = r.ratio(p + "tolvi/" + d.name, p + "jansson/" + d.name);
    t.row({"fromJson · json_loads · parse", doc, r.mbps(p + "tolvi/" + d.name, d.bytes),
           r.mbps(p + "jansson/" + d.name, d.bytes), r.mbps(p + "nlohmann/" + d.name, d.bytes),
           ratio_text(parse_ratio, "t/J"), targeted ? "t/J ≤ 1.15" : "",
           targeted && parse_ratio > 0 ? t.verdict(parse_ratio <= 1.15) : ""});
    double const dump_ratio = r.ratio(c + "tolvi/" + d.name, c + "jansson/" + d.name);
    t.row({"toJson · json_dumps 0x3A20 · dump()", doc,
           r.mbps(c + "tolvi/" + d.name, d.compact_bytes),
           r.mbps(c + "jansson/" + d.name, d.compact_bytes),
           r.mbps(c + "nlohmann/" + d.name, d.compact_bytes), ratio_text(dump_ratio, "t/J"),
           targeted ? "t/J ≤ 1.20" : "",
           targeted && dump_ratio > 0 ? t.verdict(dump_ratio <= 1.20) : ""});
    t.row({"prettyPrintJson · json_dumps 0x284 · dump(4)", doc,
           r.mbps(q + "tolvi/" + d.name, d.pretty_bytes),
           r.mbps(q + "jansson/" + d.name, d.pretty_bytes),
           r.mbps(q + "nlohmann/" + d.name, d.pretty_bytes),
           ratio_text(r.ratio(q + "tolvi/" + d.name, q + "jansson/" + d.name), "t/J"), "", ""});
}

void value_rows(table& t, results const& r, doc_info const& d) {
    std::string const doc = d.name + " (" + std::to_string(d.nodes) + " nodes)";
    double const copy_ratio = r.ratio("copy/tolvi/" + d.name, "copy/nlohmann/" + d.name);
    t.row({"deep copy", doc, r.per_node("copy/tolvi/" + d.name, d.nodes), "",
           r.per_node("copy/nlohmann/" + d.name, d.nodes), ratio_text(copy_ratio, "t/n"),
           "t/n ≤ 1.00", copy_ratio > 0 ? t.verdict(copy_ratio <= 1.0) : ""});
    t.row({"operator==", doc, r.per_node("equal/tolvi/" + d.name, d.nodes), "",
           r.per_node("equal/nlohmann/" + d.name, d.nodes),
           ratio_text(r.ratio("equal/tolvi/" + d.name, "equal/nlohmann/" + d.name), "t/n") + ", " +
               std::to_string(d.equal_allocations) + " alloc",
           "0 alloc", t.verdict(d.equal_allocations == 0)});
    t.row({"mergeWith · merge_patch", doc, r.per_node("merge/tolvi/" + d.name, d.nodes), "",
           r.per_node("merge/nlohmann/" + d.name, d.nodes),
           ratio_text(r.ratio("merge/tolvi/" + d.name, "merge/nlohmann/" + d.name), "t/n"), "",
           ""});
}

void record_rows(table& t, results const& r, record_info const& rec) {
    std::string const what = std::to_string(rec.count) + " device configs";
    std::string const note = rec.same_documents && rec.round_trips ? "" : " (MISMATCH)";
    double const speedup = r.ratio("records_variant/nlohmann", "records_variant/tolvi");
    t.row({"records → Variant / json and back", what + note, r.ms("records_variant/tolvi"), "",
           r.ms("records_variant/nlohmann"), ratio_text(speedup, "n/t"), "n/t ≥ 1.50",
           speedup > 0 ? t.verdict(speedup >= 1.5) : ""});
    t.row({"records → text and back", what + note, r.ms("records_text/tolvi"), "",
           r.ms("records_text/nlohmann"),
           ratio_text(r.ratio("records_text/nlohmann", "records_text/tolvi"), "n/t"), "", ""});
}

void scaling_rows(table& t, results const& r, std::vector<doc_info const*> const& sizes) {
    for (char const* kind : {"parse", "compact"}) {
        std::string const k = kind;
        double lo = std::numeric_limits<double>::max(), hi = 0;
        for (doc_info const* d : sizes) {
            double const tt = r.time(k + "/tolvi/" + d->name);
            if (tt > 0) {
                double const per_byte = tt / static_cast<double>(d->bytes);
                lo = std::min(lo, per_byte);
                hi = std::max(hi, per_byte);
            }
            t.row({k == "parse" ? "fromJson per byte" : "toJson per byte", d->name,
                   r.per_byte(k + "/tolvi/" + d->name, d->bytes),
                   r.per_byte(k + "/jansson/" + d->name, d->bytes), "",
                   ratio_text(r.ratio(k + "/tolvi/" + d->name, k + "/jansson/" + d->name), "t/J"),
                   "", ""});
        }
        if (hi > 0) {
            double const spread = hi / lo;
            t.row({k == "parse" ? "fromJson per byte, 1 → 50 MB" : "toJson per byte, 1 → 50 MB",
                   "slowest / fastest", "", "", "", ratio_text(spread, "max/min"), "≤ 1.20",
                   t.verdict(spread <= 1.20)});
        }
    }
}

void footprint_rows(table& t, settings const& s) {
    auto kb = [](long v) {
        return v >= 0 ? fixed(static_cast<double>(v) / 1024.0, 1) + " MB" : "n/a";
    };
    if (s.peak_tolvi_kb >= 0 && s.peak_jansson_kb > 0) {
        double const ratio =
            static_cast<double>(s.peak_tolvi_kb) / static_cast<double>(s.peak_jansson_kb);
        t.row({"peak RSS: fromJson · json_loads", "canada (text alone " + kb(s.peak_text_kb) + ")",
               kb(s.peak_tolvi_kb), kb(s.peak_jansson_kb), "", ratio_text(ratio, "t/J"), "", ""});
    } else {
        t.row({"peak RSS: fromJson · json_loads", "canada", "n/a", "n/a", "", "", "", ""});
    }
    bool const measured = s.armhf_variant_size > 0;
    std::string const armhf = measured ? std::to_string(s.armhf_variant_size) : "n/a";
    t.row({"sizeof(Variant)", "LP64 · ILP32 armhf",
           std::to_string(sizeof(Variant)) + " · " + armhf + " bytes", "", "", "", "16 · 16",
           measured ? t.verdict(sizeof(Variant) == 16 && s.armhf_variant_size == 16) : ""});
    auto bytes = [](long v) {
        return v >= 0 ? fixed(static_cast<double>(v) / 1024.0, 1) + " KiB" : "n/a";
    };
    t.row({"stripped armhf libtolvi.so · libskrib.so", "Release",
           bytes(s.armhf_tolvi_bytes) + " · " + bytes(s.armhf_skrib_bytes), "", "", "", "", ""});
}

// ---- saved results: one process per group keeps each group's heap to itself ----

} // namespace

void save(std::string const& path, std::vector<doc_info> const& docs, record_info const& rec,
          std::map<std::string, double> const& best) {
    std::ofstream out(path);
    out.precision(17);
    for (doc_info const& d : docs) {
        out << "doc " << d.group << ' ' << d.name << ' ' << d.bytes << ' ' << d.nodes << ' '
            << d.compact_bytes << ' ' << d.pretty_bytes << ' ' << d.equal_allocations << '\n';
    }
    if (rec.count > 0) {
        out << "records " << rec.count << ' ' << rec.same_documents << ' ' << rec.round_trips
            << '\n';
    }
    for (auto const& [name, seconds] : best) {
        out << "time " << name << ' ' << seconds << '\n';
    }
}

bool load(std::string const& path, std::vector<doc_info>& docs, record_info& rec,
          std::map<std::string, double>& best) {
    std::ifstream in(path);
    if (!in) {
        std::cerr << "tolvi_bench: cannot read " << path << '\n';
        return false;
    }
    for (std::string kind; in >> kind;) {
        if (kind == "doc") {
            doc_info d;
            in >> d.group >> d.name >> d.bytes >> d.nodes >> d.compact_bytes >> d.pretty_bytes >>
                d.equal_allocations;
            bool const known = std::any_of(docs.begin(), docs.end(), [&d](doc_info const& k) {
                return k.group == d.group && k.name == d.name;
            });
            if (!known) {
                docs.push_back(d);
            }
        } else if (kind == "records") {
            in >> rec.count >> rec.same_documents >> rec.round_trips;
        } else if (kind == "time") {
            std::string name;
            double seconds = 0;
            in >> name >> seconds;
            // Several runs of one benchmark (passes of scripts/bench.sh): the fastest counts.
            auto const [it, fresh] = best.emplace(name, seconds);
            if (!fresh) {
                it->second = std::min(it->second, seconds);
            }
        }
    }
    return true;
}

void print_table(std::vector<doc_info> const& docs, record_info const& rec,
                 std::map<std::string, double> const& best, settings const& s) {
    results const r{best};
    table t;
    t.row({"Figure (libtolvi · Jansson · nlohmann)", "Document", "libtolvi", "Jansson", "nlohmann",
           "Ratio", "Target", "Met"});
    auto in_group = [&docs](char const* group) {
        std::vector<doc_info const*> out;
        for (doc_info const& d : docs) {
            if (d.group == group) {
                out.push_back(&d);
            }
        }
        return out;
    };
    for (char const* group : {"published", "generated"}) {
        for (doc_info const* d : in_group(group)) {
            text_rows(t, r, *d, std::strcmp(group, "published") == 0);
        }
    }
    for (char const* group : {"published", "generated"}) {
        for (doc_info const* d : in_group(group)) {
            value_rows(t, r, *d);
        }
    }
    if (rec.count > 0) {
        record_rows(t, r, rec);
    }
    // Time per byte from 1 MB to the large record array of the generated documents.
    std::vector<doc_info const*> sizes = in_group("scaling");
    for (doc_info const* d : in_group("generated")) {
        if (d->name.compare(0, 8, "records-") == 0) {
            sizes.push_back(d);
        }
    }
    if (!sizes.empty()) {
        scaling_rows(t, r, sizes);
    }
    footprint_rows(t, s);
    t.print(std::cout);
    std::cout << "\nTimes: fastest of the repetitions, thread CPU time. MB/s counts the input text "
                 "for parsing and libtolvi's output text for printing. t = libtolvi, J = Jansson, "
                 "n = nlohmann::json (time ratios).\n"
              << "Targets met: " << t.met << " of " << t.targets << "\n";
}

} // namespace bench
