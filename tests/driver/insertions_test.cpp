// Reading the insertions of a queue's PPD: what the filter sends for each
// line, and the refusals a user meets.
#include "driver/insertions.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/exception.h"
#include "graphics/tiff_tools.h"

namespace Corvane::Driver {
namespace {

TEST(Insertions, EachLineGivesItsBytes) {
  ::Vellum::Testing::TempDir dir;
  const std::string fileBytes("{A|}\0\xff", 6);
  std::ofstream(dir / "a.tpcl", std::ios::binary) << fileBytes;
  std::ofstream(dir / "empty.tpcl", std::ios::binary);
  const std::string a = (dir / "a.tpcl").string();
  const struct {
    std::string line;
    std::string bytes;
  } cases[] = {
      {"*TECPreJobInsertion String: \"\"", ""},
      {"*TECPreJobInsertion String: \"\\e{C|}\\r\\n\\x41\\\\\"", "\x1b{C|}\r\nA\\"},
      // Quotes inside the value stay part of it; blanks before the type too.
      {"*TECPreJobInsertion \tString: \"say \\\"hi\\\"\"", "say \"hi\""},
      {"*TECPreJobInsertion File: \"" + a + "\"", fileBytes},
      {"*TECPreJobInsertion File: \"" + (dir / "empty.tpcl").string() + "\"", ""},
      // An empty file name is no insertion.
      {"*TECPreJobInsertion File: \"\"", ""},
      // Lines that do not hold it (another keyword, no type word) leave the
      // second line of the file as the first that does.
      {"*TECPostJobInsertion String: \"x\"", "second"},
      {"*TECPreJobInsertion: \"x\"", "second"},
  };
  for (const auto& c : cases) {
    const std::string ppd =
        "*PPD-Adobe: \"4.3\"\n" + c.line + "\n*TECPreJobInsertion String: \"second\"\n";
    EXPECT_EQ(ReadInsertions(ppd).preJob, c.bytes) << c.line;
  }
  const Insertions all = ReadInsertions(
      "*TECPreJobInsertion String: \"1\"\n*TECPostJobInsertion String: \"2\"\n"
      "*TECPreLabelInsertion File: \"" +
      a + "\"\n*TECPostLabelInsertion String: \"4\"");
  EXPECT_EQ(all.preJob, "1");
  EXPECT_EQ(all.postJob, "2");
  EXPECT_EQ(all.preLabel, fileBytes);
  EXPECT_EQ(all.postLabel, "4");
}

TEST(Insertions, UnreadableValuesAreRefusedWithTheirReason) {
  ::Vellum::Testing::TempDir dir;
  const struct {
    std::string line, message;
  } cases[] = {
      {"*TECPreLabelInsertion File: \"/nonexistent/x\"",
       "Unable to read the pre-label insertion file /nonexistent/x: No such file or directory"},
      {"*TECPostJobInsertion File: \"" + dir.path().string() + "\"",
       "Unable to read the post-job insertion file " + dir.path().string() + ": Is a directory"},
      {"*TECPreJobInsertion File: \"/dev/zero\"",
       "Unable to read the pre-job insertion file /dev/zero: not a regular file"},
      {"*TECPostLabelInsertion String: \"\\q\"",
       "The post-label insertion holds an unknown escape \\q"},
      {"*TECPreJobInsertion String: x",
       "The *TECPreJobInsertion line (line 1) holds no quoted value"},
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
