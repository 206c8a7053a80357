// Our LZW encoder's strips must decode with libtiff, the reference reader.
#include <gtest/gtest.h>

#include <istream>
#include <ostream>

#include "codecs/libtiff_reference.h"
#include "codecs/sample_data.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/streams/vector_stream_buffer.h"

namespace {

using VellumTest::Bytes;

Bytes Encode(const Bytes& input, std::uint32_t earlyChange = 1) {
  Bytes out;
  Corvane::InputVectorStreamBuffer inBuffer(input);
  Corvane::OutputVectorStreamBuffer outBuffer(out);
  std::istream in(&inBuffer);
  std::ostream os(&outBuffer);
  Ashgrove::LZWCompression(earlyChange).Compress(in, os);
  return out;
}

struct Payload {
  const char* name;
  Bytes bytes;
};

std::vector<Payload> Payloads() {
  return {
      {"one byte", Bytes{0x41}},
      {"two bytes", Bytes{0x41, 0x41}},
      {"zeros that fill the table many times", Bytes(3'000'000, 0)},
      {"label bitmap", VellumTest::LabelBitmap(800, 1200)},
      {"photo", VellumTest::PhotoGrey(500, 400)},
      {"text", VellumTest::EnglishText(300'000)},
      {"random bytes", VellumTest::RandomBytes(200'000, 7)},
      {"all byte values",
       [] {
         Bytes b;
         for (int i = 0; i < 70'000; ++i) b.push_back(static_cast<unsigned char>(i * 7 + i / 256));
         return b;
       }()},
  };
}

TEST(LZWEncoder, LibtiffDecodesWhatWeEncode) {
  for (const auto& payload : Payloads()) {
    SCOPED_TRACE(payload.name);
    const Bytes strip = Encode(payload.bytes);
    VellumTest::TempFile file;
    file.Write(
        VellumTest::WrapStrip(strip, static_cast<std::uint32_t>(payload.bytes.size()), 1, 5));
    EXPECT_EQ(VellumTest::LibtiffReadStrip0(file.path(), payload.bytes.size()), payload.bytes);
  }
}

TEST(LZWEncoder, EmptyInputIsClearThenEndOfInformation) {
  // 256 and 257 in 9 bits each, MSB first, padded with zeros.
  EXPECT_EQ(Encode({}), (Bytes{0x80, 0x40, 0x40}));
}

TEST(LZWEncoder, SingleByteStrip) {
  // Clear, 'A', End of Information: 100000000 001000001 100000001 + padding.
  EXPECT_EQ(Encode({0x41}), (Bytes{0x80, 0x10, 0x60, 0x20}));
}

}  // namespace
