#pragma once

// The benchmark documents: the three published ones from a data directory and three generated
// ones whose shape stresses one thing each (size, key count, depth).

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct document {
    std::string name; // short, used in benchmark and table names
    std::string text; // compact or as published
};

// twitter, citm_catalog and canada from `dir`; a missing file is skipped with a notice on stderr.
std::vector<document> published_documents(std::string const& dir);

// An array of device-configuration-like records, `bytes` long or slightly shorter. The same seed
// gives the same text, so the 1 MB document is a prefix of the 10 MB one in content.
std::string record_array(std::size_t bytes);

// One object with `keys` members inserted in shuffled order, scalar values of every type.
std::string wide_map(std::size_t keys);

// Objects and arrays alternating `depth` levels deep, each level with a scalar beside the child.
std::string deep_nesting(std::size_t depth);

// Whole file as a string; empty when it cannot be read.
std::string read_file(std::string const& path);

} // namespace bench
