// Reading the insertions of a queue's PPD: what the filter sends for each
// line, and the refusals a user meets.
#include "driver/insertions.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "core/exception.h"
#include "graphics/tiff_tools.h"

namespace Corvane::Driver {
namespace {

TEST(Insertions, EachLineGivesItsBytes) {
  ::Vellum::Testing::TempDir dir;
  const std::string a = (dir / "a.tpcl").string(), bytes("{A|}\0\xff", 6);
  std::ofstream(a, std::ios::binary) << bytes;
  const struct {
    std::string line, bytes;
  } cases[] = {
      {"*TECPreJobInsertion String: \"\\e{C|}\\r\\n\\x41\\\\\"", "\x1b{C|}\r\nA\\"},
      // Quotes inside the value stay part of it; blanks before the type too.
      {"*TECPreJobInsertion \tString: \"say \\\"hi\\\"\"", "say \"hi\""},
      {"*TECPreJobInsertion File: \"" + a + "\"", bytes},
      {"*TECPreJobInsertion File: \"\"", ""},  // no file named: no insertion
      // Lines that do not hold it leave the next line as the first that does.
      {"*TECPostJobInsertion String: \"x\"", "second"},
      {"*TECPreJobInsertion: \"x\"", "second"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ReadInsertions(c.line + "\n*TECPreJobInsertion String: \"second\"\n").preJob, c.bytes)
        << c.line;
  const Insertions all = ReadInsertions(
      "*TECPreJobInsertion String: \"1\"\n*TECPostJobInsertion String: \"2\"\n"
      "*TECPreLabelInsertion File: \"" +
      a + "\"\n*TECPostLabelInsertion String: \"4\"");
  EXPECT_EQ(all.preJob + all.postJob + all.preLabel + all.postLabel, "12" + bytes + "4");
}

TEST(Insertions, UnreadableValuesAreRefusedWithTheirReason) {
  ::Vellum::Testing::TempDir dir;
  const std::string fifo = (dir / "fifo").string(), large = (dir / "large").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);  // no writer: opening it must not wait for one
  std::ofstream{large};
  std::filesystem::resize_file(large, kLargestInsertionFile + 1);  // sparse: nothing is written
  const struct {
    std::string line, message;
  } cases[] = {
      {"*TECPreLabelInsertion File: \"/nonexistent/x\"",
       "Unable to read the pre-label insertion file /nonexistent/x: No such file or directory"},
      {"*TECPostJobInsertion File: \"" + dir.path().string() + "\"",
       "Unable to read the post-job insertion file " + dir.path().string() + ": Is a directory"},
      {"*TECPreJobInsertion File: \"" + fifo + "\"",
       "Unable to read the pre-job insertion file " + fifo + ": not a regular file"},
      {"*TECPreJobInsertion File: \"/dev/zero\"",
       "Unable to read the pre-job insertion file /dev/zero: not a regular file"},
      {"*TECPreJobInsertion File: \"" + large + "\"",
       "Unable to read the pre-job insertion file " + large + ": larger than 16 MiB"},
      {"*TECPostLabelInsertion String: \"\\q\"",
       "The post-label insertion holds an unknown escape \\q"},
      {"*TECPreJobInsertion String: \"x",
       "The *TECPreJobInsertion line (line 1) holds no quoted value"},
  };
  for (const auto& c : cases) {
    try {
      ReadInsertions(c.line + "\n");
      ADD_FAILURE() << c.line;
    } catch (const Exception& e) {
      EXPECT_EQ(std::string(e.what()), c.message);
    }
  }
}

}  // namespace
}  // namespace Corvane::Driver
