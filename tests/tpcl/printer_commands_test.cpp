#include "tpcl/printer_commands.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "core/exception.h"
#include "tpcl/printer_status.h"

namespace Corvane::Vellum::Commands {
namespace {

using Handler = void (*)(Printer&, const Arguments&);

// One end of a socket pair as the printer; the test reads the other end.
class SocketPrinter {
 public:
  SocketPrinter() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("socketpair");
    peer_ = ends[1];
    // The end is closed even when the command never connected.
    printer_.emplace("test", [fd = ends[0]] { return fd; }, [fd = ends[0]](int) { close(fd); });
  }
  ~SocketPrinter() { close(peer_); }

  Printer& Get() { return *printer_; }
  void Answer(const std::string& reply) {
    if (write(peer_, reply.data(), reply.size()) < 0) throw std::runtime_error("write");
  }
  // Closes the printer's end and returns everything it sent.
  std::string Sent() {
    printer_.reset();
    std::string bytes;
    char buffer[256];
    for (ssize_t count; (count = read(peer_, buffer, sizeof buffer)) > 0;)
      bytes.append(buffer, static_cast<std::size_t>(count));
    return bytes;
  }

 private:
  int peer_ = -1;
  std::optional<Printer> printer_;
};

TEST(PrinterCommands, SendTheirTPCL) {
  struct Case {
    Handler handler;
    Arguments arguments;
    std::string sent;
  };
  const Case cases[] = {
      {FeedLabel, {}, "{T;00C30|}\n"},
      {FeedLabel, {"cut", "transmissive"}, "{T;21C30|}\n"},
      {FeedLabel, {"strip"}, "{T;00D30|}\n"},
      {FeedLabel, {"withribbon", "reflective"}, "{T;10C31|}\n"},
      {FeedLabel, {"reflective", "transmissive"}, "{T;20C30|}\n"},
      {FeedLabel, {"transmissive", "reflective", "cut", "cut"}, "{T;11C30|}\n"},
      {TPCL, {"{WS|}"}, "{WS|}"},
      {TPCL, {"{PC000;0100|}\\n\\x1b"}, "{PC000;0100|}\n\x1B"},
      {RawTPCL, {"{WS|}\\n"}, "{WS|}\\n"},
      {SetFineAdjustments, {"1.5", "-2", "0.3"}, "{AX;+015,-020,+03|}\n"},
      {SetFineAdjustments, {"50", "-50", "9.9"}, "{AX;+500,-500,+99|}\n"},
      {SetFineAdjustments, {"+0.0", "-0", "-9.9"}, "{AX;+000,+000,-99|}\n"},
      {SetFineAdjustments, {"00050", "-0.5", "-0.1"}, "{AX;+500,-005,-01|}\n"},
      {SetPort, {"9100"}, "{IS;1,09100|}\n"},
      {SetPort, {"0"}, "{IS;0,00000|}\n"},
      {SetPort, {"123456"}, "{IS;1,12345|}\n"},
      {SetPort, {" 80tcp"}, "{IS;1,00080|}\n"},
      {SetIPV4,
       {"192.168.10.5/24", "192.168.10.1"},
       "{IP;2,192,168,010,005|}\n{IP;3,255,255,255,000|}\n{IP;4,192,168,010,001|}\n"},
      {SetIPV4,
       {"10.0.0.7/0", "0.0.0.0", "9100"},
       "{IP;2,010,000,000,007|}\n{IP;3,000,000,000,000|}\n{IP;4,000,000,000,000|}\n"
       "{IS;1,09100|}\n"},
      {SetIPV4,
       {"1.2.3.4/32", "255.255.255.255", "0"},
       "{IP;2,001,002,003,004|}\n{IP;3,255,255,255,255|}\n{IP;4,255,255,255,255|}\n"
       "{IS;0,00000|}\n"},
      {SetIPV4,
       {"172.16.0.1/20", "172.16.0.254"},
       "{IP;2,172,016,000,001|}\n{IP;3,255,255,240,000|}\n{IP;4,172,016,000,254|}\n"},
  };
  for (const Case& c : cases) {
    SocketPrinter printer;
    c.handler(printer.Get(), c.arguments);
    EXPECT_EQ(printer.Sent(), c.sent) << (c.arguments.empty() ? "" : c.arguments[0]);
  }
}

TEST(PrinterCommands, RefuseBadArgumentsBeforeSending) {
  struct Case {
    Handler handler;
    Arguments arguments;
    const char* message;
  };
  const char* const kIPFormat = "Invalid value for argument \"ip\": Invalid IP address format";
  const char* const kGatewayFormat = "Invalid value for argument \"gw\": Invalid IP address format";
  const Case cases[] = {
      {FeedLabel, {"cut", "sideways"}, "Invalid value for argument \"option\": sideways"},
      {FeedLabel, {"Cut"}, "Invalid value for argument \"option\": Cut"},
      {GetStatus, {"now"}, "Unexpected number of arguments given (1). Expected 0 arguments"},
      {RawTPCL,
       {"a", "b"},
       "Unexpected number of arguments given (2). Expected 0 arguments (with 1 optional "
       "arguments)"},
      {TPCL, {}, "Unexpected number of arguments given (0). Expected 1 arguments"},
      {TPCL, {"{WS|}\\q"}, "\\q"},
      {SetPort, {"1", "2"}, "Unexpected number of arguments given (2). Expected 1 arguments"},
      {SetFineAdjustments,
       {"1", "2"},
       "Unexpected number of arguments given (2). Expected 3 arguments"},
      {SetFineAdjustments,
       {"1.25", "0", "0"},
       "Invalid value for argument \"feed\": Invalid fixed point number format"},
      {SetFineAdjustments,
       {"0", "+", "0"},
       "Invalid value for argument \"cutstrip\": Invalid fixed point number format"},
      {SetFineAdjustments,
       {"0", "0", ".5"},
       "Invalid value for argument \"backfeed\": Invalid fixed point number format"},
      {SetFineAdjustments,
       {"123456", "0", "0"},
       "Invalid value for argument \"feed\": Invalid fixed point number format"},
      {SetFineAdjustments,
       {"50.1", "0", "0"},
       "Argument \"feed\" out of range (50.100000). Min = -50.000000, max = 50.000000"},
      {SetFineAdjustments,
       {"0", "-51", "0"},
       "Argument \"cutstrip\" out of range (-51.000000). Min = -50.000000, max = 50.000000"},
      {SetFineAdjustments,
       {"0", "0", "10"},
       "Argument \"backfeed\" out of range (10.000000). Min = -9.900000, max = 9.900000"},
      // Every value is parsed before any is range-checked.
      {SetFineAdjustments,
       {"99", "0", "x"},
       "Invalid value for argument \"backfeed\": Invalid fixed point number format"},
      {SetIPV4,
       {"192.168.10.5"},
       "Unexpected number of arguments given (1). Expected 2 arguments (with 1 optional "
       "arguments)"},
      {SetIPV4, {"192.168.10.5", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168.10.5/33", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168.10.5/", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168.10/24", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168.10.256/24", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168.10.5.1/24", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168..5/24", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"printer/24", "192.168.10.1"}, kIPFormat},
      {SetIPV4, {"192.168.10.5/24", "gateway"}, kGatewayFormat},
      {SetIPV4, {"192.168.10.5/24", "192.168.10.1/24"}, kGatewayFormat},
      {SetIPV4, {"192.168.10.5/24", "-1.0.0.0"}, kGatewayFormat},
      {TestLabel, {}, "Test labels not implemented yet"},
      {TestLabel, {"anything", "at", "all"}, "Test labels not implemented yet"},
  };
  for (const Case& c : cases) {
    SocketPrinter printer;
    try {
      c.handler(printer.Get(), c.arguments);
      ADD_FAILURE() << c.message;
    } catch (const Exception& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
    EXPECT_EQ(printer.Sent(), "") << c.message;
  }
}

TEST(PrinterCommands, PortThatIsNoNumberIsAConversionErrorBeforeSending) {
  SocketPrinter port;
  EXPECT_THROW(SetPort(port.Get(), {"ninety"}), std::invalid_argument);
  EXPECT_EQ(port.Sent(), "");
  SocketPrinter ipv4;
  EXPECT_THROW(SetIPV4(ipv4.Get(), {"10.0.0.7/8", "10.0.0.1", "x"}), std::invalid_argument);
  EXPECT_EQ(ipv4.Sent(), "");
}

TEST(GetStatus, PrintsTheParsedReply) {
  const std::pair<std::string, std::string> cases[] = {
      {std::string("\x01\x02" "001234" "0\x03\x04\x0A\x0D", 13),
       "Status code: 0\nRemaining count: 1234\n"},
      {std::string("\x01\x02" "420007" "0\x03\x04\x0A\x0D", 13),
       "Status code: 42\nRemaining count: 7\n"},
  };
  for (const auto& [reply, printed] : cases) {
    SocketPrinter printer;
    printer.Answer(reply);
    testing::internal::CaptureStdout();
    GetStatus(printer.Get(), {});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
    EXPECT_EQ(printer.Sent(), "{WS|}\n");
  }
}

TEST(GetStatus, ForeignReplyIsAnErrorNotNoResponse) {
  SocketPrinter printer;
  printer.Answer(std::string("\x02\x01" "001234" "0\x03\x04\x0A\x0D", 13));
  testing::internal::CaptureStdout();
  try {
    GetStatus(printer.Get(), {});
    ADD_FAILURE();
  } catch (const TPCLPrinterStatusException& e) {
    EXPECT_STREQ(e.what(), "Unexpected response from printer");
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace Corvane::Vellum::Commands
