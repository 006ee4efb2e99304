#include <tolvi/files.hpp>

#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace {

// One wording for both directions.
[[noreturn]] void throwOpenFailure(std::string const& path) {
    throw std::runtime_error("unable to open file \u201C" + path + "\u201D for deserialization");
}

} // namespace

std::string read_text_file(std::string const& path) {
    // Read with stdio: a read error (a directory, a failing device) ends the text there without
    // an exception, and what was read is kept.
    std::FILE* const in = std::fopen(path.c_str(), "r");
    if (in == nullptr) {
        throwOpenFailure(path);
    }
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const closer(in, &std::fclose);
    std::string text;
    char chunk[8192];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, in)) > 0;) {
        text.append(chunk, n);
    }
    return text;
}

namespace detail {

Variant variant_from_json_file(std::string const& path) {
    return Variant::fromJson(read_text_file(path));
}

void variant_to_json_file(Variant const& value, std::string const& path) {
    std::ofstream out(path, std::ios::out);
    if (!out.is_open()) {
        throwOpenFailure(path);
    }
    std::string const text = value.toJson();
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
}

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
