// The vellum binary seen from outside: exact output streams and exit status.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include "cli/vellum_binary.h"
#include "support/printer_stand_in.h"

namespace Vellum::Testing {
namespace {

const std::string kUsage = std::string("Usage:\n\n") + VELLUM_BINARY +
                           " [ -p printer ] command [ arguments ]\n\n"
                           "Refer to the man page for more information\n\n  man vellum\n";
const std::string kStdout = "Printer: stdout\n", kDevice = "Printer: unknown\n";
const std::string kIP = "Invalid value for argument \"ip\": Invalid IP address format";

void Check(const std::vector<std::string>& arguments, const std::string& out,
           const std::string& err, int status, const std::string& input = "") {
  const ProcessResult result = RunVellum(arguments, kNoCupsServer, input);
  const std::string invocation = testing::PrintToString(arguments);
  EXPECT_EQ(result.out, out) << invocation;
  EXPECT_EQ(result.err, err) << invocation;
  EXPECT_EQ(result.status, status) << invocation;
}

std::vector<std::string> OnStdout(std::vector<std::string> command) {
  command.insert(command.begin(), {"-p", "-"});
  return command;
}

// With no CUPS server at all, so that only the switches choose a printer.
TEST(FrontEnd, SwitchesAndUsage) {
  const struct Case {
    std::vector<std::string> arguments;
    std::string out, err;
    int status;
  } cases[] = {
      {{}, "", kUsage, 1},
      {{"--version"}, "", "7.03\n", 0},
      {{"-h", "feedlabel", "cut"}, kUsage, "", 0},
      {{"--help"}, kUsage, "", 0},
      {{"-?", "-p"}, kUsage, "", 0},
      {{"-p"}, "", "Missing argument after '-p'\n", 1},
      {{"-n", "127.0.0.1:1"}, "", "Missing command name\n", 1},
      // Without a switch the first CUPS queue is wanted, even for a version
      // request that is not alone or for a command that does not exist.
      {{"--version", "now"}, "", Unexpected("No suitable printer found"), 1},
      {{"nosuchcommand"}, "", Unexpected("No suitable printer found"), 1},
      {{"-p", "office", "feedlabel"}, "", Unexpected("Unknown printer: office"), 1},
      // Once a printer is chosen, "render" and a second switch are mere words.
      {{"-p", "-", "render", "job.prn"}, "", kStdout + "Unknown command: render\n", 1},
      {{"-p", "-", "-n", "host:9100"}, "", kStdout + "Unknown command: -n\n", 1},
      // A path names a printer only when it is a character device.
      {{"-p", "/dev/null", "feedlabel", "strip"}, "", kDevice, 0},
      {{"-p", "/tmp", "feedlabel"}, "", kDevice + Unexpected("Unable to connect to device"), 1},
      {{"-n", "printer", "feedlabel"}, "", Unexpected("Expected \"host:port\" format"), 1},
      {{"-n", "127.0.0.1:9", "setprelabel", "string", "x"},
       "",
       "Printer: 127.0.0.1:9\n" + Unexpected("Printer is not a CUPS printer"),
       1},
  };
  for (const Case& c : cases) Check(c.arguments, c.out, c.err, c.status);
}

// Each command's bytes on standard output through the printer "-", and the
// refusals that come before a byte is sent.
TEST(FrontEnd, CommandsOnStandardOutput) {
  const std::pair<std::vector<std::string>, std::string> sent[] = {
      {{"feedlabel"}, "{T;00C30|}\n"},
      {{"feedlabel", "cut", "transmissive"}, "{T;21C30|}\n"},
      {{"feedlabel", "transmissive", "withribbon", "reflective"}, "{T;10C31|}\n"},
      {{"tpcl", "{PC000;0100|}\\n\\x1b"}, "{PC000;0100|}\n\x1B"},
      {{"rawtpcl", "{WS|}\\n"}, "{WS|}\\n"},
      {{"rawtpcl"}, ""},
      {{"setfineadjustments", "1.5", "-2", "0.3"}, "{AX;+015,-020,+03|}\n"},
      {{"setfineadjustments", "00050", "-0.5", "-9.9"}, "{AX;+500,-005,-99|}\n"},
      {{"setport", "123456"}, "{IS;1,12345|}\n"},
      {{"setipv4", "192.168.10.5/24", "192.168.10.1", "9100"},
       "{IP;2,192,168,010,005|}\n{IP;3,255,255,255,000|}\n{IP;4,192,168,010,001|}\n"
       "{IS;1,09100|}\n"},
      {{"setipv4", "172.16.0.1/20", "172.16.0.254"},
       "{IP;2,172,016,000,001|}\n{IP;3,255,255,240,000|}\n{IP;4,172,016,000,254|}\n"},
      // Numbers count by value, leading zeros or not.
      {{"setipv4", "0001.2.3.4/024", "000192.168.0.0001"},
       "{IP;2,001,002,003,004|}\n{IP;3,255,255,255,000|}\n{IP;4,192,168,000,001|}\n"},
      {{"setipv4", "10.0.0.1/0000000000032", "0.0.0.0"},
       "{IP;2,010,000,000,001|}\n{IP;3,255,255,255,255|}\n{IP;4,000,000,000,000|}\n"},
      {{"setipv4", "10.0.0.1/0", "10.0.0.0"},
       "{IP;2,010,000,000,001|}\n{IP;3,000,000,000,000|}\n{IP;4,010,000,000,000|}\n"},
  };
  const std::pair<std::vector<std::string>, std::string> refused[] = {
      {{"testlabel"}, "Test labels not implemented yet"},
      {{"feedlabel", "sideways"}, "Invalid value for argument \"option\": sideways"},
      {{"getstatus", "now"}, "Unexpected number of arguments given (1). Expected 0 arguments"},
      {{"rawtpcl", "a", "b"},
       "Unexpected number of arguments given (2). Expected 0 arguments (with 1 optional "
       "arguments)"},
      {{"tpcl", "{WS|}\\q"}, "\\q"},
      // Every value is parsed before any is range-checked.
      {{"setfineadjustments", "99", "0", "1.25"},
       "Invalid value for argument \"backfeed\": Invalid fixed point number format"},
      {{"setfineadjustments", "0", "-51", "0"},
       "Argument \"cutstrip\" out of range (-51.000000). Min = -50.000000, max = 50.000000"},
      {{"setfineadjustments", "0", "0", "10"},
       "Argument \"backfeed\" out of range (10.000000). Min = -9.900000, max = 9.900000"},
      {{"setipv4", "192.168.10.5", "192.168.10.1"}, kIP},
      {{"setipv4", "192.168.10.00000000000256/24", "192.168.10.1"}, kIP},
      {{"setipv4", "192.168.10.5/00000000033", "192.168.10.1"}, kIP},
      {{"setipv4", "192.168.10.5/", "192.168.10.1"}, kIP},
      {{"setipv4", "192.168..5/24", "192.168.10.1"}, kIP},
      {{"setipv4", "192.168.10.5.1/24", "192.168.10.1"}, kIP},
      {{"setipv4", "192.168.10.5/24", "gateway"},
       "Invalid value for argument \"gw\": Invalid IP address format"},
  };
  for (const auto& [command, bytes] : sent) Check(OnStdout(command), bytes, kStdout, 0);
  for (const auto& [command, message] : refused)
    Check(OnStdout(command), "", kStdout + Unexpected(message), 1);
  Check({"-p", "-", "rawtpcl"}, "{C|}\n{WS|}\n", kStdout, 0, "{C|}\n{WS|}\n");
  // The standard conversion error is not one of the tool's exceptions; it is
  // required to stay uncaught and end the process abnormally.
  const ProcessResult port = RunVellum({"-p", "-", "setport", "ninety"});
  EXPECT_EQ(port.out, "");
  EXPECT_NE(port.err.find("stoi"), std::string::npos) << port.err;
  EXPECT_GT(port.status, 128);
}

// Standard input that cannot be read (a directory) is an error, not an
// empty job.
TEST(FrontEnd, RawTPCLReportsAReadErrorOnStandardInput) {
  const ProcessResult result = RunProcess(
      VellumCommandLine({"-p", "-", "rawtpcl"}, {"/bin/sh", "-c", "exec \"$@\" < /", "sh"}),
      kNoCupsServer);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, kStdout + Unexpected("Unexpected read error before end of input"));
  EXPECT_EQ(result.status, 1);
}

// Started with more descriptors open than select can watch, vellum gets a
// socket numbered above FD_SETSIZE and must still wait for the reply on it.
TEST(FrontEnd, GetStatusOnADescriptorBeyondTheSelectLimit) {
  if (!AllowDescriptorsUpTo(FD_SETSIZE + 64)) GTEST_SKIP() << "descriptor limit too low";
  // Inherited by the child, which then gets the lowest free numbers. Opened
  // first, so that no descriptor closed at exec (the stand-in's) leaves a
  // lower number free.
  std::vector<int> held{open("/dev/null", O_RDONLY)};
  while (held.back() >= 0 && held.back() < FD_SETSIZE + 8) held.push_back(dup(held.front()));
  ASSERT_GE(held.back(), 0);
  PrinterStandIn printer({StatusReply("0600990")});
  const ProcessResult result = RunVellum({"-n", printer.NetworkName(), "getstatus"});
  for (int descriptor : held) close(descriptor);
  EXPECT_EQ(result.out, "Status code: 6\nRemaining count: 99\n");
  EXPECT_EQ(result.err, "Printer: " + printer.NetworkName() + "\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(printer.Received(), "{WS|}\n");
}

// A printer that goes away in the middle of a job: the failed write is
// reported, the process is not killed by SIGPIPE.
TEST(FrontEnd, PrinterHangingUpMidJobIsAFailedWrite) {
  const std::string job = "{WS|}\n" + std::string(16 << 20, 'x');
  // Standard output as the printer, a pipe whose reader has left.
  const ProcessResult piped = RunProcess(
      VellumCommandLine({"-p", "-", "rawtpcl"},
                        {"/bin/bash", "-c", "\"$@\" | true; exit ${PIPESTATUS[0]}", "bash"}),
      kNoCupsServer, job);
  EXPECT_EQ(piped.err, kStdout + Unexpected("Unable to write to device"));
  EXPECT_EQ(piped.status, 1);
  // A network printer that closes the connection once it has answered; the
  // write in progress then fails whole or in part.
  PrinterStandIn printer({StatusReply("0600990")}, true);
  const ProcessResult network =
      RunVellum({"-n", printer.NetworkName(), "rawtpcl"}, kNoCupsServer, job);
  EXPECT_TRUE(network.err.starts_with("Printer: " + printer.NetworkName() +
                                      "\nAn unexpected error has occurred: \nUnable to write"))
      << network.err;
  EXPECT_EQ(network.status, 1);
}

TEST(FrontEnd, PseudoTerminalReceivesTheBytes) {
  // In raw mode, so that the line discipline passes the bytes unchanged.
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
  const std::string terminal = ptsname(master);
  termios settings{};
  const int slave = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(tcgetattr(slave, &settings), 0);
  cfmakeraw(&settings);
  tcsetattr(slave, TCSANOW, &settings);
  Check({"-p", terminal, "setport", "0"}, "", kDevice, 0);
  char sent[32] = {};
  pollfd ready{master, POLLIN, 0};
  ASSERT_EQ(poll(&ready, 1, 1000), 1);
  EXPECT_EQ(std::string(sent, read(master, sent, sizeof sent)), "{IS;0,00000|}\n");
  close(slave);
  close(master);
}

// The printer stand-in on loopback: replies split, foreign, cut short or
// missing (the one slow case: silence costs the whole 5 s budget), a long job
// copied whole from standard input, and no printer at all.
TEST(FrontEnd, NetworkPrinter) {
  const std::string reply = StatusReply("0600990"), foreign = StatusReply("0600990", "\x02\x01");
  const std::string status = "Status code: 6\nRemaining count: 99\n";
  const struct {
    std::vector<std::string> pieces;
    bool hangUp;
    std::string command, out, failure;
  } cases[] = {
      {{reply.substr(0, 6), reply.substr(6)}, false, "getstatus", status, ""},
      {{foreign}, false, "getstatus", "", "Unexpected response from printer"},
      {{reply.substr(0, 4)}, true, "getstatus", "", "Unable to read any data from printer"},
      {{}, false, "getstatus", "", "Timed out waiting for data from printer"},
      {{reply}, false, "rawtpcl", "", ""},
  };
  std::string job;
  for (int i = 0; job.size() < 100000; ++i) job += "{PC" + std::to_string(i) + ";0100,0200|}\n";
  for (const auto& c : cases) {
    PrinterStandIn printer(c.pieces, c.hangUp);
    const std::string err = "Printer: " + printer.NetworkName() + "\n";
    const bool fails = !c.failure.empty();
    const std::string input = c.command == "rawtpcl" ? job : "";
    Check({"-n", printer.NetworkName(), c.command}, c.out,
          fails ? err + Unexpected(c.failure) : err, fails ? 1 : 0, input);
    EXPECT_TRUE(printer.Received() == (input.empty() ? "{WS|}\n" : job)) << c.command;
  }
  // A port nobody listens on any more.
  const std::string closed = PrinterStandIn().NetworkName();
  Check({"-n", closed, "feedlabel"}, "",
        "Printer: " + closed + "\n" + Unexpected("Unable to connect"), 1);
}

}  // namespace
}  // namespace Vellum::Testing
