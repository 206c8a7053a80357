// Internal to the graphics library: the row packer shared by the halftoners
// and the bitmap-from-image conversion. Not part of the library's interface.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Brindle::Detail {

// Destination rows of one-bit pixels, most significant bit first. The last
// byte of a row carries 8 - paddingBits pixels in its high bits.
struct DotRows {
  std::uint8_t* data;
  std::uint64_t bytesPerRow;
  std::uint64_t height;
  unsigned paddingBits;
};

// True for the pure levels 0 and 255: adding 1 wraps them to 1 and 0.
[[nodiscard]] inline bool IsPureGrey(std::uint8_t grey) {
  return static_cast<std::uint8_t>(grey + 1) <= 1;
}

// Fills every row of `rows`. makeRow(y) returns the dot source of row y, an
// object with `unsigned Dot(std::uint64_t x)` (0 or 1) and a member `pure`
// counting the pure pixels it read. Returns the sum of those counts.
//
// Every row is computed on its own, so the dither carries no state between
// pixels or rows. This loop is the hot path of every conversion: makeRow is
// a template argument so that Dot inlines into it.
template <class MakeRow>
std::uint64_t PackDotRows(const DotRows& rows, MakeRow&& makeRow) {
  if (rows.bytesPerRow == 0) return 0;
  const std::uint64_t fullBytes = rows.bytesPerRow - 1;
  const unsigned padding = std::min(rows.paddingBits, 8U);
  const unsigned lastPixels = 8 - padding;
  std::uint64_t pure = 0;
  for (std::uint64_t y = 0; y < rows.height; ++y) {
    auto row = makeRow(y);
    std::uint8_t* out = rows.data + y * rows.bytesPerRow;
    for (std::uint64_t b = 0; b < fullBytes; ++b) {
      const std::uint64_t x = b * 8;
      unsigned bits = 0;
      for (unsigned j = 0; j < 8; ++j) bits = (bits << 1) | row.Dot(x + j);
      out[b] = static_cast<std::uint8_t>(bits);
    }
    unsigned bits = 0;
    for (unsigned j = 0; j < lastPixels; ++j) bits = (bits << 1) | row.Dot(fullBytes * 8 + j);
    out[fullBytes] = static_cast<std::uint8_t>(bits << padding);
    pure += row.pure;
  }
  return pure;
}

// A row dithered against one row of a threshold screen whose size is a power
// of two. Greys: callable (x) -> grey level of destination pixel x.
template <class Greys>
struct ScreenRow {
  Greys grey;
  const std::uint8_t* thresholds;  // the screen row for this y
  std::uint64_t mask;              // screen size - 1
  std::uint64_t pure = 0;

  unsigned Dot(std::uint64_t x) {
    const std::uint8_t g = grey(x);
    pure += IsPureGrey(g);
    return g < thresholds[x & mask];
  }
};

template <class Greys>
ScreenRow(Greys, const std::uint8_t*, std::uint64_t) -> ScreenRow<Greys>;

// Packs one destination row from the grey levels of its pixels, one byte per
// pixel (greys[x] for x below 8 x bytesPerRow - paddingBits), against a
// threshold row that repeats every `period` pixels: a dot where the grey is
// below the threshold. `period` is 16 or 32, and a fixed threshold is a
// 16-byte row of one value. Returns the number of pure greys (0 or 255) read.
//
// Sixteen pixels a step: compared at once, packed, counted; only the row's
// last bytes go pixel by pixel. The result is the one the per-pixel rule
// gives, bit for bit.
std::uint64_t ThresholdRow(const std::uint8_t* greys, const std::uint8_t* thresholds,
                           std::uint64_t period, std::uint8_t* out, std::uint64_t bytesPerRow,
                           unsigned paddingBits);

// Gathers the greys of a destination row from one byte per pixel at
// row + byX[x]. Nearest-neighbour scaling near 1:1 maps long stretches of
// destination pixels to consecutive source bytes, so the table is taken
// apart into such runs once: a row that is one whole run is read in place,
// a few runs are copied, and only a table of short runs goes pixel by pixel.
class GreyGather {
 public:
  GreyGather(const std::uint64_t* byX, std::uint64_t width) : byX_(byX), width_(width) {
    for (std::uint64_t x = 0; x < width;) {
      std::uint64_t end = x + 1;
      while (end < width && byX[end] == byX[end - 1] + 1) ++end;
      runs_.push_back({x, byX[x], end - x});
      x = end;
      if (runs_.size() * 16 > width) {  // too many: pixel by pixel
        runs_.clear();
        break;
      }
    }
    if (width != 0 && runs_.empty()) perPixel_ = true;
    buffer_.resize(width);
  }

  // The row's greys, valid until the next call.
  const std::uint8_t* Row(const std::uint8_t* row) {
    if (perPixel_) {
      for (std::uint64_t x = 0; x < width_; ++x) buffer_[x] = row[byX_[x]];
      return buffer_.data();
    }
    if (runs_.size() == 1) return row + runs_.front().from;
    for (const Run& run : runs_) std::memcpy(buffer_.data() + run.to, row + run.from, run.length);
    return buffer_.data();
  }

 private:
  struct Run {
    std::uint64_t to, from, length;
  };
  const std::uint64_t* byX_;
  std::uint64_t width_;
  bool perPixel_ = false;
  std::vector<Run> runs_;
  std::vector<std::uint8_t> buffer_;
};

// The greys of destination rows y = 0, 1, 2, ... in turn from a source of
// one byte per pixel: pixel x of row y at source[byY[y] + byX[x]]. Rows of
// an unturned picture go through GreyGather. After a quarter turn a row is
// a source column, which byte by byte means one cache line per pixel; so
// where 64 (or 8) rows come from as many neighbouring columns they are
// gathered together, eight bytes of a source row at a time, and turned as
// 8 x 8 blocks.
class GreyRows {
 public:
  GreyRows(const std::uint8_t* source, const std::uint64_t* byX, const std::uint64_t* byY,
           std::uint64_t width, std::uint64_t height, bool crosswise);

  // Row y's greys, valid until the next call; rows are asked for in order.
  const std::uint8_t* Row(std::uint64_t y);

 private:
  static constexpr std::uint64_t kBlockRows = 64;
  void TurnRows(std::uint64_t y, std::uint64_t count);

  const std::uint8_t* source_;
  const std::uint64_t* byX_;
  const std::uint64_t* byY_;
  std::uint64_t width_, height_;
  bool crosswise_;
  GreyGather gather_;
  std::vector<std::uint8_t> block_;  // up to kBlockRows turned rows, width_ bytes each
  std::uint64_t blockStart_ = 0;
  std::uint64_t blockRows_ = 0;
};

// The luminance the RGB halftoners use, in integer arithmetic (truncating).
[[nodiscard]] inline std::uint8_t GreyOfRgb(const std::uint8_t* pixel) {
  return static_cast<std::uint8_t>((299U * pixel[0] + 587U * pixel[1] + 114U * pixel[2]) / 1000U);
}

}  // namespace Brindle::Detail
