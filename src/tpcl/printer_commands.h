// The commands that talk to a printer. Each is a handler of the command
// table: it checks its arguments before it sends anything, then sends framed
// TPCL commands through the printer (which connects on the first send).
// Failures are exceptions of the Corvane tree; the messages are the ones
// users see after "An unexpected error has occurred: ".
#pragma once

#include "core/arguments.h"
#include "printer/printer.h"

namespace Corvane::Vellum::Commands {

// Options (any number, any order): "cut", "withribbon", "strip",
// "transmissive", "reflective" (the last sensor word wins). Sends
// {T;<sensor><cut><C|D>3<ribbon>|}. Throws InvalidArgumentException for
// "option" on any other word.
void FeedLabel(Printer& printer, const Arguments& arguments);

// No arguments. Sends {WS|}, waits up to 5 seconds for the 13-byte reply and
// prints "Status code: N" and "Remaining count: N" on standard output.
void GetStatus(Printer& printer, const Arguments& arguments);

// With one argument sends its bytes unchanged; without, copies standard input.
void RawTPCL(Printer& printer, const Arguments& arguments);

// One argument: decodes its backslash escapes and sends the bytes, unframed.
void TPCL(Printer& printer, const Arguments& arguments);

// Three fixed-point millimetre values with at most one decimal: feed and
// cut/strip (-50 to 50) and back-feed (-9.9 to 9.9). Sends {AX;+fff,+ccc,+bb|}
// in tenths.
void SetFineAdjustments(Printer& printer, const Arguments& arguments);

// "a.b.c.d/prefix" and a gateway "a.b.c.d", optionally a port. Sends the
// address (IP;2), the mask (IP;3) and the gateway (IP;4), then the port
// command of SetPort when a port is given.
void SetIPV4(Printer& printer, const Arguments& arguments);

// One decimal port; 0 switches the raw port off. Sends {IS;<on>,<port>|}.
void SetPort(Printer& printer, const Arguments& arguments);

// Always throws UnimplementedException "Test labels not implemented yet".
void TestLabel(Printer& printer, const Arguments& arguments);

}  // namespace Corvane::Vellum::Commands
