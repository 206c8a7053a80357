// Writes bit fields most significant bit first, as TIFF's LZW packs its codes.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "graphics/codecs/bit_sequence.h"

namespace Ashgrove {

// Collects bits and hands whole blocks of bytes to the output stream. The
// stream must outlive the writer. Nothing reaches the stream for sure until
// Flush(), which also pads the last byte with zero bits; the destructor does
// not flush, so bits written before an exception are dropped on purpose.
class StreamBitWriter {
 public:
  explicit StreamBitWriter(std::ostream& output);

  // Writes the sequence's `length` low bits of `value`, highest first.
  void Write(const BitSequence& bits) { Write(bits.value, bits.length); }

  // Writes the low `count` (at most 32) bits of `value`, highest first.
  void Write(std::uint32_t value, std::uint32_t count) {
    accumulator_ = (accumulator_ << count) | (value & ((std::uint64_t{1} << count) - 1));
    pending_ += count;
    while (pending_ >= 8) {
      pending_ -= 8;
      buffer_[used_++] = static_cast<char>(accumulator_ >> pending_);
    }
    if (used_ > buffer_.size() - 8) Drain();
  }

  // Pads to a byte boundary with zeros and writes everything held.
  void Flush();

 private:
  void Drain();

  std::ostream& output_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  std::uint64_t accumulator_ = 0;
  std::uint32_t pending_ = 0;
};

}  // namespace Ashgrove
