// Our Deflate strips are raw Deflate: zlib's raw inflate must restore them.
#include <gtest/gtest.h>
#include <zlib.h>

#include <istream>
#include <ostream>

#include "codecs/sample_data.h"
#include "graphics/codecs/deflate_compression.h"
#include "graphics/streams/vector_stream_buffer.h"

namespace {

using VellumTest::Bytes;

Bytes Compress(const Bytes& input) {
  Bytes out;
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(out);
  std::istream in(&inBuffer);
  std::ostream os(&outBuffer);
  Ashgrove::DeflateCompression().Compress(in, os);
  return out;
}

Bytes ZlibRawInflate(const Bytes& input, std::size_t expected) {
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, -15), Z_OK);
  Bytes out(expected + 16);
  stream.next_in = const_cast<unsigned char*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  inflateEnd(&stream);
  return out;
}

TEST(DeflateCompress, ZlibRawInflateRestoresTheInput) {
  const struct {
    const char* name;
    Bytes bytes;
  } cases[] = {
      {"empty", {}},
      {"one byte", {0x7F}},
      {"exactly one slice", Bytes(4096, 0x55)},
      {"label bitmap", VellumTest::LabelBitmap(1000, 1500)},
      {"photo", VellumTest::PhotoGrey(300, 300)},
      {"text", VellumTest::EnglishText(200'000)},
      {"random", VellumTest::RandomBytes(100'000, 3)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes compressed = Compress(c.bytes);
    ASSERT_FALSE(compressed.empty());
    EXPECT_EQ(ZlibRawInflate(compressed, c.bytes.size()), c.bytes);
  }
}

TEST(DeflateCompress, StripStartsWithABlockHeaderNotAZlibHeader) {
  // A zlib header would be 0x78 0xDA at level 9; raw Deflate of text starts
  // with a dynamic block: final bit 1, type 2 -> low three bits 101.
  const Bytes compressed = Compress(VellumTest::EnglishText(10'000));
  EXPECT_NE(compressed[0], 0x78);
  EXPECT_EQ(compressed[0] & 0x07, 0x05);
}

}  // namespace
