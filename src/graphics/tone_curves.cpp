#include "graphics/tone_curves.h"

#include <array>

namespace Brindle {
namespace {

// The grey level at which each dot class begins, for classes 8 down to 0
// (class 8 always begins at level 0). Lighter curves reach the sparse classes
// early; darker ones hold on to the dense classes.
constexpr std::array<std::array<std::uint8_t, 9>, 7> kClassStarts = {{
    {0, 7, 21, 35, 51, 69, 89, 113, 146},         // Lightest
    {0, 9, 26, 44, 64, 87, 113, 145, 192},        // Lighter
    {0, 11, 34, 58, 84, 113, 144, 181, 227},      // Light
    {0, 16, 48, 80, 112, 144, 176, 208, 240},     // normal
    {0, 29, 75, 112, 143, 172, 198, 222, 245},    // Dark
    {0, 64, 111, 143, 169, 192, 212, 230, 247},   // Darker
    {0, 110, 143, 167, 187, 205, 221, 235, 249},  // Darkest
}};

// Four bits per pattern row, the leftmost pixel in the high bit. The dot
// counts 0, 1, 2, 4, 8, 12, 14, 15, 16 are uneven on purpose; keep the
// patterns exactly as they are rather than evening them out.
constexpr std::array<std::array<std::uint8_t, 4>, 9> kPatterns = {{
    {0b0000, 0b0000, 0b0000, 0b0000},
    {0b1000, 0b0000, 0b0000, 0b0000},
    {0b1000, 0b0000, 0b0010, 0b0000},
    {0b1000, 0b0010, 0b1000, 0b0010},
    {0b1001, 0b0110, 0b0110, 0b1001},
    {0b0111, 0b1101, 0b0111, 0b1101},
    {0b0111, 0b1111, 0b1101, 0b1111},
    {0b0111, 0b1111, 0b1111, 0b1111},
    {0b1111, 0b1111, 0b1111, 0b1111},
}};

struct NamedCurve {
  std::string_view name;
  std::uint32_t code;
};

constexpr std::array<NamedCurve, 6> kCurveNames = {{
    {"Lightest", kLightestCurve},
    {"Lighter", kLighterCurve},
    {"Light", kLightCurve},
    {"Dark", kDarkCurve},
    {"Darker", kDarkerCurve},
    {"Darkest", kDarkestCurve},
}};

}  // namespace

std::uint32_t ToneCurveFromName(std::string_view name) {
  for (const NamedCurve& curve : kCurveNames) {
    if (curve.name == name) return curve.code;
  }
  return kNormalCurve;
}

unsigned ToneClass(std::int64_t curve, std::uint8_t grey) {
  const std::size_t index = curve < 0 ? 0 : curve > 6 ? 6 : static_cast<std::size_t>(curve);
  const auto& starts = kClassStarts[index];
  unsigned toneClass = 8;
  for (std::size_t i = 1; i < starts.size() && grey >= starts[i]; ++i) --toneClass;
  return toneClass;
}

bool PatternDot(unsigned toneClass, std::uint64_t x, std::uint64_t y) {
  return (kPatterns.at(toneClass)[y % 4] >> (3 - x % 4)) & 1U;
}

unsigned FixedThreshold(std::uint32_t curve) {
  if (curve > kDarkestCurve) return 128;
  return ((curve + 1) % 8) * 32;
}

}  // namespace Brindle
