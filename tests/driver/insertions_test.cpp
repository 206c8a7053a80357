// The insertions of a queue's PPD that cannot be sent, each refused with its
// reason for the job's log. (filter_test sends the ones that can.)
#include "driver/insertions.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "core/exception.h"
#include "graphics/tiff_tools.h"

namespace Corvane::Driver {
namespace {

TEST(Insertions, UnreadableValuesAreRefusedWithTheirReason) {
  ::Vellum::Testing::TempDir dir;
  const std::string fifo = (dir / "fifo").string(), large = (dir / "large").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);  // no writer: opening it must not wait for one
  std::ofstream{large};
  std::filesystem::resize_file(large, kLargestInsertionFile + 1);  // sparse: nothing is written
  const std::string file = "Unable to read the pre-job insertion file ";
  const struct {
    std::string line, message;
  } cases[] = {
      {"/nonexistent/x", file + "/nonexistent/x: No such file or directory"},
      {dir.path().string(), file + dir.path().string() + ": Is a directory"},
      {fifo, file + fifo + ": not a regular file"},
      {"/dev/zero", file + "/dev/zero: not a regular file"},
      {large, file + large + ": larger than 16 MiB"},
      {"*TECPostLabelInsertion String: \"\\q\"",
       "The post-label insertion holds an unknown escape \\q"},
      {"*TECPreJobInsertion String: \"x",
       "The *TECPreJobInsertion line (line 1) holds no quoted value"},
  };
  for (const auto& c : cases) {
    try {
      ReadInsertions(c.line.starts_with("*") ? c.line
                                             : "*TECPreJobInsertion File: \"" + c.line + "\"");
      ADD_FAILURE() << c.line;
    } catch (const Exception& e) {
      EXPECT_EQ(std::string(e.what()), c.message);
    }
  }
  // `vellum setprejob file ""` names no file: no insertion, not a failed read.
  EXPECT_EQ(ReadInsertions("*TECPreJobInsertion File: \"\"").preJob, "");
}

}  // namespace
}  // namespace Corvane::Driver
