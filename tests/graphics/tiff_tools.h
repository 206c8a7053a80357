// Reads TIFF files through libtiff's command-line tools, an implementation
// independent of ours, so tests can compare its view of a file with our data.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace Vellum::Testing {

struct CommandResult {
  int status;
  std::string output;  // standard output and standard error together
};

inline CommandResult RunCommand(const std::string& command) {
  CommandResult result{-1, {}};
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  std::size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, n);
  result.status = pclose(pipe);
  return result;
}

inline std::vector<unsigned char> ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A fresh directory under the system's temporary directory, removed with the object.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vellum-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] std::filesystem::path operator/(const std::string& name) const {
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

// tiffdump's view of the first directory: tag number -> the text of its values.
inline std::map<int, std::string> TiffTags(const std::filesystem::path& file) {
  std::map<int, std::string> tags;
  const std::string dump = RunCommand("tiffdump '" + file.string() + "'").output;
  static const std::regex kLine(R"(\((\d+)\) \w+ \(\d+\) \d+<([^>]*)>)");
  for (std::sregex_iterator it(dump.begin(), dump.end(), kLine), end; it != end; ++it) {
    tags.emplace(std::stoi((*it)[1]), (*it)[2]);
  }
  return tags;
}

// The pixels as libtiff decodes them: tiffcp rewrites the file uncompressed as
// one strip, and the strip is read where tiffdump says it is. Empty when
// either tool refuses the file.
inline std::vector<unsigned char> LibtiffPixels(const std::filesystem::path& file) {
  const std::string plain = file.string() + ".plain.tif";
  const std::string copy = "tiffcp -c none -r 4000000000 '" + file.string() + "' '" + plain + "'";
  if (RunCommand(copy).status != 0) return {};
  auto tags = TiffTags(plain);
  // As a path: a test may also see the command-line helpers' ReadFile of a
  // string, which returns text.
  const std::vector<unsigned char> bytes = ReadFile(std::filesystem::path(plain));
  if (!tags.count(273) || !tags.count(279)) return {};
  const std::size_t offset = std::stoul(tags[273]);
  const std::size_t end = offset + std::stoul(tags[279]);
  if (end > bytes.size()) return {};
  return {bytes.begin() + static_cast<std::ptrdiff_t>(offset),
          bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

}  // namespace Vellum::Testing
