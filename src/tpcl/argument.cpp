#include "tpcl/argument.h"

#include <algorithm>
#include <string>

#include "core/exception.h"
#include "core/hex.h"

namespace Corvane::TPCLCommands {
namespace {

bool Good(const std::ostream& output) { return !output.fail(); }

std::string PadLeft(std::string text, std::size_t width, char fill = '0') {
  if (text.size() < width) text.insert(0, width - text.size(), fill);
  return text;
}

// The value's bytes, most significant first, as wide as its type.
template <typename Unsigned>
std::string BigEndianBytes(Unsigned value) {
  std::string bytes(sizeof(Unsigned), '\0');
  for (std::size_t i = sizeof(Unsigned); i-- > 0; value >>= 8)
    bytes[i] = static_cast<char>(value & 0xFF);
  return bytes;
}

std::string UpperHex(std::uint64_t value) {
  std::string hex;
  do {
    hex.insert(hex.begin(), HexDigit(static_cast<unsigned>(value & 0xF), true));
    value >>= 4;
  } while (value != 0);
  return hex;
}

// Keeps the lowest bytes: a field of L characters with "*" holds L - 1 of
// them. A start index below zero wraps to a huge one, so substr reports the
// impossible placeholder with std::out_of_range.
std::string LowestBytes(const std::string& bytes, std::size_t length) {
  return bytes.substr(bytes.size() + 1 - length);
}

// The numeric rendering shared by the integer classes. Signed values arrive
// with their absolute value and sign apart; hexadecimal uses the pattern.
template <typename Unsigned>
void FormatNumber(std::ostream& output, std::string_view placeholder, Unsigned pattern,
                  bool negative, Unsigned magnitude) {
  if (placeholder.find('/') != std::string_view::npos) throw CommandException("Unsupported format");
  if (placeholder.empty()) return;
  const std::size_t length = placeholder.size();
  const char last = placeholder.back();
  if (last == '*') {
    output << LowestBytes(BigEndianBytes(pattern), length);
  } else if (last == '$') {
    output << PadLeft(UpperHex(pattern), length - 1).substr(0, length - 1);
  } else if (placeholder.front() == '+') {
    const std::string digits = std::to_string(magnitude);
    output << (negative ? '-' : '+') << PadLeft(digits, length - 1).substr(0, length - 1);
  } else {
    // Without a sign mark a negative value is padded to the left of its minus
    // sign ("0-5"); every signed field of the tool uses "+" to avoid that.
    const std::string text = (negative ? "-" : "") + std::to_string(magnitude);
    // A value wider than its field is cut on the right, as required: the
    // command keeps the fixed width the printer reads its fields by.
    output << PadLeft(text, length).substr(0, length);
  }
}

// "/N" gives the maximum N, otherwise the placeholder's own length counts.
std::uint64_t MaximumLength(std::string_view placeholder) {
  const std::size_t slash = placeholder.find('/');
  if (slash == std::string_view::npos) return placeholder.size();
  return std::stoull(std::string(placeholder.substr(slash + 1)));
}

}  // namespace

bool IntegerArgument::Format(std::ostream& output, std::string_view placeholder) const {
  const auto pattern = static_cast<std::uint32_t>(value_);
  const std::uint32_t magnitude = value_ < 0 ? 0u - pattern : pattern;
  FormatNumber<std::uint32_t>(output, placeholder, pattern, value_ < 0, magnitude);
  return Good(output);
}

bool UIntegerArgument::Format(std::ostream& output, std::string_view placeholder) const {
  FormatNumber<std::uint32_t>(output, placeholder, value_, false, value_);
  return Good(output);
}

bool ULargeIntegerArgument::Format(std::ostream& output, std::string_view placeholder) const {
  FormatNumber<std::uint64_t>(output, placeholder, value_, false, value_);
  return Good(output);
}

bool USmallIntegerArgument::Format(std::ostream& output, std::string_view placeholder) const {
  if (placeholder.find('/') != std::string_view::npos) throw CommandException("Unsupported format");
  if (placeholder.empty()) return Good(output);
  const std::size_t length = placeholder.size();
  const std::string byte(1, static_cast<char>(value_));
  if (placeholder.back() == '*') {
    output << byte.substr(byte.size() + 1 - length);
  } else {
    // The value goes out as the character of that code, not as digits. This
    // is required: a field of this class carries a raw byte, and printers
    // read it as one.
    const std::size_t width = placeholder.back() == '$' ? length - 1 : length;
    output << PadLeft(byte, width).substr(0, width);
  }
  return Good(output);
}

bool NegativeZeroArgument::Format(std::ostream& output, std::string_view placeholder) const {
  const std::size_t length = placeholder.size();
  if (length == 0) return Good(output);
  if (length == 1) {
    output << '-';
  } else if (length == 2) {
    output << "-0";
  } else {
    const bool suffixed = placeholder.back() == '*' || placeholder.back() == '$';
    output << '-' << std::string(suffixed ? length - 2 : length - 1, '0');
  }
  return Good(output);
}

bool CharacterArgument::Format(std::ostream& output, std::string_view) const {
  output << value_;
  return Good(output);
}

bool StringArgument::Format(std::ostream& output, std::string_view placeholder) const {
  const std::uint64_t maximum = MaximumLength(placeholder);
  const std::size_t count =
      maximum == 0 ? value_.size()
                   : static_cast<std::size_t>(std::min<std::uint64_t>(maximum, value_.size()));
  output.write(value_.data(), static_cast<std::streamsize>(count));
  return Good(output);
}

bool BufferArgument::Format(std::ostream& output, std::string_view placeholder) const {
  if (value_.empty()) return Good(output);
  const std::uint64_t maximum = MaximumLength(placeholder);
  const std::size_t count =
      maximum == 0 ? value_.size()
                   : static_cast<std::size_t>(std::min<std::uint64_t>(maximum, value_.size()));
  output.write(reinterpret_cast<const char*>(value_.data()), static_cast<std::streamsize>(count));
  return Good(output);
}

}  // namespace Corvane::TPCLCommands
