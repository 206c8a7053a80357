#include "printer/uri.h"

#include <cctype>
#include <limits>

#include "core/exception.h"
#include "core/hex.h"

namespace Corvane {
namespace {

bool IsSchemeCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
}

// Splits text at the first of the given delimiters; the delimiter stays with the rest.
std::string_view TakeUntil(std::string_view& text, std::string_view delimiters) {
  const std::size_t end = text.find_first_of(delimiters);
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(taken.size());
  return taken;
}

// Decimal digits only, of any length: CUPS reads a port by its value, so
// "0000000009100" is port 9100 to it and must be to us, or one such queue
// would end every look-up that walks past it.
std::optional<long> ParsePort(std::string_view digits) {
  constexpr long kLargest = std::numeric_limits<long>::max();
  long value = 0;
  for (char c : digits) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
    const int digit = c - '0';
    value = value > (kLargest - digit) / 10 ? kLargest : value * 10 + digit;
  }
  return value;
}

}  // namespace

URI URI::FromString(std::string_view text) {
  const auto invalid = [&] { return URIException("Invalid URI: " + std::string(text)); };
  URI uri;
  std::string_view rest = text;

  const std::size_t colon = rest.find(':');
  if (colon == 0 || colon == std::string_view::npos ||
      !std::isalpha(static_cast<unsigned char>(rest[0])))
    throw invalid();
  for (char c : rest.substr(0, colon))
    if (!IsSchemeCharacter(c)) throw invalid();
  uri.scheme_ = rest.substr(0, colon);
  rest.remove_prefix(colon + 1);

  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    std::string_view authority = TakeUntil(rest, "/?#");
    const std::size_t at = authority.rfind('@');
    if (at != std::string_view::npos) {
      Decode(authority.substr(0, at));
      authority.remove_prefix(at + 1);
    }
    std::string_view port;
    if (authority.starts_with('[')) {
      // An IP literal keeps its colons inside the brackets.
      const std::size_t close = authority.find(']');
      if (close == std::string_view::npos) throw invalid();
      uri.host_ = Decode(authority.substr(1, close - 1));
      authority.remove_prefix(close + 1);
      // Whatever else follows the bracket starts the path, as CUPS reads it.
      if (authority.starts_with(':'))
        port = authority.substr(1);
      else
        Decode(authority);
    } else {
      const std::size_t portColon = authority.find(':');
      uri.host_ = Decode(authority.substr(0, portColon));
      if (portColon != std::string_view::npos) port = authority.substr(portColon + 1);
    }
    if (!port.empty()) {
      uri.port_ = ParsePort(port);
      if (!uri.port_) throw invalid();
    }
  }

  // Path, query and fragment: only their escapes are checked, and no escape
  // can run across a delimiter, so they are checked in one piece.
  Decode(rest);
  return uri;
}

std::string URI::Decode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const int high = i + 1 < text.size() ? HexDigitValue(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? HexDigitValue(text[i + 2]) : -1;
    if (high < 0 || low < 0) throw URIDecodeException("Invalid or incomplete escape sequence");
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

}  // namespace Corvane
