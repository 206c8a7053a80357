#include "graphics/grey_rows.h"

#include <bit>

namespace Brindle::Detail {

GreyRows::GreyRows(const std::uint8_t* source, const std::uint64_t* byX, const std::uint64_t* byY,
                   std::uint64_t width, std::uint64_t height, bool crosswise)
    : source_(source),
      byX_(byX),
      byY_(byY),
      width_(width),
      height_(height),
      crosswise_(crosswise),
      gather_(byX, crosswise ? 0 : width) {
  if (crosswise) block_.resize(kBlockRows * width);
}

namespace {

// Turns an 8 x 8 block of bytes held as eight words, byte j of word k being
// element (k, j) (little-endian loads), into its transpose.
void Transpose8x8(std::uint64_t (&w)[8]) {
  for (int k = 0; k < 4; ++k) {
    const std::uint64_t a = w[k], b = w[k + 4];
    w[k] = (a & 0x00000000FFFFFFFFULL) | (b << 32);
    w[k + 4] = (a >> 32) | (b & 0xFFFFFFFF00000000ULL);
  }
  for (int k : {0, 1, 4, 5}) {
    const std::uint64_t a = w[k], b = w[k + 2];
    w[k] = (a & 0x0000FFFF0000FFFFULL) | ((b & 0x0000FFFF0000FFFFULL) << 16);
    w[k + 2] = ((a >> 16) & 0x0000FFFF0000FFFFULL) | (b & 0xFFFF0000FFFF0000ULL);
  }
  for (int k : {0, 2, 4, 6}) {
    const std::uint64_t a = w[k], b = w[k + 1];
    w[k] = (a & 0x00FF00FF00FF00FFULL) | ((b & 0x00FF00FF00FF00FFULL) << 8);
    w[k + 1] = ((a >> 8) & 0x00FF00FF00FF00FFULL) | (b & 0xFF00FF00FF00FF00ULL);
  }
}

}  // namespace

void GreyRows::TurnRows(std::uint64_t y, std::uint64_t count) {
  const std::uint8_t* columns = source_ + byY_[y];  // the `count` columns start here
  std::uint64_t x = 0;
  constexpr std::uint64_t kAhead = 32;  // source rows fetched ahead of their use
  for (; x + 8 <= width_; x += 8) {
    // Each of these source rows lies in another cache line (and mostly in
    // another page), so they are asked for well before they are read.
    if (x + kAhead + 8 <= width_) {
      for (int k = 0; k < 8; ++k) {
        const std::uint8_t* ahead = columns + byX_[x + kAhead + k];
        __builtin_prefetch(ahead);
        __builtin_prefetch(ahead + count - 1);
      }
    }
    // Eight source rows, `count` bytes of each: a whole cache line when
    // count is 64, so every line of the source is fetched once per block.
    for (std::uint64_t group = 0; group < count; group += 8) {
      std::uint64_t w[8];
      for (int k = 0; k < 8; ++k) std::memcpy(&w[k], columns + byX_[x + k] + group, 8);
      Transpose8x8(w);
      for (std::uint64_t i = 0; i < 8; ++i)
        std::memcpy(block_.data() + (group + i) * width_ + x, &w[i], 8);
    }
  }
  for (; x < width_; ++x) {
    for (std::uint64_t i = 0; i < count; ++i) block_[i * width_ + x] = columns[byX_[x] + i];
  }
  blockStart_ = y;
  blockRows_ = count;
}

const std::uint8_t* GreyRows::Row(std::uint64_t y) {
  if (!crosswise_) return gather_.Row(source_ + byY_[y]);
  if (y >= blockStart_ && y < blockStart_ + blockRows_) {
    return block_.data() + (y - blockStart_) * width_;
  }
  // Rows from neighbouring columns, read eight bytes at a time: only where
  // each byte read is one those rows themselves read.
  const auto neighbours = [&](std::uint64_t count) {
    if (std::endian::native != std::endian::little || y + count > height_) return false;
    for (std::uint64_t i = 1; i < count; ++i) {
      if (byY_[y + i] != byY_[y] + i) return false;
    }
    return true;
  };
  for (std::uint64_t count : {kBlockRows, std::uint64_t{8}}) {
    if (neighbours(count)) {
      TurnRows(y, count);
      return block_.data();
    }
  }
  blockRows_ = 0;
  std::uint8_t* row = block_.data();
  const std::uint8_t* column = source_ + byY_[y];
  for (std::uint64_t x = 0; x < width_; ++x) row[x] = column[byX_[x]];
  return row;
}

}  // namespace Brindle::Detail
