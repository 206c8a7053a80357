// The printer's reply to the status request {WS|}.
//
// The reply is 13 bytes: SOH STX, the two-digit status code, then digits the
// tool reads as the remaining count, and a tail ending ETX EOT LF CR.
#pragma once

#include <cstdint>
#include <span>

namespace Corvane {

class TPCLPrinterStatus {
 public:
  // The TPCL template of the status request.
  static constexpr const char* kRequestTemplate = "WS";
  // The size of the printer's reply.
  static constexpr std::size_t kResponseSize = 13;

  TPCLPrinterStatus() = default;
  TPCLPrinterStatus(std::uint16_t statusCode, std::uint16_t remainingCount)
      : statusCode_(statusCode), remainingCount_(remainingCount) {}

  // Parses a received reply. An empty buffer leaves both fields 0. Throws
  // TPCLPrinterStatusException "Response from printer is too small" (fewer
  // than 13 bytes) or "Unexpected response from printer" (no SOH STX start).
  // A field without digits fails with std::invalid_argument ("stoi").
  static TPCLPrinterStatus FromResponse(std::span<const unsigned char> response);

  // Reads a reply that is already waiting on the descriptor, without waiting
  // for one. Throws EmptyTPCLPrinterStatusException when nothing is there,
  // InvalidTPCLPrinterStatusException for a wrong start or end, and the
  // failures of ReadExact.
  static TPCLPrinterStatus FromDescriptor(int descriptor);

  std::uint16_t StatusCode() const { return statusCode_; }
  std::uint16_t RemainingCount() const { return remainingCount_; }

 private:
  std::uint16_t statusCode_ = 0;
  std::uint16_t remainingCount_ = 0;
};

}  // namespace Corvane
