// The commands that run against a printer, by name.
#pragma once

#include <functional>
#include <string>
#include <unordered_map>

#include "core/arguments.h"
#include "printer/printer.h"

namespace Corvane::Vellum {

// A command: the chosen printer and the command's own arguments.
using CommandHandler = std::function<void(Printer&, const Arguments&)>;
using CommandTable = std::unordered_map<std::string, CommandHandler>;

// Built once by static initialisation and never changed. Names match exactly
// and case-sensitively.
extern const CommandTable kCommandTable;

}  // namespace Corvane::Vellum
