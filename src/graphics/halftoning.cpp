#include "graphics/halftoning.h"

#include "graphics/dot_rows.h"
#include "graphics/exception.h"
#include "graphics/screens.h"

namespace Brindle {
namespace {

Detail::DotRows DestinationOf(const HalftoneParameters& p) {
  return {p.destination, p.destinationBytesPerRow, p.destinationHeight, p.paddingBits};
}

const std::uint8_t* ScreenRowOf(const ThresholdScreen& screen, std::uint64_t y) {
  return screen.thresholds.data() + (y % screen.size) * screen.size;
}

std::uint64_t HalftoneGrey(const HalftoneParameters& p, const ThresholdScreen& screen) {
  CheckHalftoningCurve(p.curve);
  return Detail::PackDotRows(DestinationOf(p), [&](std::uint64_t y) {
    const std::uint8_t* row = p.source + y * p.sourceBytesPerRow;
    return Detail::ScreenRow{[row](std::uint64_t x) { return row[x]; }, ScreenRowOf(screen, y),
                             screen.size - 1};
  });
}

std::uint64_t HalftoneMappedGrey(const HalftoneParameters& p, const ThresholdScreen& screen) {
  CheckHalftoningCurve(p.curve);
  return Detail::PackDotRows(DestinationOf(p), [&](std::uint64_t y) {
    auto grey = [&p, y](std::uint64_t x) {
      const SourcePoint s = p.mapping(p.mappingParameters, x, y);
      return p.source[s.y * p.sourceBytesPerRow + s.x];
    };
    return Detail::ScreenRow{grey, ScreenRowOf(screen, y), screen.size - 1};
  });
}

std::uint64_t HalftoneMappedRgb(const HalftoneParameters& p, const ThresholdScreen& screen) {
  CheckHalftoningCurve(p.curve);
  return Detail::PackDotRows(DestinationOf(p), [&](std::uint64_t y) {
    auto grey = [&p, y](std::uint64_t x) {
      const SourcePoint s = p.mapping(p.mappingParameters, x, y);
      return Detail::GreyOfRgb(p.source + s.y * p.sourceBytesPerRow + s.x * p.sourceBytesPerPixel);
    };
    return Detail::ScreenRow{grey, ScreenRowOf(screen, y), screen.size - 1};
  });
}

}  // namespace

void CheckHalftoningCurve(std::uint32_t curve) {
  // The screens were made for the normal curve; rather than print something
  // lighter or darker than asked, the other curves are refused.
  if (curve != kNormalCurve) {
    throw HalftoningException("Only normal halftoning curve supported by this halftoner");
  }
}

std::uint64_t HalftoneGreyFirstScreen(const HalftoneParameters& p) {
  return HalftoneGrey(p, FirstScreen());
}
std::uint64_t HalftoneGreySecondScreen(const HalftoneParameters& p) {
  return HalftoneGrey(p, SecondScreen());
}
std::uint64_t HalftoneGrey32Screen(const HalftoneParameters& p) {
  return HalftoneGrey(p, ThirtyTwoScreen());
}
std::uint64_t HalftoneMappedGreyFirstScreen(const HalftoneParameters& p) {
  return HalftoneMappedGrey(p, FirstScreen());
}
std::uint64_t HalftoneMappedGreySecondScreen(const HalftoneParameters& p) {
  return HalftoneMappedGrey(p, SecondScreen());
}
std::uint64_t HalftoneMappedGrey32Screen(const HalftoneParameters& p) {
  return HalftoneMappedGrey(p, ThirtyTwoScreen());
}
std::uint64_t HalftoneMappedRgbFirstScreen(const HalftoneParameters& p) {
  return HalftoneMappedRgb(p, FirstScreen());
}
std::uint64_t HalftoneMappedRgbSecondScreen(const HalftoneParameters& p) {
  return HalftoneMappedRgb(p, SecondScreen());
}
std::uint64_t HalftoneMappedRgb32Screen(const HalftoneParameters& p) {
  return HalftoneMappedRgb(p, ThirtyTwoScreen());
}

}  // namespace Brindle
