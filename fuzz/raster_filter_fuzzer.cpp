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
#include "labeljob/choice_words.h"

// libcupsimage allocates a page's line (calloc of cupsBytesPerLine bytes, up
// to 4 GiB) while it reads a page header, before the filter can refuse a line
// that long. Outside the sanitizer that memory is never touched; inside it,
// the allocator clears it, which turns every such header into seconds of
// work. Allocations beyond 700 MiB therefore fail (libcups then refuses the
// header); the filter's own stay below that, its largest being an RGB picture
// of the largest label, some 300 MiB, while its vector grows.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=700";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Corvane::Driver;
  if (size == 0) return 0;
  JobSettings settings;
  settings.options.method = Corvane::LabelJob::kMethodWords[data[0] % 5].method;
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
