#include "graphics/bitmap.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "graphics/exception.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

// Draws a bitmap from rows of '#' (dot) and '.' (no dot).
Bitmap FromPicture(const std::vector<std::string>& rows) {
  Bitmap bitmap(rows.empty() ? 0 : rows[0].size(), rows.size());
  for (std::size_t y = 0; y < rows.size(); ++y) {
    for (std::size_t x = 0; x < rows[y].size(); ++x) bitmap.SetPixel(x, y, rows[y][x] == '#');
  }
  return bitmap;
}

std::vector<std::string> Picture(const Bitmap& bitmap) {
  std::vector<std::string> rows;
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
    std::string row;
    for (std::uint64_t x = 0; x < bitmap.Width(); ++x) row += bitmap.GetPixel(x, y) ? '#' : '.';
    rows.push_back(row);
  }
  return rows;
}

// Runs an operation that must fail with a BitmapException and the message,
// and checks that the bitmap kept its data.
void ExpectFailure(Bitmap& bitmap, const std::function<void(Bitmap&)>& operation,
                   const std::string& message) {
  const Bytes before = bitmap.Data();
  const std::uint64_t height = bitmap.Height();
  try {
    operation(bitmap);
    ADD_FAILURE() << "no exception, expected " << message;
  } catch (const BitmapException& e) {
    EXPECT_EQ(e.what(), message);
  }
  EXPECT_EQ(bitmap.Data(), before);
  EXPECT_EQ(bitmap.Height(), height);
}

TEST(Bitmap, DefaultsAndPixelLayout) {
  Bitmap empty;
  EXPECT_EQ(empty.Width(), 0u);
  EXPECT_EQ(empty.Height(), 0u);
  EXPECT_TRUE(empty.WhiteIsZero());
  EXPECT_EQ(empty.HalftoningCurve(), 3u);
  EXPECT_EQ(empty.X(), 0u);

  Bitmap bitmap(10, 2);
  EXPECT_EQ(bitmap.Data(), Bytes(4, 0));
  bitmap.SetPixel(0, 0, true);
  bitmap.SetPixel(9, 1, true);
  EXPECT_EQ(bitmap.Data(), (Bytes{0x80, 0x00, 0x00, 0x40}));
  bitmap.SetPixel(0, 0, false);
  EXPECT_EQ(bitmap.GetPixel(0, 0), 0);
  EXPECT_EQ(bitmap.GetPixel(9, 1), 1);
  EXPECT_THROW((void)bitmap.SetPixel(0, 2, true), std::out_of_range);
}

