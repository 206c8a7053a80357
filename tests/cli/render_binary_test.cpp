// render as a user runs it: files and standard streams, the two-line error
// report and the exit status.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/vellum_binary.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream input(path, std::ios::binary);
  std::stringstream text;
  text << input.rdbuf();
  return text.str();
}

TEST(RenderBinary, FileAndStandardStreamsGiveTheSameTIFF) {
  const fs::path sample = fs::path(VELLUM_SOURCE_DIR) / "samples/small_label.prn";
  const fs::path output = fs::temp_directory_path() / ("vellum-render-" + std::to_string(getpid()));
  const ProcessResult toFile = RunVellum({"render", "-o", output.string(), sample.string()});
  EXPECT_EQ(toFile.out + toFile.err, "");
  EXPECT_EQ(toFile.status, 0);
  const std::string tiff = ReadFile(output);
  fs::remove(output);
  EXPECT_EQ(tiff.substr(0, 4), std::string("II*\0", 4));
  EXPECT_EQ(RunVellum({"render", sample.string()}).out, tiff);
  EXPECT_EQ(RunVellum({"render"}, kNoCupsServer, ReadFile(sample)).out, tiff);
}

TEST(RenderBinary, CanvasFollowsTheResolution) {
  // ImageWidth, the second directory entry of vellum's TIFF, little-endian.
  const std::string job = "{D0300,0500,0270|}\n{XS;I,0001,0002C3000|}\n";
  const std::pair<std::vector<std::string>, std::uint32_t> cases[] = {
      {{"render"}, 400}, {{"render", "-r", "300dpi"}, 600}, {{"render", "-r", "609"}, 1200}};
  for (const auto& [arguments, width] : cases) {
    const ProcessResult result = RunVellum(arguments, kNoCupsServer, job);
    ASSERT_EQ(result.status, 0) << arguments.back();
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
      value = value << 8 | static_cast<unsigned char>(result.out.at(30 + i));
    EXPECT_EQ(value, width) << arguments.back();
  }
}

TEST(RenderBinary, FailuresAreReportedWithStatusOne) {
  const struct {
    std::vector<std::string> arguments;
    std::string input, message;
  } cases[] = {
      {{"-r", "12dpmm"}, "", "Invalid value for argument \"12dpmm\": Invalid resolution"},
      {{"-o"}, "", "Expected filename after '-o'"},
      {{"a.prn", "b.prn"}, "", "Multiple input files specified"},
      {{"/nonexistent/job.prn"}, "", "Unable to read from input file"},
      {{},
       "{SG;0000,0000,0008,0001,1,\x01|}\n",
       "End of file reached before label size command found"},
      {{},
       "{D0300,0500,0270|}\n{SG;0000,0000,0008,0001,2,x|}\n",
       "Graphics format unsupported (2)"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command = {"render"};
    command.insert(command.end(), c.arguments.begin(), c.arguments.end());
    const ProcessResult result = RunVellum(command, kNoCupsServer, c.input);
    EXPECT_EQ(result.out, "") << c.message;
    EXPECT_EQ(result.err, Unexpected(c.message));
    EXPECT_EQ(result.status, 1) << c.message;
  }
}

}  // namespace
}  // namespace Vellum::Testing
