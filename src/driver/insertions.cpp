#include "driver/insertions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>

#include "core/exception.h"
#include "ppd/ppd_insertion.h"
#include "tpcl/escape.h"

namespace Corvane::Driver {
namespace {

// Closes the descriptor on every way out.
struct Descriptor {
  int fd;
  ~Descriptor() {
    if (fd >= 0) close(fd);
  }
};

std::string ReadInsertionFile(const std::string& path, const char* which) {
  const auto failed = [&](const std::string& reason) {
    return IOException(std::string("Unable to read the ") + which + " insertion file " + path +
                       ": " + reason);
  };
  // Opened without waiting, so that a named pipe with no writer is refused
  // below instead of holding the job for ever.
  const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
  if (file.fd < 0) throw failed(std::strerror(errno));
  struct stat status {};
  if (fstat(file.fd, &status) != 0) throw failed(std::strerror(errno));
  if (S_ISDIR(status.st_mode)) throw failed(std::strerror(EISDIR));
  // A device or a pipe may never end; only a file's bytes are a fixed text.
  if (!S_ISREG(status.st_mode)) throw failed("not a regular file");
  const auto tooLarge = [&] {
    return failed("larger than " + std::to_string(kLargestInsertionFile >> 20) + " MiB");
  };
  if (static_cast<std::uint64_t>(status.st_size) > kLargestInsertionFile) throw tooLarge();
  std::string bytes;
  char block[65536];
  for (;;) {
    const ssize_t count = read(file.fd, block, sizeof block);
    if (count == 0) return bytes;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw failed(std::strerror(errno));
    bytes.append(block, static_cast<std::size_t>(count));
    // The file may grow while it is read.
    if (bytes.size() > kLargestInsertionFile) throw tooLarge();
  }
}

std::string ReadOne(std::string_view ppd, const char* keyword, const char* which) {
  const std::optional<Vellum::Commands::StoredInsertion> stored =
      Vellum::Commands::FindInsertion(ppd, keyword);
  if (!stored) return {};
  std::string value;
  try {
    value = TPCLCommands::Unescape(stored->escapedValue);
  } catch (const UnknownEscapeException& e) {
    // The escape alone would leave the job's log without its place.
    throw UnknownEscapeException(std::string("The ") + which +
                                 " insertion holds an unknown escape " + e.what());
  }
  if (!stored->isFile) return value;
  // `vellum setprelabel file ""` stores an empty name: no insertion, rather
  // than a failed read of the current directory.
  return value.empty() ? std::string() : ReadInsertionFile(value, which);
}

}  // namespace

Insertions ReadInsertions(std::string_view ppd) {
  Insertions insertions;
  insertions.preJob = ReadOne(ppd, "PreJob", "pre-job");
  insertions.postJob = ReadOne(ppd, "PostJob", "post-job");
  insertions.preLabel = ReadOne(ppd, "PreLabel", "pre-label");
  insertions.postLabel = ReadOne(ppd, "PostLabel", "post-label");
  return insertions;
}

}  // namespace Corvane::Driver
