#include "picture/exif_orientation.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Corvane::Picture {

namespace {

constexpr std::uint16_t kOrientationTag = 274;
constexpr std::uint16_t kShortType = 3;
constexpr std::size_t kExifHeader = 6;  // "Exif\0\0", then a TIFF header

// Reads the TIFF structure inside the Exif block, every offset checked.
class ExifReader {
 public:
  explicit ExifReader(std::span<const unsigned char> tiff) : tiff_(tiff) {}

  unsigned Orientation() const {
    if (tiff_.size() < 8) return 1;
    if (tiff_[0] == 'I' && tiff_[1] == 'I') {
      little_ = true;
    } else if (tiff_[0] != 'M' || tiff_[1] != 'M') {
      return 1;
    }
    std::uint32_t ifd = 0;
    if (Word(2) != 42 || !Long(4, ifd)) return 1;
    std::uint16_t entries = 0;
    if (!Short(ifd, entries)) return 1;
    for (std::uint32_t i = 0; i < entries; ++i) {
      const std::uint64_t entry = std::uint64_t{ifd} + 2 + 12 * std::uint64_t{i};
      std::uint16_t tag = 0, type = 0, value = 0;
      if (!Short(entry, tag) || !Short(entry + 2, type) || !Short(entry + 8, value)) return 1;
      if (tag == kOrientationTag) return type == kShortType && value >= 1 && value <= 8 ? value : 1;
    }
    return 1;
  }

 private:
  std::uint16_t Word(std::uint64_t at) const {
    std::uint16_t value = 0;
    return Short(at, value) ? value : 0;
  }
  bool Short(std::uint64_t at, std::uint16_t& value) const {
    if (at + 2 > tiff_.size()) return false;
    value = little_ ? static_cast<std::uint16_t>(tiff_[at] | tiff_[at + 1] << 8)
                    : static_cast<std::uint16_t>(tiff_[at] << 8 | tiff_[at + 1]);
    return true;
  }
  bool Long(std::uint64_t at, std::uint32_t& value) const {
    std::uint16_t first = 0, second = 0;
    if (!Short(at, first) || !Short(at + 2, second)) return false;
    value = little_ ? (std::uint32_t{second} << 16 | first) : (std::uint32_t{first} << 16 | second);
    return true;
  }

  std::span<const unsigned char> tiff_;
  mutable bool little_ = false;
};

}  // namespace

unsigned ExifOrientation(std::span<const unsigned char> app1) {
  static const unsigned char kExif[kExifHeader] = {'E', 'x', 'i', 'f', 0, 0};
  if (app1.size() < kExifHeader || std::memcmp(app1.data(), kExif, kExifHeader) != 0) return 1;
  return ExifReader(app1.subspan(kExifHeader)).Orientation();
}

Brindle::Image Oriented(Brindle::Image picture, unsigned orientation) {
  if (orientation < 2 || orientation > 8 || picture.BitsPerSample() != 8) return picture;
  const std::uint64_t w = picture.Width(), h = picture.Height(), c = picture.Channels();
  const bool swapped = orientation >= 5;
  const std::uint64_t width = swapped ? h : w, height = swapped ? w : h;
  std::vector<unsigned char> out(width * height * c);
  const unsigned char* in = picture.Data().data();
  for (std::uint64_t y = 0; y < height; ++y) {
    for (std::uint64_t x = 0; x < width; ++x) {
      std::uint64_t sx = x, sy = y;
      switch (orientation) {
        case 2:
          sx = w - 1 - x;
          break;
        case 3:
          sx = w - 1 - x, sy = h - 1 - y;
          break;
        case 4:
          sy = h - 1 - y;
          break;
        case 5:
          sx = y, sy = x;
          break;
        case 6:
          sx = y, sy = h - 1 - x;
          break;
        case 7:
          sx = w - 1 - y, sy = h - 1 - x;
          break;
        case 8:
          sx = w - 1 - y, sy = x;
          break;
      }
      std::copy_n(in + (sy * w + sx) * c, c, out.data() + (y * width + x) * c);
    }
  }
  return Brindle::Image(8, c, width, height, std::move(out));
}

}  // namespace Corvane::Picture
