// The front end: reads the invocation, picks the printer, runs one command
// and turns every failure into a message on standard error and an exit status.
#pragma once

#include <functional>

#include "cli/command_table.h"
#include "core/arguments.h"

namespace Corvane::Vellum {

// Runs one invocation ("vellum [ -p printer | -n host:port ] command
// [ arguments ]") against the given command table and returns the exit
// status: 0 on success, 2 when the printer's reply could not be used
// (ResponseException), 1 for every other reported failure. Exceptions that
// are not Corvane::Exception are not caught. Sets SIGPIPE and SIGXFSZ to be
// ignored for the rest of the process, so that a write to a printer that hung
// up, or past a file-size limit, fails with its own message.
int RunCommandLine(int argc, const char* const argv[], const CommandTable& commands);

// A command that needs no printer, such as render: recognised only as the
// very first word, given the words after it. Only Corvane::Exception is
// caught (a ResponseException too is reported as unexpected, status 1).
// Returns 0 on success.
using PrinterlessCommand = std::function<void(const Arguments&)>;
int RunPrinterlessCommand(const PrinterlessCommand& command, const Arguments& arguments);

}  // namespace Corvane::Vellum
