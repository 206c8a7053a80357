// A bit reader over an input stream, most significant bit of each byte first
// (TIFF's LZW order).
#pragma once

#include <cstdint>
#include <cstring>
#include <istream>
#include <vector>

#include "graphics/codecs/bit_reader.h"
#include "graphics/codecs/byte_block.h"

namespace Ashgrove {

// Reads the stream in large blocks and serves bits from a 64-bit
// accumulator; the stream must outlive the reader. The reader may read ahead
// of what it has handed out, so the stream's position afterwards is not
// meaningful; MoreBytesFollow() tells whether untouched input remains.
class StreamBitReader : public IBitReader {
 public:
  explicit StreamBitReader(std::istream& input);
  // Reads the `size` bytes at `data` in place, without a stream or a copy;
  // they must outlive the reader.
  StreamBitReader(const unsigned char* data, std::size_t size);

  bool ReadBits(std::uint32_t count, BitSequence& bits) override;
  bool ReadByte(std::uint8_t& byte) override;
  void SkipToByteBoundary() override;

  // True when a byte not yet touched by any read is still available, in our
  // buffers or in the stream (the current, partly used byte does not count).
  bool MoreBytesFollow();

  // Reads an MSB-first code of `count` bits (at most 25) into `code`;
  // false when the input ends first.
  bool ReadCode(std::uint32_t count, std::uint32_t& code) {
    if (count_ < count && !FillMsbFirst(count)) return false;
    count_ -= count;
    code = static_cast<std::uint32_t>(accumulator_ >> count_) & ((1u << count) - 1);
    return true;
  }

  // The reader's state for a decoding loop that keeps it in registers: the
  // loop exports it, works on the copy, and imports it back before anything
  // else touches the reader.
  struct Raw {
    std::uint64_t accumulator;
    std::uint32_t count;
    const unsigned char* next;
    const unsigned char* end;
  };
  Raw Export() const { return {accumulator_, count_, bytes_ + position_, bytes_ + end_}; }
  void Import(const Raw& raw) {
    accumulator_ = raw.accumulator;
    count_ = raw.count;
    position_ = static_cast<std::size_t>(raw.next - bytes_);
  }

 protected:
  // Bytes left in the current block; when none, reads the next block.
  // Returns false at the end of the input.
  bool EnsureBlock() {
    if (position_ < end_) return true;
    return ReadBlock();
  }

  std::istream* input_ = nullptr;  // null when reading from memory
  ByteBlock block_;
  const unsigned char* bytes_;  // the block, or the memory read in place
  std::size_t position_ = 0;
  std::size_t end_ = 0;
  std::uint64_t accumulator_ = 0;
  // Bits of the accumulator not yet handed out. Bytes enter whole, so
  // count_ % 8 bits are what is left of the current byte.
  std::uint32_t count_ = 0;

 private:
  bool ReadBlock();
  bool FillMsbFirst(std::uint32_t count);
};

}  // namespace Ashgrove
