#include "printer/printer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/exception.h"
#include "support/printer_stand_in.h"
#include "support/pseudo_terminal.h"

namespace Corvane::Vellum {
namespace {

using ::Vellum::Testing::PrinterStandIn;
using ::Vellum::Testing::PseudoTerminal;

template <typename Operation>
std::string MessageOf(Operation operation) {
  try {
    operation();
  } catch (const Exception& e) {
    return e.what();
  }
  return "(no exception)";
}

TEST(PrinterFromName, DashIsStandardOutput) {
  Printer printer = Printer::FromName("-");
  EXPECT_EQ(printer.Name(), "stdout");
  EXPECT_FALSE(printer.IsFromCUPS());
  testing::internal::CaptureStdout();
  printer.Send(std::string_view("{WS|}\n"));
  EXPECT_EQ(printer.Descriptor(), STDOUT_FILENO);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "{WS|}\n");
}

TEST(PrinterFromName, CharacterDeviceOpensAtFirstUse) {
  Printer printer = Printer::FromName("/dev/null");
  EXPECT_EQ(printer.Name(), "unknown");
  EXPECT_FALSE(printer.IsFromCUPS());
  const std::array<unsigned char, 3> bytes{'a', 'b', 'c'};
  EXPECT_NO_THROW(printer.Send(bytes));
  EXPECT_GE(printer.Descriptor(), 0);
}

TEST(PrinterFromName, PathThatIsNoCharacterDeviceFailsAtFirstUseAndStaysFailed) {
  const std::string file = testing::TempDir() + "/vellum-regular-file";
  std::ofstream(file) << "not a device";
  for (const std::string& path : {file, std::string("/nonexistent/lp0"), std::string("/tmp")}) {
    Printer printer = Printer::FromName(path);
    EXPECT_EQ(MessageOf([&] { printer.Send(std::string_view("{WS|}\n")); }),
              "Unable to connect to device")
        << path;
    // A failed attempt is remembered and never retried.
    EXPECT_EQ(MessageOf([&] { printer.Descriptor(); }), "Unable to connect to device");
  }
  std::filesystem::remove(file);
}

TEST(PrinterFromName, PseudoTerminalCarriesBothDirections) {
  PseudoTerminal terminal;
  Printer printer = Printer::FromName(terminal.Path());
  printer.Send(std::string_view("{T;00C30|}\n"));
  EXPECT_EQ(terminal.Read(11), "{T;00C30|}\n");
  terminal.Write("\x01\x02" "reply");
  std::array<unsigned char, 7> reply{};
  printer.TimedRead(reply, 2000);
  EXPECT_EQ(std::string(reply.begin(), reply.end()), "\x01\x02" "reply");
}

TEST(PrinterFromNetworkName, RefusesTextsThatAreNoHostAndPort) {
  for (const char* text : {"printer", ""}) {
    try {
      Printer::FromNetworkName(text);
      ADD_FAILURE() << text;
    } catch (const Network::AddressException& e) {
      EXPECT_STREQ(e.what(), "Expected \"host:port\" format");
    }
  }
}

TEST(PrinterFromNetworkName, UnresolvableHostIsReportedTwice) {
  testing::internal::CaptureStderr();
  const std::string message = MessageOf([] { Printer::FromNetworkName("nosuchhost.invalid:9100"); });
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_EQ(message, "Unable to resolve \"nosuchhost.invalid:9100\"");
  EXPECT_TRUE(line.starts_with("Unable to resolve nosuchhost.invalid:9100: ")) << line;
  EXPECT_TRUE(line.ends_with("\n"));
  EXPECT_GT(line.size(), std::string("Unable to resolve nosuchhost.invalid:9100: \n").size());
}

TEST(PrinterFromNetworkName, RefusedConnectionFailsAtTheFirstByte) {
  int port = 0;
  {
    PrinterStandIn closed;
    port = closed.Port();
  }
  Printer printer = Printer::FromNetworkName("127.0.0.1:" + std::to_string(port));
  EXPECT_EQ(printer.Name(), "127.0.0.1:" + std::to_string(port));
  EXPECT_EQ(MessageOf([&] { printer.Send(std::string_view("{WS|}\n")); }), "Unable to connect");
  EXPECT_EQ(MessageOf([&] { printer.Send(std::string_view("{WS|}\n")); }),
            "Unable to connect to device");
}

TEST(PrinterFromNetworkName, ServiceNamesResolve) {
  Printer printer = Printer::FromNetworkName("localhost:ipp");
  EXPECT_EQ(printer.Name(), "localhost:ipp");
}

TEST(PrinterNetwork, SendsCommandsOverOneConnection) {
  PrinterStandIn standIn;
  {
    Printer printer = Printer::FromNetworkName(standIn.NetworkName());
    printer.Send(std::string_view("{T;00C30|}\n"));
    printer.Send(std::string_view(""));
    printer.Send(std::string_view("{IS;1,09100|}\n"));
  }
  EXPECT_EQ(standIn.Received(), "{T;00C30|}\n{IS;1,09100|}\n");
}

TEST(PrinterNetwork, EmptySendStillConnects) {
  PrinterStandIn standIn;
  {
    Printer printer = Printer::FromNetworkName(standIn.NetworkName());
    printer.Send(std::string_view(""));
  }
  EXPECT_EQ(standIn.Received(1), "");
}

TEST(PrinterNetwork, StreamIsCopiedWhole) {
  PrinterStandIn standIn;
  std::string job;
  for (int i = 0; job.size() < 10000; ++i) job += "{PC" + std::to_string(i) + ";0100,0200|}\n";
  {
    Printer printer = Printer::FromNetworkName(standIn.NetworkName());
    std::istringstream input(job);
    printer.SendStream(input);
    std::istringstream empty;
    printer.SendStream(empty);
  }
  EXPECT_EQ(standIn.Received(), job);
}

TEST(PrinterNetwork, StreamThatFailsBeforeItsEndIsAnError) {
  PrinterStandIn standIn;
  Printer printer = Printer::FromNetworkName(standIn.NetworkName());
  std::istringstream input("{WS|}\n");
  input.setstate(std::ios::failbit);
  EXPECT_EQ(MessageOf([&] { printer.SendStream(input); }),
            "Unexpected read error before end of input");
}

TEST(PrinterTimedRead, CollectsAReplyThatArrivesInTwoPieces) {
  PrinterStandIn standIn(PrinterStandIn::Behaviour::kAnswerInTwoPieces);
  Printer printer = Printer::FromNetworkName(standIn.NetworkName());
  printer.Send(std::string_view("{WS|}\n"));
  std::array<unsigned char, 13> reply{};
  printer.TimedRead(reply, 5000);
  EXPECT_EQ(std::string(reply.begin(), reply.end()), PrinterStandIn::kDefaultReply);
}

TEST(PrinterTimedRead, PieceAfterTheBudgetIsTooLate) {
  // The second piece comes 300 ms after the first, outside a 200 ms budget.
  PrinterStandIn standIn(PrinterStandIn::Behaviour::kAnswerInTwoPieces);
  Printer printer = Printer::FromNetworkName(standIn.NetworkName());
  printer.Send(std::string_view("{WS|}\n"));
  std::array<unsigned char, 13> reply{};
  EXPECT_EQ(MessageOf([&] { printer.TimedRead(reply, 200); }),
            "Timed out waiting for data from printer");
}

TEST(PrinterTimedRead, SilentPrinterTimesOut) {
  PrinterStandIn standIn(PrinterStandIn::Behaviour::kSilent);
  Printer printer = Printer::FromNetworkName(standIn.NetworkName());
  printer.Send(std::string_view("{WS|}\n"));
  std::array<unsigned char, 13> reply{};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MessageOf([&] { printer.TimedRead(reply, 250); }),
            "Timed out waiting for data from printer");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  std::array<unsigned char, 0> nothing{};
  EXPECT_NO_THROW(printer.TimedRead(nothing, 0));
}

