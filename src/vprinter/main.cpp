// vellum-printer: a virtual TEC label printer. See options.cpp for the command
// line and server.h for what it does.
#include <signal.h>

#include <iostream>
#include <string>
#include <vector>

#include "vprinter/options.h"
#include "vprinter/server.h"

int main(int argc, char** argv) {
  using namespace Corvane::VirtualPrinter;
  CommandLine line;
  try {
    line = ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const OptionException& e) {
    std::cerr << "vellum-printer: " << e.what() << "\n" << Usage();
    return 1;
  }
  if (line.help) {
    std::cout << Usage();
    return 0;
  }
  if (line.version) {
    std::cout << VELLUM_VERSION << "\n";
    return 0;
  }
  // Blocked before any thread starts, so that every thread inherits the mask
  // and the server alone reads the two signals.
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_IGN);
  line.server.handleSignals = true;
  try {
    Server server(line.server, std::cout);
    server.Start();
    server.Run();
  } catch (const std::exception& e) {
    std::cerr << "vellum-printer: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
