// The vector stream buffers' seek rules and appends, as the codecs and the
// TIFF code rely on them.
#include "graphics/streams/vector_stream_buffer.h"

#include <gtest/gtest.h>

#include <istream>
#include <ostream>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(VectorStreamBuffers, SeekRulesAndAppends) {
  const Bytes ten = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  const struct {
    std::streamoff start, offset;  // the position before the seek, and the seek
    std::ios_base::seekdir direction;
    std::ios_base::openmode which;
    std::streamoff result;
  } kCases[] = {
      {0, -3, std::ios_base::end, std::ios_base::in, 7},
      {5, 2, std::ios_base::cur, std::ios_base::in, 7},
      {1, (std::streamoff{1} << 32) + 3, std::ios_base::cur, std::ios_base::in, 4},  // low 32 bits
      {3, 5, std::ios_base::beg, std::ios_base::in | std::ios_base::out, 0},  // moves nothing
  };
  for (const auto& c : kCases) {
    Corvane::InputVectorStreamBuffer buffer(ten);
    buffer.pubseekpos(c.start, std::ios_base::in);
    EXPECT_EQ(std::streamoff(buffer.pubseekoff(c.offset, c.direction, c.which)), c.result);
    EXPECT_EQ(buffer.sgetc(), c.result != 0 ? c.result : c.start);
  }
  const Bytes empty;
  Corvane::InputVectorStreamBuffer emptyBuffer(empty);
  EXPECT_EQ(std::istream(&emptyBuffer).get(), std::char_traits<char>::eof());

  Bytes target = {0xAA};
  Corvane::OutputVectorStreamBuffer output(target);
  std::ostream out(&output);
  out.write("0123456789", 10);
  out.put('y');
  EXPECT_EQ(std::string(target.begin() + 1, target.end()), "0123456789y");
  EXPECT_EQ(target.front(), 0xAA);
}

}  // namespace
