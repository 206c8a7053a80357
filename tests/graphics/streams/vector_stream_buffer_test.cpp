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
  Corvane::InputVectorStreamBuffer buffer(ten);
  std::istream in(&buffer);
  in.seekg(-3, std::ios_base::end);
  EXPECT_EQ(in.get(), 7);
  in.seekg((std::streamoff{1} << 32) + 1, std::ios_base::cur);  // only the low 32 bits count
  EXPECT_EQ(in.get(), 9);
  // Seeking "in | out", the default, moves nothing and answers 0.
  EXPECT_EQ(std::streamoff(buffer.pubseekoff(2, std::ios_base::beg)), 0);
  EXPECT_EQ(in.get(), std::char_traits<char>::eof());

  Bytes target = {0xAA};
  Corvane::OutputVectorStreamBuffer output(target);
  std::ostream out(&output);
  out.write("0123456789", 10);
  out.put('y');
  EXPECT_EQ(std::string(target.begin() + 1, target.end()), "0123456789y");
  EXPECT_EQ(target.front(), 0xAA);
}

}  // namespace
