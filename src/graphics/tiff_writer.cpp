#include "graphics/tiff_writer.h"

#include <bit>
#include <map>
#include <vector>

#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/vector_codec.h"
#include "graphics/exception.h"
#include "graphics/tiff_tags.h"

namespace Brindle::ImageIO {

namespace {

using namespace TIFFTag;
using namespace TIFFType;

// The file always has the same thirteen entries, so every offset after the
// IFD is fixed: header (8) + count (2) + entries (12 each) + next IFD (4).
constexpr std::uint32_t kEntryCount = 13;
constexpr std::uint32_t kXResolutionOffset = 12 * kEntryCount + 14;
constexpr std::uint32_t kYResolutionOffset = 12 * kEntryCount + 22;
constexpr std::uint32_t kFreeOffset = 12 * kEntryCount + 30;

struct Entry {
  std::uint16_t type;
  std::uint32_t count;
  std::uint32_t value;
};

bool HostIsBigEndian() {
  static const bool bigEndian = std::endian::native == std::endian::big;
  return bigEndian;
}

// Every number goes out in host order; the byte-order mark tells readers which.
template <typename T>
void Put(std::ostream& output, T value) {
  output.write(reinterpret_cast<const char*>(&value), sizeof value);
}

std::uint16_t Photometric(const Image& image) {
  switch (image.Channels()) {
    case 1:
      return image.WhiteIsZero() ? 0 : 1;  // WhiteIsZero : BlackIsZero
    case 3:
      return 2;  // RGB
    case 4:
      return 5;  // Separated (CMYK)
    default:
      return 1;
  }
}

std::vector<unsigned char> Compressed(const std::vector<unsigned char>& pixels,
                                      Ashgrove::ICompressor& codec) {
  std::vector<unsigned char> result;
  Ashgrove::CompressVector(codec, pixels, result);
  return result;
}

}  // namespace

void WriteToTIFFFormat(const Image& image, std::ostream& output, std::uint16_t compression) {
  Put<std::uint16_t>(output, HostIsBigEndian() ? 0x4D4D : 0x4949);
  Put<std::uint16_t>(output, 42);
  Put<std::uint32_t>(output, 8);
  Put<std::uint16_t>(output, kEntryCount);

  const auto samples = static_cast<std::uint32_t>(image.Channels());
  const auto bits = static_cast<std::uint32_t>(image.BitsPerSample());
  // One sample's depth fits in the entry itself; several go to an array after
  // the rationals, even two that would fit in the 4-byte field (kept that way).
  const bool bitsArray = samples != 1;
  const std::uint32_t stripOffset = kFreeOffset + (bitsArray ? 2 * samples : 0);

  const std::vector<unsigned char>& pixels = image.Data();
  const std::vector<unsigned char>* strip = &pixels;
  std::vector<unsigned char> compressed;
  switch (compression) {
    case 1:
      break;
    case 5: {
      Ashgrove::LZWCompression lzw(1);  // early change, as TIFF prescribes
      compressed = Compressed(pixels, lzw);
      strip = &compressed;
      break;
    }
    case 8: {
      Ashgrove::DeflateCompression deflate;
      compressed = Compressed(pixels, deflate);
      strip = &compressed;
      break;
    }
    default:
      throw ImageException("Unsupported TIFF compression method for writing");
  }

  const auto width = static_cast<std::uint32_t>(image.Width());
  const auto height = static_cast<std::uint32_t>(image.Height());
  const std::map<std::uint16_t, Entry> entries = {
      {kNewSubfileType, {kLong, 1, 0}},
      {kImageWidth, {kLong, 1, width}},
      {kImageLength, {kLong, 1, height}},
      {kBitsPerSample, {kShort, bitsArray ? samples : 1, bitsArray ? kFreeOffset : bits}},
      {kCompression, {kShort, 1, compression}},
      {kPhotometricInterpretation, {kShort, 1, Photometric(image)}},
      {kStripOffsets, {kLong, 1, stripOffset}},
      {kSamplesPerPixel, {kShort, 1, samples}},
      {kRowsPerStrip, {kLong, 1, height}},
      {kStripByteCounts, {kLong, 1, static_cast<std::uint32_t>(strip->size())}},
      {kXResolution, {kRational, 1, kXResolutionOffset}},
      {kYResolution, {kRational, 1, kYResolutionOffset}},
      {kResolutionUnit, {kShort, 1, 2}},  // inch
  };
  for (const auto& [tag, entry] : entries) {
    Put(output, tag);
    Put(output, entry.type);
    Put(output, entry.count);
    // A SHORT value is written as a whole 32-bit word: on a little-endian host
    // that leaves it in the first two bytes, as TIFF asks. Big-endian hosts get
    // no left-justification; that asymmetry is deliberate.
    Put(output, entry.value);
  }
  Put<std::uint32_t>(output, 0);  // no next IFD

  Put(output, static_cast<std::uint32_t>(image.HorizontalResolution()));
  Put<std::uint32_t>(output, 1);
  Put(output, static_cast<std::uint32_t>(image.VerticalResolution()));
  Put<std::uint32_t>(output, 1);
  if (bitsArray) {
    for (std::uint32_t i = 0; i < samples; ++i) Put(output, static_cast<std::uint16_t>(bits));
  }
  output.write(reinterpret_cast<const char*>(strip->data()),
               static_cast<std::streamsize>(strip->size()));
}

}  // namespace Brindle::ImageIO
