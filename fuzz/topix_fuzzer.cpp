// Feeds arbitrary bytes to the TOPIX decoder alone: the first two bytes give
// the graphic's width in dots, the rest is the data. The decoder's own
// refusals (a bitmap failure, or the range failure of data that ends inside
// a line or addresses a byte past the row) end a run normally; a crash, a
// hang or a sanitizer report is a finding. A decoded bitmap must be encoded
// back to the same rows.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "graphics/exception.h"
#include "render/topix_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::uint64_t width =
      (std::uint64_t{data[0]} << 8 | data[1]) % (Brindle::kTOPIXMaxWidth + 64);
  const std::vector<unsigned char> lines(data + 2, data + size);
  try {
    const Brindle::Bitmap bitmap = Brindle::BitmapFromData(lines, width, 0, Brindle::kTOPIXFormat);
    if (bitmap.Height() == 0 || width == 0 || width > Brindle::kTOPIXMaxWidth) return 0;
    std::stringstream encoded;
    try {
      Brindle::WriteBitmap(bitmap, encoded, Brindle::kTOPIXFormat);
    } catch (const Brindle::BitmapException&) {
      return 0;  // over the 64 KiB that a TOPIX block can hold
    }
    const std::string block = encoded.str();
    const std::vector<unsigned char> again(block.begin() + 2, block.end());
    if (Brindle::BitmapFromData(again, width, 0, Brindle::kTOPIXFormat).Data() != bitmap.Data()) {
      std::abort();
    }
  } catch (const Brindle::BitmapException&) {
  } catch (const std::out_of_range&) {
  }
  return 0;
}
