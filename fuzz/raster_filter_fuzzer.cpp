// Feeds arbitrary bytes to the filter as its raster input, through the same
// road as rastertovellum: libcupsimage's reader, the pages' checks, the
// halftoning and the label job writer. A refused page or stream ends a run
// normally; a crash, a hang or any sanitizer report is a finding. The job's
// options come from the first byte, so that every method and format of
// output is reached.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>

#include "driver/label_filter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Corvane::Driver;
  if (size == 0) return 0;
  JobSettings settings;
  settings.options.halftone = static_cast<Halftone>(data[0] % 5);
  settings.options.curve = (data[0] >> 3) % 7;
  settings.copies = 1 + (data[0] >> 6);
  settings.insertions = {"<job>", "</job>", "<label>", "</label>"};
  const std::uint8_t* next = data + 1;
  const std::uint8_t* const end = data + size;
  try {
    RasterInput input([&](unsigned char* buffer, std::size_t length) -> std::ptrdiff_t {
      const std::size_t count = std::min<std::size_t>(length, static_cast<std::size_t>(end - next));
      std::memcpy(buffer, next, count);
      next += count;
      return static_cast<std::ptrdiff_t>(count);
    });
    std::ostringstream out, messages;
    WriteJob(input, settings, out, messages);
  } catch (const Corvane::Exception&) {
  }
  return 0;
}
