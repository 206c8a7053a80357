// The dispatcher's exit statuses, with a command table of the test's own: no
// printer command in the tool throws a response error itself.
#include "cli/entry_point.h"

#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane::Vellum {
namespace {

TEST(EntryPoint, ResponseErrorsExitWithTwoAndOthersWithOne) {
  const std::string response = "A response from the printer was unexpected or invalid: \n";
  const std::string unexpected = "An unexpected error has occurred: \n";
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[] { throw InvalidResponseException("Garbage"); }, response + "Garbage\n"},
      {[] { throw ResponseException("No reply"); }, response + "No reply\n"},
      {[] { throw InternalInconsistencyException("Broken"); }, unexpected + "Broken\n"},
  };
  for (const auto& [failure, report] : cases) {
    const CommandTable commands = {{"fail", [&](Printer&, const Arguments&) { failure(); }}};
    const char* argv[] = {"vellum", "-p", "-", "fail"};
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunCommandLine(4, argv, commands), report.starts_with(response) ? 2 : 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Printer: stdout\n" + report);
    // Without a printer there is no response to blame: always status 1.
    testing::internal::CaptureStderr();
    EXPECT_EQ(RunPrinterlessCommand([&](const Arguments&) { failure(); }, {}), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              unexpected + report.substr(report.find('\n') + 1));
  }
}

}  // namespace
}  // namespace Corvane::Vellum
