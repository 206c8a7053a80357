// Runs a program as a child process, the way a user or a script would.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Vellum::Testing {

struct ProcessResult {
  std::string out;
  std::string err;
  // The exit status, or 128 + the signal number for a process killed by one.
  int status = -1;
};

using Environment = std::vector<std::pair<std::string, std::string>>;

// Runs argv[0] (a path) with the arguments, the variables added to (or
// replacing those of) this process's environment, and the input on its
// standard input. Waits for it and returns both output streams whole.
ProcessResult RunProcess(const std::vector<std::string>& argv, const Environment& environment = {},
                         const std::string& input = "");

// The command line that runs a program of this build with the arguments,
// appended to `prefix`. A cross build runs its programs under an emulator,
// whose command line it hands over in VELLUM_EMULATOR.
std::vector<std::string> BuiltCommandLine(const std::string& binary,
                                          const std::vector<std::string>& arguments,
                                          std::vector<std::string> prefix = {});

// Runs a program of this build as above.
inline ProcessResult RunBuilt(const std::string& binary, const std::vector<std::string>& arguments,
                              const Environment& environment = {}, const std::string& input = "") {
  return RunProcess(BuiltCommandLine(binary, arguments), environment, input);
}

// Raises this process's soft limit on open descriptors, within the hard
// limit, so that descriptors up to `highest` can be opened; children inherit
// it. False when the hard limit is too low.
bool AllowDescriptorsUpTo(int highest);

}  // namespace Vellum::Testing
