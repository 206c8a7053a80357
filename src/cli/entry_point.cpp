#include "cli/entry_point.h"

#include <csignal>
#include <iostream>
#include <string>

#include "cli/version.h"
#include "core/exception.h"
#include "render/render_command.h"

namespace Corvane::Vellum {
namespace {

void WriteUsage(std::ostream& stream, const std::string& programName) {
  stream << "Usage:\n\n" + programName +
                " [ -p printer ] command [ arguments ]\n\n"
                "Refer to the man page for more information\n\n"
                "  man vellum\n";
  stream.flush();
}

// The prefix stands on a line of its own and the message on the next. The
// two-line form is required: scripts reading the error stream rely on it.
int Report(const char* prefix, const std::exception& e, int status) {
  std::cerr << prefix << std::endl;
  std::cerr << e.what() << std::endl;
  return status;
}

int ReportUnexpected(const Exception& e) {
  return Report("An unexpected error has occurred: ", e, 1);
}

Printer ChoosePrinter(Arguments& arguments) {
  const std::string first = arguments.front();
  if (first != "-p" && first != "-n") {
    // No switch: the first queue CUPS lists. This happens before the command
    // name is looked at, so even an unknown command costs a CUPS look-up.
    return Printer::FromName("");
  }
  const std::string text = arguments[1];
  arguments.erase(arguments.begin(), arguments.begin() + 2);
  return first == "-p" ? Printer::FromName(text) : Printer::FromNetworkName(text);
}

// Steps after the switches: the printer, its line, the command.
int RunPrinterCommand(Arguments& arguments, const CommandTable& commands) {
  Printer printer = ChoosePrinter(arguments);
  std::cerr << "Printer: " << printer.Name();
  if (printer.IsFromCUPS()) std::cerr << " (from CUPS)";
  std::cerr << std::endl;

  const std::string name = arguments.front();
  const Arguments commandArguments(arguments.begin() + 1, arguments.end());
  const auto command = commands.find(name);
  if (command == commands.end()) {
    std::cerr << "Unknown command: " << name << std::endl;
    return 1;
  }
  command->second(printer, commandArguments);
  return 0;
}

}  // namespace

int RunPrinterlessCommand(const PrinterlessCommand& command, const Arguments& arguments) {
  try {
    command(arguments);
  } catch (const Exception& e) {
    return ReportUnexpected(e);
  }
  return 0;
}

int RunCommandLine(int argc, const char* const argv[], const CommandTable& commands) {
  // A printer that hangs up during a write, or a file-size limit reached
  // while a PPD is rewritten, would otherwise end the process by a signal
  // without a word. Ignored, they make the write fail (EPIPE, EFBIG) and the
  // failed write reports itself with its message.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  Arguments arguments;
  if (argc > 0) arguments.assign(argv, argv + argc);
  if (arguments.empty()) {
    std::cerr << "Invalid invocation\n";
    return 1;
  }
  if (arguments.size() == 1) {
    WriteUsage(std::cerr, arguments[0]);
    return 1;
  }
  // Only as the sole argument, and on standard error. Both are required:
  // scripts read the version from standard error, and with more arguments
  // the words are a printer command like any other.
  if (arguments.size() == 2 && arguments[1] == "--version") {
    std::cerr << kVersion << std::endl;
    return 0;
  }
  const std::string programName = arguments.front();
  arguments.erase(arguments.begin());

  const std::string& first = arguments.front();
  if (first == "--help" || first == "-h" || first == "-?") {
    WriteUsage(std::cout, programName);
    return 0;
  }
  // "render" needs no printer and is recognised as the first word only; from
  // here on a printer is chosen.
  if (first == "render")
    return RunPrinterlessCommand(Commands::Render,
                                 Arguments(arguments.begin() + 1, arguments.end()));
  if ((first == "-p" || first == "-n") && arguments.size() == 1) {
    std::cerr << "Missing argument after '" << first << "'" << std::endl;
    return 1;
  }
  if ((first == "-p" || first == "-n") && arguments.size() == 2) {
    std::cerr << "Missing command name" << std::endl;
    return 1;
  }
  try {
    return RunPrinterCommand(arguments, commands);
  } catch (const ResponseException& e) {
    return Report("A response from the printer was unexpected or invalid: ", e, 2);
  } catch (const Exception& e) {
    return ReportUnexpected(e);
  }
}

}  // namespace Corvane::Vellum
