// The vellum binary seen from outside: exact output streams and exit status.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cli/vellum_binary.h"
#include "support/printer_stand_in.h"
#include "support/pseudo_terminal.h"

namespace Vellum::Testing {
namespace {

const std::string kUsage = std::string("Usage:\n\n") + VELLUM_BINARY +
                           " [ -p printer ] command [ arguments ]\n\n"
                           "Refer to the man page for more information\n\n  man vellum\n";

struct Case {
  std::vector<std::string> arguments;
  std::string out;
  std::string err;
  int status;
  std::string input = "";
};

void Check(const Case& c) {
  const ProcessResult result = RunVellum(c.arguments, kNoCupsServer, c.input);
  std::string invocation;
  for (const std::string& argument : c.arguments) invocation += " " + argument;
  EXPECT_EQ(result.out, c.out) << invocation;
  EXPECT_EQ(result.err, c.err) << invocation;
  EXPECT_EQ(result.status, c.status) << invocation;
}

TEST(FrontEnd, SwitchesUsageAndVersion) {
  const Case cases[] = {
      {{}, "", kUsage, 1},
      {{"--version"}, "", "7.03\n", 0},
      {{"-h"}, kUsage, "", 0},
      {{"-h", "feedlabel", "cut"}, kUsage, "", 0},
      {{"--help"}, kUsage, "", 0},
      {{"-?", "-p"}, kUsage, "", 0},
      {{"-p"}, "", "Missing argument after '-p'\n", 1},
      {{"-n"}, "", "Missing argument after '-n'\n", 1},
      {{"-n", "127.0.0.1:1"}, "", "Missing command name\n", 1},
      {{"-p", "queue"}, "", "Missing command name\n", 1},
      // Without a switch the first CUPS queue is wanted, even for a version
      // request that is not alone or for a command that does not exist.
      {{"--version", "now"}, "", Unexpected("No suitable printer found"), 1},
      {{"nosuchcommand"}, "", Unexpected("No suitable printer found"), 1},
      {{"-p", "office", "feedlabel"}, "", Unexpected("Unknown printer: office"), 1},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FrontEnd, CommandsOnStandardOutput) {
  const std::string stdoutPrinter = "Printer: stdout\n";
  const Case cases[] = {
      {{"-p", "-", "feedlabel", "cut", "transmissive"}, "{T;21C30|}\n", stdoutPrinter, 0},
      {{"-p", "-", "feedlabel"}, "{T;00C30|}\n", stdoutPrinter, 0},
      {{"-p", "-", "tpcl", "{WS|}"}, "{WS|}", stdoutPrinter, 0},
      {{"-p", "-", "tpcl", "{XS;I,0001,0002C3000|}\\n"}, "{XS;I,0001,0002C3000|}\n", stdoutPrinter,
       0},
      {{"-p", "-", "rawtpcl", "{WS|}\\n"}, "{WS|}\\n", stdoutPrinter, 0},
      {{"-p", "-", "rawtpcl"}, "{C|}\n{WS|}\n", stdoutPrinter, 0, "{C|}\n{WS|}\n"},
      {{"-p", "-", "rawtpcl"}, "", stdoutPrinter, 0},
      {{"-p", "-", "setfineadjustments", "1.5", "-2", "0.3"}, "{AX;+015,-020,+03|}\n",
       stdoutPrinter, 0},
      {{"-p", "-", "setport", "9100"}, "{IS;1,09100|}\n", stdoutPrinter, 0},
      {{"-p", "-", "setipv4", "192.168.10.5/24", "192.168.10.1", "9100"},
       "{IP;2,192,168,010,005|}\n{IP;3,255,255,255,000|}\n{IP;4,192,168,010,001|}\n"
       "{IS;1,09100|}\n",
       stdoutPrinter, 0},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FrontEnd, ReportedFailures) {
  const std::string stdoutPrinter = "Printer: stdout\n";
  const Case cases[] = {
      {{"-p", "-", "nosuchcommand"}, "", stdoutPrinter + "Unknown command: nosuchcommand\n", 1},
      // "render" and a second switch are only words once a printer is chosen.
      {{"-p", "-", "render", "job.prn"}, "", stdoutPrinter + "Unknown command: render\n", 1},
      {{"-p", "-", "-n", "host:9100"}, "", stdoutPrinter + "Unknown command: -n\n", 1},
      {{"-p", "-", "testlabel"}, "", stdoutPrinter + Unexpected("Test labels not implemented yet"),
       1},
      {{"-p", "-", "feedlabel", "sideways"}, "",
       stdoutPrinter + Unexpected("Invalid value for argument \"option\": sideways"), 1},
      {{"-p", "-", "getstatus", "now"}, "",
       stdoutPrinter + Unexpected("Unexpected number of arguments given (1). Expected 0 arguments"),
       1},
      {{"-p", "-", "setfineadjustments", "0", "0", "10"}, "",
       stdoutPrinter + Unexpected("Argument \"backfeed\" out of range (10.000000). Min = "
                                  "-9.900000, max = 9.900000"),
       1},
      {{"-p", "-", "setipv4", "192.168.10.5", "192.168.10.1"}, "",
       stdoutPrinter + Unexpected("Invalid value for argument \"ip\": Invalid IP address format"),
       1},
      {{"-p", "-", "tpcl", "\\q"}, "", stdoutPrinter + Unexpected("\\q"), 1},
      {{"-n", "printer", "feedlabel"}, "", Unexpected("Expected \"host:port\" format"), 1},
  };
  for (const Case& c : cases) Check(c);
}

TEST(FrontEnd, PortThatIsNoNumberEndsTheProcessAbnormally) {
  // The standard conversion error is not one of the tool's exceptions and is
  // deliberately not caught.
  const ProcessResult result = RunVellum({"-p", "-", "setport", "ninety"});
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("stoi"), std::string::npos) << result.err;
  EXPECT_GT(result.status, 128);
}

TEST(FrontEnd, CharacterDevices) {
  Check({{"-p", "/dev/null", "feedlabel", "strip"}, "", "Printer: unknown\n", 0});
  PseudoTerminal terminal;
  const ProcessResult result = RunVellum({"-p", terminal.Path(), "setport", "0"});
  EXPECT_EQ(result.err, "Printer: unknown\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(terminal.Read(14), "{IS;0,00000|}\n");

  const std::string file = testing::TempDir() + "/vellum-not-a-device";
  std::ofstream(file) << "";
  Check({{"-p", file, "feedlabel"}, "", "Printer: unknown\n" + Unexpected("Unable to connect to device"), 1});
  EXPECT_EQ(std::filesystem::file_size(file), 0u);
  std::filesystem::remove(file);
}

TEST(FrontEnd, NetworkPrinter) {
  PrinterStandIn printer;
  const std::string name = printer.NetworkName();
  Check({{"-n", name, "getstatus"}, "Status code: 0\nRemaining count: 1234\n",
         "Printer: " + name + "\n", 0});
  Check({{"-n", name, "feedlabel", "cut", "withribbon"}, "", "Printer: " + name + "\n", 0});
  Check({{"-n", name, "rawtpcl"}, "", "Printer: " + name + "\n", 0, "{U1;0100|}\n"});
  EXPECT_EQ(printer.Received(3), "{WS|}\n{T;01C31|}\n{U1;0100|}\n");
}

TEST(FrontEnd, StatusReplies) {
  struct Reply {
    PrinterStandIn::Behaviour behaviour;
    std::string reply;
    std::string out;
    std::string failure;
  };
  const Reply replies[] = {
      {PrinterStandIn::Behaviour::kAnswerInTwoPieces, PrinterStandIn::kDefaultReply,
       "Status code: 0\nRemaining count: 1234\n", ""},
      {PrinterStandIn::Behaviour::kAnswer, std::string("\x01\x02" "060099" "0\x03\x04\x0A\x0D", 13),
       "Status code: 6\nRemaining count: 99\n", ""},
      {PrinterStandIn::Behaviour::kAnswer, std::string("\x02\x01" "060099" "0\x03\x04\x0A\x0D", 13),
       "", Unexpected("Unexpected response from printer")},
      {PrinterStandIn::Behaviour::kCloseEarly, PrinterStandIn::kDefaultReply, "",
       Unexpected("Unable to read any data from printer")},
  };
  for (const Reply& r : replies) {
    PrinterStandIn printer(r.behaviour, r.reply);
    const ProcessResult result = RunVellum({"-n", printer.NetworkName(), "getstatus"});
    EXPECT_EQ(result.out, r.out);
    EXPECT_EQ(result.err, "Printer: " + printer.NetworkName() + "\n" + r.failure);
    EXPECT_EQ(result.status, r.failure.empty() ? 0 : 1);
    EXPECT_EQ(printer.Received(), "{WS|}\n");
  }
}

// The one slow case: a printer that never answers costs the whole 5 s budget.
TEST(FrontEnd, SilentPrinterEndsAfterFiveSeconds) {
  PrinterStandIn printer(PrinterStandIn::Behaviour::kSilent);
  const ProcessResult result = RunVellum({"-n", printer.NetworkName(), "getstatus"});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "Printer: " + printer.NetworkName() + "\n" +
                            Unexpected("Timed out waiting for data from printer"));
  EXPECT_EQ(result.status, 1);
}

TEST(FrontEnd, UnreachablePrinters) {
  std::string closed;
  {
    PrinterStandIn gone;
    closed = gone.NetworkName();
  }
  Check({{"-n", closed, "feedlabel"}, "", "Printer: " + closed + "\n" + Unexpected("Unable to connect"), 1});
  const ProcessResult result = RunVellum({"-n", "nosuchhost.invalid:9100", "feedlabel"});
  EXPECT_TRUE(result.err.starts_with("Unable to resolve nosuchhost.invalid:9100: ")) << result.err;
  EXPECT_TRUE(result.err.ends_with("\n" + Unexpected("Unable to resolve \"nosuchhost.invalid:9100\"")))
      << result.err;
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace Vellum::Testing
