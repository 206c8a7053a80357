// Runs the vellum binary of this build as a user would.
#pragma once

#include <string>
#include <vector>

#include "support/process.h"

namespace Vellum::Testing {

// A CUPS server that does not exist: every CUPS look-up gets no reply.
inline const Environment kNoCupsServer = {{"CUPS_SERVER", "/nonexistent/vellum-test.sock"}};

inline ProcessResult RunVellum(const std::vector<std::string>& arguments,
                               const Environment& environment = kNoCupsServer,
                               const std::string& input = "") {
  std::vector<std::string> argv = {VELLUM_BINARY};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  return RunProcess(argv, environment, input);
}

// The two lines of a reported failure.
inline std::string Unexpected(const std::string& message) {
  return "An unexpected error has occurred: \n" + message + "\n";
}

}  // namespace Vellum::Testing
