// Brindle::Image: the raster library's in-memory picture, a block of rows of
// packed samples with its geometry and resolution.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>
#include <vector>

namespace Brindle {

// Rows are stored top row first, each BytesPerRow() bytes long with no padding
// between rows; samples are packed most significant bit first. Bytes per row
// is (bits per sample x width x channels + 7) / 8. Resolution is 96 x 96 until
// set. Failures throw Brindle::ImageException unless noted.
class Image {
 public:
  // Zero-filled data of height x bytes-per-row bytes. Throws ImageException
  // "Image dimensions too large" when that size does not fit in 64 bits.
  Image(std::uint64_t bitsPerSample, std::uint64_t channels, std::uint64_t width,
        std::uint64_t height);
  // Takes the data as it stands; its length is not checked against the geometry.
  Image(std::uint64_t bitsPerSample, std::uint64_t channels, std::uint64_t width,
        std::uint64_t height, const std::vector<unsigned char>& data);
  Image(std::uint64_t bitsPerSample, std::uint64_t channels, std::uint64_t width,
        std::uint64_t height, std::vector<unsigned char>&& data);
  Image(const Image&) = default;
  Image& operator=(const Image&) = default;
  Image(Image&&) noexcept = default;
  Image& operator=(Image&&) noexcept = default;
  virtual ~Image() = default;

  // True when a sample value of 0 is white (a set bit is a dark dot): false
  // here, true for every Bitmap. The TIFF writer derives its photometric
  // interpretation from it.
  [[nodiscard]] virtual bool WhiteIsZero() const;
  [[nodiscard]] virtual std::uint64_t BitsPerSample() const;
  [[nodiscard]] virtual std::uint64_t BytesPerRow() const;
  [[nodiscard]] virtual std::vector<unsigned char>& Data();
  [[nodiscard]] virtual const std::vector<unsigned char>& Data() const;
  [[nodiscard]] virtual std::uint64_t DataSize() const;
  [[nodiscard]] virtual std::uint64_t Height() const;
  [[nodiscard]] virtual std::uint64_t Channels() const;
  [[nodiscard]] virtual std::uint64_t HorizontalResolution() const;
  [[nodiscard]] virtual std::uint64_t VerticalResolution() const;
  [[nodiscard]] virtual std::uint64_t Width() const;
  // Complements every byte. Only 8-bit samples can be inverted here; other
  // depths throw "Unable to invert images if the number of bits per sample is
  // not 8". Bitmap overrides this without the check.
  virtual void Invert();
  // True when width and height are both non-zero.
  [[nodiscard]] virtual bool IsNonEmpty() const;
  // Replaces geometry, data and resolution by the TIFF file read from the
  // stream (ImageIO::ReadFromTIFFFormat). On failure the reader's exception
  // propagates and this image stays as it was.
  virtual void ReadFromTIFF(std::istream& input);
  // Grows the data's capacity (never shrinks it); the contents stay.
  virtual void Reserve(std::uint64_t bytes);
  virtual void SetResolution(std::uint64_t horizontal, std::uint64_t vertical);
  // Format 0 writes an uncompressed TIFF file to the stream; any other format
  // throws "Unsupported format" before anything is written.
  virtual void Write(std::ostream& output, int format) const;

 protected:
  // Bytes per row for the geometry, with the overflow check of the constructor.
  static std::uint64_t RowBytes(std::uint64_t bitsPerSample, std::uint64_t width,
                                std::uint64_t channels);

  std::uint64_t bitsPerSample_;
  std::uint64_t channels_;
  std::uint64_t width_;
  std::uint64_t height_;
  std::uint64_t horizontalResolution_ = 96;
  std::uint64_t verticalResolution_ = 96;
  std::vector<unsigned char> data_;
  std::uint64_t bytesPerRow_;
};

}  // namespace Brindle
