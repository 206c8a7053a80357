// rastertovellum: the CUPS filter that turns raster pages into TPCL labels.
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "driver/filter_command.h"

int main(int argc, char** argv) {
  // A backend that goes away makes the next write fail with a message in the
  // job's log, rather than end the filter silently.
  signal(SIGPIPE, SIG_IGN);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  return Corvane::Driver::RunFilter(arguments, std::getenv("PPD"), STDIN_FILENO, std::cout,
                                    std::cerr);
}
