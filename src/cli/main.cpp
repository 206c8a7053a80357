#include "cli/command_table.h"
#include "cli/entry_point.h"

int main(int argc, char* argv[]) {
  return Corvane::Vellum::RunCommandLine(argc, argv, Corvane::Vellum::kCommandTable);
}
