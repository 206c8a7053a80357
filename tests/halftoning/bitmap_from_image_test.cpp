#include "graphics/bitmap_from_image.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "graphics/exception.h"
#include "graphics/screens.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;
using Picture = std::vector<std::string>;

// At 10 dots per millimetre a rectangle in tenths of a millimetre is its own
// size in dots, which keeps the cases below readable.
constexpr double kOneToOne = 10.0;

// A grey image from rows of '#' (black, 0) and '.' (white, 255).
Image GreyImage(const Picture& rows) {
  Bytes data;
  for (const std::string& row : rows) {
    for (char c : row) data.push_back(c == '#' ? 0 : 255);
  }
  return Image(8, 1, rows[0].size(), rows.size(), std::move(data));
}

Image UniformGrey(std::uint64_t width, std::uint64_t height, unsigned char grey) {
  return Image(8, 1, width, height, Bytes(width * height, grey));
}

Picture Dots(const Bitmap& bitmap) {
  Picture rows;
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
    std::string row;
    for (std::uint64_t x = 0; x < bitmap.Width(); ++x) row += bitmap.GetPixel(x, y) ? '#' : '.';
    rows.push_back(row);
  }
  return rows;
}

TEST(BitmapFromImage, SizePositionAndResolution) {
  Image source = UniformGrey(100, 50, 128);
  source.SetResolution(200, 300);
  const Bitmap bitmap = BitmapFromImage(source, {0, 0, 100, 50}, 8.0, 0, kFirstScreenMethod, 3);
  EXPECT_EQ(bitmap.Width(), 80U);
  EXPECT_EQ(bitmap.Height(), 40U);
  EXPECT_EQ(bitmap.BytesPerRow(), 10U);
  EXPECT_EQ(bitmap.HorizontalResolution(), 200U);
  EXPECT_EQ(bitmap.VerticalResolution(), 300U);

  // The position stays in the rectangle's units; sizes truncate.
  const Bitmap placed = BitmapFromImage(source, {30, 40, 43, 45}, 8.0, 0, 0, 3);
  EXPECT_EQ(placed.X(), 30U);
  EXPECT_EQ(placed.Y(), 40U);
  EXPECT_EQ(placed.Width(), 10U);  // 13 x 0.8 = 10.4
  EXPECT_EQ(placed.Height(), 4U);
  EXPECT_EQ(placed.DataSize(), 8U);

  // A rectangle without width gives an empty bitmap, not a failure.
  const Bitmap empty = BitmapFromImage(source, {5, 0, 5, 50}, 8.0, 1, 0, 3);
  EXPECT_EQ(empty.Width(), 0U);
  EXPECT_EQ(empty.DataSize(), 0U);
}

TEST(BitmapFromImage, RotationMappings) {
  struct Case {
    std::int32_t rotation;
    MappingParameters parameters;  // {w, h, W, H}
    std::uint64_t x, y;
    SourcePoint expected;
  };
  static const Case kCases[] = {
      {0, {100, 50, 80, 40}, 0, 0, {0, 0}},
      {0, {100, 50, 80, 40}, 79, 39, {98, 48}},
      {2, {100, 50, 80, 40}, 0, 0, {99, 49}},  // the source's far corner
      {2, {100, 50, 80, 40}, 79, 39, {1, 1}},
      {1, {100, 50, 40, 80}, 0, 0, {0, 48}},
      {1, {100, 50, 40, 80}, 39, 79, {98, 0}},
      {3, {100, 50, 40, 80}, 0, 0, {98, 0}},
      {3, {100, 50, 40, 80}, 39, 79, {0, 48}},
      {0, {100, 50, 0, 0}, 3, 3, {0, 0}},  // a zero destination side divides to 0
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(RotationMapping(c.rotation)(c.parameters, c.x, c.y), c.expected)
        << "rotation " << c.rotation << " (" << c.x << ", " << c.y << ")";
  }
}

// A 3 x 2 picture with no symmetry, turned each way at its own size.
TEST(BitmapFromImage, FourRotationsOfAnAsymmetricPicture) {
  const Picture source = {"##.", "#.."};
  struct Case {
    std::int32_t rotation;
    LabelRectangle rectangle;
    Picture expected;
  };
  static const Case kCases[] = {
      {0, {0, 0, 3, 2}, {"##.", "#.."}},
      {1, {0, 0, 2, 3}, {"##", ".#", ".."}},
      {2, {0, 0, 3, 2}, {"..#", ".##"}},
      {3, {0, 0, 2, 3}, {"..", "#.", "##"}},
      {0, {0, 0, 6, 4}, {"####..", "####..", "##....", "##...."}},  // doubled
  };
  for (const Case& c : kCases) {
    for (std::int32_t method : {kFirstScreenMethod, kFixedThresholdMethod, kPatternMethod}) {
      const Bitmap grey =
          BitmapFromImage(GreyImage(source), c.rectangle, kOneToOne, c.rotation, method, 3);
      EXPECT_EQ(Dots(grey), c.expected) << "rotation " << c.rotation << " method " << method;
    }
  }
}

