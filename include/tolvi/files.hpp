#pragma once

#include <cstddef>
#include <string>

#include <tolvi/Variant.hpp>
#include <tolvi/export.hpp>

namespace korvax {
namespace tolvi {
inline namespace v1 {

// What read_text_file and the record calls' from_file read at most unless told otherwise:
// 256 MiB, so that a device such as /dev/zero gives an error rather than exhausting memory.
constexpr std::size_t default_read_limit = std::size_t{256} << 20;

// Saves the compact JSON text of to_json so that the file holds either its previous content or
// the whole new text, whatever happens: the text goes into a temporary file beside it, which only
// this process's user can open until it has the old file's owner and mode (an unnamed O_TMPFILE
// where the file system has them, named only once whole), is flushed to storage and renamed over
// the target; then the directory is synced. Temporary files that killed saves of the same target
// left are removed first. A failed step throws std::system_error (a std::runtime_error) naming
// the path, the step and the system's reason, with the errno as code(); running out of memory
// throws std::bad_alloc. An exception means the previous file is there, byte for byte, and no
// temporary file is left; the one exception says so in its message: the directory sync failed
// after the rename. The new file takes the old one's mode, and its owner and group where the
// process may set them; a new file gets 0666 less the umask. A symbolic link is written through
// (the file at the end of its chain is replaced, the links stay), except one that another user
// planted in a sticky world-writable directory, which is refused; other hard links keep the old
// file. The file size limit gives an exception, not SIGXFSZ. A value the text cannot hold whole
// (check_writable) is refused with unwritable_value before any file is touched. README "Saving a
// configuration" has the details.
TOLVI_API void to_file(Variant const& value, std::string const& path);

// The whole content of a file, bytes as they are. Throws std::system_error (a std::runtime_error)
// with the errno as code(): "unable to open file “path” for deserialization: <reason>" when it
// cannot be opened, "unable to read file “path”: <reason>" when reading fails (a directory:
// "Is a directory"), and, for a file longer than `limit` bytes, "unable to read file “path”:
// longer than <limit> bytes: File too large" before reading more than the limit.
TOLVI_API std::string read_text_file(std::string const& path, std::size_t limit);
// The same up to default_read_limit (an overload, not a default argument: programs built against
// the one-argument form keep finding it).
TOLVI_API std::string read_text_file(std::string const& path);

namespace detail {

// Reads the whole file and parses it; throws std::runtime_error when it cannot be opened.
TOLVI_API Variant variant_from_json_file(std::string const& path);
// Writes the compact JSON text, with no trailing new line; throws std::runtime_error when the file
// cannot be opened.
TOLVI_API void variant_to_json_file(Variant const& value, std::string const& path);

} // namespace detail
} // namespace v1
} // namespace tolvi
} // namespace korvax
