// TPCL commands built from templates: "T;abcde", "AX;+bbb,+ddd,+ff", "WS".
//
// In a template, a placeholder is an optional "+", a run of one repeated
// lower-case letter and an optional suffix ("*", "$" or "/" and digits);
// everything else is literal text. Placeholders are filled by the arguments
// strictly in order: the letters themselves mean nothing.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "tpcl/argument.h"

namespace Corvane::Vellum {
class Printer;
}

namespace Corvane::TPCLCommands {

// Writes the command body: the template with each placeholder replaced by the
// rendering of its argument. Throws CommandException "Wrong number of
// arguments for command: <template>" (before writing anything) when the
// numbers of placeholders and arguments differ, and whatever an argument's
// Format throws. Stops early if the stream fails.
void FormatTPCLCommand(std::ostream& output, std::string_view commandTemplate,
                       const ArgumentList& arguments);

// The whole frame the printer expects: "{", the body, "|", "}" and a line feed.
std::string FrameTPCLCommand(std::string_view commandTemplate, const ArgumentList& arguments);

// Builds the frame in memory and hands it to the printer in one send.
void SendTPCLCommand(Vellum::Printer& printer, std::string_view commandTemplate,
                     const ArgumentList& arguments);

}  // namespace Corvane::TPCLCommands
