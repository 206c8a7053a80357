// Runs the vellum binary of this build as a user would.
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

namespace Vellum::Testing {

// A CUPS server that does not exist: every CUPS look-up gets no reply.
inline const Environment kNoCupsServer = {{"CUPS_SERVER", "/nonexistent/vellum-test.sock"}};

// The command line that runs the vellum binary with the arguments, appended
// to `prefix` (BuiltCommandLine).
inline std::vector<std::string> VellumCommandLine(const std::vector<std::string>& arguments,
                                                  std::vector<std::string> prefix = {}) {
  return BuiltCommandLine(VELLUM_BINARY, arguments, std::move(prefix));
}

inline ProcessResult RunVellum(const std::vector<std::string>& arguments,
                               const Environment& environment = kNoCupsServer,
                               const std::string& input = "") {
  return RunProcess(VellumCommandLine(arguments), environment, input);
}

// A whole file, such as one the binary wrote.
inline std::string ReadFile(const std::string& path) {
  std::ifstream input(path, std::ios::binary);
  std::stringstream text;
  text << input.rdbuf();
  return text.str();
}

// The two lines of a reported failure.
inline std::string Unexpected(const std::string& message) {
  return "An unexpected error has occurred: \n" + message + "\n";
}

}  // namespace Vellum::Testing
