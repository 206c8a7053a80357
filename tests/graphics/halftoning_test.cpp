// The screens and tone tables, the halftoners and the bitmap-from-image
// operation: its rotations, methods, sources and failures. The halftoners
// work sixteen pixels a step and resolve the rotation mapping per row, so
// they and bitmap-from-image are also held to the plain per-pixel rule --
// grey below the threshold at (x, y), packed most significant bit first,
// padding bits zero -- on random pictures of awkward widths.
#include "graphics/halftoning.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "graphics/exception.h"
#include "graphics/screens.h"
#include "graphics/tone_curves.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

// FNV-1a: one number that changes when any value of a table or its order does.
std::uint32_t Checksum(const auto& values) {
  std::uint32_t hash = 2166136261U;
  for (unsigned v : values) hash = (hash ^ v) * 16777619U;
  return hash;
}

// The given tables (both 16 x 16 screens, the first two rows of the 32 x 32
// screen, each curve's dot class per grey level, the 4 x 4 patterns), and the
// range and end counts of the 32 x 32 screen, whose other rows are ours.
TEST(Screens, GivenTablesAndThirtyTwoCounts) {
  EXPECT_EQ(Checksum(FirstScreen().thresholds), 0xcd803c2aU);
  EXPECT_EQ(Checksum(SecondScreen().thresholds), 0x221c8809U);
  EXPECT_EQ(Checksum(ThirtyTwoScreen().thresholds.first(64)), 0x568f304dU);
  static const std::uint32_t kCurves[] = {0x6fffb724, 0xf103bdb7, 0xaa85fb67, 0x38e8b045,
                                          0xe15b9af3, 0x6dc1319f, 0xe8ae5160};
  std::vector<unsigned> dots;
  for (unsigned toneClass = 0; toneClass < 9; ++toneClass) {
    for (unsigned i = 0; i < 16; ++i) dots.push_back(PatternDot(toneClass, i % 4, i / 4));
  }
  EXPECT_EQ(Checksum(dots), 0xf2887471U);
  for (std::int64_t curve = 0; curve < 7; ++curve) {
    std::vector<unsigned> classes;
    for (unsigned grey = 0; grey < 256; ++grey) classes.push_back(ToneClass(curve, grey));
    EXPECT_EQ(Checksum(classes), kCurves[curve]) << "curve " << curve;
  }
  const auto& thresholds = ThirtyTwoScreen().thresholds;
  ASSERT_EQ(thresholds.size(), 1024U);
  EXPECT_EQ(*std::ranges::min_element(thresholds), 13);
  EXPECT_EQ(*std::ranges::max_element(thresholds), 244);
  EXPECT_EQ(std::ranges::count(thresholds, 13), 51);
  EXPECT_EQ(std::ranges::count(thresholds, 244), 47);
}

// At 10 dots per millimetre a rectangle in tenths of a millimetre is its own
// size in dots, which keeps the cases below readable.
constexpr double kOneToOne = 10.0;

// The dots as rows of '#' (a dot) and '.', each row ended by '/', or by "!/"
// when a padding bit after the row's last pixel is set.
std::string Dots(const Bitmap& bitmap) {
  const unsigned padding = bitmap.Width() % 8 == 0 ? 0 : 0xFFU >> bitmap.Width() % 8;
  std::string rows;
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
    for (std::uint64_t x = 0; x < bitmap.Width(); ++x) rows += bitmap.GetPixel(x, y) ? '#' : '.';
    rows += padding != 0 && (bitmap.GetRow(y).back() & padding) != 0 ? "!/" : "/";
  }
  return rows;
}

