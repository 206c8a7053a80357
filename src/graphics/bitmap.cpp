#include "graphics/bitmap.h"

#include <algorithm>
#include <stdexcept>

#include "graphics/exception.h"

namespace Brindle {

namespace {

unsigned char PixelMask(std::uint64_t x) { return static_cast<unsigned char>(0x80u >> (x % 8)); }

// A range of the data that must lie inside it; std::out_of_range otherwise, as
// a vector's at() would report, so a broken geometry never reads past the data.
void CheckSpan(const std::vector<unsigned char>& data, std::uint64_t offset, std::uint64_t count) {
  if (offset > data.size() || count > data.size() - offset) {
    throw std::out_of_range("Bitmap data shorter than its geometry");
  }
}

}  // namespace

Bitmap::Bitmap() : Image(1, 1, 0, 0) {}

Bitmap::Bitmap(std::uint64_t width, std::uint64_t height) : Image(1, 1, width, height) {}

Bitmap::Bitmap(const std::vector<unsigned char>& data, std::uint64_t width, std::uint64_t height)
    : Image(1, 1, width, height, data) {}

Bitmap::Bitmap(std::vector<unsigned char>&& data, std::uint64_t width, std::uint64_t height)
    : Image(1, 1, width, height, std::move(data)) {}

namespace {

// Validates the rectangle before Image's constructor allocates for it.
std::uint64_t CheckedExtent(std::uint64_t from, std::uint64_t to) {
  if (from > to || to == 0) throw BitmapException("Invalid size");
  return to - from;
}

}  // namespace

Bitmap::Bitmap(const Bitmap& source, std::uint64_t x0, std::uint64_t y0, std::uint64_t x1,
               std::uint64_t y1)
    : Image(1, 1, CheckedExtent(x0, x1), CheckedExtent(y0, y1)) {
  if (x1 > source.Width() || y1 > source.Height()) throw BitmapException("Index out of range");
  for (std::uint64_t y = y0; y < y1; ++y) {
    for (std::uint64_t x = x0; x < x1; ++x) {
      if (source.GetPixel(x, y) != 0) SetPixel(x - x0, y - y0, true);
    }
  }
  SetPosition(x0, y0);
}

bool Bitmap::WhiteIsZero() const { return true; }

void Bitmap::Invert() {
  for (auto& byte : data_) byte = static_cast<unsigned char>(~byte);
}

std::uint64_t Bitmap::RowOffset(std::uint64_t y) const { return y * bytesPerRow_; }

void Bitmap::CheckRow(std::uint64_t y, const char* message) const {
  if (y >= height_) throw BitmapException(message);
}

int Bitmap::GetPixel(std::uint64_t x, std::uint64_t y) const {
  if (x >= width_ || y >= height_) throw BitmapException("Index out of range");
  return (data_.at(RowOffset(y) + x / 8) & PixelMask(x)) != 0 ? 1 : 0;
}

void Bitmap::SetPixel(std::uint64_t x, std::uint64_t y, bool bit) {
  unsigned char& byte = data_.at(RowOffset(y) + x / 8);
  byte = static_cast<unsigned char>(byte & ~PixelMask(x));
  if (bit) byte = static_cast<unsigned char>(byte | PixelMask(x));
}

std::vector<unsigned char> Bitmap::GetRow(std::uint64_t y) const {
  CheckRow(y, "Index out of range");
  CheckSpan(data_, RowOffset(y), bytesPerRow_);
  const auto begin = data_.begin() + static_cast<std::ptrdiff_t>(RowOffset(y));
  return {begin, begin + static_cast<std::ptrdiff_t>(bytesPerRow_)};
}

void Bitmap::SetRow(std::uint64_t y, const std::vector<unsigned char>& bytes) {
  CheckRow(y, "Index out of range");
  if (bytes.size() < bytesPerRow_) throw BitmapException("Row data not large enough");
  CheckSpan(data_, RowOffset(y), bytesPerRow_);
  std::copy_n(bytes.begin(), bytesPerRow_,
              data_.begin() + static_cast<std::ptrdiff_t>(RowOffset(y)));
}

void Bitmap::AppendRow(const std::vector<unsigned char>& bytes) {
  if (bytes.size() != bytesPerRow_) throw BitmapException("Row data is the wrong length");
  data_.insert(data_.end(), bytes.begin(), bytes.end());
  ++height_;
}

void Bitmap::AppendRowWithXOR(const std::vector<unsigned char>& bytes) {
  if (bytes.size() != bytesPerRow_) throw BitmapException("Row data is the wrong length");
  if (height_ == 0) {
    AppendRow(bytes);
    return;
  }
  const std::uint64_t last = RowOffset(height_ - 1);
  CheckSpan(data_, last, bytesPerRow_);
  // Growing first could move the storage, so the new row is sized up front
  // and built from the last row by index.
  data_.resize(data_.size() + bytesPerRow_);
  const std::uint64_t end = data_.size() - bytesPerRow_;
  for (std::uint64_t i = 0; i < bytesPerRow_; ++i) {
    data_[end + i] = static_cast<unsigned char>(data_[last + i] ^ bytes[i]);
  }
  ++height_;
}

void Bitmap::XORRowIntoRow(std::uint64_t source, std::uint64_t target,
                           const std::vector<unsigned char>& bytes) {
  if (source >= height_ || target >= height_) throw BitmapException("Invalid row");
  CheckSpan(data_, RowOffset(source), bytesPerRow_);
  CheckSpan(data_, RowOffset(target), bytesPerRow_);
  for (std::uint64_t i = 0; i < bytesPerRow_; ++i) {
    const unsigned char with = i < bytes.size() ? bytes[i] : 0;
    data_[RowOffset(target) + i] = static_cast<unsigned char>(data_[RowOffset(source) + i] ^ with);
  }
}

void Bitmap::CopyRow(std::uint64_t source, std::uint64_t target) {
  XORRowIntoRow(source, target, {});
}

bool Bitmap::IsRowEmpty(std::uint64_t y) const {
  CheckRow(y, "Index out of range");
  CheckSpan(data_, RowOffset(y), bytesPerRow_);
  const auto begin = data_.begin() + static_cast<std::ptrdiff_t>(RowOffset(y));
  return std::all_of(begin, begin + static_cast<std::ptrdiff_t>(bytesPerRow_),
                     [](unsigned char byte) { return byte == 0; });
}

bool Bitmap::IsColumnEmpty(std::uint64_t x) const {
  for (std::uint64_t y = 0; y < height_; ++y) {
    if (GetPixel(x, y) != 0) return false;
  }
  return true;
}

void Bitmap::Mask(const Bitmap& mask) {
  if (mask.data_.size() != data_.size()) {
    throw BitmapException("Cannot mask image if the mask is a different size");
  }
  for (std::size_t i = 0; i < data_.size(); ++i) {
    data_[i] = static_cast<unsigned char>(data_[i] & ~mask.data_[i]);
  }
}

void Bitmap::RotateBy180() {
  const auto swap = [this](std::uint64_t xa, std::uint64_t ya, std::uint64_t xb, std::uint64_t yb) {
    const int a = GetPixel(xa, ya);
    const int b = GetPixel(xb, yb);
    if (a != b) {
      SetPixel(xa, ya, b != 0);
      SetPixel(xb, yb, a != 0);
    }
  };
  for (std::uint64_t y = 0; y < height_ / 2; ++y) {
    for (std::uint64_t x = 0; x < width_; ++x) swap(x, y, width_ - 1 - x, height_ - 1 - y);
  }
  if (height_ % 2 == 1 && width_ >= 2) {
    // The middle row of an odd height must be mirrored left to right, but the
    // library has always mirrored row (height + 1) / 2, the one just below it:
    // the middle row stays as it was and the row below is mirrored back. Kept
    // as it is; for a height of 1 that row does not exist and the first pixel
    // access fails with "Index out of range" before anything has changed.
    const std::uint64_t row = (height_ + 1) / 2;
    for (std::uint64_t x = 0; x < width_ / 2; ++x) swap(x, row, width_ - 1 - x, row);
  }
}

void Bitmap::Clear() { std::fill(data_.begin(), data_.end(), 0); }

void Bitmap::SetPosition(std::uint64_t x, std::uint64_t y) {
  x_ = x;
  y_ = y;
}

std::uint64_t Bitmap::ByteColumn(std::uint64_t x) {
  // Whole bytes only: the left edge goes to the nearest byte boundary, so a
  // remainder of 4 to 7 dots rounds up to the next byte.
  return x % 8 < 4 ? x / 8 : x / 8 + 1;
}

void Bitmap::Draw(const Bitmap& other) {
  const std::uint64_t column = ByteColumn(other.x_);
  if (other.height_ == 0 || other.y_ >= height_) return;
  const std::uint64_t rows = std::min(other.height_, height_ - other.y_);
  if (column >= bytesPerRow_) return;
  const std::uint64_t bytes = std::min(other.bytesPerRow_, bytesPerRow_ - column);
  for (std::uint64_t r = 0; r < rows; ++r) {
    const std::uint64_t from = r * other.bytesPerRow_;
    const std::uint64_t to = RowOffset(other.y_ + r) + column;
    CheckSpan(other.data_, from, bytes);
    CheckSpan(data_, to, bytes);
    std::copy_n(other.data_.begin() + static_cast<std::ptrdiff_t>(from), bytes,
                data_.begin() + static_cast<std::ptrdiff_t>(to));
  }
}

void Bitmap::DrawRow(const std::vector<unsigned char>& bytes, std::uint64_t length, std::uint64_t x,
                     std::uint64_t y) {
  const std::uint64_t column = ByteColumn(x);
  if (y >= height_ || column >= bytesPerRow_) return;
  const std::uint64_t count = std::min(length, bytesPerRow_ - column);
  const std::uint64_t given = std::min<std::uint64_t>(count, bytes.size());
  const std::uint64_t to = RowOffset(y) + column;
  CheckSpan(data_, to, count);
  const auto target = data_.begin() + static_cast<std::ptrdiff_t>(to);
  std::copy_n(bytes.begin(), given, target);
  std::fill_n(target + static_cast<std::ptrdiff_t>(given), count - given, 0);
}

}  // namespace Brindle
