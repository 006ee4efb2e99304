#include <tolvi/detail/record_keys.hpp>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

namespace {

// Edits that turn one key into the other: insertions, deletions, substitutions and swaps of two
// neighbours ("max_temp" for "max-temp" is one, "tmep" for "temp" is one).
std::size_t edit_distance(std::string const& a, char const* b) {
    std::size_t const n = a.size();
    std::size_t const m = std::strlen(b);
    std::vector<std::size_t> before(m + 1), previous(m + 1), current(m + 1);
    for (std::size_t j = 0; j <= m; ++j) {
        previous[j] = j;
    }
    for (std::size_t i = 1; i <= n; ++i) {
        current[0] = i;
        for (std::size_t j = 1; j <= m; ++j) {
            std::size_t const substitute = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitute});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                current[j] = std::min(current[j], before[j - 2] + 1);
            }
        }
        before.swap(previous);
        previous.swap(current);
    }
    return previous[m];
}

} // namespace

void refuse_unknown_key(std::string const& key, char const* const* known, std::size_t count) {
    // Close enough to be a slip: one edit in a short key, a third of the key in a longer one.
    std::size_t const most = std::max<std::size_t>(1, key.size() / 3);
    char const* nearest = nullptr;
    std::size_t best = most + 1;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t const d = edit_distance(key, known[i]);
        if (d < best) {
            best = d;
            nearest = known[i];
        }
    }
    document_error e = document_error::unknown(std::string(), key, nearest);
    e.prepend_key(key);
    throw e;
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
