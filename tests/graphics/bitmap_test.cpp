#include "graphics/bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>

#include "graphics/exception.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

// Bitmaps as pictures: rows of '#' (dot) and '.' (no dot), separated by '/'.
Bitmap FromPicture(const std::string& picture) {
  const std::size_t width = std::min(picture.find('/'), picture.size());
  Bitmap bitmap(width, (picture.size() + 1) / (width + 1));
  for (std::size_t i = 0; i < picture.size(); ++i) {
    if (picture[i] == '#') bitmap.SetPixel(i % (width + 1), i / (width + 1), true);
  }
  return bitmap;
}

std::string Picture(const Bitmap& bitmap) {
  std::string picture;
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
    for (std::uint64_t x = 0; x < bitmap.Width(); ++x) picture += bitmap.GetPixel(x, y) ? '#' : '.';
    if (y + 1 < bitmap.Height()) picture += '/';
  }
  return picture;
}

// Each operation on the same 10 x 3 bitmap: the picture it leaves, or the
// message it fails with, having changed nothing.
TEST(Bitmap, OperationsAndTheirFailures) {
  const std::string kStart = "#.#...#.##/##......../........#.";
  const std::pair<std::function<void(Bitmap&)>, std::string> kCases[] = {
      {[](Bitmap& b) { b.Invert(); }, ".#.###.#../..########/########.#"},
      {[](Bitmap& b) { b.Mask(FromPicture("##......../........../..........")); },
       "..#...#.##/##......../........#."},
      // Odd height: the row below the middle is mirrored instead of the middle one.
      {[](Bitmap& b) { b.RotateBy180(); }, ".#......../##......../#.#...#.##"},
      {[](Bitmap& b) { b.XORRowIntoRow(0, 2, {0xFF}); }, "#.#...#.##/##......../.#.###.###"},
      {[](Bitmap& b) { b.AppendRowWithXOR(Bytes(2, 0x40)); },
       "#.#...#.##/##......../........#./.#......##"},
      {[](Bitmap& b) { b.SetRow(1, Bytes(3, 0x40)); }, "#.#...#.##/.#.......#/........#."},
      {[](Bitmap& b) { b = Bitmap(b, 1, 0, 4, 2); }, ".#./#.."},
      {[](Bitmap& b) { b = Bitmap(b, 2, 0, 1, 1); }, "Invalid size"},
      {[](Bitmap& b) { b = Bitmap(b, 0, 0, 11, 1); }, "Index out of range"},
      {[](Bitmap& b) { (void)b.GetPixel(10, 0); }, "Index out of range"},
      {[](Bitmap& b) { b.SetRow(0, Bytes(1)); }, "Row data not large enough"},
      {[](Bitmap& b) { b.AppendRow(Bytes(3)); }, "Row data is the wrong length"},
      {[](Bitmap& b) { b.XORRowIntoRow(3, 0, {}); }, "Invalid row"},
      {[](Bitmap& b) { b.Mask(Bitmap(10, 2)); },
       "Cannot mask image if the mask is a different size"},
  };
  for (const auto& [operation, outcome] : kCases) {
    Bitmap bitmap = FromPicture(kStart);
    try {
      operation(bitmap);
      EXPECT_EQ(Picture(bitmap), outcome);
    } catch (const BitmapException& e) {
      EXPECT_EQ(e.what(), outcome);
      EXPECT_EQ(Picture(bitmap), kStart) << e.what();
    }
  }
  EXPECT_TRUE(FromPicture(kStart).IsColumnEmpty(3));
  EXPECT_FALSE(FromPicture(kStart).IsColumnEmpty(8));
  EXPECT_TRUE(FromPicture("#./..").IsRowEmpty(1));
}

TEST(Image, GeometryAndRefusals) {
  EXPECT_EQ(Image(1, 1, 10, 3).DataSize(), 6u);  // rows end on whole bytes only
  EXPECT_EQ(Image(16, 3, 5, 1).BytesPerRow(), 30u);
  EXPECT_THROW(Image(8, 1, UINT64_MAX / 4, 16), ImageException);
  EXPECT_THROW(Image(1, 1, 2, 1).Invert(), ImageException);  // only 8-bit samples invert
  std::ostringstream out;
  EXPECT_THROW(Image(8, 1, 2, 2).Write(out, 1), ImageException);  // TIFF (0) is the only format
}

}  // namespace
}  // namespace Brindle
