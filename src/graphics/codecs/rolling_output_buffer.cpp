#include "graphics/codecs/rolling_output_buffer.h"

#include <algorithm>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {
constexpr std::size_t kFirstStep = std::size_t{1} << 10;
constexpr std::size_t kGrowthStep = std::size_t{1} << 18;
}  // namespace

RollingOutputBuffer::RollingOutputBuffer(std::ostream& output)
    : output_(output), owned_(kStorageSize), buffer_(owned_.data()), end_(kStorageSize) {}

RollingOutputBuffer::RollingOutputBuffer(ByteSink output, ByteBlock& storage)
    : output_(output), owned_(0), buffer_(storage.data()), end_(kStorageSize) {}

RollingOutputBuffer::RollingOutputBuffer(std::vector<unsigned char>& output)
    : output_(output),
      owned_(0),
      direct_(&output),
      base_(output.size()),
      buffer_(output.data() + output.size()),
      end_(0) {
  MakeRoom(kDirectSlack);
}

void RollingOutputBuffer::CopyTooFar() {
  throw RollingOutputBufferException("Backwards distance exceeds available bytes");
}

void RollingOutputBuffer::Flush() {
  if (direct_ != nullptr) {
    // The bytes are in place already; the room grown ahead goes.
    direct_->resize(base_ + position_);
    end_ = position_;
    flushed_ = position_;
    return;
  }
  output_.Write(buffer_ + flushed_, position_ - flushed_);
  flushed_ = position_;
}

void RollingOutputBuffer::MakeRoom(std::size_t count) {
  if (direct_ == nullptr) {
    Rotate();
    return;
  }
  // Steps that grow with the output, so that a small input (a TIFF strip of
  // a few rows) clears little room ahead of itself.
  const std::size_t needed = base_ + position_ + count;
  std::size_t size = base_ + end_ + std::clamp(end_, kFirstStep, kGrowthStep);
  // Within the capacity the caller reserved, if that is enough.
  if (direct_->capacity() >= needed) size = std::min(size, direct_->capacity());
  size = std::max(size, needed);
  direct_->resize(size);
  buffer_ = direct_->data() + base_;
  end_ = size - base_;
}

void RollingOutputBuffer::Rotate() {
  Flush();
  const std::size_t keep = std::min(position_, kCapacity);
  std::memmove(buffer_, buffer_ + position_ - keep, keep);
  position_ = keep;
  flushed_ = keep;
}

void RollingOutputBuffer::Append(const unsigned char* bytes, std::size_t count) {
  while (count > 0) {
    if (position_ + kSlack >= end_) MakeRoom(std::min(count, kGrowthStep) + kSlack);
    const std::size_t step = std::min(count, end_ - kSlack - position_);
    std::memcpy(buffer_ + position_, bytes, step);
    position_ += step;
    bytes += step;
    count -= step;
  }
}

}  // namespace Ashgrove
