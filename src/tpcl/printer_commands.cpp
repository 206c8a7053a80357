#include "tpcl/printer_commands.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <regex>
#include <string>

#include "core/exception.h"
#include "tpcl/command.h"
#include "tpcl/escape.h"
#include "tpcl/printer_status.h"

namespace Corvane::Vellum::Commands {
namespace {

using TPCLCommands::ArgumentList;
using TPCLCommands::IntegerArgument;
using TPCLCommands::SendTPCLCommand;
using TPCLCommands::StringArgument;
using TPCLCommands::UIntegerArgument;

// Raised by the value parsers of this file only; the commands turn them into
// InvalidArgumentException for the argument concerned.
class FixedPointException : public Exception {
 public:
  using Exception::Exception;
};

class IPV4AddressParseException : public Exception {
 public:
  IPV4AddressParseException() : Exception("Invalid IP address format") {}
};

constexpr int kStatusTimeoutMilliseconds = 5000;

// A millimetre value with at most one decimal, returned in tenths.
int ParseTenths(const std::string& text) {
  static const std::regex pattern("^(-|\\+)?(\\d{1,5})(\\.(\\d))?$", std::regex::ECMAScript);
  std::smatch match;
  if (!std::regex_match(text, match, pattern))
    throw FixedPointException("Invalid fixed point number format");
  int tenths = std::stoi(match[2].str()) * 10;
  if (match[4].matched) tenths += match[4].str()[0] - '0';
  return match[1].str() == "-" ? -tenths : tenths;
}

struct FineAdjustment {
  const char* name;
  int minimum;  // tenths, inclusive
  int maximum;
};

constexpr FineAdjustment kFineAdjustments[] = {
    {"feed", -500, 500},
    {"cutstrip", -500, 500},
    {"backfeed", -99, 99},
};

// A decimal number no larger than maximum. Its value counts, not its length:
// leading zeros ("001", "024") are accepted however many there are.
bool ParseDecimal(std::string_view text, std::uint32_t maximum, std::uint32_t& value) {
  if (text.empty()) return false;
  value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
    if (value > maximum) return false;
  }
  return true;
}

using Octets = std::array<std::uint32_t, 4>;

Octets ParseDottedAddress(std::string_view text) {
  Octets octets{};
  for (std::size_t i = 0; i < octets.size(); ++i) {
    const std::size_t dot = i + 1 < octets.size() ? text.find('.') : text.size();
    if (dot == std::string_view::npos || !ParseDecimal(text.substr(0, dot), 255, octets[i]))
      throw IPV4AddressParseException();
    text.remove_prefix(i + 1 < octets.size() ? dot + 1 : dot);
  }
  return octets;
}

Octets MaskFromPrefix(std::uint32_t prefix) {
  const std::uint32_t mask = prefix == 0 ? 0 : ~std::uint32_t{0} << (32 - prefix);
  return {mask >> 24, (mask >> 16) & 0xFF, (mask >> 8) & 0xFF, mask & 0xFF};
}

template <typename Parse>
auto ParseArgument(const char* name, Parse parse) {
  try {
    return parse();
  } catch (const FixedPointException& e) {
    throw InvalidArgumentException(name, e.what());
  } catch (const IPV4AddressParseException& e) {
    throw InvalidArgumentException(name, e.what());
  }
}

void SendAddress(Printer& printer, const char* commandTemplate, const Octets& octets) {
  SendTPCLCommand(
      printer, commandTemplate,
      {std::make_shared<UIntegerArgument>(octets[0]), std::make_shared<UIntegerArgument>(octets[1]),
       std::make_shared<UIntegerArgument>(octets[2]),
       std::make_shared<UIntegerArgument>(octets[3])});
}

// Converted as std::stoi does; a port of more than five digits is cut to its
// first five by the field width. Required: the command keeps the fixed
// five-digit field the printer reads, whatever the user typed.
void SendPort(Printer& printer, int port) {
  SendTPCLCommand(printer, "IS;a,bbbbb",
                  {std::make_shared<IntegerArgument>(port != 0 ? 1 : 0),
                   std::make_shared<IntegerArgument>(port)});
}

}  // namespace

