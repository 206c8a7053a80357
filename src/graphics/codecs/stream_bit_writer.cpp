#include "graphics/codecs/stream_bit_writer.h"

namespace Ashgrove {

namespace {
constexpr std::size_t kBlockSize = 1 << 16;
}

StreamBitWriter::StreamBitWriter(std::ostream& output) : output_(output), buffer_(kBlockSize) {}

void StreamBitWriter::Drain() {
  output_.write(buffer_.data(), static_cast<std::streamsize>(used_));
  used_ = 0;
}

void StreamBitWriter::Flush() {
  if (pending_ > 0) Write(0, 8 - pending_);
  Drain();
}

}  // namespace Ashgrove
