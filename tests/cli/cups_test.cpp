// Printer selection through a private cupsd, which vellum reaches only
// through libcups's client configuration (CUPS_SERVER).
#include <gtest/gtest.h>

#include "cli/vellum_binary.h"
#include "support/cups_server.h"
#include "support/printer_stand_in.h"

namespace Vellum::Testing {
namespace {

TEST(CupsQueues, ChoiceFollowsTheQueuesCupsLists) {
  PrinterStandIn printer;
  CupsServer cups;
  const std::string unsupported =
      Unexpected("Unsupported printer connection type, only \"socket\" printers accepted");
  const std::string bravo = "Printer: bravo (from CUPS)\n";
  const std::string charlie = "Printer: Charlie (from CUPS)\n";
  const struct {
    std::vector<std::string> arguments;
    std::string out, err;
  } cases[] = {
      // CUPS sorts ignoring case: "bravo" comes before "Charlie" although "C"
      // is the smaller byte.
      {{"getstatus"}, "Status code: 0\nRemaining count: 1234\n", bravo},
      // The look-up comes before the command name is looked at.
      {{"--version", "now"}, "", bravo + "Unknown command: --version\n"},
      {{"-p", "ippqueue", "feedlabel"}, "", unsupported},
      {{"-p", "usbqueue", "feedlabel"}, "", unsupported},
      // Names compare exactly, case included.
      {{"-p", "BRAVO", "feedlabel"}, "", Unexpected("Unknown printer: BRAVO")},
      // A port with leading zeros, which CUPS accepts, is read by value; the
      // queues after it (ippqueue, usbqueue) are still reached.
      {{"-p", "Charlie", "feedlabel"}, "", charlie + Unexpected("Unable to connect")},
      {{"-p", "brav", "feedlabel"}, "", Unexpected("Unknown printer: brav")},
  };
  // With no queues at all CUPS still answers, with no printer in its reply.
  const ProcessResult none = RunVellum({"nosuchcommand"}, cups.ClientEnvironment());
  EXPECT_EQ(none.err, Unexpected("No suitable printer found"));
  EXPECT_EQ(none.status, 1);
  cups.AddQueue("Charlie", "socket://127.0.0.1:0000000000001");
  cups.AddQueue("bravo", "socket://" + printer.NetworkName());
  cups.AddQueue("ippqueue", "ipp://127.0.0.1:631/printers/x");
  cups.AddQueue("usbqueue", "usb://TEC/B-EV4-G?serial=2K000123");
  for (const auto& c : cases) {
    const ProcessResult result = RunVellum(c.arguments, cups.ClientEnvironment());
    EXPECT_EQ(result.out, c.out) << c.arguments[0];
    EXPECT_EQ(result.err, c.err) << c.arguments[0];
    EXPECT_EQ(result.status, c.err == bravo ? 0 : 1) << c.arguments[0];
  }
  EXPECT_EQ(printer.Received(), "{WS|}\n");

  // The first queue must be a socket printer even when a later one is; a
  // socket queue without a port means 9100.
  cups.AddQueue("alpha", "ipp://127.0.0.1:631/printers/alpha");
  EXPECT_EQ(RunVellum({"feedlabel"}, cups.ClientEnvironment()).err, unsupported);
  cups.AddQueue("Aardvark", "socket://nosuchhost.invalid");
  const ProcessResult noPort = RunVellum({"feedlabel"}, cups.ClientEnvironment());
  EXPECT_TRUE(noPort.err.starts_with("Unable to resolve nosuchhost.invalid:9100: ")) << noPort.err;
  EXPECT_TRUE(noPort.err.ends_with(Unexpected("Unable to resolve \"nosuchhost.invalid:9100\"")));
}

}  // namespace
}  // namespace Vellum::Testing
