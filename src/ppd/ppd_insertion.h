// The job and label insertions that the CUPS driver keeps in a queue's PPD
// file: TPCL text (or a file) sent before or after each job and each label.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "core/arguments.h"
#include "printer/printer.h"

namespace Corvane::Vellum::Commands {

// Where CUPS keeps the PPD file of every queue, as QUEUE.ppd.
inline const std::filesystem::path kPPDDirectory = "/etc/cups/ppd/";

// A new insertion line and the value it holds.
struct Insertion {
  // *TEC<keyword>Insertion <String|File>: "<escaped value>", no line feed.
  std::string line;
  // The value in its canonical escaped form, as stored between the quotes.
  std::string escapedValue;
};

// Builds the line that sets the insertion `keyword` ("PreJob", "PostJob",
// "PreLabel" or "PostLabel") of type `type` ("string" or "file") to `value`,
// whose backslash escapes are decoded and encoded again. Throws, in this
// order: InvalidArgumentException "Type must be \"file\" or \"string\"";
// UnknownEscapeException; InsertionTooLongException when the line exceeds 254
// bytes.
Insertion MakeInsertion(const std::string& keyword, const std::string& type,
                        const std::string& value);

// The PPD text with every existing insertion line of `keyword` (either type
// word) replaced by `line`; every line of the result ends with a line feed.
// Throws InsertionNotSetException when there is no such line (a missing
// insertion is never added), or when a line that begins like one is too long
// to be examined.
std::string ReplaceInsertion(std::string_view ppd, const std::string& keyword,
                             const std::string& line);

// An insertion line as the driver reads it back.
struct StoredInsertion {
  bool isFile = false;       // type word "File"; "String" otherwise
  std::string escapedValue;  // the text between the quotes, escapes not decoded
};

// The first line of the PPD text that holds the insertion `keyword`, found as
// ReplaceInsertion finds the lines it replaces; nullopt when there is none.
// The value runs from the first double quote after the colon to the last one
// on the line, so escaped quotes inside it stay part of it. Throws
// InvalidFormatException when such a line has no quoted value, and
// InsertionNotSetException as ReplaceInsertion does for a line too long to be
// examined.
std::optional<StoredInsertion> FindInsertion(std::string_view ppd, const std::string& keyword);

// Sets the insertion in directory/queue.ppd and returns the escaped value.
// Checks first, each leaving the file untouched: those of MakeInsertion,
// IOException "Unable to read from <path>", then those of ReplaceInsertion.
// The file is then truncated and rewritten in place, so its permissions and
// owner stay; a failure after that point is IOException, and the PPD may be
// damaged (so may it be if the process dies while it writes).
//
// The file is locked (flock, exclusive) from the read to the end of the
// write, so that edits by concurrent runs happen one after the other and
// none is lost; a run waits for the lock as long as another holds it.
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
