#include "tpcl/command.h"

#include <iterator>
#include <regex>
#include <sstream>

#include "core/exception.h"
#include "printer/printer.h"

namespace Corvane::TPCLCommands {
namespace {

// A "+" directly before a lower-case letter is always a sign mark, never
// literal text; the back reference keeps a run to one repeated letter.
const std::regex& PlaceholderPattern() {
  static const std::regex pattern("\\+?(([a-z])\\2*)(\\*|\\$|/[0-9]+)?", std::regex::ECMAScript);
  return pattern;
}

}  // namespace

void FormatTPCLCommand(std::ostream& output, std::string_view commandTemplate,
                       const ArgumentList& arguments) {
  const std::string text(commandTemplate);
  const std::sregex_iterator begin(text.begin(), text.end(), PlaceholderPattern());
  const std::sregex_iterator end;
  if (static_cast<std::size_t>(std::distance(begin, end)) != arguments.size())
    throw CommandException("Wrong number of arguments for command: " + text);

  std::size_t literalStart = 0;
  std::size_t index = 0;
  for (auto match = begin; match != end; ++match, ++index) {
    const auto position = static_cast<std::size_t>(match->position());
    output.write(text.data() + literalStart, static_cast<std::streamsize>(position - literalStart));
    literalStart = position + static_cast<std::size_t>(match->length());
    if (!arguments[index]->Format(output, match->str())) return;
  }
  output.write(text.data() + literalStart,
               static_cast<std::streamsize>(text.size() - literalStart));
}

std::string FrameTPCLCommand(std::string_view commandTemplate, const ArgumentList& arguments) {
  std::ostringstream frame;
  frame << '{';
  FormatTPCLCommand(frame, commandTemplate, arguments);
  frame << "|}\n";
  return frame.str();
}

void SendTPCLCommand(Vellum::Printer& printer, std::string_view commandTemplate,
                     const ArgumentList& arguments) {
  printer.Send(FrameTPCLCommand(commandTemplate, arguments));
}

}  // namespace Corvane::TPCLCommands
