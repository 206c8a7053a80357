// The readers of each picture format and the pixel rules they share. Used by
// picture.cpp, the tests and the fuzz targets; users call LoadPicture.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "graphics/image.h"
#include "picture/picture.h"

namespace Corvane::Picture {

// Each reader takes the whole file and throws PictureException with a
// message that begins with `name` and a colon.
[[nodiscard]] Brindle::Image LoadPNG(std::span<const unsigned char> bytes, const std::string& name,
                                     const PictureLimits& limits);
[[nodiscard]] Brindle::Image LoadJPEG(std::span<const unsigned char> bytes, const std::string& name,
                                      const PictureLimits& limits);
[[nodiscard]] Brindle::Image LoadTIFF(std::span<const unsigned char> bytes, const std::string& name,
                                      const PictureLimits& limits);
// Plain and raw netpbm: P1 and P4 bitmaps, P2 and P5 grey maps, P3 and P6
// pixel maps, maxval 1 to 65535; the first picture of the file.
[[nodiscard]] Brindle::Image LoadPNM(std::span<const unsigned char> bytes, const std::string& name,
                                     const PictureLimits& limits);

// Throws "<name>: the picture has no pixels" for a zero side and "<name>: the
// picture is too large (W x H pixels; at most N megapixels)" past the limit,
// so readers call it before they allocate anything.
void CheckPictureSize(std::uint64_t width, std::uint64_t height, const std::string& name,
                      const PictureLimits& limits);

// A sample of `maxval` levels to 0..255, rounded to the nearest.
[[nodiscard]] inline std::uint8_t ScaleSample(std::uint32_t value, std::uint32_t maxval) {
  return static_cast<std::uint8_t>((value * 255u + maxval / 2) / maxval);
}

// A colour value laid over white with opacity `alpha` (0 transparent, 255
// opaque), both 0..255.
[[nodiscard]] inline std::uint8_t OverWhite(std::uint8_t value, std::uint8_t alpha) {
  return static_cast<std::uint8_t>((value * alpha + 255u * (255u - alpha) + 127u) / 255u);
}

}  // namespace Corvane::Picture
