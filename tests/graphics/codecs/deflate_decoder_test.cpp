// Our Deflate decoder against zlib: whatever zlib writes in raw mode we must
// restore byte for byte, and malformed streams must fail with their message.
#include <gtest/gtest.h>
#include <zlib.h>

#include "graphics/codecs/codec_runner.h"
#include "graphics/codecs/sample_data.h"
#include "graphics/codecs/deflate_compression.h"

namespace {

using Vellum::Testing::Bytes;

// zlib's raw Deflate (window bits -15, no zlib header) of `input`.
Bytes ZlibDeflate(const Bytes& input, int level, int strategy) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, -15, 8, strategy), Z_OK);
  Bytes out(deflateBound(&stream, input.size()));
  stream.next_in = const_cast<unsigned char*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

TEST(DeflateDecoder, MatchesZlibAtEveryLevelAndStrategy) {
  const struct {
    const char* name;
    Bytes bytes;
  } payloads[] = {
      {"empty", {}},
      {"one byte", {0x41}},
      {"text, window rolls over", Vellum::Testing::EnglishText(100'000)},
      {"label bitmap", Vellum::Testing::LabelBitmap(640, 400)},
      {"photo", Vellum::Testing::PhotoGrey(200, 120)},
      {"random", Vellum::Testing::RandomBytes(20'000, 11)},
  };
  Ashgrove::DeflateCompression ours;
  for (const auto& payload : payloads) {
    for (int strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED}) {
      for (int level = 0; level <= 9; ++level) {
        SCOPED_TRACE(std::string(payload.name) + ", strategy " + std::to_string(strategy) +
                     ", level " + std::to_string(level));
        ASSERT_EQ(Vellum::Testing::Decode(ours, ZlibDeflate(payload.bytes, level, strategy)),
                  payload.bytes);
      }
    }
  }
}

// Packs Deflate fields least significant bit first; Huffman codes go in most
// significant bit first (`msbFirst`).
struct BitPacker {
  BitPacker& Bits(std::uint32_t value, int count, bool msbFirst = false) {
    for (int i = 0; i < count; ++i) {
      if (used == 0) bytes.push_back(0);
      const std::uint32_t bit = (value >> (msbFirst ? count - 1 - i : i)) & 1;
      bytes.back() |= static_cast<unsigned char>(bit << used);
      used = (used + 1) % 8;
    }
    return *this;
  }
  Bytes bytes;
  int used = 0;
};

// A final fixed block (BTYPE 01): the literal 'A' (8-bit code 0x71), then
// length code 257 (a match of 3, code 0000001) and a 5-bit distance code.
Bytes AThenMatch(std::uint32_t code) {
  return BitPacker().Bits(3, 3).Bits(0x71, 8, true).Bits(1, 7, true).Bits(code, 5, true).bytes;
}

// A final dynamic block (BTYPE 10) with HLIT, HDIST and HCLEN all 0: only
// code length codes 16, 17, 18 and 0 get lengths, these.
BitPacker Dynamic(std::uint32_t l16, std::uint32_t l17, std::uint32_t l18, std::uint32_t l0) {
  return BitPacker().Bits(5, 3).Bits(0, 14).Bits(l16, 3).Bits(l17, 3).Bits(l18, 3).Bits(l0, 3);
}

TEST(DeflateDecoder, MalformedStreamsFailWithTheirMessage) {
  const struct {
    const char* name;
    Bytes stream;
    std::string message;
    std::string partial;  // the output written before the failure
  } cases[] = {
      {"no bytes at all", Bytes{}, "", ""},
      {"NLEN not the complement of LEN", Bytes{0x01, 10, 0, 0, 0},
       "Error reading length of uncompressed data", ""},
      {"short stored block", Bytes{0x01, 10, 0, 0xF5, 0xFF, 'a', 'b', 'c', 'd'},
       "Stream ended early, read 4 of 10", "abcd"},
      {"stored lengths cut off", Bytes{0x01, 10, 0, 0xF5},
       "Unexpected end of stream reading uncompressed data lengths", ""},
      {"reserved block type", Bytes{0x07}, "Encountered reserved block", ""},
      {"distance beyond the output", AThenMatch(1), "Backwards distance exceeds available bytes",
       "A"},
      // Length code 286 exists in the fixed code (11000110) but means nothing.
      {"length code 286", BitPacker().Bits(3, 3).Bits(0xC6, 8, true).bytes, "Unknown length code",
       ""},
      {"distance code 30", AThenMatch(30), "Unknown distance code", "A"},
      {"cut inside a Huffman code", Bytes{0x03},
       "Unexpected end of stream encountered while reading Huffman code", ""},
      {"cut inside extra distance bits", AThenMatch(29),
       "Unexpected end of stream while reading extra distance bits", "A"},
      {"repeat with nothing before it", Dynamic(1, 0, 0, 1).Bits(1, 1).Bits(0, 2).bytes,
       "No codes to repeat", ""},
      {"repeat past the table", Dynamic(0, 0, 1, 1).Bits(0xFFFFFF, 24).bytes,
       "Repetition goes past the end of the table!", ""},
      {"over-full code length code", Dynamic(1, 1, 1, 0).bytes, "Code too large for this table",
       ""},
      {"bits that match no code", Dynamic(0, 0, 0, 1).Bits(3, 2).bytes,
       "Code too large for this table", ""},
  };
  Ashgrove::DeflateCompression ours;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string failure;
    EXPECT_EQ(Vellum::Testing::Decode(ours, c.stream, &failure),
              Bytes(c.partial.begin(), c.partial.end()));
    EXPECT_EQ(failure, c.message);
  }
}

}  // namespace
