// Fuzzes our own netpbm reader. Refusals are PictureException; anything else
// (another exception, a crash, a read past the bytes) is a bug. The size
// limit is small so that a header's claim cannot make the fuzzer allocate
// more than its memory limit.
#include <cstdint>
#include <span>

#include "picture/picture_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Corvane::Picture::PictureLimits limits;
  limits.maxPixels = 1 << 22;
  try {
    (void)Corvane::Picture::LoadPNM(std::span(data, size), "fuzz", limits);
  } catch (const Corvane::Picture::PictureException&) {
  }
  return 0;
}
