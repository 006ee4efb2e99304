#pragma once

// The table that tolvi_bench prints, from the fastest time of each benchmark and what it knows of
// the documents, and the results one process saves for another to print.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace bench {

struct settings {
    std::string data_dir = TOLVI_BENCH_DATA_DIR;
    bool quick = false; // one short repetition, a 5 MB record array
    long peak_text_kb = -1;
    long peak_tolvi_kb = -1;
    long peak_jansson_kb = -1;
    long armhf_tolvi_bytes = -1;
    long armhf_skrib_bytes = -1;
    long armhf_variant_size = -1;
};

// What the table needs of a document, kept apart from the document so that results saved by one
// process can be printed by another.
struct doc_info {
    std::string group; // published, generated or scaling
    std::string name;
    std::size_t bytes = 0;
    std::size_t nodes = 0;
    std::size_t compact_bytes = 0;
    std::size_t pretty_bytes = 0;
    std::size_t equal_allocations = 0; // made by one operator== of the document and a copy
};

struct record_info {
    std::size_t count = 0; // 0: the record benchmarks did not run
    bool same_documents = false;
    bool round_trips = false;
};

// Writes what `print_table` needs to `path`; `load` adds such a file's figures to those given
// (the fastest of several runs of one benchmark counts), false when it cannot be read.
void save(std::string const& path, std::vector<doc_info> const& docs, record_info const& rec,
          std::map<std::string, double> const& best);
bool load(std::string const& path, std::vector<doc_info>& docs, record_info& rec,
          std::map<std::string, double>& best);

// Prints the table and whether each target is met to standard output.
void print_table(std::vector<doc_info> const& docs, record_info const& rec,
                 std::map<std::string, double> const& best, settings const& s);

} // namespace bench