TEST(PrinterTimedRead, PrinterClosingEarlyIsAReadError) {
  PrinterStandIn standIn(PrinterStandIn::Behaviour::kCloseEarly);
  Printer printer = Printer::FromNetworkName(standIn.NetworkName());
  printer.Send(std::string_view("{WS|}\n"));
  std::array<unsigned char, 13> reply{};
  EXPECT_EQ(MessageOf([&] { printer.TimedRead(reply, 5000); }),
            "Unable to read any data from printer");
}

TEST(PrinterLifetime, CloseActionRunsOnceAfterMoves) {
  int closes = 0;
  {
    Printer first("mine", [] { return 7; }, [&](int) { ++closes; });
    Printer second(std::move(first));
    Printer third = Printer::FromName("-");
    third = std::move(second);
    EXPECT_EQ(third.Name(), "mine");
  }
  EXPECT_EQ(closes, 1);
}

TEST(PrinterLifetime, ConnectFailuresAreReported) {
  Printer noMethod("none", nullptr, nullptr);
  EXPECT_EQ(MessageOf([&] { noMethod.Descriptor(); }), "No method to connect to device");
  Printer invalid("negative", [] { return -2; }, nullptr);
  EXPECT_EQ(MessageOf([&] { invalid.Send(std::string_view("x")); }), "Invalid file descriptor");
}

TEST(ReadExact, NeedsTheWholeBufferInOneRead) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "abc", 3), 3);
  std::array<unsigned char, 2> two{};
  EXPECT_NO_THROW(ReadExact(ends[0], two));
  std::array<unsigned char, 4> four{};
  EXPECT_EQ(MessageOf([&] { ReadExact(ends[0], four); }),
            "Unable to read the requested number of bytes from the printer");
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(MessageOf([&] { ReadExact(ends[0], four); }), "Unable to read any data from the printer");
}

}  // namespace
}  // namespace Corvane::Vellum