TEST(BitmapFromImage, FixedThresholdPerCurve) {
  struct Case {
    std::uint32_t curve;
    unsigned threshold;
  };
  static const Case kCases[] = {{0, 32},  {1, 64},  {2, 96},  {3, 128},
                                {4, 160}, {5, 192}, {6, 224}, {9, 128}};
  for (const Case& c : kCases) {
    Image source(8, 1, 2, 1,
                 Bytes{static_cast<unsigned char>(c.threshold - 1),
                       static_cast<unsigned char>(c.threshold)});
    const Bitmap bitmap =
        BitmapFromImage(source, {0, 0, 2, 1}, kOneToOne, 0, kFixedThresholdMethod, c.curve);
    EXPECT_EQ(Dots(bitmap), Picture{"#."}) << "curve " << c.curve;
  }
}

TEST(BitmapFromImage, PatternMethod) {
  struct Case {
    unsigned char grey;
    std::uint32_t curve;
    Picture expected;
    std::uint64_t pure;
  };
  static const Case kCases[] = {
      {0, 3, {"########", "########", "########", "########"}, 32},
      {255, 3, {"........", "........", "........", "........"}, 32},
      {150, 3, {"#...#...", "..#...#.", "#...#...", "..#...#."}, 0},  // class 3
      {150, 6, {".###.###", "########", "##.###.#", "########"}, 0},  // Darkest: class 6
  };
  for (const Case& c : kCases) {
    std::uint64_t pure = 99;
    const Bitmap bitmap = BitmapFromImage(UniformGrey(8, 4, c.grey), {0, 0, 8, 4}, kOneToOne, 0,
                                          kPatternMethod, c.curve, &pure);
    EXPECT_EQ(Dots(bitmap), c.expected) << "grey " << +c.grey;
    EXPECT_EQ(pure, c.pure) << "grey " << +c.grey;
  }
}

// The screen methods give what the halftoner's rule gives, scaled or not
// (the unscaled grey case goes through the unmapped halftoner).
TEST(BitmapFromImage, ScreenMethodsFollowTheScreens) {
  struct Case {
    std::int32_t method;
    const ThresholdScreen& (*screen)();
  };
  static const Case kCases[] = {{kFirstScreenMethod, FirstScreen},
                                {kSecondScreenMethod, SecondScreen},
                                {kThirtyTwoScreenMethod, ThirtyTwoScreen}};
  Bytes grey(40 * 30);
  for (std::size_t i = 0; i < grey.size(); ++i) grey[i] = static_cast<unsigned char>(i * 7);
  const Image source(8, 1, 40, 30, grey);
  for (const Case& c : kCases) {
    for (std::uint64_t scale : {1U, 2U}) {
      std::uint64_t pure = 0;
      const Bitmap bitmap =
          BitmapFromImage(source, {0, 0, 40 * scale, 30 * scale}, kOneToOne, 0, c.method, 3, &pure);
      std::uint64_t expectedPure = 0;
      for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
        for (std::uint64_t x = 0; x < bitmap.Width(); ++x) {
          const unsigned char g = grey[(y / scale) * 40 + x / scale];
          expectedPure += g == 0 || g == 255;
          ASSERT_EQ(bitmap.GetPixel(x, y), g < c.screen().At(x, y) ? 1 : 0)
              << "method " << c.method << " scale " << scale << " (" << x << ", " << y << ")";
        }
      }
      EXPECT_EQ(pure, expectedPure);
    }
  }
}

TEST(BitmapFromImage, RgbWithThreeOrFourChannels) {
  // Blue (luminance 29) prints, yellow (226) does not; the fourth byte is
  // not looked at.
  for (std::uint64_t channels : {3U, 4U}) {
    Bytes data;
    for (const Bytes& pixel : {Bytes{0, 0, 255, 0}, Bytes{255, 255, 0, 0}}) {
      data.insert(data.end(), pixel.begin(), pixel.begin() + static_cast<long>(channels));
    }
    const Image source(8, channels, 2, 1, data);
    const Bitmap bitmap =
        BitmapFromImage(source, {0, 0, 4, 2}, kOneToOne, 0, kFixedThresholdMethod, 3);
    EXPECT_EQ(Dots(bitmap), (Picture{"##..", "##.."})) << channels << " channels";
    const Bitmap screened =
        BitmapFromImage(source, {0, 0, 2, 1}, kOneToOne, 2, kFirstScreenMethod, 3);
    EXPECT_EQ(Dots(screened), Picture{".#"}) << channels << " channels";
  }
}

