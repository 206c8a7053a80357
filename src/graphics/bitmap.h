// Brindle::Bitmap: the one-channel, one-bit picture that label printers print.
#pragma once

#include <cstdint>
#include <vector>

#include "graphics/image.h"

namespace Brindle {

// A set bit (1) is a dot the printer prints; a fresh bitmap is all 0. Pixel x
// of a row is bit 7 - (x mod 8) of byte x / 8. The position places the bitmap
// on a larger canvas (see Draw). Every failure is a Brindle::BitmapException
// with the message quoted below, and leaves the bitmap as it was. Indexing into
// the data is checked, so a broken geometry (data shorter than height x bytes
// per row) ends in std::out_of_range rather than reading past the data.
class Bitmap : public Image {
 public:
  // The halftoning curve recorded with a bitmap unless set: the normal curve.
  static constexpr std::uint32_t kNormalCurve = 3;

  Bitmap();
  Bitmap(std::uint64_t width, std::uint64_t height);
  // The data are the packed rows as they stand (not checked against the size).
  Bitmap(const std::vector<unsigned char>& data, std::uint64_t width, std::uint64_t height);
  Bitmap(std::vector<unsigned char>&& data, std::uint64_t width, std::uint64_t height);
  // The part of source from (x0, y0) up to, not including, (x1, y1), positioned
  // at (x0, y0). "Invalid size" when x0 > x1, y0 > y1, x1 == 0 or y1 == 0;
  // "Index out of range" when the rectangle leaves the source.
  Bitmap(const Bitmap& source, std::uint64_t x0, std::uint64_t y0, std::uint64_t x1,
         std::uint64_t y1);

  [[nodiscard]] bool WhiteIsZero() const override;
  // Complements every data byte, padding bits included.
  void Invert() override;

  // 0 or 1. "Index out of range" when x >= width or y >= height.
  [[nodiscard]] int GetPixel(std::uint64_t x, std::uint64_t y) const;
  // Clears the bit, then ORs in the new one. Coordinates are not checked
  // against the width (only against the data, with std::out_of_range).
  void SetPixel(std::uint64_t x, std::uint64_t y, bool bit);

  // A copy of row y. "Index out of range" when y >= height.
  [[nodiscard]] std::vector<unsigned char> GetRow(std::uint64_t y) const;
  // Copies the first bytes-per-row bytes into row y; extra bytes are ignored.
  // "Index out of range" when y >= height, "Row data not large enough" when
  // fewer bytes are given.
  void SetRow(std::uint64_t y, const std::vector<unsigned char>& bytes);
  // Adds a row at the bottom. "Row data is the wrong length" unless exactly
  // bytes-per-row bytes are given.
  void AppendRow(const std::vector<unsigned char>& bytes);
  // Adds a row whose bytes are the given ones XOR the current last row (the
  // first row is stored as given). Same length rule as AppendRow.
  void AppendRowWithXOR(const std::vector<unsigned char>& bytes);
  // Row target = row source XOR bytes, a missing byte counting as 0.
  // "Invalid row" when either row is outside the bitmap.
  void XORRowIntoRow(std::uint64_t source, std::uint64_t target,
                     const std::vector<unsigned char>& bytes);
  // Row target = row source. "Invalid row" as above.
  void CopyRow(std::uint64_t source, std::uint64_t target);
  // "Index out of range" when y >= height.
  [[nodiscard]] bool IsRowEmpty(std::uint64_t y) const;
  // True when no row has pixel x set (and for height 0); fails like GetPixel.
  [[nodiscard]] bool IsColumnEmpty(std::uint64_t x) const;

  // Clears every bit that is set in the mask, byte for byte. "Cannot mask
  // image if the mask is a different size" when the data sizes differ.
  void Mask(const Bitmap& mask);
  // Turns the bitmap half a turn in place (see bitmap.cpp for its one quirk).
  void RotateBy180();
  void Clear();

  void SetPosition(std::uint64_t x, std::uint64_t y);
  [[nodiscard]] std::uint64_t X() const { return x_; }
  [[nodiscard]] std::uint64_t Y() const { return y_; }
  void SetHalftoningCurve(std::uint32_t curve) { halftoningCurve_ = curve; }
  [[nodiscard]] std::uint32_t HalftoningCurve() const { return halftoningCurve_; }

  // Copies other onto this bitmap at other's position, in whole bytes: the
  // left edge is rounded to the nearest byte, bits are never shifted, the copy
  // overwrites (white bytes included) and is clipped at the right and bottom
  // edges. Nothing is drawn for an empty other or one below the bottom edge.
  void Draw(const Bitmap& other);
  // Draws one row of another bitmap, `length` bytes long, with its left edge
  // at dot x of row y, by the rules of Draw. `bytes` may be shorter than
  // `length`: the missing bytes are white and are drawn as such.
  void DrawRow(const std::vector<unsigned char>& bytes, std::uint64_t length, std::uint64_t x,
               std::uint64_t y);

 private:
  // The byte a left edge at dot x is drawn from: x / 8 rounded to the nearest.
  static std::uint64_t ByteColumn(std::uint64_t x);
  void CheckRow(std::uint64_t y, const char* message) const;
  [[nodiscard]] std::uint64_t RowOffset(std::uint64_t y) const;

  std::uint64_t x_ = 0;
  std::uint64_t y_ = 0;
  std::uint32_t halftoningCurve_ = kNormalCurve;
};

}  // namespace Brindle
