#include "core/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/exception.h"

namespace Corvane {

namespace {

[[noreturn]] void Fail(const std::string& name, int error) {
  throw IOException("Unable to write " + name + ": " + std::strerror(error));
}

// The file the path finally names, links followed; the path itself when it
// does not exist yet (or a link points nowhere yet).
std::filesystem::path Target(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_symlink(path, error)) return path;
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  return error ? path : target;
}

mode_t CreationMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// 0 when every byte is written, else the error.
int WriteEverything(int descriptor, std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t written = write(descriptor, contents.data(), contents.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    contents.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

}  // namespace

void WriteAll(int descriptor, std::string_view contents, const std::string& name) {
  if (const int error = WriteEverything(descriptor, contents); error != 0) Fail(name, error);
}

void WriteFileAtomically(const std::filesystem::path& path, std::string_view contents,
                         Durability durability) {
  const std::filesystem::path target = Target(path);
  struct stat existing {};
  if (stat(target.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode)) {
    const int descriptor = open(target.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) Fail(path, errno);
    int error = WriteEverything(descriptor, contents);
    if (close(descriptor) != 0 && error == 0) error = errno;
    if (error != 0) Fail(path, error);
    return;
  }
  // Hidden, and ending in ".part", so that a directory listing of finished
  // files passes over it, and a program that finds one left by a crash knows
  // it for what it is.
  std::string temporary =
      (target.parent_path() / ("." + target.filename().string() + ".XXXXXX.part")).string();
  const int descriptor = mkstemps(temporary.data(), 5);
  if (descriptor < 0) Fail(path, errno);
  int error = WriteEverything(descriptor, contents);
  if (error == 0 && fchmod(descriptor, CreationMode()) != 0) error = errno;
  if (error == 0 && durability == Durability::kSynced && fsync(descriptor) != 0) error = errno;
  if (close(descriptor) != 0 && error == 0) error = errno;
  if (error == 0 && std::rename(temporary.c_str(), target.c_str()) != 0) error = errno;
  if (error != 0) {
    unlink(temporary.c_str());
    Fail(path, error);
  }
}

}  // namespace Corvane
