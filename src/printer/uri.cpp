#include "printer/uri.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "core/exception.h"

namespace Corvane {
namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

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
      uri.userInfo_ = Decode(authority.substr(0, at));
      authority.remove_prefix(at + 1);
    }
    std::string_view port;
    if (authority.starts_with('[')) {
      // An IP literal keeps its colons inside the brackets.
      const std::size_t close = authority.find(']');
      if (close == std::string_view::npos) throw invalid();
      uri.host_ = Decode(authority.substr(1, close - 1));
      authority.remove_prefix(close + 1);
      if (!authority.empty() && !authority.starts_with(':')) throw invalid();
      if (!authority.empty()) port = authority.substr(1);
    } else {
      const std::size_t portColon = authority.find(':');
      uri.host_ = Decode(authority.substr(0, portColon));
      if (portColon != std::string_view::npos) port = authority.substr(portColon + 1);
    }
    if (!port.empty()) {
      if (port.size() > 9) throw invalid();
      long value = 0;
      for (char c : port) {
        if (!std::isdigit(static_cast<unsigned char>(c))) throw invalid();
        value = value * 10 + (c - '0');
      }
      uri.port_ = value;
    }
  }

  uri.path_ = Decode(TakeUntil(rest, "?#"));
  if (rest.starts_with('?')) {
    rest.remove_prefix(1);
    uri.query_ = Decode(TakeUntil(rest, "#"));
  }
  if (rest.starts_with('#')) uri.fragment_ = Decode(rest.substr(1));
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
    const int high = i + 1 < text.size() ? HexValue(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
    if (high < 0 || low < 0) throw URIDecodeException("Invalid or incomplete escape sequence");
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

std::string URI::Encode(std::string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte >= 0x7F || kReserved.find(c) != std::string_view::npos) {
      encoded += '%';
      encoded += kDigits[byte >> 4];
      encoded += kDigits[byte & 0x0F];
    } else {
      encoded += c;
    }
  }
  return encoded;
}

}  // namespace Corvane
