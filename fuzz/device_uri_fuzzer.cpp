// Parses arbitrary text as a CUPS device URI. The URI exceptions end a run
// normally; anything else, or any sanitizer report, is a finding.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/exception.h"
#include "printer/uri.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    Corvane::URI::FromString(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const Corvane::URIException&) {
  } catch (const Corvane::URIDecodeException&) {
  }
  return 0;
}
