// The insertion commands end to end: the real binary, a queue of a private
// cupsd made with a TEC PPD, and that queue's file under /etc/cups/ppd/.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "cli/vellum_binary.h"
#include "support/cups_server.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

TEST(InsertionCommands, RewriteTheQueuesPPD) {
  if (geteuid() != 0) GTEST_SKIP() << "writing /etc/cups/ppd/ needs root";
  const fs::path source = fs::path(VELLUM_SOURCE_DIR) / "tests/ppd/data/tec.ppd";
  const std::string queue = "vellum-ppd-test-" + std::to_string(getpid());
  const SystemPPD system(queue);  // no stray file stays in /etc
  const fs::path& ppd = system.Path();
  CupsServer cups;
  cups.AddQueue(queue, "socket://127.0.0.1:9100", source.string());
  fs::copy_file(source, ppd, fs::copy_options::overwrite_existing);
  const std::string printerLine = "Printer: " + queue + " (from CUPS)\n";
  const struct {
    std::vector<std::string> arguments;
    std::string err, line;
  } cases[] = {
      {{"setprejob", "string", "\\x1b{C|}"}, "", "*TECPreJobInsertion String: \"\\e{C|}\""},
      {{"setpostjob", "string", "caf\\xE9"}, "", "*TECPostJobInsertion String: \"caf\\xe9\""},
      {{"setprelabel", "file", "/etc/a.tpcl"}, "", "*TECPreLabelInsertion File: \"/etc/a.tpcl\""},
      {{"setpostlabel", "string", ""}, "", "*TECPostLabelInsertion String: \"\""},
      {{"setpostlabel", "String", "x"}, "Type must be \"file\" or \"string\"", ""},
  };
  std::string expected = ReadFile(ppd);
  for (const auto& c : cases) {
    std::vector<std::string> arguments = {"-p", queue};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const ProcessResult result = RunVellum(arguments, cups.ClientEnvironment());
    const std::string value =
        c.line.substr(c.line.find('"') + 1, c.line.size() - c.line.find('"') - 2);
    EXPECT_EQ(result.out, c.err.empty() ? value + "\n" : "") << c.arguments[0];
    EXPECT_EQ(result.err, printerLine + (c.err.empty() ? "" : Unexpected(c.err)));
    EXPECT_EQ(result.status, c.err.empty() ? 0 : 1);
    // Exactly the one line changes.
    if (!c.line.empty()) {
      const std::size_t start = expected.find(c.line.substr(0, c.line.find(' ') + 1));
      expected.replace(start, expected.find('\n', start) - start, c.line);
    }
    EXPECT_EQ(ReadFile(ppd), expected) << c.arguments[0];
  }

  // A file-size limit (512 bytes) reached during the rewrite: the write fails
  // with its warning instead of the process dying of SIGXFSZ, and the PPD is
  // left cut short, as the warning says.
  const ProcessResult limited =
      RunProcess(VellumCommandLine({"-p", queue, "setprejob", "string", "x"},
                                   {"/bin/sh", "-c", "ulimit -f 1; exec \"$@\"", "sh"}),
                 cups.ClientEnvironment());
  EXPECT_EQ(limited.err, printerLine + Unexpected("Unable to write to " + ppd.string() +
                                                  ". WARNING: Re-install printer to avoid using "
                                                  "a possibly corrupt PPD"));
  EXPECT_EQ(limited.status, 1);
  EXPECT_LT(fs::file_size(ppd), expected.size());
}

}  // namespace
}  // namespace Vellum::Testing
