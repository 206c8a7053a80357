// The insertion commands end to end: the real binary, a queue of a private
// cupsd made with a TEC PPD, and that queue's file under /etc/cups/ppd/.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/vellum_binary.h"
#include "support/cups_server.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream input(path, std::ios::binary);
  std::stringstream text;
  text << input.rdbuf();
  return text.str();
}

// Puts a PPD where the command looks for it and removes it (and the
// directory, if this created it) afterwards.
class InstalledPPD {
 public:
  InstalledPPD(const fs::path& source, const std::string& queue)
      : createdDirectory_(!fs::exists("/etc/cups/ppd")),
        path_(fs::path("/etc/cups/ppd") / (queue + ".ppd")) {
    fs::create_directories(path_.parent_path());
    fs::copy_file(source, path_, fs::copy_options::overwrite_existing);
  }
  ~InstalledPPD() {
    fs::remove(path_);
    if (createdDirectory_) fs::remove_all("/etc/cups/ppd");
  }
  const fs::path& Path() const { return path_; }

 private:
  bool createdDirectory_;
  fs::path path_;
};

TEST(InsertionCommands, RewriteTheQueuesPPD) {
  if (::geteuid() != 0) GTEST_SKIP() << "writing /etc/cups/ppd/ needs root";
  const fs::path source = fs::path(VELLUM_SOURCE_DIR) / "tests/ppd/data/tec.ppd";
  const std::string queue = "vellum-ppd-test-" + std::to_string(::getpid());
  CupsServer cups;
  cups.AddQueue(queue, "socket://127.0.0.1:9100", source.string());
  InstalledPPD ppd(source, queue);
  const std::string original = ReadFile(ppd.Path());
  const std::string printerLine = "Printer: " + queue + " (from CUPS)\n";

  struct Case {
    const char* command;
    const char* type;
    const char* value;
    const char* printed;
    const char* line;
  };
  const Case cases[] = {
      {"setprejob", "string", "\\e{C|}", "\\e{C|}", "*TECPreJobInsertion String: \"\\e{C|}\""},
      {"setpostjob", "string", "\\x1b{XS|}", "\\e{XS|}", "*TECPostJobInsertion String: \"\\e{XS|}\""},
      {"setprelabel", "string", "caf\\xE9", "caf\\xe9", "*TECPreLabelInsertion String: \"caf\\xe9\""},
      {"setpostlabel", "file", "/etc/vellum/after.tpcl", "/etc/vellum/after.tpcl",
       "*TECPostLabelInsertion File: \"/etc/vellum/after.tpcl\""},
  };
  std::string expected = original;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.command);
    const ProcessResult result =
        RunVellum({"-p", queue, c.command, c.type, c.value}, cups.ClientEnvironment());
    EXPECT_EQ(result.out, std::string(c.printed) + "\n");
    EXPECT_EQ(result.err, printerLine);
    EXPECT_EQ(result.status, 0);
    // Exactly the one line changes.
    const std::string keyword = std::string(c.line).substr(0, std::string(c.line).find(' '));
    const std::size_t start = expected.find(keyword + " ");
    ASSERT_NE(start, std::string::npos);
    expected.replace(start, expected.find('\n', start) - start, c.line);
    EXPECT_EQ(ReadFile(ppd.Path()), expected);
  }

  const ProcessResult refused =
      RunVellum({"-p", queue, "setprejob", "String", "x"}, cups.ClientEnvironment());
  EXPECT_EQ(refused.err, printerLine + Unexpected("Type must be \"file\" or \"string\""));
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(ReadFile(ppd.Path()), expected);
}

TEST(InsertionCommands, NeedACupsQueue) {
  const ProcessResult result = RunVellum({"-n", "127.0.0.1:9100", "setprelabel", "string", "x"});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "Printer: 127.0.0.1:9100\n" + Unexpected("Printer is not a CUPS printer"));
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace Vellum::Testing
