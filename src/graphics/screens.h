// The three threshold screens of the ordered-dither halftoners.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Brindle {

// A square matrix of thresholds, repeated over the picture: grey level g
// (0 black, 255 white) at pixel (x, y) prints a dot when
// g < thresholds[(y mod size) * size + (x mod size)].
struct ThresholdScreen {
  std::size_t size;
  std::span<const std::uint8_t> thresholds;  // size * size entries, row by row

  [[nodiscard]] std::uint8_t At(std::size_t x, std::size_t y) const {
    return thresholds[(y % size) * size + (x % size)];
  }
};

// The first 16 x 16 screen: thresholds 13..245.
[[nodiscard]] const ThresholdScreen& FirstScreen();
// The second 16 x 16 screen: thresholds 13..244.
[[nodiscard]] const ThresholdScreen& SecondScreen();
// The 32 x 32 screen: thresholds 13..244 (51 cells at 13, 47 at 244).
[[nodiscard]] const ThresholdScreen& ThirtyTwoScreen();

}  // namespace Brindle
