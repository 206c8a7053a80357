// Decodes arbitrary text as typed escapes, and checks that encoding any byte
// string and decoding it again gives the same bytes back. An unknown escape
// ends a run normally; anything else, or any sanitizer report, is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/exception.h"
#include "tpcl/escape.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    Corvane::TPCLCommands::Unescape(text);
  } catch (const Corvane::UnknownEscapeException&) {
  }
  if (Corvane::TPCLCommands::Unescape(Corvane::TPCLCommands::Escape(text)) != text) std::abort();
  return 0;
}
