#include "graphics/grey_rows.h"

#include <bit>
#include <cstring>

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

using Bytes8 = std::uint8_t __attribute__((vector_size(8)));
using Bytes16 = std::uint8_t __attribute__((vector_size(16)));

using Words2 = std::uint64_t __attribute__((vector_size(16)));

// Turns the 8 x 8 block whose row k is the eight bytes at rows[k] + at,
// writing its column j as eight bytes at out + j * stride. Three rounds of
// interleaving (bytes, pairs, quadruples), which the compiler turns into the
// processor's unpack or zip instructions.
[[gnu::always_inline]] inline void TurnBlock(const std::uint8_t* const* rows, std::uint64_t at,
                                             std::uint8_t* out, std::uint64_t stride) {
  const auto load = [&](int k) {
    Bytes8 r;
    std::memcpy(&r, rows[k] + at, 8);
    return r;
  };
  const auto bytes = [](Bytes8 a, Bytes8 b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
  };
  const Bytes16 b0 = bytes(load(0), load(1));
  const Bytes16 b1 = bytes(load(2), load(3));
  const Bytes16 b2 = bytes(load(4), load(5));
  const Bytes16 b3 = bytes(load(6), load(7));
  // Columns 0-3 and 4-7 of rows 0-3, then of rows 4-7, four bytes a column.
  const auto lowPairs = [](Bytes16 a, Bytes16 b) {
    return __builtin_shufflevector(a, b, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23);
  };
  const auto highPairs = [](Bytes16 a, Bytes16 b) {
    return __builtin_shufflevector(a, b, 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14, 15, 30,
                                   31);
  };
  const Bytes16 p0 = lowPairs(b0, b1), p1 = highPairs(b0, b1);
  const Bytes16 p2 = lowPairs(b2, b3), p3 = highPairs(b2, b3);
  // Two whole columns each.
  const auto lowQuads = [](Bytes16 a, Bytes16 b) {
    return __builtin_shufflevector(a, b, 0, 1, 2, 3, 16, 17, 18, 19, 4, 5, 6, 7, 20, 21, 22, 23);
  };
  const auto highQuads = [](Bytes16 a, Bytes16 b) {
    return __builtin_shufflevector(a, b, 8, 9, 10, 11, 24, 25, 26, 27, 12, 13, 14, 15, 28, 29, 30,
                                   31);
  };
  const auto store = [&](int j, Bytes16 columns) {
    const auto words = reinterpret_cast<Words2>(columns);
    const std::uint64_t first = words[0], second = words[1];
    std::memcpy(out + j * stride, &first, 8);
    std::memcpy(out + (j + 1) * stride, &second, 8);
  };
  store(0, lowQuads(p0, p2));
  store(2, highQuads(p0, p2));
  store(4, lowQuads(p1, p3));
  store(6, highQuads(p1, p3));
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
    const std::uint8_t* const rows[8] = {
        columns + byX_[x],     columns + byX_[x + 1], columns + byX_[x + 2], columns + byX_[x + 3],
        columns + byX_[x + 4], columns + byX_[x + 5], columns + byX_[x + 6], columns + byX_[x + 7]};
    for (std::uint64_t group = 0; group < count; group += 8)
      TurnBlock(rows, group, block_.data() + group * width_ + x, width_);
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
