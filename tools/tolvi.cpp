// tolvi: JSON files seen exactly as the library sees them, for a shell on the device. Built on the
// public interface alone, so that what it says is what an application linking the library gets.

#include <cerrno>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <tolvi/tolvi.hpp>

namespace tolvi = korvax::tolvi;

namespace {

// Exit statuses besides 0.
constexpr int exit_no = 1;     // get: nothing at the path; merge: refused (patch never is)
constexpr int exit_bad = 2;    // unreadable or unsaveable file, text that is not JSON, bad path
constexpr int exit_usage = 64; // wrong usage, as sysexits.h's EX_USAGE

char const usage_text[] =
    R"(usage: tolvi get FILE PATH       print the first value the JSONPath PATH reaches
       tolvi pretty FILE         print FILE in the pretty form
       tolvi check FILE          say where FILE stops being JSON
       tolvi merge FILE PATCH [-o OUT]
                                 merge PATCH into FILE, all or nothing; print the result,
                                 or save it atomically to OUT (which may be FILE)
       tolvi patch FILE PATCH [-o OUT]
                                 apply PATCH to FILE as RFC 7396 says; print or save as merge
FILE or PATCH - reads standard input. Values print as compact JSON with every number exact.
Exit status: 0 done; 1 nothing at PATH, or the merge was refused; 2 a file that cannot be
read or saved, text that is not JSON, or a malformed PATH; 64 wrong usage.
)";

// Text that does not parse, reported as FILE:LINE:COLUMN: reason.
struct not_json : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string name_of(std::string const& file) {
    return file == "-" ? "<stdin>" : file;
}

// What the tool writes that came from a document or a file name, with the control bytes
// (below 0x20, and 0x7F) escaped as JSON escapes them, so that no text can drive the terminal.
// Nothing else is escaped, backslashes included: escaping twice changes nothing.
std::string shown(std::string const& text) {
    std::string out;
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            char escape[7];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            out += escape;
        } else {
            out += c;
        }
    }
    return out;
}

// Standard input, up to the library's limit for files; a closed or unreadable one says why.
std::string read_standard_input() {
    std::string text;
    char chunk[16384];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, stdin)) > 0;) {
        if (n > tolvi::default_read_limit - text.size()) {
            throw std::system_error(EFBIG, std::generic_category(),
                                    "unable to read standard input: longer than " +
                                        std::to_string(tolvi::default_read_limit) + " bytes");
        }
        text.append(chunk, n);
    }
    if (std::ferror(stdin)) {
        throw std::system_error(errno, std::generic_category(), "unable to read standard input");
    }
    return text;
}

Variant read_json(std::string const& file) {
    std::string const text = file == "-" ? read_standard_input() : tolvi::read_text_file(file);
    Variant value;
    tolvi::parse_failure why;
    if (!tolvi::parse_json(text, value, why)) {
        throw not_json(name_of(file) + ':' + std::to_string(why.line) + ':' +
                       std::to_string(why.column) + ": " + why.reason);
    }
    return value;
}

char const* kind(Variant const& v) {
    static char const* const names[] = {"null",      "an integer", "a double", "a string",
                                        "a boolean", "an object",  "an array"};
    return names[v.type];
}

std::string path_step(std::string const& key) {
    bool const plain = !key.empty() && key.find_first_of(".[]*") == std::string::npos;
    return plain ? '.' + key : '[' + key + ']';
}

// Where mergeWith meets a type conflict, following its rules: the JSONPath of the place and what
// stands there on either side, or "" when there is none.
std::string conflict(Variant const& target, Variant const& patch, std::string const& path,
                     std::string const& file, std::string const& patch_file) {
    bool const refused = patch.type == Variant::Map
                             ? target.type != Variant::Map && !target.isNull()
                             : target.type != patch.type;
    if (refused) {
        return " at " + path + ": " + name_of(file) + " holds " + kind(target) + ", " +
               name_of(patch_file) + ' ' + kind(patch);
    }
    if (patch.type != Variant::Map || target.isNull()) {
        return "";
    }
    for (auto const& [key, value] : *patch.value.mapValue) {
        auto const old = target.value.mapValue->find(key);
        if (!value.isNull() && old != target.value.mapValue->end()) {
            std::string found =
                conflict(old->second, value, path + path_step(key), file, patch_file);
            if (!found.empty()) {
                return found;
            }
        }
    }
    return "";
}

int get(std::string const& file, std::string const& path) {
    tolvi::opaque_json_block block;
    block.json = read_json(file);
    tolvi::opaque_json_view found;
    try {
        found = block.attribute_at_path(path.c_str());
    } catch (std::runtime_error const& e) {
        throw std::runtime_error(std::string(e.what()) + ": " + path);
    }
    if (!found) {
        return exit_no;
    }
    std::cout << tolvi::to_json(*found) << '\n';
    return 0;
}

// Prints `result`, or saves it atomically to `out`.
int put(Variant const& result, std::string const& out) {
    if (out.empty()) {
        std::cout << tolvi::to_json(result) << '\n';
    } else {
        tolvi::to_file(result, out);
    }
    return 0;
}

int merge(std::string const& file, std::string const& patch_file, std::string const& out) {
    Variant target = read_json(file);
    Variant const patch = read_json(patch_file);
    if (!target.mergeWith(patch)) {
        std::string const where = conflict(target, patch, "$", file, patch_file);
        std::cerr << "tolvi: merge refused" << shown(where) << "; nothing was changed\n";
        return exit_no;
    }
    return put(target, out);
}

int run(std::vector<std::string> const& args, std::string const& out) {
    std::string const& command = args[0];
    std::size_t const operands = args.size() - 1;
    if (command == "get" && operands == 2 && out.empty()) {
        return get(args[1], args[2]);
    }
    if (command == "pretty" && operands == 1 && out.empty()) {
        std::cout << read_json(args[1]).prettyPrintJson() << '\n';
        return 0;
    }
    if (command == "check" && operands == 1 && out.empty()) {
        read_json(args[1]);
        return 0;
    }
    bool const two_files = operands == 2 && !(args[1] == "-" && args[2] == "-");
    if (command == "merge" && two_files) {
        return merge(args[1], args[2], out);
    }
    if (command == "patch" && two_files) {
        Variant const target = read_json(args[1]);
        return put(tolvi::merge_patch(target, read_json(args[2])), out);
    }
    std::cerr << usage_text;
    return exit_usage;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args;
    std::string out;
    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << usage_text;
            return 0;
        }
        if (arg == "-o" && i + 1 < argc && out.empty() && argv[i + 1][0] != '\0') {
            out = argv[++i];
        } else if (arg.size() > 1 && arg[0] == '-') {
            args.clear(); // an unknown option: refused below
            break;
        } else {
            args.push_back(arg);
        }
    }
    if (args.empty()) {
        std::cerr << usage_text;
        return exit_usage;
    }
    int status;
    try {
        status = run(args, out);
    } catch (not_json const& e) {
        std::cerr << shown(e.what()) << '\n';
        return exit_bad;
    } catch (std::exception const& e) {
        std::cerr << "tolvi: " << shown(e.what()) << '\n';
        return exit_bad;
    }
    if (!std::cout.flush()) {
        std::cerr << "tolvi: unable to write standard output\n";
        return exit_bad;
    }
    return status;
}
