#include "graphics/screens.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "graphics/tone_curves.h"

namespace Brindle {
namespace {

// The two 16 x 16 screens as they are defined.
// clang-format off
constexpr std::array<std::uint8_t, 256> kExpectedFirst = {
     13, 192,  33, 240,  13, 200,  41, 244,  13, 194,  35, 242,  13, 202,  43, 244,
    128,  97, 160,  89, 136, 105, 168,  87, 130,  99, 162,  91, 138, 107, 170,  86,
     54, 224,  25, 216,  57, 232,  23, 214,  55, 226,  27, 218,  59, 234,  22, 213,
    181,  78, 152, 121, 184,  71, 150, 119, 182,  79, 154, 123, 186,  70, 149, 118,
     14, 205,  46, 244,  13, 198,  39, 244,  15, 206,  47, 244,  13, 197,  38, 245,
    141, 110, 173,  84, 134, 103, 166,  95, 142, 111, 174,  82, 133, 102, 165,  94,
     62, 237,  20, 211,  52, 230,  31, 222,  63, 238,  18, 209,  50, 229,  30, 221,
    189,  68, 147, 116, 179,  76, 158, 127, 190,  66, 145, 114, 177,  74, 157, 126,
     13, 195,  36, 243,  13, 203,  44, 244,  13, 193,  34, 241,  13, 201,  42, 244,
    131, 100, 163,  92, 139, 108, 171,  85, 129,  98, 161,  90, 137, 106, 169,  88,
     56, 227,  28, 219,  60, 235,  21, 212,  53, 225,  26, 217,  58, 233,  24, 215,
    183,  80, 155, 124, 187,  69, 148, 117, 180,  77, 153, 122, 185,  72, 151, 120,
     16, 207,  48, 244,  13, 196,  37, 244,  13, 204,  45, 244,  13, 199,  40, 244,
    143, 112, 175,  81, 132, 101, 164,  93, 140, 109, 172,  83, 135, 104, 167,  96,
     64, 239,  17, 208,  49, 228,  29, 220,  61, 236,  19, 210,  51, 231,  32, 223,
    191,  65, 144, 113, 176,  73, 156, 125, 188,  67, 146, 115, 178,  75, 159, 128,
};
// clang-format on

// clang-format off
constexpr std::array<std::uint8_t, 256> kExpectedSecond = {
    159, 192, 113,  49, 144, 200, 125,  61, 156, 194, 115,  51, 146, 202, 128,  64,
     65,  13, 160, 240,  73,  13, 168, 244,  67,  13, 162, 242,  75,  13, 170, 244,
     97,  33, 128, 216, 105,  41, 136, 214,  99,  35, 130, 218, 107,  43, 138, 213,
    181, 224,  89,  25, 184, 232,  87,  23, 182, 226,  91,  27, 186, 234,  86,  22,
    149, 205, 121,  57, 152, 198, 119,  55, 150, 206, 123,  59, 154, 197, 118,  54,
     78,  14, 173, 244,  71,  13, 166, 244,  79,  15, 174, 244,  70,  13, 165, 244,
    110,  46, 141, 211, 103,  39, 134, 222, 111,  47, 142, 209, 102,  38, 133, 221,
    189, 237,  84,  20, 179, 230,  95,  31, 190, 238,  82,  18, 177, 229,  94,  30,
    157, 195, 116,  52, 147, 203, 127,  63, 158, 193, 114,  50, 145, 201, 126,  62,
     68,  13, 163, 243,  76,  13, 171, 244,  66,  13, 161, 241,  74,  13, 169, 244,
    100,  36, 131, 219, 108,  44, 139, 212,  98,  34, 129, 217, 106,  42, 137, 215,
    183, 227,  92,  28, 187, 235,  85,  21, 180, 225,  90,  26, 185, 233,  88,  24,
    151, 207, 124,  60, 155, 196, 117,  53, 148, 204, 122,  58, 153, 199, 120,  56,
     80,  16, 175, 244,  69,  13, 164, 244,  77,  13, 172, 244,  72,  13, 167, 244,
    112,  48, 143, 208, 101,  37, 132, 220, 109,  45, 140, 210, 104,  40, 135, 223,
    191, 239,  81,  17, 176, 228,  93,  29, 188, 236,  83,  19, 178, 231,  96,  32,
};
// clang-format on

// The two fixed rows of the 32 x 32 screen.
// clang-format off
constexpr std::array<std::uint8_t, 64> kExpectedThirtyTwoTop = {
     80, 199, 231, 239, 180,  61,  29,  13,  76, 196, 227, 241, 183,  64,  32,  16,  79, 199, 230, 240, 180,  61,  29,  13,  77, 196, 228, 242, 183,  64,  33,  17,
    104, 136, 184, 216, 152, 124,  69,  37, 100, 132, 186, 218, 154, 127,  72,  40, 103, 135, 184, 216, 152, 125,  69,  37, 101, 133, 186, 218, 154, 128,  72,  40,
};
// clang-format on

std::size_t Count(const ThresholdScreen& screen, std::uint8_t value) {
  return static_cast<std::size_t>(
      std::count(screen.thresholds.begin(), screen.thresholds.end(), value));
}

// Share of the screen's cells that print a dot at grey level g.
double DotShare(const ThresholdScreen& screen, unsigned grey) {
  const auto printed = std::count_if(screen.thresholds.begin(), screen.thresholds.end(),
                                     [grey](std::uint8_t t) { return grey < t; });
  return static_cast<double>(printed) / static_cast<double>(screen.thresholds.size());
}

TEST(Screens, SixteenScreensMatchTheirTables) {
  ASSERT_EQ(FirstScreen().size, 16U);
  ASSERT_EQ(SecondScreen().size, 16U);
  EXPECT_TRUE(std::ranges::equal(FirstScreen().thresholds, kExpectedFirst));
  EXPECT_TRUE(std::ranges::equal(SecondScreen().thresholds, kExpectedSecond));
}

TEST(Screens, ThirtyTwoScreenKeepsItsGivenRowsAndCounts) {
  const ThresholdScreen& screen = ThirtyTwoScreen();
  ASSERT_EQ(screen.size, 32U);
  ASSERT_EQ(screen.thresholds.size(), 1024U);
  EXPECT_TRUE(std::ranges::equal(screen.thresholds.first(64), kExpectedThirtyTwoTop));
  EXPECT_EQ(*std::ranges::min_element(screen.thresholds), 13);
  EXPECT_EQ(*std::ranges::max_element(screen.thresholds), 244);
  EXPECT_EQ(Count(screen, 13), 51U);
  EXPECT_EQ(Count(screen, 244), 47U);
}

TEST(Screens, OnlyTheFirstScreenReaches245) {
  EXPECT_EQ(Count(FirstScreen(), 245), 1U);
  EXPECT_EQ(FirstScreen().At(15 + 32, 4 + 16), 245);  // row 4, column 15, repeated
  EXPECT_EQ(*std::ranges::max_element(SecondScreen().thresholds), 244);
}

// Every screen prints (256 - g) / 256 of its cells at grey level g between 13
// and 243 (one cell per level in each 256), all of them below 13 and none from
// 245 up: an even tone ramp.
TEST(Screens, DotShareFallsLinearlyWithGrey) {
  struct Case {
    unsigned grey;
    double share;
  };
  static const Case kCases[] = {
      {0, 1.0},     {12, 1.0},   {40, 0.84375}, {64, 0.75}, {100, 0.609375}, {128, 0.5},
      {160, 0.375}, {192, 0.25}, {230, 0.1016}, {245, 0.0}, {255, 0.0},
  };
  for (const ThresholdScreen* screen : {&FirstScreen(), &SecondScreen(), &ThirtyTwoScreen()}) {
    for (const Case& c : kCases) {
      EXPECT_NEAR(DotShare(*screen, c.grey), c.share, 0.008)
          << "screen " << screen->size << " grey " << c.grey;
    }
  }
}

TEST(Screens, ThirtyTwoScreenLosesFourDotsPerGreyLevel) {
  const ThresholdScreen& screen = ThirtyTwoScreen();
  for (unsigned grey = 14; grey <= 243; ++grey) {
    const double lost = (DotShare(screen, grey - 1) - DotShare(screen, grey)) * 1024;
    EXPECT_TRUE(lost == 4 || lost == 5) << "grey " << grey << " lost " << lost;
  }
}

TEST(ToneCurves, NamesMapToCodes) {
  struct Case {
    const char* name;
    std::uint32_t code;
  };
  static const Case kCases[] = {
      {"Lightest", 0}, {"Lighter", 1}, {"Light", 2},   {"", 3},        {"Normal", 3},
      {"Dark", 4},     {"Darker", 5},  {"Darkest", 6}, {"darkest", 3}, {"Darkest ", 3},
  };
  for (const Case& c : kCases) EXPECT_EQ(ToneCurveFromName(c.name), c.code) << c.name;
}

// Each curve's table: the grey level at which each dot class 8..0 begins.
TEST(ToneCurves, ClassesBeginAtTheirLevels) {
  static const std::array<std::array<unsigned, 9>, 7> kStarts = {{
      {0, 7, 21, 35, 51, 69, 89, 113, 146},
      {0, 9, 26, 44, 64, 87, 113, 145, 192},
      {0, 11, 34, 58, 84, 113, 144, 181, 227},
      {0, 16, 48, 80, 112, 144, 176, 208, 240},
      {0, 29, 75, 112, 143, 172, 198, 222, 245},
      {0, 64, 111, 143, 169, 192, 212, 230, 247},
      {0, 110, 143, 167, 187, 205, 221, 235, 249},
  }};
  for (std::int64_t curve = 0; curve < 7; ++curve) {
    const auto& starts = kStarts[static_cast<std::size_t>(curve)];
    for (unsigned i = 0; i < 9; ++i) {
      const unsigned toneClass = 8 - i;
      EXPECT_EQ(ToneClass(curve, static_cast<std::uint8_t>(starts[i])), toneClass);
      if (i > 0) {
        EXPECT_EQ(ToneClass(curve, static_cast<std::uint8_t>(starts[i] - 1)), toneClass + 1);
      }
    }
    EXPECT_EQ(ToneClass(curve, 255), 0U);
  }
  EXPECT_EQ(ToneClass(3, 47), 7U);  // levels 16..47 are class 7 with the normal curve
  // Out-of-range codes use the nearest curve.
  EXPECT_EQ(ToneClass(7, 109), ToneClass(6, 109));
  EXPECT_EQ(ToneClass(1000, 240), ToneClass(6, 240));
  EXPECT_EQ(ToneClass(-1, 100), ToneClass(0, 100));
}

TEST(ToneCurves, PatternsAreKeptExactly) {
  static const char* const kPatterns[9][4] = {
      {"0000", "0000", "0000", "0000"}, {"1000", "0000", "0000", "0000"},
      {"1000", "0000", "0010", "0000"}, {"1000", "0010", "1000", "0010"},
      {"1001", "0110", "0110", "1001"}, {"0111", "1101", "0111", "1101"},
      {"0111", "1111", "1101", "1111"}, {"0111", "1111", "1111", "1111"},
      {"1111", "1111", "1111", "1111"},
  };
  for (unsigned toneClass = 0; toneClass < 9; ++toneClass) {
    for (unsigned y = 0; y < 4; ++y) {
      std::string row;
      for (unsigned x = 0; x < 4; ++x) row += PatternDot(toneClass, x, y) ? '1' : '0';
      EXPECT_EQ(row, kPatterns[toneClass][y]) << "class " << toneClass << " row " << y;
      EXPECT_EQ(PatternDot(toneClass, 4 + 1, 8 + y), PatternDot(toneClass, 1, y));
    }
  }
}

}  // namespace
}  // namespace Brindle
