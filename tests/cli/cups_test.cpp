// Printer selection through a private cupsd, which vellum reaches only
// through libcups's client configuration (CUPS_SERVER).
#include <gtest/gtest.h>

#include "cli/vellum_binary.h"
#include "support/cups_server.h"
#include "support/printer_stand_in.h"

namespace Vellum::Testing {
namespace {

const std::string kUnsupported =
    "Unsupported printer connection type, only \"socket\" printers accepted";

class CupsQueues : public testing::Test {
 protected:
  ProcessResult Run(const std::vector<std::string>& arguments) {
    return RunVellum(arguments, cups_.ClientEnvironment());
  }

  PrinterStandIn printer_;
  CupsServer cups_;
};

TEST_F(CupsQueues, FirstQueueIsTheFirstInCupsOrder) {
  // CUPS sorts ignoring case: "bravo" comes before "Charlie" although "C" is
  // the smaller byte.
  cups_.AddQueue("Charlie", "socket://127.0.0.1:1");
  cups_.AddQueue("bravo", "socket://" + printer_.NetworkName());
  const ProcessResult result = Run({"getstatus"});
  EXPECT_EQ(result.out, "Status code: 0\nRemaining count: 1234\n");
  EXPECT_EQ(result.err, "Printer: bravo (from CUPS)\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(printer_.Received(), "{WS|}\n");

  // The look-up comes before the command name is looked at.
  const ProcessResult version = Run({"--version", "now"});
  EXPECT_EQ(version.err, "Printer: bravo (from CUPS)\nUnknown command: --version\n");
  EXPECT_EQ(version.status, 1);
}

TEST_F(CupsQueues, FirstQueueMustBeASocketPrinterEvenIfALaterOneIs) {
  cups_.AddQueue("Alpha", "ipp://127.0.0.1:631/printers/alpha");
  cups_.AddQueue("zeta", "socket://" + printer_.NetworkName());
  const ProcessResult result = Run({"feedlabel"});
  EXPECT_EQ(result.err, Unexpected(kUnsupported));
  EXPECT_EQ(result.status, 1);
}

TEST_F(CupsQueues, NamedQueues) {
  cups_.AddQueue("label", "socket://" + printer_.NetworkName());
  cups_.AddQueue("ippqueue", "ipp://127.0.0.1:631/printers/x");
  cups_.AddQueue("usbqueue", "usb://TEC/B-EV4-G?serial=2K000123");
  struct Case {
    std::vector<std::string> arguments;
    std::string err;
    int status;
  };
  const Case cases[] = {
      {{"-p", "label", "feedlabel", "strip"}, "Printer: label (from CUPS)\n", 0},
      {{"-p", "label", "render"}, "Printer: label (from CUPS)\nUnknown command: render\n", 1},
      {{"-p", "ippqueue", "feedlabel"}, Unexpected(kUnsupported), 1},
      {{"-p", "usbqueue", "feedlabel"}, Unexpected(kUnsupported), 1},
      // Names compare exactly, case included.
      {{"-p", "LABEL", "feedlabel"}, Unexpected("Unknown printer: LABEL"), 1},
      {{"-p", "lab", "feedlabel"}, Unexpected("Unknown printer: lab"), 1},
  };
  for (const Case& c : cases) {
    const ProcessResult result = Run(c.arguments);
    EXPECT_EQ(result.out, "") << c.arguments[1];
    EXPECT_EQ(result.err, c.err) << c.arguments[1];
    EXPECT_EQ(result.status, c.status) << c.arguments[1];
  }
  EXPECT_EQ(printer_.Received(), "{T;00D30|}\n");
}

TEST_F(CupsQueues, NoQueuesMeansNoSuitablePrinter) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"feedlabel"}, {"nosuchcommand"}}) {
    const ProcessResult result = Run(arguments);
    EXPECT_EQ(result.err, Unexpected("No suitable printer found"));
    EXPECT_EQ(result.status, 1);
  }
  EXPECT_EQ(Run({"-p", "label", "feedlabel"}).err, Unexpected("Unknown printer: label"));
}

TEST_F(CupsQueues, SocketQueueWithoutPortMeansPort9100) {
  cups_.AddQueue("default-port", "socket://nosuchhost.invalid");
  const ProcessResult result = Run({"feedlabel"});
  EXPECT_TRUE(result.err.starts_with("Unable to resolve nosuchhost.invalid:9100: ")) << result.err;
  EXPECT_TRUE(
      result.err.ends_with(Unexpected("Unable to resolve \"nosuchhost.invalid:9100\"")))
      << result.err;
}

}  // namespace
}  // namespace Vellum::Testing
