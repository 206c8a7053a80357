// A fixed-size byte buffer that is not zeroed when made: the codecs allocate
// their work buffers once per call (once per TIFF strip), and clearing a few
// hundred KiB that are written before they are read would cost more than
// decoding a small strip.
#pragma once

#include <cstddef>
#include <memory>

namespace Ashgrove {

class ByteBlock {
 public:
  explicit ByteBlock(std::size_t size)
      : bytes_(std::make_unique_for_overwrite<unsigned char[]>(size)), size_(size) {}

  unsigned char* data() { return bytes_.get(); }
  const unsigned char* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }
  unsigned char& operator[](std::size_t i) { return bytes_[i]; }
  unsigned char operator[](std::size_t i) const { return bytes_[i]; }

 private:
  std::unique_ptr<unsigned char[]> bytes_;
  std::size_t size_;
};

}  // namespace Ashgrove
