// The halftoners and bitmap-from-image work sixteen pixels a step and resolve
// the rotation mapping per row; these cases hold them to the plain per-pixel
// rule -- grey below the threshold at (x, y), packed most significant bit
// first, padding bits zero -- on random pictures of awkward widths.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "graphics/halftoning.h"
#include "graphics/screens.h"
#include "graphics/tone_curves.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;
using Halftoner = std::uint64_t (*)(const HalftoneParameters&);

// Random greys with plenty of pure black and white among them.
Bytes RandomBytes(std::size_t count, std::mt19937& random) {
  Bytes bytes(count);
  for (auto& byte : bytes) byte = random() % 5 == 0 ? random() % 2 * 255 : random() % 256;
  return bytes;
}

struct Expected {
  Bytes rows;
  std::uint64_t pure = 0;
};

// The rule pixel by pixel: `dot(x, y, grey)` for each destination pixel whose
// grey `greyAt(x, y)` gives.
template <class GreyAt, class Dot>
Expected PerPixel(std::uint64_t bytesPerRow, std::uint64_t height, unsigned padding, GreyAt greyAt,
                  Dot dot) {
  Expected e;
  e.rows.assign(bytesPerRow * height, 0);
  for (std::uint64_t y = 0; y < height; ++y) {
    for (std::uint64_t b = 0; b < bytesPerRow; ++b) {
      const unsigned pixels = b + 1 < bytesPerRow ? 8 : 8 - std::min(padding, 8U);
      unsigned bits = 0;
      for (unsigned j = 0; j < pixels; ++j) {
        const std::uint64_t x = b * 8 + j;
        const unsigned grey = greyAt(x, y);
        e.pure += grey == 0 || grey == 255;
        bits = (bits << 1) | (dot(x, y, grey) ? 1U : 0U);
      }
      e.rows[y * bytesPerRow + b] = static_cast<unsigned char>(bits << (8 - pixels));
    }
  }
  return e;
}

struct ScreenCase {
  const ThresholdScreen& (*screen)();
  Halftoner grey, mappedGrey, mappedRgb;
};

const ScreenCase kScreens[] = {
    {FirstScreen, HalftoneGreyFirstScreen, HalftoneMappedGreyFirstScreen,
     HalftoneMappedRgbFirstScreen},
    {SecondScreen, HalftoneGreySecondScreen, HalftoneMappedGreySecondScreen,
     HalftoneMappedRgbSecondScreen},
    {ThirtyTwoScreen, HalftoneGrey32Screen, HalftoneMappedGrey32Screen, HalftoneMappedRgb32Screen},
};

// Mirrors left to right and shifts down by a row: not one of the rotation
// mappings, so the halftoner has to ask it pixel by pixel.
SourcePoint MirrorMapping(const MappingParameters& p, std::uint64_t x, std::uint64_t y) {
  return {p[0] - 1 - x % p[0], (y + 1) % p[1]};
}

class HalftonerEquivalence : public testing::TestWithParam<std::uint64_t> {};

