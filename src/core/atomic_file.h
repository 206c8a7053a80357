// Writing a file so that no reader, and no failure, ever leaves it half
// written.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Corvane {

// Whether the new contents reach the disk before they replace the old: worth
// its cost for a user's output, not for files that are rewritten all the time.
enum class Durability { kSynced, kUnsynced };

// Writes `contents` to a new hidden file beside `path` (".NAME.XXXXXX.part")
// and renames it over `path` once every byte is written (and, kSynced,
// synced), so `path` holds either its old contents or all the new ones. The
// new file gets the permissions a plain creation would give (0666 less the
// umask). A symbolic link is followed and its target replaced. A path that is
// not a regular file (a terminal, /dev/stdout, a pipe) is written directly,
// as it cannot be replaced. Throws IOException "Unable to write <path>:
// <reason>"; the new file is removed then.
void WriteFileAtomically(const std::filesystem::path& path, std::string_view contents,
                         Durability durability = Durability::kSynced);

// Writes all of `contents` to the descriptor, retrying short writes and
// interruptions. Throws IOException "Unable to write <name>: <reason>".
void WriteAll(int descriptor, std::string_view contents, const std::string& name);

}  // namespace Corvane
