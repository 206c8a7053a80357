#include "render/topix_codec.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <stdexcept>

#include "core/exception.h"
#include "graphics/exception.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes Encoded(const Bitmap& bitmap) {
  std::stringstream out;
  WriteBitmap(bitmap, out, kTOPIXFormat);
  const std::string text = out.str();
  return {text.begin(), text.end()};
}

// The lines of a TOPIX block, without its 16-bit count.
Bytes Lines(const Bytes& block) { return {block.begin() + 2, block.end()}; }

std::string EncodeFailure(const Bitmap& bitmap, std::size_t& written) {
  std::stringstream out;
  try {
    WriteBitmap(bitmap, out, kTOPIXFormat);
  } catch (const BitmapException& e) {
    written = out.str().size();
    return e.what();
  }
  return "no exception";
}

std::string DecodeFailure(const Bytes& lines, std::uint64_t width) {
  try {
    (void)BitmapFromData(lines, width, 1, kTOPIXFormat);
  } catch (const std::out_of_range&) {
    return "range";
  } catch (const BitmapException& e) {
    return e.what();
  }
  return "no exception";
}

TEST(TOPIX, KnownEncodings) {
  struct Case {
    const char* name;
    std::uint64_t width;
    Bytes data;
    Bytes block;
  };
  static const Case kCases[] = {
      {"all white", 16, Bytes(6, 0), {0x00, 0x03, 0x00, 0x00, 0x00}},
      {"one dot far left", 16, {0x80, 0x00}, {0x00, 0x04, 0x80, 0x80, 0x80, 0x80}},
      {"repeated rows",
       16,
       {0x12, 0x34, 0x12, 0x34, 0x12, 0x34},
       {0x00, 0x07, 0x80, 0x80, 0xC0, 0x12, 0x34, 0x00, 0x00}},
      {"row back to white",
       8,
       {0xFF, 0x00},
       {0x00, 0x08, 0x80, 0x80, 0x80, 0xFF, 0x80, 0x80, 0x80, 0xFF}},
      // Byte 65 is section 1, block 0, byte 1; byte 511 the very last one.
      {"far sections",
       4096,
       [] {
         Bytes row(512, 0);
         row[65] = 0x01;
         row[511] = 0x02;
         return row;
       }(),
       {0x00, 0x07, 0x41, 0x80, 0x40, 0x01, 0x01, 0x01, 0x02}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Bitmap bitmap(c.data, c.width, c.data.size() / ((c.width + 7) / 8));
    EXPECT_EQ(Encoded(bitmap), c.block);
    EXPECT_EQ(BitmapFromData(Lines(c.block), c.width, 0, kTOPIXFormat).Data(), c.data);
  }
}

TEST(TOPIX, RoundTripsVariedBitmaps) {
  std::mt19937 random(42);
  for (std::uint64_t width : {1u, 7u, 8u, 9u, 100u, 831u, 4096u}) {
    for (int pattern = 0; pattern < 4; ++pattern) {
      const std::uint64_t height = 1 + width % 23 + 5 * pattern;
      Bitmap bitmap(width, height);
      for (std::uint64_t y = 0; y < height; ++y) {
        for (std::uint64_t x = 0; x < width; ++x) {
          const bool dot = pattern == 0   ? false
                           : pattern == 1 ? (x / 3) % 2 == 0  // the same row over and over
                           : pattern == 2 ? random() % 5 == 0
                                          : (x + y) % 11 < 3;
          bitmap.SetPixel(x, y, dot);
        }
      }
      const Bytes block = Encoded(bitmap);
      ASSERT_EQ((block[0] << 8 | block[1]), static_cast<int>(block.size() - 2));
      const Bitmap decoded = BitmapFromData(Lines(block), width, 999, kTOPIXFormat);
      EXPECT_EQ(decoded.Height(), height) << width << "/" << pattern;
      EXPECT_EQ(decoded.Data(), bitmap.Data()) << width << "/" << pattern;
    }
  }
}

TEST(TOPIX, EncoderLimits) {
  std::size_t written = 0;
  EXPECT_EQ(EncodeFailure(Bitmap(4097, 1), written),
            "Bitmap width exceeds supported width for TOPIX compression");
  EXPECT_EQ(written, 2u);  // the place holder stays
  EXPECT_EQ(EncodeFailure(Bitmap(16, 0), written), "Bitmap has no height");
  EXPECT_EQ(Encoded(Bitmap(4096, 1)).size(), 3u);

  // One byte per white row: 65536 rows fill the block exactly and the count
  // wraps to 0; one row more is too much.
  const Bytes full = Encoded(Bitmap(8, 65536));
  EXPECT_EQ(full.size(), 65538u);
  EXPECT_EQ(full[0], 0x00);
  EXPECT_EQ(full[1], 0x00);
  EXPECT_EQ(EncodeFailure(Bitmap(8, 65537), written),
            "Unable to compress bitmap to under maximum size of 65536 bytes");
  EXPECT_EQ(written, 65539u);
}

TEST(TOPIX, FormatCodes) {
  const Bytes raw = {0xAA, 0x55, 0x0F, 0xF0};
  const Bitmap bitmap = BitmapFromData(raw, 16, 2, kRawFormat);
  EXPECT_EQ(bitmap.Height(), 2u);
  std::stringstream out;
  WriteBitmap(bitmap, out, kRawFormat);
  EXPECT_EQ(out.str(), std::string(raw.begin(), raw.end()));
  try {
    (void)BitmapFromData(raw, 16, 2, 2);
    ADD_FAILURE();
  } catch (const BitmapException& e) {
    EXPECT_STREQ(e.what(), "Unknown compression format specified");
  }
  try {
    WriteBitmap(bitmap, out, 2);
    ADD_FAILURE();
  } catch (const BitmapException& e) {
    EXPECT_STREQ(e.what(), "Unknown bitmap format specified");
  }
  EXPECT_EQ(BitmapFromData({}, 16, 5, kTOPIXFormat).Height(), 0u);
}

// Damaged data, as a line cut or corrupted on its way, must fail cleanly.
TEST(TOPIX, DamagedDataFails) {
  struct Case {
    const char* name;
    std::uint64_t width;
    Bytes lines;
    const char* outcome;
  };
  static const Case kCases[] = {
      {"cut after the section byte", 16, {0x80}, "range"},
      {"cut after the byte map", 16, {0x80, 0x80, 0x80}, "range"},
      {"cut inside the second line", 16, {0x00, 0x80, 0x80}, "range"},
      {"byte past a 2-byte row", 16, {0x80, 0x80, 0x20, 0xFF}, "range"},
      {"section past a 64-byte row", 512, {0x40, 0x80, 0x80, 0xFF}, "range"},
      {"zero width", 0, {0x80, 0x80, 0x80, 0x01}, "range"},
      {"flags beyond the data", 16, {0xFF}, "range"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(DecodeFailure(c.lines, c.width), c.outcome) << c.name;
  }
  // Truncating a valid block anywhere inside a line fails too.
  Bitmap bitmap(40, 3);
  bitmap.SetRow(0, {0x01, 0x02, 0x03, 0x04, 0x05});
  bitmap.SetRow(2, {0xF0, 0, 0, 0, 0x0F});
  const Bytes lines = Lines(Encoded(bitmap));
  const std::size_t firstLine = 1 + 1 + 1 + 5;
  for (std::size_t cut = 1; cut < firstLine; ++cut) {
    EXPECT_EQ(DecodeFailure(Bytes(lines.begin(), lines.begin() + cut), 40), "range") << cut;
  }
}

TEST(TOPIX, RowDecoderHoldsOnlyTheAddressableBytes) {
  // A very wide graphic keeps at most 512 bytes per row; the rest are white.
  const Bytes lines = {0x01, 0x01, 0x01, 0x7F, 0x00};
  std::vector<std::size_t> sizes;
  DecodeTOPIX(lines, 1'000'000, [&](std::uint64_t index, const Bytes& row) {
    sizes.push_back(row.size());
    EXPECT_EQ(row[511], 0x7F) << index;
  });
  EXPECT_EQ(sizes, (std::vector<std::size_t>{512, 512}));
}

}  // namespace
}  // namespace Brindle