// One-bit sources: a Bitmap's set bit is a dot and is copied; a plain Image
// stores 1 for white, so its bits are inverted. Method and curve play no part.
TEST(BitmapFromImage, OneBitSources) {
  Bitmap bitmap(3, 2);
  bitmap.SetPixel(0, 0, true);
  bitmap.SetPixel(1, 0, true);
  bitmap.SetPixel(0, 1, true);
  const Image plain(1, 1, 3, 2, Bytes{0x3F, 0x7F});  // "##." / "#.." as white-is-one
  struct Case {
    const Image& source;
    std::int32_t rotation;
    LabelRectangle rectangle;
    Picture expected;
  };
  const Case cases[] = {
      {bitmap, 0, {0, 0, 3, 2}, {"##.", "#.."}},     {plain, 0, {0, 0, 3, 2}, {"##.", "#.."}},
      {bitmap, 3, {0, 0, 2, 3}, {"..", "#.", "##"}}, {plain, 1, {0, 0, 2, 3}, {"##", ".#", ".."}},
      {bitmap, 0, {0, 0, 12, 1}, {"########...."}},
  };
  for (const Case& c : cases) {
    std::uint64_t pure = 0;
    const Bitmap result =
        BitmapFromImage(c.source, c.rectangle, kOneToOne, c.rotation, kFirstScreenMethod, 5, &pure);
    EXPECT_EQ(Dots(result), c.expected) << "rotation " << c.rotation;
    EXPECT_EQ(pure, result.Width() * result.Height());
    // Padding bits of the last byte stay clear.
    if (result.Width() % 8 != 0) {
      const unsigned char padding = static_cast<unsigned char>(0xFF >> (result.Width() % 8));
      for (std::uint64_t y = 0; y < result.Height(); ++y) {
        EXPECT_EQ(result.GetRow(y).back() & padding, 0);
      }
    }
  }
}

// Converts with the given pieces, for the failure cases.
std::function<void()> Convert(Image source, LabelRectangle rectangle, std::int32_t rotation = 0,
                              std::int32_t method = kFirstScreenMethod, std::uint32_t curve = 3,
                              double resolution = kOneToOne) {
  return [=] { (void)BitmapFromImage(source, rectangle, resolution, rotation, method, curve); };
}

TEST(BitmapFromImage, Failures) {
  const std::string kDepth =
      "Cannot downsample images that do not have 8 bits per sample or 1-bit monochrome";
  const std::string kChannels = "Cannot downsample images that do not have 1, 3 or 4 channels";
  const std::string kCurve = "Only normal halftoning curve supported by this halftoner";
  const Image grey = UniformGrey(4, 4, 100);
  const LabelRectangle square{0, 0, 4, 4};
  struct Case {
    const char* what;
    std::function<void()> run;
    std::string message;
  };
  const Case cases[] = {
      {"16-bit grey", Convert(Image(16, 1, 2, 2), square), kDepth},
      {"1-bit RGB", Convert(Image(1, 3, 2, 2), square), kDepth},
      {"two channels", Convert(Image(8, 2, 2, 2), square), kChannels},
      {"five 16-bit channels", Convert(Image(16, 5, 2, 2), square), kChannels},
      {"short data", Convert(Image(8, 1, 4, 4, Bytes(15)), square),
       "Source data does not match size"},
      {"long data", Convert(Image(8, 1, 4, 4, Bytes(17)), square),
       "Source data does not match size"},
      {"rotation 4", Convert(grey, square, 4), "Unknown rotation"},
      {"rotation -1", Convert(grey, square, -1), "Unknown rotation"},
      {"screen, dark curve", Convert(grey, square, 0, kSecondScreenMethod, 4), kCurve},
      {"scaled screen, light curve", Convert(grey, {0, 0, 9, 9}, 1, kThirtyTwoScreenMethod, 0),
       kCurve},
      {"rectangle inside out", Convert(grey, {5, 0, 4, 4}), "Invalid size"},
      {"not-a-number resolution", Convert(grey, square, 0, 2, 3, std::nan("")), "Invalid size"},
      {"negative resolution", Convert(grey, square, 0, 2, 3, -8.0), "Invalid size"},
      {"too large to address", Convert(grey, {0, 0, 1U << 31, 1U << 31}, 0, 2, 3, 1e9),
       "Invalid size"},
      {"nothing to scale", Convert(Image(8, 1, 0, 0), square, 0, 5), "Source image is empty"},
  };
  for (const Case& c : cases) {
    try {
      c.run();
      ADD_FAILURE() << c.what << ": no failure";
    } catch (const Exception& e) {
      EXPECT_EQ(std::string(e.what()), c.message) << c.what;
      const bool halftoning = dynamic_cast<const HalftoningException*>(&e) != nullptr;
      const bool bitmap = dynamic_cast<const BitmapException*>(&e) != nullptr;
      EXPECT_TRUE(c.message == kCurve ? halftoning : bitmap) << c.what;
    }
  }
}

}  // namespace
}  // namespace Brindle
