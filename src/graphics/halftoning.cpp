#include "graphics/halftoning.h"

#include <algorithm>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "graphics/dot_rows.h"
#include "graphics/exception.h"
#include "graphics/grey_rows.h"
#include "graphics/screens.h"

namespace Brindle {
namespace {

std::uint64_t PixelsPerRow(const HalftoneParameters& p) {
  if (p.destinationBytesPerRow == 0) return 0;
  return p.destinationBytesPerRow * 8 - std::min(p.paddingBits, 8U);
}

const std::uint8_t* ScreenRowOf(const ThresholdScreen& screen, std::uint64_t y) {
  return screen.thresholds.data() + (y % screen.size) * screen.size;
}

std::uint64_t ThresholdRowOf(const HalftoneParameters& p, const ThresholdScreen& screen,
                             const std::uint8_t* greys, std::uint64_t y) {
  return Detail::ThresholdRow(greys, ScreenRowOf(screen, y), screen.size,
                              p.destination + y * p.destinationBytesPerRow,
                              p.destinationBytesPerRow, p.paddingBits);
}

std::uint64_t HalftoneGrey(const HalftoneParameters& p, const ThresholdScreen& screen) {
  CheckHalftoningCurve(p.curve);
  std::uint64_t pure = 0;
  for (std::uint64_t y = 0; y < p.destinationHeight; ++y)
    pure += ThresholdRowOf(p, screen, p.source + y * p.sourceBytesPerRow, y);
  return pure;
}

// Where the mapped halftoners find a destination pixel's source bytes.
// The rotation mappings take each source coordinate from one destination
// coordinate only, so for them the source offset of (x, y) is
// byX[x] + byY[y], two tables made once per call instead of a call per
// pixel; any other mapping is asked pixel by pixel.
class SourceOffsets {
 public:
  SourceOffsets(const HalftoneParameters& p, std::uint64_t bytesPerPixel)
      : p_(p), bytesPerPixel_(bytesPerPixel) {
    for (std::int32_t rotation = 0; rotation < 4; ++rotation) {
      if (p.mapping != RotationMapping(rotation)) continue;
      const bool crosswise = rotation % 2 == 1;  // quarter turns take sx from y, sy from x
      crosswise_ = crosswise;
      const std::uint64_t width = PixelsPerRow(p);
      byX_.resize(width);
      byY_.resize(p.destinationHeight);
      for (std::uint64_t x = 0; x < width; ++x) {
        const SourcePoint s = p.mapping(p.mappingParameters, x, 0);
        byX_[x] = crosswise ? s.y * p.sourceBytesPerRow : s.x * bytesPerPixel;
      }
      for (std::uint64_t y = 0; y < p.destinationHeight; ++y) {
        const SourcePoint s = p.mapping(p.mappingParameters, 0, y);
        byY_[y] = crosswise ? s.x * bytesPerPixel : s.y * p.sourceBytesPerRow;
      }
      separable_ = true;
    }
  }

  bool Separable() const { return separable_; }
  bool Crosswise() const { return crosswise_; }
  const std::uint64_t* ByX() const { return byX_.data(); }
  const std::uint64_t* ByY() const { return byY_.data(); }

  // Fills `greys` with row y's grey levels, grey(source bytes of a pixel).
  template <class Grey>
  void Row(std::uint64_t y, std::vector<std::uint8_t>& greys, Grey grey) const {
    const std::uint64_t width = greys.size();
    if (separable_) {
      const std::uint8_t* row = p_.source + byY_[y];
      const std::uint64_t* byX = byX_.data();
      for (std::uint64_t x = 0; x < width; ++x) greys[x] = grey(row + byX[x]);
      return;
    }
    for (std::uint64_t x = 0; x < width; ++x) {
      const SourcePoint s = p_.mapping(p_.mappingParameters, x, y);
      greys[x] = grey(p_.source + s.y * p_.sourceBytesPerRow + s.x * bytesPerPixel_);
    }
  }

 private:
  const HalftoneParameters& p_;
  std::uint64_t bytesPerPixel_;
  bool separable_ = false;
  bool crosswise_ = false;
  std::vector<std::uint64_t> byX_, byY_;
};

template <class Grey>
std::uint64_t HalftoneMapped(const HalftoneParameters& p, const ThresholdScreen& screen,
                             std::uint64_t bytesPerPixel, Grey grey) {
  CheckHalftoningCurve(p.curve);
  const SourceOffsets offsets(p, bytesPerPixel);
  std::uint64_t pure = 0;
  if (bytesPerPixel == 1 && offsets.Separable()) {
    Detail::GreyRows rows(p.source, offsets.ByX(), offsets.ByY(), PixelsPerRow(p),
                          p.destinationHeight, offsets.Crosswise());
    for (std::uint64_t y = 0; y < p.destinationHeight; ++y)
      pure += ThresholdRowOf(p, screen, rows.Row(y), y);
    return pure;
  }
  std::vector<std::uint8_t> greys(PixelsPerRow(p));
  for (std::uint64_t y = 0; y < p.destinationHeight; ++y) {
    offsets.Row(y, greys, grey);
    pure += ThresholdRowOf(p, screen, greys.data(), y);
  }
  return pure;
}

std::uint64_t HalftoneMappedGrey(const HalftoneParameters& p, const ThresholdScreen& screen) {
  return HalftoneMapped(p, screen, 1, [](const std::uint8_t* pixel) { return *pixel; });
}

std::uint64_t HalftoneMappedRgb(const HalftoneParameters& p, const ThresholdScreen& screen) {
  return HalftoneMapped(p, screen, p.sourceBytesPerPixel, Detail::GreyOfRgb);
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
