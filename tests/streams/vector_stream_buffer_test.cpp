// The vector stream buffers' seek rules and appends, as the codecs and the
// TIFF code rely on them.
#include "graphics/streams/vector_stream_buffer.h"

#include <gtest/gtest.h>

#include <istream>
#include <ostream>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(InputVectorStreamBuffer, SeekRules) {
  const Bytes ten = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  using Dir = std::ios_base::seekdir;
  const struct {
    const char* name;
    std::streamoff start;  // position before the seek
    std::streamoff offset;
    Dir direction;
    std::ios_base::openmode which;
    std::streamoff result;
    int nextByte;  // -1: end of file
  } cases[] = {
      {"from the start", 0, 4, std::ios_base::beg, std::ios_base::in, 4, 4},
      {"from the end", 0, -3, std::ios_base::end, std::ios_base::in, 7, 7},
      {"to the end", 2, 0, std::ios_base::end, std::ios_base::in, 10, -1},
      {"relative", 5, 2, std::ios_base::cur, std::ios_base::in, 7, 7},
      {"relative, only the low 32 bits count", 1, (std::streamoff{1} << 32) + 3, std::ios_base::cur,
       std::ios_base::in, 4, 4},
      {"relative backwards", 6, -6, std::ios_base::cur, std::ios_base::in, 0, 0},
      {"in|out moves nothing and answers 0", 3, 5, std::ios_base::beg,
       std::ios_base::in | std::ios_base::out, 0, 3},
      {"out only moves nothing either", 3, 5, std::ios_base::beg, std::ios_base::out, 0, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Corvane::InputVectorStreamBuffer buffer(ten);
    buffer.pubseekpos(c.start, std::ios_base::in);
    EXPECT_EQ(std::streamoff(buffer.pubseekoff(c.offset, c.direction, c.which)), c.result);
    EXPECT_EQ(buffer.sgetc(), c.nextByte);
  }
}

TEST(InputVectorStreamBuffer, ReadsInPlaceAndEndsAtTheVectorsEnd) {
  const Bytes empty;
  Corvane::InputVectorStreamBuffer emptyBuffer(empty);
  std::istream emptyStream(&emptyBuffer);
  EXPECT_EQ(emptyStream.get(), std::char_traits<char>::eof());

  const Bytes ten(10, 7);
  Corvane::InputVectorStreamBuffer buffer(ten);
  std::istream in(&buffer);
  in.seekg(0, std::ios_base::end);
  EXPECT_EQ(in.tellg(), 10);
  in.seekg(8);
  char two[4];
  in.read(two, 4);
  EXPECT_EQ(in.gcount(), 2);
}

TEST(OutputVectorStreamBuffer, AppendsAfterExistingContents) {
  Bytes target = {0xAA};
  Corvane::OutputVectorStreamBuffer buffer(target);
  std::ostream out(&buffer);
  const std::string hundred(100, 'x');
  out.write(hundred.data(), 100);
  out.put('y');
  ASSERT_EQ(target.size(), 102u);
  EXPECT_EQ(target.front(), 0xAA);
  EXPECT_EQ(target.back(), 'y');
  // Telling fails: the callers measure the vector instead.
  EXPECT_EQ(out.tellp(), std::streampos(-1));
}

}  // namespace
