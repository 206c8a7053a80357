// Parses arbitrary bytes as the printer's status reply, both ways the tool
// knows: the reply buffer of getstatus and the stream reader on a
// descriptor (here a pipe holding the bytes). The status exceptions, and the
// standard conversion error of a field without digits, end a run normally;
// anything else, or any sanitizer report, is a finding.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "core/exception.h"
#include "tpcl/printer_status.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    Corvane::TPCLPrinterStatus::FromResponse(std::span(data, size));
  } catch (const Corvane::TPCLPrinterStatusException&) {
  } catch (const std::invalid_argument&) {
  }
  // A pipe holds at least 4096 bytes without blocking the writer.
  int ends[2];
  if (size > 4096 || pipe(ends) != 0) return 0;
  if (write(ends[1], data, size) == static_cast<ssize_t>(size)) {
    close(ends[1]);
    ends[1] = -1;
    try {
      Corvane::TPCLPrinterStatus::FromDescriptor(ends[0]);
    } catch (const Corvane::TPCLPrinterStatusException&) {
    } catch (const std::invalid_argument&) {
    }
  }
  close(ends[0]);
  if (ends[1] >= 0) close(ends[1]);
  return 0;
}
