#include "driver/filter_command.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>

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

std::string ReadPPD(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!(file && text << file.rdbuf())) {
    throw IOException("Unable to read the PPD file " + path + ": " + std::strerror(errno));
  }
  return text.str();
}

JobSettings Settings(const std::vector<std::string>& arguments, const char* ppd,
                     std::ostream& messages) {
  JobSettings settings;
  settings.copies = ParseCopies(arguments[3]);
  std::vector<std::string> warnings;
  if (ppd != nullptr && *ppd != '\0') {
    settings.options = ApplyChoices(settings.options, PPDDefaultChoices(ppd), warnings);
    settings.insertions = ReadInsertions(ReadPPD(ppd));
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
