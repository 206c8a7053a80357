#include "ppd/ppd_insertion.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>

#include "core/exception.h"

namespace Corvane::Vellum::Commands {
namespace {

namespace fs = std::filesystem;

const std::string kNotSet = "Insertion could not be set: could not find existing insertion";

class PPDInsertion : public testing::Test {
 protected:
  void SetUp() override { fs::create_directories(directory_); }
  void TearDown() override { fs::remove_all(directory_); }

  std::string Read() const {
    std::ifstream input(path_, std::ios::binary);
    std::stringstream text;
    text << input.rdbuf();
    return text.str();
  }
  // Writes the file, sets the PreJob insertion and returns the printed
  // value or the message of the refusal.
  std::string Set(const std::string& before, const std::string& type, const std::string& value) {
    std::ofstream(path_, std::ios::binary) << before;
    try {
      return SetInsertion(directory_, "Queue", "PreJob", type, value);
    } catch (const Exception& e) {
      return e.what();
    }
  }

  const fs::path directory_ =
      fs::temp_directory_path() / ("vellum-ppd-" + std::to_string(getpid()));
  const fs::path path_ = directory_ / "Queue.ppd";
};

TEST_F(PPDInsertion, RewritesMatchingLinesOnlyOrRefusesInOrder) {
  const std::string line = "*TECPreJobInsertion String: \"", old = line + "a\"\n";
  const std::string fits(254 - line.size() - 1, 'A');
  const std::string tooLong = "Insertion is too long (length is 255, maximum length is 255).";
  const std::string huge(60000, 'h');
  const struct {
    std::string before, type, value, printed, after;
  } cases[] = {
      // Every matching line, either type word after blanks or a tab; the last
      // line gains a line feed; other keywords and indented lines stay.
      {"*PPD-Adobe: \"4.3\"\n*TECPreJobInsertion File: \"/x\"\n *TECPreJobInsertion String: \"y\"\n"
       "*TECPostJobInsertion String: \"p\"\n*TECPreJobInsertion \t String: \"a\"",
       "string", "new", "new",
       "*PPD-Adobe: \"4.3\"\n*TECPreJobInsertion String: \"new\"\n *TECPreJobInsertion String: "
       "\"y\"\n*TECPostJobInsertion String: \"p\"\n*TECPreJobInsertion String: \"new\"\n"},
      {old, "file", "/etc/a.tpcl", "/etc/a.tpcl", "*TECPreJobInsertion File: \"/etc/a.tpcl\"\n"},
      // Escapes are stored in their canonical form: ESC as \e, high bytes in
      // lower-case hex, other control bytes raw.
      {old, "string", "\\x1b\\xE9\\x01\\x4\\\"", "\\e\\xe9\x01\\\\x4\\\"",
       line + "\\e\\xe9\x01\\\\x4\\\"\"\n"},
      {old, "string", fits, fits, line + fits + "\"\n"},
      // The longest line is 254 bytes, an escape counted in its escaped form.
      {old, "string", fits + "A", tooLong, ""},
      {old, "string", fits.substr(1) + "\\e", tooLong, ""},
      // The type first, then the escapes, then the length.
      {old, "String", "\\q", "Type must be \"file\" or \"string\"", ""},
      {old, "string", std::string(300, 'A') + "\\q", "\\q", ""},
      {"*TECPreJobInsertion: \"x\"\n", "string", "x", kNotSet, ""},
      {"*TECPreJobInsertionString: \"x\"\n", "string", "x", kNotSet, ""},
      {"*TECPreJobInsertion Text: \"x\"\n", "string", "x", kNotSet, ""},
      {"*TECPreJobInsertion String: \"x\"\r\n", "string", "x", kNotSet, ""},
      // A line of tens of thousands of characters: never examined when it
      // cannot be an insertion, refused when it could be.
      {"*cupsLong: \"" + huge + "\"\n" + old, "string", "v", "v",
       "*cupsLong: \"" + huge + "\"\n" + line + "v\"\n"},
      {line + std::string(1024 - line.size() - 1, ' ') + "\"\n", "string", "v", "v",
       line + "v\"\n"},
      {old + line + huge + "\"\n", "string", "v",
       "Insertion could not be set: line 2 is too long to be read (length is 60030)", ""},
      {"*TECPreJobInsertion" + std::string(60000, ' ') + "String: \"x\"\n", "string", "v",
       "Insertion could not be set: line 1 is too long to be read (length is 60030)", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Set(c.before, c.type, c.value), c.printed) << c.before;
    EXPECT_EQ(Read(), c.after.empty() ? c.before : c.after) << c.before;
  }
  EXPECT_EQ(Set("", "string", "x"), kNotSet);
  fs::remove(path_);
  EXPECT_THROW(SetInsertion(directory_, "Queue", "PreJob", "string", "x"), IOException);
}

// The driver reads back what the commands write: the same lines, the value
// between the first quote after the colon and the last one.
TEST(FindInsertion, ReadsTheLineTheCommandsRewrite) {
  const struct {
    std::string ppd;
    bool found, isFile;
    std::string value;
  } cases[] = {
      {"*PPD-Adobe: \"4.3\"\n*TECPreJobInsertion String: \"\\e{C|}\"\n", true, false, "\\e{C|}"},
      {"*TECPreJobInsertion\tFile: \"/etc/a b.tpcl\"", true, true, "/etc/a b.tpcl"},
      {"*TECPreJobInsertion String: \"say \\\"hi\\\"\"\n", true, false, "say \\\"hi\\\""},
      // A line ending in CR LF is none, for the commands as for the driver.
      {"*TECPreJobInsertion String: \"x\"\r\n", false, false, ""},
      {"*TECPreJobInsertion String: \"1\"\n*TECPreJobInsertion String: \"2\"\n", true, false, "1"},
      {"*TECPreJobInsertion: \"x\"\n *TECPreJobInsertion String: \"x\"\n", false, false, ""},
  };
  for (const auto& c : cases) {
    const std::optional<StoredInsertion> found = FindInsertion(c.ppd, "PreJob");
    ASSERT_EQ(found.has_value(), c.found) << c.ppd;
    if (!found) continue;
    EXPECT_EQ(found->isFile, c.isFile) << c.ppd;
    EXPECT_EQ(found->escapedValue, c.value) << c.ppd;
  }
  EXPECT_THROW(FindInsertion("*TECPreJobInsertion String: x\n", "PreJob"), InvalidFormatException);
  EXPECT_THROW(
      FindInsertion("*TECPreJobInsertion String: \"" + std::string(2000, 'x') + "\"", "PreJob"),
      InsertionNotSetException);
}

// Two processes editing one PPD at the same time, as two administrators'
// scripts might: each edit waits for the other, so no line is lost and the
// last value of each insertion is the one stored.
TEST_F(PPDInsertion, ConcurrentEditsAreAllKept) {
  // Large enough that a read and a rewrite take long enough to overlap.
  std::string filler;
  for (int i = 0; i < 3000; ++i)
    filler += "*cupsFiller" + std::to_string(i) + ": \"" + std::string(60, 'x') + "\"\n";
  const auto ppd = [&](const std::string& pre, const std::string& post) {
    return "*PPD-Adobe: \"4.3\"\n" + filler + "*TECPreJobInsertion String: \"" + pre + "\"\n" +
           filler + "*TECPostJobInsertion String: \"" + post + "\"\n" + filler;
  };
  std::ofstream(path_, std::ios::binary) << ppd("", "");
  const auto edit = [&](const std::string& keyword) {
    const pid_t child = fork();
    if (child != 0) return child;
    int failures = 0;
    for (int i = 0; i < 60; ++i) {
      try {
        SetInsertion(directory_, "Queue", keyword, "string", keyword + std::to_string(i));
      } catch (const Exception&) {
        ++failures;
      }
    }
    _exit(failures == 0 ? 0 : 1);
  };
  const pid_t children[] = {edit("PreJob"), edit("PostJob")};
  for (const pid_t child : children) {
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
  EXPECT_TRUE(Read() == ppd("PreJob59", "PostJob59"));
}

TEST_F(PPDInsertion, RewriteKeepsPermissionsOwnershipAndInode) {
  Set("*TECPreJobInsertion String: \"old\"\n", "string", "");
  ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(stat(path_.c_str(), &before), 0);
  SetInsertion(directory_, "Queue", "PreJob", "string", "new");
  ASSERT_EQ(stat(path_.c_str(), &after), 0);
  EXPECT_EQ(std::tie(after.st_mode, after.st_uid, after.st_gid, after.st_ino),
            std::tie(before.st_mode, before.st_uid, before.st_gid, before.st_ino));
}

}  // namespace
}  // namespace Corvane::Vellum::Commands
