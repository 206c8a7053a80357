#include "graphics/codecs/deflate_stream_bit_reader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

bool DeflateStreamBitReader::Refill(std::uint32_t count) {
  if (end_ - position_ >= 8) {
    // Takes as many whole bytes as fit. The bits above count_ then preview
    // the next byte, exactly the bits the next refill ORs in again, so they
    // never corrupt anything; only taking bytes from the block directly
    // (ReadAlignedBytes) has to drop them.
    std::uint64_t word;
    std::memcpy(&word, bytes_ + position_, 8);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    accumulator_ |= word << count_;
    position_ += (63 - count_) >> 3;
    count_ |= 56;
    return true;
  }
  while (count_ <= 56) {
    if (!EnsureBlock()) break;
    accumulator_ |= std::uint64_t{bytes_[position_++]} << count_;
    count_ += 8;
  }
  return count_ >= count;
}

bool DeflateStreamBitReader::ReadBits(std::uint32_t count, BitSequence& bits) {
  if (count == 0) return true;
  if (bits.length + count > BitSequence::kMaxLength) {
    throw std::out_of_range("bit sequence has reached maximum length");
  }
  std::uint32_t value = 0;
  std::uint32_t done = 0;
  while (done < count) {
    const std::uint32_t step = count - done > 24 ? 24 : count - done;
    if (!Fill(step)) return false;
    value |= Peek(step) << done;
    Consume(step);
    done += step;
  }
  bits.value |= value << bits.length;
  bits.length += count;
  return true;
}

bool DeflateStreamBitReader::ReadByte(std::uint8_t& byte) {
  if (count_ % 8 != 0) throw IOException("Not aligned at byte boundary");
  if (!Fill(8)) return false;
  byte = static_cast<std::uint8_t>(Peek(8));
  Consume(8);
  return true;
}

void DeflateStreamBitReader::SkipToByteBoundary() { Consume(count_ % 8); }

std::uint32_t DeflateStreamBitReader::HuffmanBit() {
  if (!Fill(1))
    throw IOException("Unexpected end of stream encountered while reading Huffman code");
  const std::uint32_t bit = Peek(1);
  Consume(1);
  return bit;
}

std::size_t DeflateStreamBitReader::ReadAlignedBytes(unsigned char* out, std::size_t count) {
  std::size_t done = 0;
  while (done < count && count_ >= 8) {
    out[done++] = static_cast<unsigned char>(Peek(8));
    Consume(8);
  }
  // The accumulator may hold a preview of the byte at position_; the bytes
  // are now taken from the block directly, so that preview must go.
  if (done < count) accumulator_ = 0;
  while (done < count) {
    if (!EnsureBlock()) break;
    const std::size_t step = std::min(count - done, end_ - position_);
    std::memcpy(out + done, bytes_ + position_, step);
    position_ += step;
    done += step;
  }
  return done;
}

}  // namespace Ashgrove