void FeedLabel(Printer& printer, const Arguments& arguments) {
  int sensor = 0;
  int cut = 0;
  int ribbon = 0;
  bool strip = false;
  for (const std::string& option : arguments) {
    if (option == "cut")
      cut = 1;
    else if (option == "withribbon")
      ribbon = 1;
    else if (option == "strip")
      strip = true;
    else if (option == "transmissive")
      sensor = 2;
    else if (option == "reflective")
      sensor = 1;
    else
      throw InvalidArgumentException("option", option);
  }
  SendTPCLCommand(
      printer, "T;abcde",
      {std::make_shared<IntegerArgument>(sensor), std::make_shared<IntegerArgument>(cut),
       std::make_shared<StringArgument>(strip ? "D" : "C"), std::make_shared<IntegerArgument>(3),
       std::make_shared<IntegerArgument>(ribbon)});
}

void GetStatus(Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 0, 0);
  SendTPCLCommand(printer, TPCLPrinterStatus::kRequestTemplate, {});
  std::array<unsigned char, TPCLPrinterStatus::kResponseSize> response{};
  try {
    printer.TimedRead(response, kStatusTimeoutMilliseconds);
    const TPCLPrinterStatus status = TPCLPrinterStatus::FromResponse(response);
    std::cout << "Status code: " << status.StatusCode() << std::endl;
    std::cout << "Remaining count: " << status.RemainingCount() << std::endl;
  } catch (const EmptyTPCLPrinterStatusException&) {
    std::cout << "Status code: NO RESPONSE" << std::endl;
    std::cout << "Remaining count: NO RESPONSE" << std::endl;
  } catch (const InvalidTPCLPrinterStatusException&) {
    std::cout << "Status code: NO RESPONSE" << std::endl;
    std::cout << "Remaining count: NO RESPONSE" << std::endl;
  }
}

void RawTPCL(Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 0, 1);
  if (!arguments.empty()) return printer.Send(arguments[0]);
  printer.SendStream(std::cin);
  // std::cin reads through C stdio, which reports a failed read (standard
  // input a directory, say) as the end of the input; only stdio's error flag
  // tells the two apart.
  if (std::ferror(stdin)) throw IOException("Unexpected read error before end of input");
}

void TPCL(Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 1, 0);
  // The user writes the braces and bars: nothing is framed here.
  printer.Send(TPCLCommands::Unescape(arguments[0]));
}

void SetFineAdjustments(Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 3, 0);
  std::array<int, 3> tenths{};
  for (std::size_t i = 0; i < tenths.size(); ++i)
    tenths[i] = ParseArgument(kFineAdjustments[i].name, [&] { return ParseTenths(arguments[i]); });
  for (std::size_t i = 0; i < tenths.size(); ++i) {
    const FineAdjustment& range = kFineAdjustments[i];
    if (tenths[i] < range.minimum || tenths[i] > range.maximum)
      throw ArgumentOutOfRangeException(range.name, tenths[i] / 10.0, range.minimum / 10.0,
                                        range.maximum / 10.0);
  }
  SendTPCLCommand(
      printer, "AX;+bbb,+ddd,+ff",
      {std::make_shared<IntegerArgument>(tenths[0]), std::make_shared<IntegerArgument>(tenths[1]),
       std::make_shared<IntegerArgument>(tenths[2])});
}

void SetIPV4(Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 2, 1);
  const auto [address, prefix] = ParseArgument("ip", [&] {
    const std::string& text = arguments[0];
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) throw IPV4AddressParseException();
    std::uint32_t prefixLength = 0;
    if (!ParseDecimal(std::string_view(text).substr(slash + 1), 32, prefixLength))
      throw IPV4AddressParseException();
    return std::pair(ParseDottedAddress(std::string_view(text).substr(0, slash)), prefixLength);
  });
  const Octets gateway = ParseArgument("gw", [&] { return ParseDottedAddress(arguments[1]); });
  // The port is converted before anything is sent, so a bad port leaves the
  // printer's settings untouched.
  const bool hasPort = arguments.size() == 3;
  const int port = hasPort ? std::stoi(arguments[2]) : 0;

  SendAddress(printer, "IP;2,aaa,bbb,ccc,ddd", address);
  SendAddress(printer, "IP;3,aaa,bbb,ccc,ddd", MaskFromPrefix(prefix));
  SendAddress(printer, "IP;4,aaa,bbb,ccc,ddd", gateway);
  if (hasPort) SendPort(printer, port);
}

void SetPort(Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 1, 0);
  SendPort(printer, std::stoi(arguments[0]));
}

void TestLabel(Printer&, const Arguments&) {
  throw UnimplementedException("Test labels not implemented yet");
}

}  // namespace Corvane::Vellum::Commands