// Every halftoner straight on its parameter block, over a destination full
// of junk (each byte must be written), with every rotation mapping and a
// mapping of the caller's own; padding from none to a whole byte.
TEST_P(HalftonerEquivalence, MatchesThePerPixelRule) {
  const std::uint64_t width = GetParam();
  std::mt19937 random(static_cast<unsigned>(width));
  for (unsigned padding : {0U, 3U, 7U, 8U}) {
    const std::uint64_t bytesPerRow = (width + padding + 7) / 8;
    const std::uint64_t pixels = bytesPerRow * 8 - padding;
    if (bytesPerRow == 0 || pixels > width) continue;
    const std::uint64_t height = 37;
    for (const ScreenCase& s : kScreens) {
      const ThresholdScreen& screen = s.screen();
      const auto dot = [&screen](std::uint64_t x, std::uint64_t y, unsigned grey) {
        return grey < screen.At(x, y);
      };
      // Unmapped grey: the source row is as wide as the destination's pixels.
      const Bytes grey = RandomBytes(pixels * height + 3, random);
      Bytes out(bytesPerRow * height, 0xA5);
      HalftoneParameters p;
      p.source = grey.data();
      p.sourceBytesPerRow = pixels;
      p.destination = out.data();
      p.destinationBytesPerRow = bytesPerRow;
      p.destinationHeight = height;
      p.paddingBits = padding;
      const std::uint64_t pure = s.grey(p);
      const Expected plain = PerPixel(
          bytesPerRow, height, padding,
          [&](std::uint64_t x, std::uint64_t y) { return grey[y * pixels + x]; }, dot);
      EXPECT_EQ(out, plain.rows) << "width " << width << " padding " << padding;
      EXPECT_EQ(pure, plain.pure);

      // Mapped: a source of another size, grey and RGB with 3 or 4 bytes a pixel.
      const std::uint64_t w = 23, h = 29;
      const Bytes source = RandomBytes(std::max(w * h, pixels * height) * 4, random);
      // Mappings 0-3 scale; 5-8 are exact quarter and half turns of a source
      // of the turned size, where neighbouring rows read neighbouring columns.
      for (int mapping = 0; mapping < 9; ++mapping) {
        p.mapping = mapping < 4    ? RotationMapping(mapping)
                    : mapping == 4 ? MirrorMapping
                                   : RotationMapping(mapping - 5);
        const bool turned = mapping > 4 && mapping % 2 == 0;  // rotations 1 and 3
        const std::uint64_t sw = mapping < 5 ? w : turned ? height : pixels;
        const std::uint64_t sh = mapping < 5 ? h : turned ? pixels : height;
        p.mappingParameters = {sw, sh, pixels, height};
        p.source = source.data();
        for (std::uint64_t bytesPerPixel : {1U, 3U, 4U}) {
          p.sourceBytesPerPixel = bytesPerPixel;
          p.sourceBytesPerRow = sw * bytesPerPixel;
          const auto greyAt = [&](std::uint64_t x, std::uint64_t y) -> unsigned {
            const SourcePoint at = p.mapping(p.mappingParameters, x, y);
            const unsigned char* px = &source[at.y * p.sourceBytesPerRow + at.x * bytesPerPixel];
            return bytesPerPixel == 1 ? px[0] : (299 * px[0] + 587 * px[1] + 114 * px[2]) / 1000;
          };
          std::fill(out.begin(), out.end(), 0xA5);
          const std::uint64_t mappedPure = bytesPerPixel == 1 ? s.mappedGrey(p) : s.mappedRgb(p);
          const Expected mapped = PerPixel(bytesPerRow, height, padding, greyAt, dot);
          EXPECT_EQ(out, mapped.rows) << "width " << width << " padding " << padding << " mapping "
                                      << mapping << " bytes " << bytesPerPixel;
          EXPECT_EQ(mappedPure, mapped.pure);
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, HalftonerEquivalence,
                         testing::Values(1, 7, 8, 9, 15, 16, 17, 24, 31, 32, 33, 47, 63, 100, 129));

class BitmapFromImageEquivalence : public testing::TestWithParam<std::uint64_t> {};

// bitmap-from-image by every method, rotation and source kind, scaled up and
// down, against the documented mapping and rules applied pixel by pixel.
TEST_P(BitmapFromImageEquivalence, MatchesThePerPixelRule) {
  const std::uint64_t width = GetParam();
  std::mt19937 random(static_cast<unsigned>(width) + 100);
  const std::uint64_t w = 19, h = 13;
  for (std::uint64_t channels : {1U, 3U, 4U}) {
    const Bytes data = RandomBytes(w * h * channels, random);
    const Image source(8, channels, w, h, data);
    for (std::int32_t rotation = 0; rotation < 4; ++rotation) {
      for (std::int32_t method : {2, 3, 4, 5, 0}) {
        for (std::uint32_t curve : {0U, 3U, 6U}) {
          const bool screen = method >= 2 && method <= 4;
          if (screen && curve != 3) continue;
          const std::uint64_t height = width % 11 + 5;
          std::uint64_t pure = 0;
          const Bitmap dots =
              BitmapFromImage(source, {0, 0, width, height}, 10.0, rotation, method, curve, &pure);
          ASSERT_EQ(dots.Width(), width);
          const SourceMapping map = RotationMapping(rotation);
          const MappingParameters mp{w, h, width, height};
          const auto greyAt = [&](std::uint64_t x, std::uint64_t y) -> unsigned {
            const SourcePoint at = map(mp, x, y);
            const unsigned char* px = &data[(at.y * w + at.x) * channels];
            return channels == 1 ? px[0] : (299 * px[0] + 587 * px[1] + 114 * px[2]) / 1000;
          };
          const ThresholdScreen& thresholds = method == 2   ? FirstScreen()
                                              : method == 3 ? SecondScreen()
                                                            : ThirtyTwoScreen();
          std::uint64_t patternPure = 0;
          const auto dot = [&](std::uint64_t x, std::uint64_t y, unsigned grey) {
            if (screen) return grey < thresholds.At(x, y);
            if (method == 5) return grey < FixedThreshold(curve);
            const unsigned toneClass = ToneClass(curve, static_cast<std::uint8_t>(grey));
            patternPure += toneClass == 0 || toneClass == 8;
            return PatternDot(toneClass, x % 4, y % 4);
          };
          const Expected e = PerPixel(dots.BytesPerRow(), height, (8 - width % 8) % 8, greyAt, dot);
          EXPECT_EQ(dots.Data(), e.rows) << "channels " << channels << " rotation " << rotation
                                         << " method " << method << " curve " << curve;
          EXPECT_EQ(pure, method == 0 ? patternPure : e.pure);
        }
      }
    }
  }
}

// Quarter turns of a picture exactly the turned size, where eight rows at a
// time come from eight neighbouring source columns.
TEST_P(BitmapFromImageEquivalence, ExactQuarterTurns) {
  const std::uint64_t width = GetParam();
  const std::uint64_t height = width % 13 + 9;
  std::mt19937 random(static_cast<unsigned>(width) + 200);
  const Bytes data = RandomBytes(height * width, random);
  const Image source(8, 1, height, width, data);  // turned: W = h, H = w
  for (std::int32_t rotation : {1, 3}) {
    for (std::int32_t method : {2, 4, 5}) {
      std::uint64_t pure = 0;
      const Bitmap dots =
          BitmapFromImage(source, {0, 0, width, height}, 10.0, rotation, method, 3, &pure);
      const SourceMapping map = RotationMapping(rotation);
      const MappingParameters mp{height, width, width, height};
      const auto greyAt = [&](std::uint64_t x, std::uint64_t y) -> unsigned {
        const SourcePoint at = map(mp, x, y);
        return data[at.y * height + at.x];
      };
      const auto dot = [&](std::uint64_t x, std::uint64_t y, unsigned grey) {
        if (method == 5) return grey < FixedThreshold(3);
        return grey < (method == 2 ? FirstScreen() : ThirtyTwoScreen()).At(x, y);
      };
      const Expected e = PerPixel(dots.BytesPerRow(), height, (8 - width % 8) % 8, greyAt, dot);
      EXPECT_EQ(dots.Data(), e.rows) << "rotation " << rotation << " method " << method;
      EXPECT_EQ(pure, e.pure);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, BitmapFromImageEquivalence,
                         testing::Values(1, 9, 16, 17, 31, 40, 57, 130));

}  // namespace
}  // namespace Brindle
