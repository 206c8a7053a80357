#include "graphics/streams/vector_stream_buffer.h"

#include <gtest/gtest.h>

#include <istream>
#include <ostream>
#include <string>

namespace Corvane {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(VectorStreamBuffer, ReadsTheVectorInPlace) {
  const Bytes empty;
  InputVectorStreamBuffer emptyBuffer(empty);
  std::istream emptyStream(&emptyBuffer);
  EXPECT_EQ(emptyStream.get(), std::char_traits<char>::eof());

  const Bytes ten = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
  InputVectorStreamBuffer buffer(ten);
  std::istream in(&buffer);
  std::string text(4, ' ');
  in.read(text.data(), 4);
  EXPECT_EQ(text, "0123");
  in.seekg(0, std::ios_base::end);
  EXPECT_EQ(in.tellg(), 10);
}

TEST(VectorStreamBuffer, SeeksAsTheCodecsExpect) {
  const Bytes ten = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
  struct Case {
    const char* name;
    std::streamoff first;
    std::ios_base::seekdir direction;
    std::streamoff offset;
    std::ios_base::openmode which;
    std::streamoff result;
    char next;
  };
  const std::ios_base::openmode in = std::ios_base::in;
  const std::ios_base::openmode both = std::ios_base::in | std::ios_base::out;
  const Case kCases[] = {
      {"from the start", 0, std::ios_base::beg, 7, in, 7, '7'},
      {"back from the end", 0, std::ios_base::end, -3, in, 7, '7'},
      {"relative", 2, std::ios_base::cur, 3, in, 5, '5'},
      // Only the low 32 bits of a relative offset count.
      {"relative, 2^32 + 3", 2, std::ios_base::cur, (std::streamoff{1} << 32) + 3, in, 5, '5'},
      {"relative, negative", 6, std::ios_base::cur, -4, in, 2, '2'},
      // in | out moves nothing and answers 0, not a failure.
      {"in and out", 4, std::ios_base::beg, 5, both, 0, '4'},
  };
  for (const auto& c : kCases) {
    InputVectorStreamBuffer buffer(ten);
    buffer.pubseekoff(c.first, std::ios_base::beg, in);
    EXPECT_EQ(buffer.pubseekoff(c.offset, c.direction, c.which), c.result) << c.name;
    EXPECT_EQ(buffer.sgetc(), c.next) << c.name;
  }
  InputVectorStreamBuffer buffer(ten);
  EXPECT_EQ(buffer.pubseekpos(8, in), 8);
  EXPECT_EQ(buffer.sgetc(), '8');
}

TEST(VectorStreamBuffer, AppendsEverythingWritten) {
  Bytes target = {'x', 'y'};
  OutputVectorStreamBuffer buffer(target);
  std::ostream out(&buffer);
  out.write(std::string(100, 'a').data(), 100);
  out.put('b');
  EXPECT_EQ(target.size(), 103u);
  EXPECT_EQ(target[0], 'x');
  EXPECT_EQ(target[2], 'a');
  EXPECT_EQ(target.back(), 'b');
  EXPECT_EQ(out.tellp(), std::streampos(-1));  // no seeking on the output side
}

}  // namespace
}  // namespace Corvane