// Rotations of a 3 x 2 picture with no symmetry (rotation 2 puts the source's
// far corner at (0, 0)), the fixed threshold per curve on a ramp, the 4 x 4
// patterns beside black and white, and 1-bit sources: a Bitmap's set bit is a
// dot, while a plain Image stores 1 for white and is inverted.
TEST(BitmapFromImage, PicturesBecomeDots) {
  const Image picture(8, 1, 3, 2, Bytes{0, 0, 255, 255, 255, 0});  // "##." / "..#"
  const Image ramp(8, 1, 14, 1,
                   Bytes{31, 32, 63, 64, 95, 96, 127, 128, 159, 160, 191, 192, 223, 224});
  const Image blocks(8, 1, 12, 1, Bytes{0, 0, 0, 0, 255, 255, 255, 255, 150, 150, 150, 150});
  const Bitmap bitmap(Bytes{0xC0, 0x20}, 3, 2);      // "##." / "..#"
  const Image plain(1, 1, 3, 2, Bytes{0x3F, 0xDF});  // "##." / "..#" with 1 for white
  struct Case {
    const Image& source;
    std::int32_t rotation;
    std::int32_t method;
    std::uint32_t curve;
    std::uint64_t pure;
    std::string expected;  // also gives the size of the rectangle
  };
  const Case cases[] = {
      {picture, 0, kFirstScreenMethod, 3, 6, "##./..#/"},
      {picture, 1, kFixedThresholdMethod, 3, 6, ".#/.#/#./"},
      {picture, 2, kPatternMethod, 3, 6, "#../.##/"},
      {picture, 3, kThirtyTwoScreenMethod, 3, 6, ".#/#./#./"},
      {picture, 0, kSecondScreenMethod, 3, 24, "####../####../....##/....##/"},
      {picture, 0, kFirstScreenMethod, 3, 0, "//"},  // no width: empty, not a failure
      {ramp, 0, kFixedThresholdMethod, 0, 0, "#............./"},
      {ramp, 0, kFixedThresholdMethod, 1, 0, "###.........../"},
      {ramp, 0, kFixedThresholdMethod, 2, 0, "#####........./"},
      {ramp, 0, kFixedThresholdMethod, 3, 0, "#######......./"},
      {ramp, 0, kFixedThresholdMethod, 4, 0, "#########...../"},
      {ramp, 0, kFixedThresholdMethod, 5, 0, "###########.../"},
      {ramp, 0, kFixedThresholdMethod, 6, 0, "#############./"},
      {ramp, 0, kFixedThresholdMethod, 9, 0, "#######......./"},
      {blocks, 0, kPatternMethod, 3, 32, "####....#.../####......#./####....#.../####......#./"},
      {blocks, 0, kPatternMethod, 6, 32, "####.....###/####....####/####....##.#/####....####/"},
      {bitmap, 0, kFirstScreenMethod, 5, 24, "########..../........####/"},
      {bitmap, 1, kPatternMethod, 0, 6, ".#/.#/#./"},
      {plain, 0, kFirstScreenMethod, 5, 24, "########..../........####/"},
      {plain, 3, kFixedThresholdMethod, 6, 6, ".#/#./#./"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    const std::uint64_t width = c.expected.find('/');
    const std::uint64_t height = static_cast<std::uint64_t>(std::ranges::count(c.expected, '/'));
    std::uint64_t pure = 99;
    const Bitmap dots = BitmapFromImage(c.source, {0, 0, width, height}, kOneToOne, c.rotation,
                                        c.method, c.curve, &pure);
    EXPECT_EQ(Dots(dots), c.expected);
    EXPECT_EQ(pure, c.pure);
  }
}

TEST(BitmapFromImage, Failures) {
  const std::string kDepth =
      "Cannot downsample images that do not have 8 bits per sample or 1-bit monochrome";
  const std::string kChannels = "Cannot downsample images that do not have 1, 3 or 4 channels";
  const std::string kCurve = "Only normal halftoning curve supported by this halftoner";
  const Image grey(8, 1, 4, 4, Bytes(16, 100));
  struct Case {
    Image source;
    LabelRectangle rectangle;
    std::int32_t rotation;
    std::int32_t method;
    std::uint32_t curve;
    std::string message;
    double resolution = kOneToOne;
  };
  const Case cases[] = {
      {Image(16, 1, 2, 2), {0, 0, 4, 4}, 0, 2, 3, kDepth},
      {Image(1, 3, 2, 2), {0, 0, 4, 4}, 0, 2, 3, kDepth},
      {Image(8, 2, 2, 2), {0, 0, 4, 4}, 0, 2, 3, kChannels},
      {Image(16, 5, 2, 2), {0, 0, 4, 4}, 0, 2, 3, kChannels},
      {Image(8, 1, 4, 4, Bytes(15)), {0, 0, 4, 4}, 0, 2, 3, "Source data does not match size"},
      {grey, {0, 0, 4, 4}, 4, 2, 3, "Unknown rotation"},
      {grey, {0, 0, 4, 4}, 0, kSecondScreenMethod, 4, kCurve},
      {grey, {0, 0, 9, 9}, 1, kThirtyTwoScreenMethod, 0, kCurve},  // scaled, so mapped
      {grey, {5, 0, 4, 4}, 0, 2, 3, "Invalid size"},               // inside out
      {grey, {0, 0, 4, 4}, 0, 2, 3, "Invalid size", std::nan("")},
      {grey, {0, 0, 4, 4}, 0, 2, 3, "Invalid size", -8.0},
      {grey, {0, 0, 1U << 31, 1U << 31}, 0, 2, 3, "Invalid size", 1e9},  // too large to address
      {Image(8, 1, 0, 0), {0, 0, 4, 4}, 0, 5, 3, "Source image is empty"},
  };
  for (const Case& c : cases) {
    try {
      (void)BitmapFromImage(c.source, c.rectangle, c.resolution, c.rotation, c.method, c.curve);
      ADD_FAILURE() << c.message << ": no failure";
    } catch (const Exception& e) {
      EXPECT_EQ(e.what(), c.message);
      const bool halftoning = dynamic_cast<const HalftoningException*>(&e) != nullptr;
      EXPECT_NE(halftoning, dynamic_cast<const BitmapException*>(&e) != nullptr) << c.message;
      EXPECT_EQ(halftoning, c.message == kCurve) << c.message;
    }
  }
}

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
    // Tall enough for quarter turns to gather 64 rows at once and then 8.
    const std::uint64_t height = 77;
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

INSTANTIATE_TEST_SUITE_P(Widths, BitmapFromImageEquivalence,
                         testing::Values(1, 9, 16, 17, 31, 40, 57, 130));

}  // namespace
}  // namespace Brindle
