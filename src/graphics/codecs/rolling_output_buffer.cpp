#include "graphics/codecs/rolling_output_buffer.h"

#include <algorithm>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {
constexpr std::size_t kBlock = 1 << 18;
}

RollingOutputBuffer::RollingOutputBuffer(std::ostream& output)
    : output_(output), buffer_(kCapacity + kBlock + kMaxRun + kSlack) {}

void RollingOutputBuffer::CopyTooFar() {
  throw RollingOutputBufferException("Backwards distance exceeds available bytes");
}

void RollingOutputBuffer::Flush() {
  output_.write(reinterpret_cast<const char*>(buffer_.data() + flushed_),
                static_cast<std::streamsize>(position_ - flushed_));
  flushed_ = position_;
}

void RollingOutputBuffer::Rotate() {
  Flush();
  const std::size_t keep = std::min(position_, kCapacity);
  std::memmove(buffer_.data(), buffer_.data() + position_ - keep, keep);
  position_ = keep;
  flushed_ = keep;
}

void RollingOutputBuffer::Append(const unsigned char* bytes, std::size_t count) {
  while (count > 0) {
    if (position_ + kSlack >= buffer_.size()) Rotate();
    const std::size_t step = std::min(count, buffer_.size() - kSlack - position_);
    std::memcpy(buffer_.data() + position_, bytes, step);
    position_ += step;
    bytes += step;
    count -= step;
  }
}

}  // namespace Ashgrove
