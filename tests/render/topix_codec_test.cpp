// The TOPIX codec: known encodings and the encoder's limits, and, since it
// compares and places eight bytes at a time, the format done the plain way,
// byte by byte, as the printer reads it: the same lines from the encoder, the
// same rows from the decoder, and the same failure, with the same text, for
// every cut and every stray index.
#include "render/topix_codec.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

#include "graphics/exception.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

// A block's lines, without the 16-bit count.
Bytes Lines(const Bitmap& bitmap) {
  std::stringstream out;
  WriteBitmap(bitmap, out, kTOPIXFormat);
  const std::string block = out.str();
  return {block.begin() + 2, block.end()};
}

TEST(TOPIX, KnownEncodings) {
  Bytes far(512, 0);  // byte 65 is section 1, block 0, byte 1; byte 511 the very last
  far[65] = 0x01;
  far[511] = 0x02;
  const std::pair<Bitmap, Bytes> kCases[] = {
      {Bitmap(16, 3), {0x00, 0x00, 0x00}},  // white: one 0x00 a row
      // Equal rows: the first in full, then 0x00.
      {Bitmap({0x12, 0x34, 0x12, 0x34}, 16, 2), {0x80, 0x80, 0xC0, 0x12, 0x34, 0x00}},
      {Bitmap({0x80, 0x00}, 16, 1), {0x80, 0x80, 0x80, 0x80}},  // one dot, far left
      {Bitmap(far, 4096, 1), {0x41, 0x80, 0x40, 0x01, 0x01, 0x01, 0x02}},
  };
  for (const auto& [bitmap, lines] : kCases) {
    std::stringstream block;
    WriteBitmap(bitmap, block, kTOPIXFormat);
    EXPECT_EQ(block.str().substr(0, 2), std::string({0, static_cast<char>(lines.size())}));
    EXPECT_EQ(Lines(bitmap), lines);
    EXPECT_EQ(BitmapFromData(lines, bitmap.Width(), 0, kTOPIXFormat).Data(), bitmap.Data());
  }
}

TEST(TOPIX, EncoderLimits) {
  const std::pair<Bitmap, const char*> kEncodings[] = {
      {Bitmap(4097, 1), "Bitmap width exceeds supported width for TOPIX compression"},
      {Bitmap(16, 0), "Bitmap has no height"},
      // One byte per white row: 65536 rows fill the block, one more is too many.
      {Bitmap(8, 65537), "Unable to compress bitmap to under maximum size of 65536 bytes"},
  };
  for (const auto& [bitmap, message] : kEncodings) {
    try {
      Lines(bitmap);
      ADD_FAILURE() << message;
    } catch (const BitmapException& e) {
      EXPECT_STREQ(e.what(), message);
    }
  }
  std::stringstream full;  // fits exactly; the count wraps to 0
  WriteBitmap(Bitmap(8, 65536), full, kTOPIXFormat);
  EXPECT_EQ(full.str().size(), 65538u);
  EXPECT_EQ(full.str().substr(0, 2), std::string(2, '\0'));
}

// The encoder done plainly: each row's difference from the row above, every
// differing byte marked in its byte map, block and section, then listed.
Bytes PlainLines(const Bitmap& bitmap) {
  const std::size_t length = bitmap.BytesPerRow();
  Bytes previous(length, 0), lines;
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
    const Bytes row = bitmap.GetRow(y);
    unsigned char sections = 0, blocks[8] = {}, maps[64] = {};
    for (std::size_t i = 0; i < length; ++i) {
      if (row[i] == previous[i]) continue;
      maps[i / 8] |= 0x80 >> (i % 8);
      blocks[i / 64] |= 0x80 >> (i / 8 % 8);
      sections |= 0x80 >> (i / 64);
    }
    lines.push_back(sections);
    for (unsigned s = 0; s < 8; ++s) {
      if (!(sections & (0x80 >> s))) continue;
      lines.push_back(blocks[s]);
      for (unsigned b = 0; b < 8; ++b) {
        if (!(blocks[s] & (0x80 >> b))) continue;
        lines.push_back(maps[s * 8 + b]);
        for (unsigned p = 0; p < 8; ++p) {
          const std::size_t i = s * 64 + b * 8 + p;
          if (maps[s * 8 + b] & (0x80 >> p)) lines.push_back(row[i] ^ previous[i]);
        }
      }
    }
    previous = row;
  }
  return lines;
}

