#include "ppd/ppd_insertion.h"

#include <fstream>
#include <iostream>
#include <regex>
#include <sstream>

#include "core/exception.h"
#include "tpcl/escape.h"

namespace Corvane::Vellum::Commands {
namespace {

// The driver reads insertion lines into a 255-byte buffer; the test is
// "longer than 254" while the message names 255 as the limit, as the tool has
// always reported it.
constexpr std::size_t kLongestLine = 254;
constexpr std::size_t kReportedMaximum = 255;

std::string TypeWord(const std::string& type) {
  if (type == "string") return "String";
  if (type == "file") return "File";
  throw InvalidArgumentException("Type must be \"file\" or \"string\"");
}

std::string ReadReplaced(const std::filesystem::path& path, const std::string& keyword,
                         const std::string& newLine) {
  // A line that already holds this insertion: the keyword, one or more blanks,
  // either type word (the new value may change it), a colon and some value.
  const std::regex insertionLine("^\\*TEC" + keyword + "Insertion\\s+(String|File):.+$");
  std::ifstream input(path, std::ios::binary);
  if (!input) throw IOException("Unable to read from " + path.string());
  std::ostringstream output;
  bool replaced = false;
  for (std::string line; std::getline(input, line);) {
    const bool matches = std::regex_match(line, insertionLine);
    replaced |= matches;
    // Every line ends with a line feed in the rewritten file, the last one too.
    output << (matches ? newLine : line) << '\n';
  }
  if (!replaced) throw InsertionNotSetException("could not find existing insertion");
  return output.str();
}

void CommandHandler(const char* keyword, Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 2, 0);
  SetInsertion(printer, keyword, arguments[0], arguments[1]);
}

}  // namespace

std::string SetInsertion(const std::filesystem::path& directory, const std::string& queue,
                         const std::string& keyword, const std::string& type,
                         const std::string& value) {
  const std::string typeWord = TypeWord(type);
  // Decoding then encoding again stores every value in one canonical form, so
  // "\x1b" and "\e" are written the same way.
  const std::string escaped = TPCLCommands::Escape(TPCLCommands::Unescape(value));
  const std::string newLine = "*TEC" + keyword + "Insertion " + typeWord + ": \"" + escaped + "\"";
  if (newLine.size() > kLongestLine)
    throw InsertionTooLongException(newLine.size(), kReportedMaximum);

  const std::filesystem::path path = directory / (queue + ".ppd");
  const std::string text = ReadReplaced(path, keyword, newLine);

  // Truncating the existing file, rather than replacing it, keeps the mode and
  // owner that CUPS gave it.
  std::ofstream output(path, std::ios::binary | std::ios::trunc);
  if (!output) throw IOException("Unable to open " + path.string() + " for writing");
  output << text;
  output.flush();
  if (!output)
    throw IOException("Unable to write to " + path.string() +
                      ". WARNING: Re-install printer to avoid using a possibly corrupt PPD");
  return escaped;
}

void SetInsertion(const Printer& printer, const std::string& keyword, const std::string& type,
                  const std::string& value) {
  if (!printer.IsFromCUPS()) throw InvalidArgumentException("Printer is not a CUPS printer");
  std::cout << SetInsertion(kPPDDirectory, printer.Name(), keyword, type, value) << std::endl;
}

void SetPreJob(Printer& printer, const Arguments& arguments) {
  CommandHandler("PreJob", printer, arguments);
}
void SetPostJob(Printer& printer, const Arguments& arguments) {
  CommandHandler("PostJob", printer, arguments);
}
void SetPreLabel(Printer& printer, const Arguments& arguments) {
  CommandHandler("PreLabel", printer, arguments);
}
void SetPostLabel(Printer& printer, const Arguments& arguments) {
  CommandHandler("PostLabel", printer, arguments);
}

}  // namespace Corvane::Vellum::Commands
