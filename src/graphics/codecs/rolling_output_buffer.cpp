#include "graphics/codecs/rolling_output_buffer.h"

#include <algorithm>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

RollingOutputBuffer::RollingOutputBuffer(std::ostream& output)
    : output_(output), owned_(kStorageSize), buffer_(owned_.data()) {}

RollingOutputBuffer::RollingOutputBuffer(ByteSink output, ByteBlock& storage)
    : output_(output), owned_(0), buffer_(storage.data()) {}

void RollingOutputBuffer::CopyTooFar() {
  throw RollingOutputBufferException("Backwards distance exceeds available bytes");
}

void RollingOutputBuffer::Flush() {
  output_.Write(buffer_ + flushed_, position_ - flushed_);
  flushed_ = position_;
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
    if (position_ + kSlack >= kStorageSize) Rotate();
    const std::size_t step = std::min(count, kStorageSize - kSlack - position_);
    std::memcpy(buffer_ + position_, bytes, step);
    position_ += step;
    bytes += step;
    count -= step;
  }
}

}  // namespace Ashgrove
