#include "ppd/ppd_insertion.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/exception.h"

namespace Corvane::Vellum::Commands {
namespace {

namespace fs = std::filesystem;

class PPDInsertion : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = fs::temp_directory_path() /
                 ("vellum-ppd-" + std::to_string(::getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(directory_);
  }
  void TearDown() override { fs::remove_all(directory_); }

  void Write(const std::string& text) { std::ofstream(Path(), std::ios::binary) << text; }
  std::string Read() const {
    std::ifstream input(Path(), std::ios::binary);
    std::stringstream text;
    text << input.rdbuf();
    return text.str();
  }
  fs::path Path() const { return directory_ / "Queue.ppd"; }
  std::string Set(const std::string& keyword, const std::string& type, const std::string& value) {
    return SetInsertion(directory_, "Queue", keyword, type, value);
  }

  fs::path directory_;
};

// Which lines a command rewrites, and what the whole file becomes.
TEST_F(PPDInsertion, RewritesEveryMatchingLineAndKeepsTheRest) {
  struct Case {
    const char* name;
    const char* before;
    const char* after;
  };
  const Case cases[] = {
      {"string line", "*PPD-Adobe: \"4.3\"\n*TECPreJobInsertion String: \"old\"\n*End\n",
       "*PPD-Adobe: \"4.3\"\n*TECPreJobInsertion String: \"new\"\n*End\n"},
      {"file line changes type", "*TECPreJobInsertion File: \"/tmp/x\"\n",
       "*TECPreJobInsertion String: \"new\"\n"},
      {"several blanks and a tab", "*TECPreJobInsertion \t String: \"a\"\n",
       "*TECPreJobInsertion String: \"new\"\n"},
      {"every match replaced", "*TECPreJobInsertion String: \"a\"\nx\n*TECPreJobInsertion File: \"b\"\n",
       "*TECPreJobInsertion String: \"new\"\nx\n*TECPreJobInsertion String: \"new\"\n"},
      {"last line gains a line feed", "a\n*TECPreJobInsertion String: \"a\"",
       "a\n*TECPreJobInsertion String: \"new\"\n"},
      {"other keywords untouched",
       "*TECPostJobInsertion String: \"p\"\n*TECPreJobInsertion String: \"a\"\n*TECPreLabelInsertion String: \"l\"\n",
       "*TECPostJobInsertion String: \"p\"\n*TECPreJobInsertion String: \"new\"\n*TECPreLabelInsertion String: \"l\"\n"},
      {"untouched unless at line start",
       " *TECPreJobInsertion String: \"x\"\n*TECPreJobInsertion String: \"a\"\n",
       " *TECPreJobInsertion String: \"x\"\n*TECPreJobInsertion String: \"new\"\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Write(c.before);
    EXPECT_EQ(Set("PreJob", "string", "new"), "new");
    EXPECT_EQ(Read(), c.after);
  }
}

TEST_F(PPDInsertion, LinesThatDoNotHoldTheInsertionAreNotSetAndFileIsUntouched) {
  const char* files[] = {
      "*TECPreJobInsertion: \"x\"\n",             // no type word
      "*TECPreJobInsertionString: \"x\"\n",       // no blank before the type word
      "*TECPreJobInsertion Text: \"x\"\n",        // unknown type word
      "*TECPreJobInsertion String:\n",            // nothing after the colon
      "*TECPreJobInsertion String: \"x\"\r\n",    // a carriage return is not a value character
      "",
  };
  for (const char* text : files) {
    SCOPED_TRACE(text);
    Write(text);
    try {
      Set("PreJob", "file", "/etc/label.tpcl");
      ADD_FAILURE() << "expected InsertionNotSetException";
    } catch (const InsertionNotSetException& e) {
      EXPECT_STREQ(e.what(), "Insertion could not be set: could not find existing insertion");
    }
    EXPECT_EQ(Read(), text);
  }
}

TEST_F(PPDInsertion, StoresValuesInCanonicalEscapedForm) {
  struct Case {
    const char* typed;
    std::string stored;
  };
  const Case cases[] = {
      {"\\x1b", "\\e"},          {"\\e{C|}", "\\e{C|}"},      {"\\xE9", "\\xe9"},
      {"\\x01", "\x01"},         {"a\\\\b", "a\\\\b"},       {"say \\\"hi\\\"", "say \\\"hi\\\""},
      {"\\r\\n", "\\r\\n"},      {"\\x4", "\\\\x4"},           {"\\0", "\\0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.typed);
    Write("*TECPostLabelInsertion String: \"old\"\n");
    EXPECT_EQ(Set("PostLabel", "string", c.typed), c.stored);
    EXPECT_EQ(Read(), "*TECPostLabelInsertion String: \"" + c.stored + "\"\n");
  }
}

TEST_F(PPDInsertion, LongestLineIs254Bytes) {
  const std::string prefix = "*TECPreJobInsertion String: \"";
  Write("*TECPreJobInsertion String: \"old\"\n");
  const std::string fits(254 - prefix.size() - 1, 'A');
  EXPECT_EQ(Set("PreJob", "string", fits), fits);
  EXPECT_EQ(Read(), prefix + fits + "\"\n");
  try {
    Set("PreJob", "string", fits + "A");
    ADD_FAILURE() << "expected InsertionTooLongException";
  } catch (const InsertionTooLongException& e) {
    EXPECT_STREQ(e.what(), "Insertion is too long (length is 255, maximum length is 255).");
  }
  // An escape counts with its escaped length: one ESC byte is two characters.
  EXPECT_THROW(Set("PreJob", "string", fits.substr(1) + "\\e"), InsertionTooLongException);
  EXPECT_EQ(Read(), prefix + fits + "\"\n");
}

TEST_F(PPDInsertion, RefusalsComeInOrderAndLeaveTheFileAlone) {
  const std::string original = "*TECPreJobInsertion String: \"old\"\n";
  Write(original);
  const std::string tooLong(300, 'A');
  struct Case {
    const char* type;
    std::string value;
    const char* message;
  };
  const Case cases[] = {
      {"String", "\\q", "Type must be \"file\" or \"string\""},
      {"string", tooLong + "\\q", "\\q"},
      {"file", tooLong, "Insertion is too long (length is 328, maximum length is 255)."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    try {
      Set("PreJob", c.type, c.value);
      ADD_FAILURE() << "expected a refusal";
    } catch (const Exception& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
    EXPECT_EQ(Read(), original);
  }
  try {
    SetInsertion(directory_, "Missing", "PreJob", "string", "x");
    ADD_FAILURE() << "expected IOException";
  } catch (const IOException& e) {
    EXPECT_EQ(e.what(), "Unable to read from " + (directory_ / "Missing.ppd").string());
  }
}

TEST_F(PPDInsertion, RewriteKeepsPermissionsAndOwnership) {
  Write("*TECPreLabelInsertion String: \"old\"\n");
  ASSERT_EQ(::chmod(Path().c_str(), 0640), 0);
  struct stat before {};
  ASSERT_EQ(::stat(Path().c_str(), &before), 0);
  Set("PreLabel", "string", "new");
  struct stat after {};
  ASSERT_EQ(::stat(Path().c_str(), &after), 0);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(after.st_ino, before.st_ino);  // rewritten in place, not replaced
}

TEST(PPDInsertionCommands, RefuseNonCUPSPrintersAndWrongCounts) {
  Printer printer = Printer::FromNetworkName("127.0.0.1:9100");
  try {
    SetPreJob(printer, {"string", "x"});
    ADD_FAILURE() << "expected InvalidArgumentException";
  } catch (const InvalidArgumentException& e) {
    EXPECT_STREQ(e.what(), "Printer is not a CUPS printer");
  }
  try {
    SetPostLabel(printer, {"string"});
    ADD_FAILURE() << "expected InvalidNumberOfArgumentsException";
  } catch (const InvalidNumberOfArgumentsException& e) {
    EXPECT_STREQ(e.what(), "Unexpected number of arguments given (1). Expected 2 arguments");
  }
}

}  // namespace
}  // namespace Corvane::Vellum::Commands
