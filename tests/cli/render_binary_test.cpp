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

const fs::path kSample = fs::path(VELLUM_SOURCE_DIR) / "samples/small_label.prn";

std::string ReadFile(const fs::path& path) {
  std::ifstream input(path, std::ios::binary);
  std::stringstream text;
  text << input.rdbuf();
  return text.str();
}

// ImageWidth and ImageLength of a TIFF written by vellum: the second and
// third of its directory entries, little-endian.
std::pair<std::uint32_t, std::uint32_t> Size(const std::string& tiff) {
  auto word = [&](std::size_t at) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(tiff.at(at + i));
    return value;
  };
  return {word(10 + 12 + 8), word(10 + 24 + 8)};
}

TEST(RenderBinary, WritesTheLabelToAFileOrStandardOutput) {
  const fs::path output =
      fs::temp_directory_path() / ("vellum-render-" + std::to_string(getpid()) + ".tif");
  const ProcessResult toFile = RunVellum({"render", "-o", output.string(), kSample.string()});
  EXPECT_EQ(toFile.out, "");
  EXPECT_EQ(toFile.err, "");
  EXPECT_EQ(toFile.status, 0);
  const std::string tiff = ReadFile(output);
  fs::remove(output);
  EXPECT_EQ(tiff.substr(0, 4), std::string("II*\0", 4));

  const ProcessResult toStdout = RunVellum({"render", kSample.string()});
  EXPECT_EQ(toStdout.status, 0);
  EXPECT_EQ(toStdout.out, tiff);

  const ProcessResult fromStdin = RunVellum({"render"}, kNoCupsServer, ReadFile(kSample));
  EXPECT_EQ(fromStdin.status, 0);
  EXPECT_EQ(fromStdin.out, tiff);
}

TEST(RenderBinary, CanvasFollowsTheResolution) {
  const std::string job = "{D0300,0500,0270|}\n{XS;I,0001,0002C3000|}\n";
  struct Case {
    const char* resolution;
    std::uint32_t width, height;
  };
  const Case cases[] = {{"203", 400, 240}, {"300dpi", 600, 360}, {"609", 1200, 720}};
  for (const Case& c : cases) {
    const ProcessResult result = RunVellum({"render", "-r", c.resolution}, kNoCupsServer, job);
    ASSERT_EQ(result.status, 0) << c.resolution;
    EXPECT_EQ(Size(result.out), std::make_pair(c.width, c.height)) << c.resolution;
  }
  EXPECT_EQ(Size(RunVellum({"render"}, kNoCupsServer, job).out), std::make_pair(400u, 240u));
}

TEST(RenderBinary, FailuresAreReportedWithStatusOne) {
  struct Case {
    std::vector<std::string> arguments;
    std::string input;
    std::string err;
  };
  const Case cases[] = {
      {{"render", "-r", "12dpmm"}, "", "Invalid value for argument \"12dpmm\": Invalid resolution"},
      {{"render", "-o"}, "", "Expected filename after '-o'"},
      {{"render", "a.prn", "b.prn"}, "", "Multiple input files specified"},
      {{"render", "/nonexistent/job.prn"}, "", "Unable to read from input file"},
      {{"render"},
       "{SG;0000,0000,0008,0001,1,\x01|}\n",
       "End of file reached before label size command found"},
      {{"render"},
       "{D0300,0500,0270|}\n{SG;0000,0000,0008,0001,2,x|}\n",
       "Graphics format unsupported (2)"},
  };
  for (const Case& c : cases) {
    const ProcessResult result = RunVellum(c.arguments, kNoCupsServer, c.input);
    EXPECT_EQ(result.out, "") << c.err;
    EXPECT_EQ(result.err, Unexpected(c.err));
    EXPECT_EQ(result.status, 1) << c.err;
  }
  // Only the first word is render: after a printer it is an unknown command.
  const ProcessResult late = RunVellum({"-p", "-", "render", kSample.string()});
  EXPECT_EQ(late.err, "Printer: stdout\nUnknown command: render\n");
  EXPECT_EQ(late.status, 1);
}

}  // namespace
}  // namespace Vellum::Testing