// The decoder done plainly, with checked accesses for every byte; returns
// the rows, or the failure's kind and text.
std::string PlainDecode(const Bytes& data, std::uint64_t width, Bytes& rows) {
  const std::size_t length = (width + 7) / 8;
  Bytes line(std::min<std::size_t>(length, 512), 0);
  std::size_t at = 0;
  try {
    while (at < data.size()) {
      const unsigned sections = data.at(at++);
      for (unsigned s = 0; s < 8; ++s) {
        if (!(sections & (0x80 >> s))) continue;
        const unsigned blocks = data.at(at++);
        for (unsigned b = 0; b < 8; ++b) {
          if (!(blocks & (0x80 >> b))) continue;
          const unsigned map = data.at(at++);
          for (unsigned p = 0; p < 8; ++p) {
            if (!(map & (0x80 >> p))) continue;
            const unsigned char difference = data.at(at++);
            line.at(s * 64 + b * 8 + p) ^= difference;
          }
        }
      }
      rows.insert(rows.end(), line.begin(), line.end());
      rows.resize(rows.size() + (length - line.size()), 0);
    }
  } catch (const std::out_of_range& e) {
    return std::string("out_of_range: ") + e.what();
  }
  return "";
}

std::string FastDecode(const Bytes& data, std::uint64_t width, std::uint64_t height, Bytes& rows) {
  try {
    rows = BitmapFromData(data, width, height, kTOPIXFormat).Data();
  } catch (const std::out_of_range& e) {
    return std::string("out_of_range: ") + e.what();
  }
  return "";
}

// Rows that change a little, a lot, wholly or not at all from the row above.
Bitmap RandomBitmap(std::uint64_t width, std::uint64_t height, std::mt19937& random) {
  Bitmap bitmap(width, height);
  std::vector<unsigned char>& data = bitmap.Data();
  const std::size_t length = bitmap.BytesPerRow();
  for (std::uint64_t y = 0; y < height; ++y) {
    unsigned char* row = data.data() + y * length;
    if (y > 0) std::copy_n(row - length, length, row);
    const unsigned kind = random() % 4;
    for (std::size_t i = 0; i < length; ++i) {
      const bool change = kind == 1   ? random() % 16 == 0
                          : kind == 2 ? random() % 2 == 0
                                      : kind == 3;
      if (change) row[i] = static_cast<unsigned char>(random());
    }
    if (width % 8 != 0) row[length - 1] &= static_cast<unsigned char>(0xFF << (8 - width % 8));
  }
  return bitmap;
}

class TOPIXEquivalence : public testing::TestWithParam<std::uint64_t> {};

TEST_P(TOPIXEquivalence, EncodeAndDecodeMatchThePlainCodec) {
  const std::uint64_t width = GetParam();
  std::mt19937 random(static_cast<unsigned>(width));
  const Bitmap bitmap = RandomBitmap(width, 1 + width % 7 + 40, random);
  const Bytes lines = Lines(bitmap);
  ASSERT_EQ(lines, PlainLines(bitmap));
  for (std::uint64_t height : {0UL, bitmap.Height(), 3UL}) {  // the height is a hint only
    Bytes fast;
    ASSERT_EQ(FastDecode(lines, width, height, fast), "");
    EXPECT_EQ(fast, bitmap.Data());
  }
  std::vector<std::uint64_t> decodedRows;
  DecodeTOPIX(lines, width, [&](std::uint64_t index, const Bytes& row) {
    decodedRows.push_back(index);
    EXPECT_EQ(row.size(), std::min<std::uint64_t>(bitmap.BytesPerRow(), 512));
    const Bytes full = bitmap.GetRow(index);
    EXPECT_TRUE(std::equal(row.begin(), row.end(), full.begin())) << "row " << index;
  });
  EXPECT_EQ(decodedRows.size(), bitmap.Height());
}

// Every cut of the lines, and lines read as a narrower bitmap (indices past
// its row), fail as the plain decoder fails, text and all, or succeed alike.
TEST_P(TOPIXEquivalence, DamagedLinesFailAlike) {
  const std::uint64_t width = GetParam();
  std::mt19937 random(static_cast<unsigned>(width) + 7);
  const Bytes lines = Lines(RandomBitmap(width, 12, random));
  for (std::size_t cut = 0; cut <= lines.size(); cut += 1 + lines.size() / 300) {
    const Bytes part(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(cut));
    // Also wider than the 512 addressable bytes, where the rest stays white.
    for (std::uint64_t readAs : {width, width / 2 + 1, std::uint64_t{9}, std::uint64_t{5000}}) {
      Bytes plain, fast;
      const std::string plainFailure = PlainDecode(part, readAs, plain);
      EXPECT_EQ(FastDecode(part, readAs, 12, fast), plainFailure) << "cut " << cut;
      if (plainFailure.empty()) {
        EXPECT_EQ(fast, plain) << "cut " << cut;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, TOPIXEquivalence,
                         testing::Values(1, 7, 8, 63, 64, 65, 100, 511, 512, 513, 832, 1000, 4095,
                                         4096));

}  // namespace
}  // namespace Brindle
