// Our Deflate decoder against zlib: whatever zlib writes in raw mode we must
// restore byte for byte, and malformed streams must fail with their message.
#include <gtest/gtest.h>
#include <zlib.h>

#include "codecs/codec_runner.h"
#include "codecs/sample_data.h"
#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/exception.h"

namespace {

using VellumTest::Bytes;

Bytes ZlibRawDeflate(const Bytes& input, int level, int strategy, int windowBits = -15,
                     int flushEvery = 0) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, windowBits, 8, strategy), Z_OK);
  Bytes out(deflateBound(&stream, input.size()) + 1024 +
            (flushEvery ? input.size() / flushEvery * 16 : 0));
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  std::size_t offset = 0;
  do {
    const std::size_t step =
        flushEvery ? std::min<std::size_t>(flushEvery, input.size() - offset) : input.size();
    stream.next_in = const_cast<unsigned char*>(input.data() + offset);
    stream.avail_in = static_cast<uInt>(step);
    offset += step;
    const int flush = offset == input.size() ? Z_FINISH : Z_SYNC_FLUSH;
    EXPECT_NE(deflate(&stream, flush), Z_STREAM_ERROR);
  } while (offset < input.size());
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

Bytes Inflate(const Bytes& input, Bytes* partial = nullptr) {
  Ashgrove::DeflateCompression codec;
  return VellumTest::Decode(codec, input, partial);
}

struct Payload {
  const char* name;
  Bytes bytes;
};

