#include "driver/filter_command.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <regex>

#include "core/exception.h"
#include "driver/label_filter.h"
#include "driver/ppd_choices.h"

namespace Corvane::Driver {
namespace {

constexpr const char* kUsage = "Usage: rastertovellum job-id user title copies options [file]";

std::uint32_t ParseCopies(const std::string& text) {
  static const std::regex kNumber("^[0-9]{1,4}$");
  if (!std::regex_match(text, kNumber) || std::stoul(text) == 0) {
    throw InvalidFormatException("The number of copies is \"" + text + "\"; it must be 1 to 9999");
  }
  return static_cast<std::uint32_t>(std::stoul(text));
}

// The queue's PPD file, open and read under a shared lock. vellum's insertion
// commands rewrite the file in place under an exclusive one, so while this
// lock is held (both readings of the file happen then) no rewrite is half
// done.
class LockedPPD {
 public:
  explicit LockedPPD(const std::string& path) : path_(path) {
    fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) Fail();
    while (flock(fd_, LOCK_SH) != 0)
      if (errno != EINTR) Fail();
    char block[65536];
    for (ssize_t count; (count = read(fd_, block, sizeof block)) != 0;) {
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) Fail();
      text_.append(block, static_cast<std::size_t>(count));
    }
  }
  ~LockedPPD() { close(fd_); }
  LockedPPD(const LockedPPD&) = delete;
  LockedPPD& operator=(const LockedPPD&) = delete;

  const std::string& Text() const { return text_; }

 private:
  [[noreturn]] void Fail() {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    throw IOException("Unable to read the PPD file " + path_ + ": " + std::strerror(error));
  }

  std::string path_;
  int fd_ = -1;
  std::string text_;
};

JobSettings Settings(const std::vector<std::string>& arguments, const char* ppd,
                     std::ostream& messages) {
  JobSettings settings;
  settings.copies = ParseCopies(arguments[3]);
  std::vector<std::string> warnings;
  if (ppd != nullptr && *ppd != '\0') {
    const LockedPPD file(ppd);
    settings.options = ApplyChoices(settings.options, PPDDefaultChoices(ppd), warnings);
    settings.insertions = ReadInsertions(file.Text());
  }
  settings.options = ApplyChoices(settings.options, JobChoices(arguments[4]), warnings);
  for (const std::string& warning : warnings) messages << "WARNING: " << warning << "\n";
  return settings;
}

// Closes a file the filter opened itself, on every way out.
struct OwnedDescriptor {
  int fd = -1;
  ~OwnedDescriptor() {
    if (fd >= 0) close(fd);
  }
};

}  // namespace

int RunFilter(const std::vector<std::string>& arguments, const char* ppd, int input,
              std::ostream& out, std::ostream& messages) {
  if (arguments.size() != 5 && arguments.size() != 6) {
    messages << "ERROR: " << kUsage << std::endl;
    return 1;
  }
  try {
    const JobSettings settings = Settings(arguments, ppd, messages);
    OwnedDescriptor file;
    if (arguments.size() == 6) {
      file.fd = open(arguments[5].c_str(), O_RDONLY | O_CLOEXEC);
      if (file.fd < 0) {
        throw IOException("Unable to open the raster file " + arguments[5] + ": " +
                          std::strerror(errno));
      }
      input = file.fd;
    }
    RasterInput raster = RasterInput::FromDescriptor(input);
    const std::size_t labels = WriteJob(raster, settings, out, messages);
    messages << "INFO: " << labels << (labels == 1 ? " label" : " labels") << " sent" << std::endl;
    return 0;
  } catch (const std::exception& e) {
    messages << "ERROR: " << e.what() << std::endl;
    return 1;
  }
}

}  // namespace Corvane::Driver
