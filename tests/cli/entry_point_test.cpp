// The dispatcher with command tables of the test's own.
#include "cli/entry_point.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/exception.h"

namespace Corvane::Vellum {
namespace {

struct Outcome {
  int status;
  std::string err;
};

Outcome Dispatch(std::vector<const char*> argv, const CommandTable& commands) {
  testing::internal::CaptureStderr();
  const int status = RunCommandLine(static_cast<int>(argv.size()), argv.data(), commands);
  return {status, testing::internal::GetCapturedStderr()};
}

TEST(EntryPoint, NoArgumentsAtAllIsAnInvalidInvocation) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(RunCommandLine(0, nullptr, kCommandTable), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid invocation\n");
}

TEST(EntryPoint, CommandGetsThePrinterAndItsOwnArguments) {
  Arguments seen;
  std::string printerName;
  const CommandTable commands = {{"record", [&](Printer& printer, const Arguments& arguments) {
                                    printerName = printer.Name();
                                    seen = arguments;
                                  }}};
  const Outcome outcome = Dispatch({"vellum", "-p", "-", "record", "a", "-p", "b"}, commands);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "Printer: stdout\n");
  EXPECT_EQ(printerName, "stdout");
  EXPECT_EQ(seen, (Arguments{"a", "-p", "b"}));
}

TEST(EntryPoint, ResponseErrorsExitWithTwoAndOthersWithOne) {
  struct Case {
    std::function<void()> failure;
    int status;
    std::string report;
  };
  const Case cases[] = {
      {[] { throw InvalidResponseException("Printer sent garbage"); }, 2,
       "A response from the printer was unexpected or invalid: \nPrinter sent garbage\n"},
      {[] { throw ResponseException("No reply"); }, 2,
       "A response from the printer was unexpected or invalid: \nNo reply\n"},
      {[] { throw InternalInconsistencyException("Broken"); }, 1,
       "An unexpected error has occurred: \nBroken\n"},
  };
  for (const Case& c : cases) {
    const CommandTable commands = {{"fail", [&](Printer&, const Arguments&) { c.failure(); }}};
    const Outcome outcome = Dispatch({"vellum", "-n", "127.0.0.1:9", "fail"}, commands);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(outcome.err, "Printer: 127.0.0.1:9\n" + c.report);
  }
}

TEST(EntryPoint, PrinterlessCommandsReportEveryFailureAsUnexpected) {
  Arguments seen;
  testing::internal::CaptureStderr();
  EXPECT_EQ(RunPrinterlessCommand([&](const Arguments& arguments) { seen = arguments; }, {"x"}), 0);
  EXPECT_EQ(RunPrinterlessCommand(
                [](const Arguments&) { throw InvalidResponseException("Bad job"); }, {}),
            1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "An unexpected error has occurred: \nBad job\n");
  EXPECT_EQ(seen, Arguments{"x"});
}

TEST(CommandTable, HoldsTheTwelveCommands) {
  std::vector<std::string> names;
  for (const auto& [name, handler] : kCommandTable) {
    names.push_back(name);
    EXPECT_TRUE(handler) << name;
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names,
            (std::vector<std::string>{"feedlabel", "getstatus", "rawtpcl", "setfineadjustments",
                                      "setipv4", "setport", "setpostjob", "setpostlabel",
                                      "setprejob", "setprelabel", "testlabel", "tpcl"}));
}

}  // namespace
}  // namespace Corvane::Vellum
