// The screens and tone tables, the halftoners as the bitmap-from-image
// operation drives them, and that operation's scaling, rotations, methods,
// sources and failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
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

// A random picture through every screen method and so every halftoner: grey
// unscaled (the plain halftoners), grey doubled (the mapped ones) and RGB with
// 3 or 4 channels (the mapped RGB ones, by luminance; a fourth byte unread).
// Each dot must follow "grey < threshold"; the width leaves padding bits.
TEST(Halftoners, EveryScreenMethodFollowsItsScreen) {
  std::mt19937 random(14);
  Bytes data(45 * 37 * 4);
  for (auto& byte : data) byte = random() % 4 == 0 ? random() % 2 * 255 : random() % 256;
  for (std::uint64_t channels : {1U, 3U, 4U}) {
    const Image source(8, channels, 45, 37, Bytes(data.begin(), data.begin() + 45 * 37 * channels));
    for (std::int32_t method : {kFirstScreenMethod, kSecondScreenMethod, kThirtyTwoScreenMethod}) {
      const ThresholdScreen& screen = method == kFirstScreenMethod    ? FirstScreen()
                                      : method == kSecondScreenMethod ? SecondScreen()
                                                                      : ThirtyTwoScreen();
      for (std::uint64_t scale : {1U, 2U}) {
        std::uint64_t pure = 0;
        std::uint64_t expectedPure = 0;
        const Bitmap dots = BitmapFromImage(source, {7, 9, 7 + 45 * scale, 9 + 37 * scale},
                                            kOneToOne, 0, method, 3, &pure);
        ASSERT_EQ(dots.Width(), 45 * scale);
        for (std::uint64_t y = 0; y < dots.Height(); ++y) {
          for (std::uint64_t x = 0; x < dots.Width(); ++x) {
            const unsigned char* p = &data[((y / scale) * 45 + x / scale) * channels];
            const unsigned grey =
                channels == 1 ? p[0] : (299 * p[0] + 587 * p[1] + 114 * p[2]) / 1000;
            expectedPure += grey == 0 || grey == 255;
            ASSERT_EQ(dots.GetPixel(x, y), grey < screen.At(x, y) ? 1 : 0)
                << channels << " channels, method " << method << ", scale " << scale;
          }
        }
        EXPECT_EQ(pure, expectedPure);
        EXPECT_EQ(Dots(dots).find('!'), std::string::npos);
      }
    }
  }
}

// The share of dots each screen method prints on a flat grey: all of them up
// to 12, then falling evenly as (256 - g) / 256, until at 244 only the first
// screen's single 245 cell prints (one dot per 16 x 16 tile, at row 4, column
// 15) and from 245 none.
TEST(Halftoners, DotShareOfFlatGreys) {
  for (std::int32_t method : {kFirstScreenMethod, kSecondScreenMethod, kThirtyTwoScreenMethod}) {
    for (unsigned char grey : {12, 40, 100, 128, 192, 230, 244, 245}) {
      const Image source(8, 1, 64, 64, Bytes(64 * 64, grey));
      const Bitmap dots = BitmapFromImage(source, {0, 0, 64, 64}, kOneToOne, 0, method, 3);
      double share = 0;
      for (unsigned char byte : dots.Data()) share += std::popcount(byte) / 4096.0;
      const bool tileDot = grey == 244 && method == kFirstScreenMethod;
      if (grey > 12 && grey < 244) {
        EXPECT_NEAR(share, (256.0 - grey) / 256, 0.008) << "method " << method << " grey " << +grey;
      } else {
        EXPECT_EQ(share, grey == 12 ? 1.0 : tileDot ? 16 / 4096.0 : 0.0) << "grey " << +grey;
        EXPECT_EQ(dots.GetPixel(15 + 32, 4 + 16), grey == 12 || tileDot) << "grey " << +grey;
      }
    }
  }
}

TEST(Halftoners, OtherCurvesFailBeforeWriting) {
  std::uint64_t (*const kHalftoners[])(const HalftoneParameters&) = {
      HalftoneGreyFirstScreen,       HalftoneGreySecondScreen,       HalftoneGrey32Screen,
      HalftoneMappedGreyFirstScreen, HalftoneMappedGreySecondScreen, HalftoneMappedGrey32Screen,
      HalftoneMappedRgbFirstScreen,  HalftoneMappedRgbSecondScreen,  HalftoneMappedRgb32Screen};
  const Bytes source(16 * 4 * 4, 0);
  for (std::uint32_t curve : {0U, 2U, 4U, 6U, 7U}) {
    for (auto* halftone : kHalftoners) {
      Bytes destination(2 * 4, 0xA5);
      HalftoneParameters parameters{curve, source.data(), 16 * 4, 4, destination.data(), 2, 4};
      parameters.mapping = RotationMapping(0);
      parameters.mappingParameters = {16, 4, 16, 4};
      EXPECT_THROW(halftone(parameters), HalftoningException) << "curve " << curve;
      EXPECT_EQ(destination, Bytes(2 * 4, 0xA5)) << "curve " << curve;
    }
  }
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

}  // namespace
}  // namespace Brindle
