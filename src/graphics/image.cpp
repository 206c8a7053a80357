#include "graphics/image.h"

#include <limits>

#include "graphics/exception.h"
#include "graphics/tiff_reader.h"
#include "graphics/tiff_writer.h"

namespace Brindle {

namespace {

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

std::uint64_t CheckedMultiply(std::uint64_t a, std::uint64_t b) {
  if (a != 0 && b > kMax / a) throw ImageException("Image dimensions too large");
  return a * b;
}

}  // namespace

std::uint64_t Image::RowBytes(std::uint64_t bitsPerSample, std::uint64_t width,
                              std::uint64_t channels) {
  const std::uint64_t bits = CheckedMultiply(CheckedMultiply(bitsPerSample, width), channels);
  // Written as a division plus a remainder test so bits near 2^64 cannot wrap.
  return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

Image::Image(std::uint64_t bitsPerSample, std::uint64_t channels, std::uint64_t width,
             std::uint64_t height)
    : bitsPerSample_(bitsPerSample),
      channels_(channels),
      width_(width),
      height_(height),
      bytesPerRow_(RowBytes(bitsPerSample, width, channels)) {
  data_.assign(CheckedMultiply(height, bytesPerRow_), 0);
}

Image::Image(std::uint64_t bitsPerSample, std::uint64_t channels, std::uint64_t width,
             std::uint64_t height, const std::vector<unsigned char>& data)
    : bitsPerSample_(bitsPerSample),
      channels_(channels),
      width_(width),
      height_(height),
      data_(data),
      bytesPerRow_(RowBytes(bitsPerSample, width, channels)) {}

Image::Image(std::uint64_t bitsPerSample, std::uint64_t channels, std::uint64_t width,
             std::uint64_t height, std::vector<unsigned char>&& data)
    : bitsPerSample_(bitsPerSample),
      channels_(channels),
      width_(width),
      height_(height),
      data_(std::move(data)),
      bytesPerRow_(RowBytes(bitsPerSample, width, channels)) {}

bool Image::WhiteIsZero() const { return false; }
std::uint64_t Image::BitsPerSample() const { return bitsPerSample_; }
std::uint64_t Image::BytesPerRow() const { return bytesPerRow_; }
std::vector<unsigned char>& Image::Data() { return data_; }
const std::vector<unsigned char>& Image::Data() const { return data_; }
std::uint64_t Image::DataSize() const { return data_.size(); }
std::uint64_t Image::Height() const { return height_; }
std::uint64_t Image::Channels() const { return channels_; }
std::uint64_t Image::HorizontalResolution() const { return horizontalResolution_; }
std::uint64_t Image::VerticalResolution() const { return verticalResolution_; }
std::uint64_t Image::Width() const { return width_; }

void Image::Invert() {
  if (bitsPerSample_ != 8) {
    throw ImageException("Unable to invert images if the number of bits per sample is not 8");
  }
  for (auto& byte : data_) byte = static_cast<unsigned char>(~byte);
}

bool Image::IsNonEmpty() const { return width_ != 0 && height_ != 0; }

void Image::ReadFromTIFF(std::istream& input) {
  // Built aside first, so that a failing read leaves this image untouched.
  Image read = ImageIO::ReadFromTIFFFormat(input);
  Image::operator=(std::move(read));
}

void Image::Reserve(std::uint64_t bytes) {
  if (bytes > data_.capacity()) data_.reserve(bytes);
}

void Image::SetResolution(std::uint64_t horizontal, std::uint64_t vertical) {
  horizontalResolution_ = horizontal;
  verticalResolution_ = vertical;
}

void Image::Write(std::ostream& output, int format) const {
  if (format != 0) throw ImageException("Unsupported format");
  ImageIO::WriteToTIFFFormat(*this, output, 1);
}

}  // namespace Brindle