TEST(Bitmap, FailuresCarryTheirMessageAndChangeNothing) {
  struct Case {
    const char* name;
    std::function<void(Bitmap&)> operation;
    const char* message;
  };
  const Case kCases[] = {
      {"pixel x", [](Bitmap& b) { (void)b.GetPixel(10, 0); }, "Index out of range"},
      {"pixel y", [](Bitmap& b) { (void)b.GetPixel(0, 3); }, "Index out of range"},
      {"get row", [](Bitmap& b) { (void)b.GetRow(3); }, "Index out of range"},
      {"set row y", [](Bitmap& b) { b.SetRow(3, Bytes(2)); }, "Index out of range"},
      {"set row short", [](Bitmap& b) { b.SetRow(0, Bytes(1)); }, "Row data not large enough"},
      {"append short", [](Bitmap& b) { b.AppendRow(Bytes(1)); }, "Row data is the wrong length"},
      {"append long", [](Bitmap& b) { b.AppendRow(Bytes(3)); }, "Row data is the wrong length"},
      {"append xor", [](Bitmap& b) { b.AppendRowWithXOR(Bytes(3)); },
       "Row data is the wrong length"},
      {"xor source", [](Bitmap& b) { b.XORRowIntoRow(3, 0, {}); }, "Invalid row"},
      {"xor target", [](Bitmap& b) { b.XORRowIntoRow(0, 3, {}); }, "Invalid row"},
      {"copy row", [](Bitmap& b) { b.CopyRow(0, 7); }, "Invalid row"},
      {"row empty", [](Bitmap& b) { (void)b.IsRowEmpty(3); }, "Index out of range"},
      {"column empty", [](Bitmap& b) { (void)b.IsColumnEmpty(10); }, "Index out of range"},
      {"mask", [](Bitmap& b) { b.Mask(Bitmap(10, 2)); },
       "Cannot mask image if the mask is a different size"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    Bitmap bitmap = FromPicture({"#.#.#.#.##", "..........", "#........#"});
    ExpectFailure(bitmap, c.operation, c.message);
  }
}

TEST(Bitmap, RectangleConstructor) {
  const Bitmap source = FromPicture({"#...", ".#..", "..#.", "...#"});
  const Bitmap part(source, 1, 1, 3, 4);
  EXPECT_EQ(Picture(part), (std::vector<std::string>{"#.", ".#", ".."}));
  EXPECT_EQ(part.X(), 1u);
  EXPECT_EQ(part.Y(), 1u);
  struct Rect {
    std::uint64_t x0, y0, x1, y1;
  };
  for (const Rect& r : {Rect{2, 0, 1, 1}, Rect{0, 0, 0, 1}, Rect{0, 2, 1, 1}, Rect{0, 0, 1, 0}}) {
    try {
      Bitmap(source, r.x0, r.y0, r.x1, r.y1);
      ADD_FAILURE();
    } catch (const BitmapException& e) {
      EXPECT_STREQ(e.what(), "Invalid size");
    }
  }
  EXPECT_THROW(Bitmap(source, 0, 0, 5, 1), BitmapException);
}

TEST(Bitmap, RowOperations) {
  Bitmap bitmap(12, 0);
  bitmap.AppendRowWithXOR({0xF0, 0x10});
  bitmap.AppendRowWithXOR({0x0F, 0x00});
  bitmap.AppendRow({0x01, 0x02});
  EXPECT_EQ(bitmap.Height(), 3u);
  EXPECT_EQ(bitmap.Data(), (Bytes{0xF0, 0x10, 0xFF, 0x10, 0x01, 0x02}));
  bitmap.XORRowIntoRow(0, 2, {0xFF});  // the missing second byte counts as 0
  EXPECT_EQ(bitmap.GetRow(2), (Bytes{0x0F, 0x10}));
  bitmap.CopyRow(1, 0);
  EXPECT_EQ(bitmap.GetRow(0), (Bytes{0xFF, 0x10}));
  bitmap.SetRow(1, {0x00, 0x00, 0x99});  // extra bytes are ignored
  EXPECT_TRUE(bitmap.IsRowEmpty(1));
  EXPECT_FALSE(bitmap.IsRowEmpty(0));
  EXPECT_FALSE(bitmap.IsColumnEmpty(0));
  EXPECT_TRUE(FromPicture({"#.", "#."}).IsColumnEmpty(1));
  EXPECT_TRUE(Bitmap(5, 0).IsColumnEmpty(9));

  Bitmap zeroWidth(0, 0);
  for (int i = 0; i < 3; ++i) zeroWidth.AppendRow({});
  EXPECT_EQ(zeroWidth.Height(), 3u);
  EXPECT_TRUE(zeroWidth.IsRowEmpty(2));
}

TEST(Bitmap, InvertMaskAndClear) {
  Bitmap bitmap = FromPicture({"#.........", "##........"});
  bitmap.Invert();
  EXPECT_EQ(bitmap.Data(), (Bytes{0x7F, 0xFF, 0x3F, 0xFF}));  // padding bits set too
  bitmap.Mask(FromPicture({".#########", ".........."}));
  EXPECT_EQ(bitmap.Data(), (Bytes{0x00, 0x3F, 0x3F, 0xFF}));
  bitmap.Clear();
  EXPECT_EQ(bitmap.Data(), Bytes(4, 0));
}

TEST(Bitmap, RotateBy180KeepsItsMirroredRowQuirk) {
  struct Case {
    std::vector<std::string> before, after;
  };
  static const Case kCases[] = {
      {{"#..", "...", "..#", "..."}, {"...", "#..", "...", "..#"}},  // even: a plain half turn
      {{"#...", "....", "...."}, {"....", "....", "#..."}},          // (3,2), then mirrored back
      {{"..", "#.", ".."}, {"..", "#.", ".."}},  // the middle row is not mirrored
      {{"#.", "..", ".."}, {"..", "..", "#."}},  // swapped to (1,2), mirrored back
      {{"#", ".", "."}, {".", ".", "#"}},        // width 1: no mirroring
      {{"#.#.", "....", "...#", "....", ".##."}, {".##.", "....", "...#", "....", ".#.#"}},
  };
  for (const auto& c : kCases) {
    Bitmap bitmap = FromPicture(c.before);
    bitmap.RotateBy180();
    EXPECT_EQ(Picture(bitmap), c.after) << c.before[0];
  }
  Bitmap oneRow = FromPicture({"#."});
  ExpectFailure(
      oneRow, [](Bitmap& b) { b.RotateBy180(); }, "Index out of range");
}

TEST(Bitmap, DrawCopiesWholeBytesRoundedToTheNearestByte) {
  struct Case {
    std::uint64_t x, y;
    Bytes canvas;  // 4 bytes wide, 2 rows
  };
  static const Case kCases[] = {
      {0, 0, {0xAB, 0x00, 0x00, 0x00, 0xCD, 0x00, 0x00, 0x00}},
      {3, 0, {0xAB, 0x00, 0x00, 0x00, 0xCD, 0x00, 0x00, 0x00}},
      {4, 0, {0x00, 0xAB, 0x00, 0x00, 0x00, 0xCD, 0x00, 0x00}},
      {11, 0, {0x00, 0xAB, 0x00, 0x00, 0x00, 0xCD, 0x00, 0x00}},
      {12, 1, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xAB, 0x00}},
      {31, 0, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},  // rounds to byte 4: outside
      {0, 2, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}},
  };
  for (const auto& c : kCases) {
    Bitmap canvas(32, 2);
    Bitmap graphic(Bytes{0xAB, 0xCD}, 8, 2);
    graphic.SetPosition(c.x, c.y);
    canvas.Draw(graphic);
    EXPECT_EQ(canvas.Data(), c.canvas) << c.x << "," << c.y;
  }
}

