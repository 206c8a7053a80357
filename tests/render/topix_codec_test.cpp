#include "render/topix_codec.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <stdexcept>

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

// Decodes a block: its lines, without the 16-bit count.
Bitmap Decoded(const Bytes& block, std::uint64_t width) {
  return BitmapFromData({block.begin() + 2, block.end()}, width, 0, kTOPIXFormat);
}

TEST(TOPIX, KnownEncodings) {
  Bytes far(512, 0);  // byte 65 is section 1, block 0, byte 1; byte 511 the very last
  far[65] = 0x01;
  far[511] = 0x02;
  const std::pair<Bitmap, Bytes> kCases[] = {
      {Bitmap(16, 3), {0x00, 0x03, 0x00, 0x00, 0x00}},  // white: one 0x00 a row
      // Equal rows: the first in full, then 0x00.
      {Bitmap({0x12, 0x34, 0x12, 0x34}, 16, 2), {0x00, 0x06, 0x80, 0x80, 0xC0, 0x12, 0x34, 0x00}},
      {Bitmap({0x80, 0x00}, 16, 1), {0x00, 0x04, 0x80, 0x80, 0x80, 0x80}},  // one dot, far left
      {Bitmap(far, 4096, 1), {0x00, 0x07, 0x41, 0x80, 0x40, 0x01, 0x01, 0x01, 0x02}},
  };
  for (const auto& [bitmap, block] : kCases) {
    EXPECT_EQ(Encoded(bitmap), block);
    EXPECT_EQ(Decoded(block, bitmap.Width()).Data(), bitmap.Data());
  }
}

TEST(TOPIX, RoundTripsVariedBitmaps) {
  std::mt19937 random(42);
  for (std::uint64_t width : {1u, 8u, 9u, 100u, 831u, 4096u}) {
    for (int pattern = 0; pattern < 3; ++pattern) {  // white, one row repeated, random bytes
      Bitmap bitmap(width, 1 + width % 23 + 5 * pattern);
      for (std::size_t i = 0; i < bitmap.DataSize(); ++i) {
        const auto sparse = static_cast<unsigned char>(random() % 3 == 0 ? random() : 0);
        const auto repeated = static_cast<unsigned char>(i % bitmap.BytesPerRow() * 37 + 1);
        bitmap.Data()[i] = pattern == 0 ? 0 : pattern == 1 ? repeated : sparse;
      }
      const Bytes block = Encoded(bitmap);
      ASSERT_EQ((block[0] << 8 | block[1]), static_cast<int>(block.size() - 2));
      EXPECT_EQ(Decoded(block, width).Data(), bitmap.Data()) << width << "/" << pattern;
    }
  }
}

TEST(TOPIX, Failures) {
  const std::pair<Bitmap, const char*> kEncodings[] = {
      {Bitmap(4097, 1), "Bitmap width exceeds supported width for TOPIX compression"},
      {Bitmap(16, 0), "Bitmap has no height"},
      // One byte per white row: 65536 rows fill the block, one more is too many.
      {Bitmap(8, 65537), "Unable to compress bitmap to under maximum size of 65536 bytes"},
  };
  for (const auto& [bitmap, message] : kEncodings) {
    try {
      Encoded(bitmap);
      ADD_FAILURE() << message;
    } catch (const BitmapException& e) {
      EXPECT_STREQ(e.what(), message);
    }
  }
  const Bytes full = Encoded(Bitmap(8, 65536));  // fits exactly; the count wraps to 0
  EXPECT_EQ(full.size(), 65538u);
  EXPECT_EQ(full[0] | full[1], 0);
  // Lines cut short, and a byte or a section outside a 2-byte row.
  for (const Bytes& lines : {Bytes{0x80}, Bytes{0x00, 0x80, 0x80}, Bytes{0x80, 0x80, 0x20, 0xFF},
                             Bytes{0x40, 0x80, 0x80, 0xFF}}) {
    EXPECT_THROW((void)BitmapFromData(lines, 16, 1, kTOPIXFormat), std::out_of_range);
  }
}

}  // namespace
}  // namespace Brindle
