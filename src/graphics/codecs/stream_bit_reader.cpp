#include "graphics/codecs/stream_bit_reader.h"

#include <stdexcept>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {
constexpr std::size_t kBlockSize = 1 << 16;
}

StreamBitReader::StreamBitReader(std::istream& input)
    : input_(&input), block_(kBlockSize), bytes_(block_.data()) {}

StreamBitReader::StreamBitReader(const unsigned char* data, std::size_t size)
    : block_(0), bytes_(data), end_(size) {}

bool StreamBitReader::ReadBlock() {
  if (input_ == nullptr || !input_->good()) return false;
  input_->read(reinterpret_cast<char*>(block_.data()), static_cast<std::streamsize>(block_.size()));
  position_ = 0;
  end_ = static_cast<std::size_t>(input_->gcount());
  return end_ > 0;
}

bool StreamBitReader::FillMsbFirst(std::uint32_t count) {
  while (count_ <= 56) {
    if (!EnsureBlock()) break;
    accumulator_ = (accumulator_ << 8) | bytes_[position_++];
    count_ += 8;
  }
  return count_ >= count;
}

bool StreamBitReader::ReadBits(std::uint32_t count, BitSequence& bits) {
  if (count == 0) return true;
  if (bits.length + count > BitSequence::kMaxLength) throw std::out_of_range("count too large");
  BitSequence read;
  while (count > 0) {
    const std::uint32_t step = count > 24 ? 24 : count;
    std::uint32_t code = 0;
    if (!ReadCode(step, code)) return false;
    read.Append(code, step);
    count -= step;
  }
  bits.Append(read.value, read.length);
  return true;
}

bool StreamBitReader::ReadByte(std::uint8_t& byte) {
  if (count_ % 8 != 0) throw IOException("Not aligned at byte boundary");
  std::uint32_t code = 0;
  if (!ReadCode(8, code)) return false;
  byte = static_cast<std::uint8_t>(code);
  return true;
}

void StreamBitReader::SkipToByteBoundary() { count_ -= count_ % 8; }

bool StreamBitReader::MoreBytesFollow() {
  if (count_ >= 8 || position_ < end_) return true;
  if (input_ == nullptr || input_->eof()) return false;
  return input_->peek() != std::char_traits<char>::eof();
}

}  // namespace Ashgrove
