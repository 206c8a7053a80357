// Stream buffers that let a byte vector stand where the codecs and the TIFF
// code expect a standard stream. Wrap one in a std::istream / std::ostream for
// the length of one codec call.
#pragma once

#include <cstdint>
#include <ios>
#include <streambuf>
#include <vector>

namespace Corvane {

// Reads an existing vector in place, without copying it. The vector must
// outlive the buffer and must not be resized while the buffer is in use.
template <typename CharT, typename ElementT>
class BasicInputVectorStreamBuffer : public std::basic_streambuf<CharT> {
  static_assert(sizeof(CharT) == sizeof(ElementT), "the vector is read as the stream's characters");

 public:
  using Base = std::basic_streambuf<CharT>;
  using typename Base::off_type;
  using typename Base::pos_type;

  explicit BasicInputVectorStreamBuffer(const std::vector<ElementT>& source) {
    // The get area only ever reads through these pointers.
    auto* begin = const_cast<CharT*>(reinterpret_cast<const CharT*>(source.data()));
    this->setg(begin, begin, begin + source.size());
  }

 protected:
  // Seeks apply to the get area only, and only when `which` is exactly `in`.
  // No bound is checked: positioning outside the vector is the caller's fault.
  pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                   std::ios_base::openmode which) override {
    if (which != std::ios_base::in) return pos_type(off_type(this->pptr() - this->pbase()));
    CharT* position = this->gptr();
    if (direction == std::ios_base::beg) {
      position = this->eback() + offset;
    } else if (direction == std::ios_base::cur) {
      // Only the low 32 bits of a relative offset count, read as a signed
      // 32-bit number; callers have always relied on this narrowing.
      position += static_cast<std::int32_t>(static_cast<std::uint32_t>(offset));
    } else if (direction == std::ios_base::end) {
      position = this->egptr() + offset;
    }
    this->setg(this->eback(), position, this->egptr());
    return pos_type(off_type(position - this->eback()));
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    return seekoff(off_type(position), std::ios_base::beg, which);
  }
};

// Appends everything written to it to a vector it does not own. No put area
// is ever set, so every character goes straight into the vector.
template <typename CharT, typename ElementT>
class BasicOutputVectorStreamBuffer : public std::basic_streambuf<CharT> {
  static_assert(sizeof(CharT) == sizeof(ElementT), "the vector holds the stream's characters");

 public:
  using Base = std::basic_streambuf<CharT>;
  using typename Base::int_type;

  explicit BasicOutputVectorStreamBuffer(std::vector<ElementT>& target) : target_(&target) {}

 protected:
  std::streamsize xsputn(const CharT* data, std::streamsize count) override {
    const auto* bytes = reinterpret_cast<const ElementT*>(data);
    target_->insert(target_->end(), bytes, bytes + count);
    return count;
  }

  // The end-of-file value is never passed in this system's use and is not tested for.
  int_type overflow(int_type character) override {
    target_->push_back(static_cast<ElementT>(character));
    return character;
  }

 private:
  std::vector<ElementT>* target_;
};

using InputVectorStreamBuffer = BasicInputVectorStreamBuffer<char, unsigned char>;
using OutputVectorStreamBuffer = BasicOutputVectorStreamBuffer<char, unsigned char>;

}  // namespace Corvane
