// Hexadecimal digits, as the escapes of user text and of URIs write them.
#pragma once

namespace Corvane {

// The value of one hexadecimal digit of either case, or -1 for any other
// character.
constexpr int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The digit of a value from 0 to 15, in lower or upper case.
constexpr char HexDigit(unsigned value, bool upperCase) {
  return (upperCase ? "0123456789ABCDEF" : "0123456789abcdef")[value & 0x0F];
}

}  // namespace Corvane
