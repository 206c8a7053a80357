#include "cli/command_table.h"

#include <utility>

#include "ppd/ppd_insertion.h"
#include "tpcl/printer_commands.h"

namespace Corvane::Vellum {
namespace {

// One line per command; a new command is one more line here.
// clang-format off
const std::pair<const char*, void (*)(Printer&, const Arguments&)> kCommands[] = {
    {"feedlabel",          Commands::FeedLabel},
    {"getstatus",          Commands::GetStatus},
    {"rawtpcl",            Commands::RawTPCL},
    {"setfineadjustments", Commands::SetFineAdjustments},
    {"setipv4",            Commands::SetIPV4},
    {"setport",            Commands::SetPort},
    {"setpostjob",         Commands::SetPostJob},
    {"setprejob",          Commands::SetPreJob},
    {"setpostlabel",       Commands::SetPostLabel},
    {"setprelabel",        Commands::SetPreLabel},
    {"testlabel",          Commands::TestLabel},
    {"tpcl",               Commands::TPCL},
};
// clang-format on

CommandTable BuildCommandTable() {
  CommandTable table;
  for (const auto& [name, handler] : kCommands) table.emplace(name, handler);
  return table;
}

}  // namespace

const CommandTable kCommandTable = BuildCommandTable();

}  // namespace Corvane::Vellum
