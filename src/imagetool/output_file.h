// Writing a finished job to a file without ever leaving a half-written one.
#pragma once

#include <string>
#include <string_view>

namespace Corvane::ImageTool {

// Writes `contents` to a new file beside `path` and renames it over `path`
// once every byte is written and synced, so `path` holds either its old
// contents or all the new ones. The new file gets the permissions a plain
// creation would give (0666 less the umask). A symbolic link is followed and
// its target replaced. A path that is not a regular file (a terminal,
// /dev/stdout, a pipe) is written directly, as it cannot be replaced.
// Throws Corvane::IOException "Cannot write <path>: <reason>"; the new file
// is removed then.
void WriteFileAtomically(const std::string& path, std::string_view contents);

// Writes all of `contents` to the descriptor, retrying short writes and
// interruptions. Throws Corvane::IOException "Cannot write <name>: <reason>".
void WriteAll(int descriptor, std::string_view contents, const std::string& name);

}  // namespace Corvane::ImageTool
