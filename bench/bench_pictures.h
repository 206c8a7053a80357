// Pictures the benchmarks make for themselves, so that every program times
// the same pixels: a grey photograph stand-in and label-like one-bit art.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "graphics/bitmap.h"
#include "graphics/image.h"

namespace Vellum::Bench {

constexpr std::uint64_t kGreyWidth = 2000;
constexpr std::uint64_t kGreyHeight = 3000;

// 2000 x 3000 8-bit grey: a diagonal gradient with a little noise, so that
// neither a screen nor a threshold meets long runs of one value.
inline const Brindle::Image& GreyPicture() {
  static const Brindle::Image picture = [] {
    std::vector<unsigned char> grey(kGreyWidth * kGreyHeight);
    std::uint32_t noise = 1;
    for (std::uint64_t y = 0; y < kGreyHeight; ++y) {
      for (std::uint64_t x = 0; x < kGreyWidth; ++x) {
        noise = noise * 1664525U + 1013904223U;
        grey[y * kGreyWidth + x] = static_cast<unsigned char>((x + y) / 20 + (noise >> 29));
      }
    }
    return Brindle::Image(8, 1, kGreyWidth, kGreyHeight, std::move(grey));
  }();
  return picture;
}

// Glyph-like strokes and blocks in lines of text: most rows differ from the
// row above in a few bytes, some repeat it.
inline Brindle::Bitmap LabelLike(std::uint64_t width, std::uint64_t height, unsigned seed) {
  Brindle::Bitmap bitmap(width, height);
  unsigned state = seed * 2654435761u + 1;
  const auto next = [&state] { return state = state * 1103515245u + 12345u, state >> 8; };
  for (std::uint64_t line = 0; line + 40 <= height; line += 48) {
    for (std::uint64_t x = 8; x + 24 < width; x += 28) {
      if (next() % 6 == 0) continue;  // a space between words
      const unsigned shape = next();
      for (std::uint64_t y = line; y < line + 40; ++y) {
        for (std::uint64_t dx = 0; dx < 24; ++dx) {
          const bool stem = (shape & 1) && dx < 5;
          const bool bar = (shape & 2) && (y - line) % 20 < 5;
          const bool diagonal = (shape & 4) && (dx + (y - line) / 2) % 24 < 4;
          if (stem || bar || diagonal) bitmap.SetPixel(x + dx, y, true);
        }
      }
    }
  }
  return bitmap;
}

}  // namespace Vellum::Bench
