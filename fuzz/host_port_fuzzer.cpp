// Splits arbitrary text as the "host:port" of a network printer, without
// resolving it. A text without ":" ends a run normally; a split that does
// not give the text back, anything else, or any sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/exception.h"
#include "printer/network_address.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const auto [host, service] = Corvane::Network::SplitHostAndService(text);
    if (host + ":" + service != text || host.find(':') != std::string::npos) std::abort();
  } catch (const Corvane::Network::AddressException&) {
  }
  return 0;
}
