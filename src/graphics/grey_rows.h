// Internal to the graphics library: the grey levels of destination rows
// gathered from an 8-bit source through per-axis offset tables, for the
// mapped halftoners and bitmap-from-image. Not part of the library's
// interface.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace Brindle::Detail {

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

}  // namespace Brindle::Detail
