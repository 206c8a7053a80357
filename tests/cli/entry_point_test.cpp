// The dispatcher's exit statuses, with a command table of the test's own: no
// printer command in the tool throws a response error itself.
#include "cli/entry_point.h"

#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane::Vellum {
namespace {

TEST(EntryPoint, ResponseErrorsExitWithTwoAndOthersWithOne) {
  const struct {
    std::function<void()> failure;
    int status;
    std::string report;
  } cases[] = {
      {[] { throw InvalidResponseException("Garbage"); }, 2,
       "A response from the printer was unexpected or invalid: \nGarbage\n"},
      {[] { throw ResponseException("No reply"); }, 2,
       "A response from the printer was unexpected or invalid: \nNo reply\n"},
      {[] { throw InternalInconsistencyException("Broken"); }, 1,
       "An unexpected error has occurred: \nBroken\n"},
  };
  for (const auto& c : cases) {
    const CommandTable commands = {{"fail", [&](Printer&, const Arguments&) { c.failure(); }}};
    const char* argv[] = {"vellum", "-p", "-", "fail"};
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunCommandLine(4, argv, commands), c.status);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Printer: stdout\n" + c.report);
    // Without a printer there is no response to blame: always status 1.
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunPrinterlessCommand([&](const Arguments&) { c.failure(); }, {}), 1);
    const std::string message = c.report.substr(c.report.find('\n') + 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "An unexpected error has occurred: \n" + message);
  }
}

}  // namespace
}  // namespace Corvane::Vellum
