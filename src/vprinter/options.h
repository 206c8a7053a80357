// The command line of vellum-printer.
#pragma once

#include <string>
#include <vector>

#include "core/exception.h"
#include "vprinter/server.h"

namespace Corvane::VirtualPrinter {

// A command line that cannot be used; the message names the option.
CORVANE_MESSAGE_EXCEPTION(OptionException, Exception);

struct CommandLine {
  ServerOptions server;
  bool help = false;
  bool version = false;
};

// Reads the arguments after the program name. Options take their value as the
// next argument or after "=" (--listen=127.0.0.1:9100). Throws
// OptionException for an unknown option, a missing or bad value.
CommandLine ParseCommandLine(const std::vector<std::string>& arguments);

// The text of --help.
std::string Usage();

}  // namespace Corvane::VirtualPrinter
