// Fuzzes the whole picture loader as vellum-image uses it: the format is told
// by the first bytes, then libpng, libjpeg-turbo, libtiff or our netpbm
// reader takes the rest. Every refusal must be a PictureException naming the
// file; anything else is a bug in our use of the libraries.
#include <cstdint>
#include <span>

#include "picture/picture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Corvane::Picture::PictureLimits limits;
  limits.maxPixels = 1 << 22;
  try {
    (void)Corvane::Picture::LoadPicture(std::span(data, size), "fuzz", limits);
  } catch (const Corvane::Picture::PictureException&) {
  }
  return 0;
}
