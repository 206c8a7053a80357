// render as a user runs it: files and standard streams, the two-line error
// report and the exit status.
#include <gtest/gtest.h>

#include <filesystem>

#include "cli/vellum_binary.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

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

// The messages themselves are render's own business; here only the two-line
// report and the status count.
TEST(RenderBinary, FailuresAreReportedWithStatusOne) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"render", "-r", "12dpmm"}, "Invalid value for argument \"12dpmm\": Invalid resolution"},
      {{"render", "/nonexistent/job.prn"}, "Unable to read from input file"},
      {{"render"}, "End of file reached before label size command found"},
  };
  for (const auto& [arguments, message] : cases) {
    const ProcessResult result = RunVellum(arguments, kNoCupsServer, "{WS|}\n");
    EXPECT_EQ(result.out, "") << message;
    EXPECT_EQ(result.err, Unexpected(message));
    EXPECT_EQ(result.status, 1) << message;
  }
}

}  // namespace
}  // namespace Vellum::Testing
