#include <tolvi/files.hpp>

#include <fstream>
#include <stdexcept>
#include <string>

namespace korvax {
namespace tolvi {
inline namespace v1 {
namespace detail {

namespace {

// One wording for both directions.
[[noreturn]] void throwOpenFailure(std::string const& path) {
    throw std::runtime_error("unable to open file \u201C" + path + "\u201D for deserialization");
}

} // namespace

Variant variant_from_json_file(std::string const& path) {
    std::ifstream in(path, std::ios::in);
    if (!in.is_open()) {
        throwOpenFailure(path);
    }
    std::string text;
    char chunk[8192];
    std::streambuf* const buffer = in.rdbuf();
    for (std::streamsize n; (n = buffer->sgetn(chunk, sizeof chunk)) > 0;) {
        text.append(chunk, static_cast<std::size_t>(n));
    }
    in.close();
    return Variant::fromJson(text);
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