TEST(DeflateDecoder, MatchesZlibAtEveryLevelAndStrategy) {
  const Payload payloads[] = {
      {"empty", {}},
      {"one byte", {0x41}},
      {"text", VellumTest::EnglishText(40'000)},
      {"label bitmap", VellumTest::LabelBitmap(640, 400)},
      {"photo", VellumTest::PhotoGrey(200, 120)},
      {"random", VellumTest::RandomBytes(20'000, 11)},
  };
  const struct {
    const char* name;
    int value;
  } strategies[] = {{"default", Z_DEFAULT_STRATEGY},
                    {"filtered", Z_FILTERED},
                    {"huffman only", Z_HUFFMAN_ONLY},
                    {"rle", Z_RLE},
                    {"fixed", Z_FIXED}};
  for (const auto& payload : payloads) {
    for (const auto& strategy : strategies) {
      for (int level = 0; level <= 9; ++level) {
        SCOPED_TRACE(std::string(payload.name) + ", " + strategy.name + ", level " +
                     std::to_string(level));
        ASSERT_EQ(Inflate(ZlibRawDeflate(payload.bytes, level, strategy.value)), payload.bytes);
      }
    }
  }
}

TEST(DeflateDecoder, MatchesZlibOnLargeInputs) {
  Bytes mixed = VellumTest::LabelBitmap(2000, 6000);
  const Bytes text = VellumTest::EnglishText(1'500'000);
  const Bytes noise = VellumTest::RandomBytes(300'000, 5);
  mixed.insert(mixed.end(), text.begin(), text.end());
  mixed.insert(mixed.end(), noise.begin(), noise.end());
  for (int level : {1, 6, 9}) {
    SCOPED_TRACE(level);
    ASSERT_EQ(Inflate(ZlibRawDeflate(mixed, level, Z_DEFAULT_STRATEGY)), mixed);
  }
  // Sync flushes leave empty stored blocks between the compressed ones, and
  // a 512-byte window gives short distances only.
  ASSERT_EQ(Inflate(ZlibRawDeflate(text, 6, Z_DEFAULT_STRATEGY, -15, 70'000)), text);
  ASSERT_EQ(Inflate(ZlibRawDeflate(text, 9, Z_DEFAULT_STRATEGY, -9)), text);
}

// Packs Deflate fields LSB first; Huffman codes go in most significant bit first.
class DeflateWriter {
 public:
  DeflateWriter& Bits(std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i) Bit((value >> i) & 1);
    return *this;
  }
  DeflateWriter& Code(std::uint32_t code, int length) {
    for (int i = length - 1; i >= 0; --i) Bit((code >> i) & 1);
    return *this;
  }
  // Fixed literal/length code (RFC 1951, 3.2.6).
  DeflateWriter& Fixed(std::uint32_t symbol) {
    if (symbol < 144) return Code(0x30 + symbol, 8);
    if (symbol < 256) return Code(0x190 + symbol - 144, 9);
    if (symbol < 280) return Code(symbol - 256, 7);
    return Code(0xC0 + symbol - 280, 8);
  }
  DeflateWriter& Raw(std::initializer_list<unsigned char> bytes) {
    bytes_.insert(bytes_.end(), bytes);
    return *this;
  }
  Bytes Done() const { return bytes_; }

 private:
  void Bit(std::uint32_t bit) {
    if (used_ == 0) bytes_.push_back(0);
    bytes_.back() |= static_cast<unsigned char>(bit << used_);
    used_ = (used_ + 1) % 8;
  }
  Bytes bytes_;
  int used_ = 0;
};

TEST(DeflateDecoder, BackReferenceLongerThanItsDistanceRepeats) {
  // 'A', then length 10 (code 264) at distance 1 (code 0), then end of block.
  const Bytes stream =
      DeflateWriter().Bits(1, 1).Bits(1, 2).Fixed('A').Fixed(264).Code(0, 5).Fixed(256).Done();
  EXPECT_EQ(Inflate(stream), Bytes(11, 'A'));
}

TEST(DeflateDecoder, EmptyInputDecodesToNothing) { EXPECT_EQ(Inflate({}), Bytes{}); }

TEST(DeflateDecoder, MalformedStreamsFailWithTheirMessage) {
  const struct {
    const char* name;
    Bytes stream;
    std::string message;
    Bytes partial;
  } cases[] = {
      {"NLEN not the complement of LEN",
       DeflateWriter().Bits(1, 3).Raw({10, 0, 0, 0}).Done(),
       "Error reading length of uncompressed data",
       {}},
      {"short stored block",
       DeflateWriter().Bits(1, 3).Raw({10, 0, 0xF5, 0xFF, 1, 2, 3, 4}).Done(),
       "Stream ended early, read 4 of 10",
       {1, 2, 3, 4}},
      {"stored lengths cut off",
       DeflateWriter().Bits(1, 3).Raw({10, 0, 0xF5}).Done(),
       "Unexpected end of stream reading uncompressed data lengths",
       {}},
      {"distance beyond the output",
       DeflateWriter().Bits(3, 3).Fixed('A').Fixed(257).Code(1, 5).Done(),
       "Backwards distance exceeds available bytes",
       {'A'}},
      {"reserved block type", Bytes{0x07}, "Encountered reserved block", {}},
      {"length code 286", DeflateWriter().Bits(3, 3).Fixed(286).Done(), "Unknown length code", {}},
      {"distance code 30",
       DeflateWriter().Bits(3, 3).Fixed('A').Fixed(257).Code(30, 5).Done(),
       "Unknown distance code",
       {'A'}},
      {"cut inside a Huffman code",
       Bytes{0x03},
       "Unexpected end of stream encountered while reading Huffman code",
       {}},
      {"cut inside extra distance bits",
       DeflateWriter().Bits(3, 3).Fixed('A').Fixed(257).Code(29, 5).Done(),
       "Unexpected end of stream while reading extra distance bits",
       {'A'}},
      // HLIT 0, HDIST 0, HCLEN 0: lengths of codes 16, 17, 18, 0.
      {"repeat with nothing before it",
       DeflateWriter()
           .Bits(5, 3)
           .Bits(0, 5)
           .Bits(0, 5)
           .Bits(0, 4)
           .Bits(1, 3)
           .Bits(0, 3)
           .Bits(0, 3)
           .Bits(1, 3)
           .Code(1, 1)
           .Bits(0, 2)
           .Done(),
       "No codes to repeat",
       {}},
      {"repeat past the table",
       DeflateWriter()
           .Bits(5, 3)
           .Bits(0, 5)
           .Bits(0, 5)
           .Bits(0, 4)
           .Bits(0, 3)
           .Bits(0, 3)
           .Bits(1, 3)
           .Bits(1, 3)
           .Code(1, 1)
           .Bits(127, 7)
           .Code(1, 1)
           .Bits(127, 7)
           .Code(1, 1)
           .Bits(127, 7)
           .Done(),
       "Repetition goes past the end of the table!",
       {}},
      {"over-full code length code",
       DeflateWriter()
           .Bits(5, 3)
           .Bits(0, 5)
           .Bits(0, 5)
           .Bits(0, 4)
           .Bits(1, 3)
           .Bits(1, 3)
           .Bits(1, 3)
           .Bits(0, 3)
           .Done(),
       "Code too large for this table",
       {}},
      {"bits that match no code",
       DeflateWriter()
           .Bits(5, 3)
           .Bits(0, 5)
           .Bits(0, 5)
           .Bits(0, 4)
           .Bits(0, 3)
           .Bits(0, 3)
           .Bits(0, 3)
           .Bits(1, 3)
           .Code(3, 2)
           .Done(),
       "Code too large for this table",
       {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes partial;
    EXPECT_EQ(VellumTest::MessageOf([&] { Inflate(c.stream, &partial); }), c.message);
    EXPECT_EQ(partial, c.partial);
  }
}

TEST(DeflateDecoder, ZlibHeaderIsNotRawDeflate) {
  const Bytes text = VellumTest::EnglishText(5000);
  Bytes zlibStream(compressBound(text.size()));
  uLongf size = zlibStream.size();
  ASSERT_EQ(compress2(zlibStream.data(), &size, text.data(), text.size(), 6), Z_OK);
  zlibStream.resize(size);
  ASSERT_EQ(zlibStream[0], 0x78);
  Bytes out;
  try {
    out = Inflate(zlibStream);
  } catch (const Ashgrove::Exception&) {
    return;
  }
  EXPECT_NE(out, text);
}

}  // namespace
