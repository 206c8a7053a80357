#include "cli/command_table.h"

#include <utility>

#include "ppd/ppd_insertion.h"
#include "tpcl/printer_commands.h"

namespace Corvane::Vellum {
namespace {

const std::pair<const char*, void (*)(Printer&, const Arguments&)> kCommands[] = {
#define VELLUM_COMMAND(name, handler) {#name, Commands::handler},
#include "cli/commands.def"
#undef VELLUM_COMMAND
};

CommandTable BuildCommandTable() {
  CommandTable table;
  for (const auto& [name, handler] : kCommands) table.emplace(name, handler);
  return table;
}

}  // namespace

const CommandTable kCommandTable = BuildCommandTable();

}  // namespace Corvane::Vellum
