// Turning any supported picture into a printable Bitmap: nearest-neighbour
// scaling to a size on the label, a rotation by quarter turns, and grey to
// dots by a screen, a fixed threshold or 4 x 4 patterns.
#pragma once

#include <cstdint>

#include "graphics/bitmap.h"
#include "graphics/halftoning.h"
#include "graphics/image.h"

namespace Brindle {

// The place of a picture on the label, in tenths of a millimetre: from
// (x0, y0) up to (x1, y1).
struct LabelRectangle {
  std::uint64_t x0;
  std::uint64_t y0;
  std::uint64_t x1;
  std::uint64_t y1;
};

// How grey becomes dots. Any method code not listed uses the 4 x 4 patterns
// with the tone curve (graphics/tone_curves.h).
enum DitherMethod : std::int32_t {
  kFirstScreenMethod = 2,
  kSecondScreenMethod = 3,
  kThirtyTwoScreenMethod = 4,
  kFixedThresholdMethod = 5,
  kPatternMethod = 0,
};

// The destination-to-source mapping of a rotation by `rotation` quarter turns
// (0..3), with parameters {source width w, source height h, destination width
// W, destination height H}:
//   0: (x w / W, y h / H)              1: (y w / H, (W - x - 1) h / W)
//   2: (w - 1 - x w / W, h - 1 - y h / H)   3: ((H - y - 1) w / H, x h / W)
// in integer arithmetic, a division by a zero W or H giving 0.
// Throws BitmapException "Unknown rotation" for any other value.
[[nodiscard]] SourceMapping RotationMapping(std::int32_t rotation);

// A bitmap of W x H dots, W = (x1 - x0) x resolution / 10 and likewise H
// (resolution in dots per millimetre, truncated), showing `source` scaled by
// nearest neighbour and turned `rotation` quarter turns; the rectangle is the
// size of the turned result. The bitmap keeps the source's resolution and is
// positioned at (x0, y0), in the rectangle's own units.
//
// Sources: 8-bit grey, 8-bit RGB (3 or 4 channels; the first three bytes are
// R, G, B) and 1-bit (a set bit is copied when source.WhiteIsZero(), as in
// every Bitmap, and inverted otherwise). 1-bit sources ignore method and curve.
//
// When pureCount is given it receives the number of source pixels read that
// were pure black or white (for the pattern method: whose dot class was 0 or
// 8; for 1-bit sources: W x H).
//
// Throws BitmapException, before anything else happens:
//   "Cannot downsample images that do not have 8 bits per sample or 1-bit
//    monochrome" (1, 3 or 4 channels of another depth),
//   "Cannot downsample images that do not have 1, 3 or 4 channels",
//   "Invalid size" (a result too large to address, or a negative or not-a-
//    number size),
//   "Source data does not match size" (data size != height x bytes per row),
//   "Unknown rotation",
//   "Source image is empty" (a non-empty result from a source without pixels);
// and HalftoningException (graphics/halftoning.h) for a screen method with a
// curve other than kNormalCurve.
[[nodiscard]] Bitmap BitmapFromImage(const Image& source, const LabelRectangle& rectangle,
                                     double resolution, std::int32_t rotation, std::int32_t method,
                                     std::uint32_t curve, std::uint64_t* pureCount = nullptr);

}  // namespace Brindle
