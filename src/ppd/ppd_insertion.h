// The job and label insertions that the CUPS driver keeps in a queue's PPD
// file: TPCL text (or a file) sent before or after each job and each label.
#pragma once

#include <filesystem>
#include <string>

#include "core/arguments.h"
#include "printer/printer.h"

namespace Corvane::Vellum::Commands {

// Where CUPS keeps the PPD file of every queue, as QUEUE.ppd.
inline const std::filesystem::path kPPDDirectory = "/etc/cups/ppd/";

// Replaces the value of every existing "*TEC<keyword>Insertion String:" or
// "... File:" line of directory/queue.ppd with `value` and returns the value
// in its canonical escaped form (what is stored between the quotes).
//
// `keyword` is "PreJob", "PostJob", "PreLabel" or "PostLabel"; `type` is
// "string" or "file". Checks, in this order, each leaving the file untouched:
// InvalidArgumentException "Type must be \"file\" or \"string\"";
// UnknownEscapeException for an escape the table does not know;
// InsertionTooLongException when the new line exceeds 254 bytes;
// IOException "Unable to read from <path>"; InsertionNotSetException when no
// such line exists (a missing insertion is never added). The file is then
// truncated and rewritten in place, so its permissions and owner stay; a
// failure after that point is IOException, and the PPD may be damaged.
std::string SetInsertion(const std::filesystem::path& directory, const std::string& queue,
                         const std::string& keyword, const std::string& type,
                         const std::string& value);

// The same for the printer's own queue under kPPDDirectory, printing the
// escaped value on standard output. Throws InvalidArgumentException "Printer
// is not a CUPS printer" first for a printer that is not a CUPS queue. No
// connection to the printer is made.
void SetInsertion(const Printer& printer, const std::string& keyword, const std::string& type,
                  const std::string& value);

// The four command handlers: each takes exactly the type and the value.
void SetPreJob(Printer& printer, const Arguments& arguments);
void SetPostJob(Printer& printer, const Arguments& arguments);
void SetPreLabel(Printer& printer, const Arguments& arguments);
void SetPostLabel(Printer& printer, const Arguments& arguments);

}  // namespace Corvane::Vellum::Commands
