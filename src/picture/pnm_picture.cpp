// The netpbm formats, read by hand: they are simple enough, and being text at
// their start they reach us from scripts more often than any other. Every
// count comes from the file, so each one is checked before it is used.
#include <cstdint>
#include <vector>

#include "picture/picture_formats.h"

namespace Corvane::Picture {

namespace {

constexpr std::uint64_t kMaxHeaderNumber = 0xFFFFFFFFu;

class PNMReader {
 public:
  PNMReader(std::span<const unsigned char> bytes, const std::string& name,
            const PictureLimits& limits)
      : bytes_(bytes), name_(name), limits_(limits) {}

  Brindle::Image Read() {
    const char kind = static_cast<char>(bytes_[1]);
    position_ = 2;
    const std::uint64_t width = HeaderNumber("width");
    const std::uint64_t height = HeaderNumber("height");
    const bool bilevel = kind == '1' || kind == '4';
    std::uint32_t maxval = 1;
    if (!bilevel) {
      const std::uint64_t value = HeaderNumber("maxval");
      if (value == 0 || value > 65535)
        Fail("the maxval is " + std::to_string(value) + " (1 to 65535)");
      maxval = static_cast<std::uint32_t>(value);
    }
    CheckPictureSize(width, height, name_, limits_);
    const bool plain = kind <= '3';
    if (!plain) {
      // Exactly one white-space character ends the header of the raw forms.
      if (position_ >= bytes_.size() || !IsSpace(bytes_[position_]))
        Fail("the header does not end in white space");
      ++position_;
    }
    switch (kind) {
      case '1':
        return PlainBitmap(width, height);
      case '4':
        return RawBitmap(width, height);
      case '2':
      case '5':
        return Samples(width, height, 1, maxval, plain);
      default:
        return Samples(width, height, 3, maxval, plain);
    }
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw PictureException(name_ + ": " + what);
  }

  static bool IsSpace(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
  }

  // White space and comments ("#" to the end of the line).
  void SkipSpace() {
    while (position_ < bytes_.size()) {
      if (bytes_[position_] == '#') {
        while (position_ < bytes_.size() && bytes_[position_] != '\n' && bytes_[position_] != '\r')
          ++position_;
      } else if (IsSpace(bytes_[position_])) {
        ++position_;
      } else {
        return;
      }
    }
  }

  // A decimal number after white space; `what` names it in messages.
  std::uint64_t Number(const char* what) {
    SkipSpace();
    if (position_ >= bytes_.size()) Fail(std::string("the file ends before its ") + what);
    if (bytes_[position_] < '0' || bytes_[position_] > '9')
      Fail(std::string("the ") + what + " is not a number");
    std::uint64_t value = 0;
    while (position_ < bytes_.size() && bytes_[position_] >= '0' && bytes_[position_] <= '9') {
      value = value * 10 + (bytes_[position_++] - '0');
      if (value > kMaxHeaderNumber) Fail(std::string("the ") + what + " is too large");
    }
    return value;
  }

  std::uint64_t HeaderNumber(const char* what) {
    const std::uint64_t value = Number(what);
    // A number must be followed by white space or a comment, not glued to the data.
    if (position_ < bytes_.size() && !IsSpace(bytes_[position_]) && bytes_[position_] != '#') {
      Fail(std::string("the ") + what + " is not a number");
    }
    return value;
  }

  std::uint64_t Remaining() const { return bytes_.size() - position_; }

  // Plain data needs at least one character per value; checking that first
  // keeps a short file from allocating a picture its header claims.
  void NeedCharacters(std::uint64_t values) const {
    if (Remaining() < values) Fail("the picture data ends early");
  }

  void NeedBytes(std::uint64_t count) const {
    if (Remaining() < count) {
      Fail("the picture data ends early (" + std::to_string(count) + " bytes expected, " +
           std::to_string(Remaining()) + " found)");
    }
  }

  // P1: "0" white, "1" black, white space optional between pixels. Stored as
  // a plain Image's bits, 1 = white.
  Brindle::Image PlainBitmap(std::uint64_t width, std::uint64_t height) {
    NeedCharacters(width * height);
    Brindle::Image image(1, 1, width, height);
    unsigned char* data = image.Data().data();
    const std::uint64_t rowBytes = image.BytesPerRow();
    for (std::uint64_t y = 0; y < height; ++y) {
      for (std::uint64_t x = 0; x < width; ++x) {
        SkipSpace();
        if (position_ >= bytes_.size()) Fail("the picture data ends early");
        const unsigned char c = bytes_[position_++];
        if (c != '0' && c != '1') Fail("a pixel of a plain bitmap is not 0 or 1");
        if (c == '0') data[y * rowBytes + x / 8] |= static_cast<unsigned char>(0x80u >> (x % 8));
      }
    }
    return image;
  }

  // P4: packed rows, most significant bit first, 1 = black.
  Brindle::Image RawBitmap(std::uint64_t width, std::uint64_t height) {
    const std::uint64_t rowBytes = (width + 7) / 8;
    NeedBytes(rowBytes * height);
    std::vector<unsigned char> data(
        bytes_.begin() + static_cast<std::ptrdiff_t>(position_),
        bytes_.begin() + static_cast<std::ptrdiff_t>(position_ + rowBytes * height));
    for (unsigned char& byte : data) byte = static_cast<unsigned char>(~byte);
    return Brindle::Image(1, 1, width, height, std::move(data));
  }

  std::uint32_t PlainSample(std::uint32_t maxval) {
    const std::uint64_t value = Number("sample");
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, maxval));
  }

  // P2, P3 (plain) and P5, P6 (raw: one byte a sample up to maxval 255, two
  // big-endian bytes above). Samples above maxval count as maxval.
  Brindle::Image Samples(std::uint64_t width, std::uint64_t height, unsigned channels,
                         std::uint32_t maxval, bool plain) {
    const std::uint64_t count = width * height * channels;
    const unsigned sampleBytes = maxval > 255 ? 2 : 1;
    if (plain) {
      NeedCharacters(count);
    } else {
      NeedBytes(count * sampleBytes);
    }
    if (!plain && maxval == 255) {
      // The common case is the image's own layout: taken as it stands.
      const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(position_);
      return Brindle::Image(
          8, channels, width, height,
          std::vector<unsigned char>(first, first + static_cast<std::ptrdiff_t>(count)));
    }
    Brindle::Image image(8, channels, width, height);
    unsigned char* out = image.Data().data();
    for (std::uint64_t i = 0; i < count; ++i) {
      std::uint32_t value;
      if (plain) {
        value = PlainSample(maxval);
      } else if (sampleBytes == 1) {
        value = bytes_[position_++];
      } else {
        value = (std::uint32_t{bytes_[position_]} << 8) | bytes_[position_ + 1];
        position_ += 2;
      }
      out[i] = maxval == 255 ? static_cast<unsigned char>(value)
                             : ScaleSample(std::min(value, maxval), maxval);
    }
    return image;
  }

  std::span<const unsigned char> bytes_;
  const std::string& name_;
  const PictureLimits& limits_;
  std::uint64_t position_ = 0;
};

}  // namespace

Brindle::Image LoadPNM(std::span<const unsigned char> bytes, const std::string& name,
                       const PictureLimits& limits) {
  if (bytes.size() < 2 || bytes[0] != 'P' || bytes[1] < '1' || bytes[1] > '6') {
    throw PictureException(name + ": not a netpbm picture (P1 to P6)");
  }
  return PNMReader(bytes, name, limits).Read();
}

}  // namespace Corvane::Picture
