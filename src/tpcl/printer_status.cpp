#include "tpcl/printer_status.h"

#include <poll.h>

#include <array>
#include <string>

#include "core/exception.h"
#include "printer/printer.h"

namespace Corvane {
namespace {

constexpr unsigned char kSOH = 0x01;
constexpr unsigned char kSTX = 0x02;

// Base 10 the way std::stoi reads it: leading blanks skipped, digits up to
// the first non-digit, std::invalid_argument when there are none.
std::uint16_t Decimal(std::span<const unsigned char> digits) {
  return static_cast<std::uint16_t>(std::stoi(std::string(digits.begin(), digits.end())));
}

}  // namespace

TPCLPrinterStatus TPCLPrinterStatus::FromResponse(std::span<const unsigned char> response) {
  if (response.empty()) return TPCLPrinterStatus();
  if (response.size() < kResponseSize)
    throw TPCLPrinterStatusException("Response from printer is too small");
  if (response[0] != kSOH || response[1] != kSTX)
    throw TPCLPrinterStatusException("Unexpected response from printer");
  // The count is taken from bytes 4 to 7 here, one byte earlier than the
  // stream reader takes it. Both offsets are required as they are: scripts
  // that read getstatus's count rely on exactly these digits.
  return TPCLPrinterStatus(Decimal(response.subspan(2, 2)), Decimal(response.subspan(4, 4)));
}

TPCLPrinterStatus TPCLPrinterStatus::FromDescriptor(int descriptor) {
  // poll rather than select: a descriptor numbered at or above FD_SETSIZE
  // must be asked too, without writing past an fd_set.
  pollfd readable{descriptor, POLLIN, 0};
  if (poll(&readable, 1, 0) < 1)
    throw EmptyTPCLPrinterStatusException("There was no printer status to read");

  std::array<unsigned char, 2> start{};
  Vellum::ReadExact(descriptor, start);
  if (start[0] != kSOH || start[1] != kSTX)
    throw InvalidTPCLPrinterStatusException("The response from the printer was invalid");

  std::array<unsigned char, 7> fields{};
  Vellum::ReadExact(descriptor, fields);
  const TPCLPrinterStatus status(Decimal(std::span(fields).subspan(0, 2)),
                                 Decimal(std::span(fields).subspan(3, 4)));

  // ETX EOT LF CR
  static constexpr std::array<unsigned char, 4> kEnd{0x03, 0x04, 0x0A, 0x0D};
  std::array<unsigned char, 4> end{};
  Vellum::ReadExact(descriptor, end);
  if (end != kEnd)
    throw InvalidTPCLPrinterStatusException("The response from the printer was invalid");
  return status;
}

}  // namespace Corvane
