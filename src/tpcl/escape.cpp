#include "tpcl/escape.h"

#include <regex>

#include "core/exception.h"
#include "core/hex.h"

namespace Corvane::TPCLCommands {
namespace {

struct EscapeEntry {
  char letter;
  char byte;
};

constexpr EscapeEntry kEscapes[] = {
    {'0', '\0'}, {'\\', '\\'}, {'"', '"'},  {'a', '\a'}, {'b', '\b'}, {'e', '\x1B'},
    {'f', '\f'}, {'n', '\n'},  {'r', '\r'}, {'t', '\t'}, {'v', '\v'},
};

// A backslash and either "x" with exactly two hexadecimal digits or any one
// character but "x"; "\x" with fewer digits is no match and stays as typed.
const std::regex& EscapePattern() {
  static const std::regex pattern("\\\\(x[0-9A-Fa-f]{2}|[^x])", std::regex::ECMAScript);
  return pattern;
}

}  // namespace

std::string Unescape(std::string_view text) {
  const std::string input(text);
  std::string output;
  std::size_t copied = 0;
  for (std::sregex_iterator match(input.begin(), input.end(), EscapePattern()), end; match != end;
       ++match) {
    const auto position = static_cast<std::size_t>(match->position());
    output.append(input, copied, position - copied);
    copied = position + static_cast<std::size_t>(match->length());
    const std::string escape = (*match)[1].str();
    if (escape.size() == 3) {
      output += static_cast<char>(HexDigitValue(escape[1]) * 16 + HexDigitValue(escape[2]));
      continue;
    }
    bool known = false;
    for (const EscapeEntry& entry : kEscapes) {
      if (entry.letter == escape[0]) {
        output += entry.byte;
        known = true;
        break;
      }
    }
    if (!known) throw UnknownEscapeException(match->str());
  }
  output.append(input, copied, std::string::npos);
  return output;
}

std::string Escape(std::string_view bytes) {
  std::string output;
  for (char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    const EscapeEntry* entry = nullptr;
    for (const EscapeEntry& candidate : kEscapes)
      if (candidate.byte == c) entry = &candidate;
    if (entry != nullptr) {
      output += '\\';
      output += entry->letter;
    } else if (byte >= 0x80) {
      output += "\\x";
      output += HexDigit(byte >> 4, false);
      output += HexDigit(byte & 0x0F, false);
    } else {
      output += c;
    }
  }
  return output;
}

}  // namespace Corvane::TPCLCommands
