// Where a decoder hands its output: an output stream, or the end of a byte
// vector directly (as the TIFF reader decodes strips into the image's rows).
#pragma once

#include <cstddef>
#include <ostream>
#include <vector>

namespace Ashgrove {

class ByteSink {
 public:
  explicit ByteSink(std::ostream& stream) : stream_(&stream) {}
  explicit ByteSink(std::vector<unsigned char>& vector) : vector_(&vector) {}

  void Write(const unsigned char* bytes, std::size_t count) {
    if (vector_ != nullptr) {
      vector_->insert(vector_->end(), bytes, bytes + count);
    } else {
      stream_->write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    }
  }

 private:
  std::ostream* stream_ = nullptr;
  std::vector<unsigned char>* vector_ = nullptr;
};

}  // namespace Ashgrove