TEST(Bitmap, DrawClipsAndOverwrites) {
  Bitmap canvas(104, 1);
  canvas.Invert();
  Bitmap wide(Bytes{0x12, 0x34}, 16, 1);
  wide.SetPosition(99, 0);  // rounds down to byte 12 of 13: only the first byte fits
  canvas.Draw(wide);
  EXPECT_EQ(canvas.Data()[12], 0x12);
  EXPECT_EQ(canvas.DataSize(), 13u);
  Bitmap edge(Bytes{0x00, 0x00}, 16, 1);
  edge.SetPosition(100, 0);  // rounds up to byte 13, past the edge: nothing drawn
  canvas.Draw(edge);
  EXPECT_EQ(canvas.Data()[12], 0x12);

  Bitmap white(16, 1);
  white.SetPosition(0, 0);
  canvas.Draw(white);  // white bytes replace what lay below
  EXPECT_EQ(canvas.Data()[0], 0x00);
  EXPECT_EQ(canvas.Data()[1], 0x00);
  EXPECT_EQ(canvas.Data()[2], 0xFF);

  Bitmap broken(Bytes{0x01}, 16, 3);  // data shorter than its geometry
  EXPECT_THROW(canvas.Draw(broken), std::out_of_range);
}

}  // namespace
}  // namespace Brindle
