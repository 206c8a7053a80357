// Reads TIFF files into Brindle::Image: either byte order, any number of
// strips, compressions 1, 5, 7 and 8, the horizontal predictor, and 1, 2, 4,
// 8 and 16 bits per sample.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <vector>

#include "graphics/image.h"

namespace Brindle {

// The fields of a TIFF file that the reader uses, parsed and checked.
// Offsets are positions in the stream, counted from its beginning.
class TIFFFileInfo {
 public:
  // Reads the header and every directory of the chain (their entries merged,
  // the first directory winning where a tag repeats) and takes the required
  // fields. Throws ImageException with the message of the first field that is
  // missing or unusable, or "Read error reading from TIFF" when the stream
  // ends early; a directory chain that comes back to a directory already read
  // throws "TIFF directory chain loops back on itself".
  explicit TIFFFileInfo(std::istream& input);
  // An empty info, to receive a copy from the readers below.
  TIFFFileInfo() = default;

  std::uint32_t photometricInterpretation = 0;  // PhotometricInterpretation (262)
  std::uint32_t samplesPerPixel = 0;            // SamplesPerPixel (277)
  std::uint32_t width = 0;                      // ImageWidth (256)
  std::uint32_t height = 0;                     // ImageLength (257)
  std::uint32_t compression = 0;                // Compression (259)
  std::uint32_t predictor = 1;                  // Predictor (317)
  std::uint32_t rowsPerStrip = 0;               // RowsPerStrip (278)
  double horizontalResolution = 0;              // XResolution (282), dots per inch
  double verticalResolution = 0;                // YResolution (283), dots per inch
  std::vector<std::uint32_t> bitsPerSample;     // BitsPerSample (258), one per sample
  std::vector<std::uint32_t> stripOffsets;      // StripOffsets (273)
  std::vector<std::uint32_t> stripByteCounts;   // StripByteCounts (279)
};

namespace ImageIO {

// Receives one decoded row: its bytes and their count.
using RowCallback = std::function<void(const unsigned char*, std::size_t)>;

// Every strip's bytes in strip order: decoded (decompressed, predictor
// undone, cut into whole rows) when `decode` is set, else as stored.
// Throws ImageException ("Unable to read required number of bytes",
// "Unsupported bit-depth for this TIFF file", "Unknown TIFF compression
// method used", "Unknown prediction method used in TIFF", "Data in this TIFF
// file is not stored correctly") or the codecs' Ashgrove exceptions.
std::vector<unsigned char> ReadStripDataFromTIFFFormat(std::istream& input,
                                                       const TIFFFileInfo& info, bool decode);
// The same after parsing the info from the stream; a non-null `infoOut`
// receives a copy of it.
std::vector<unsigned char> ReadStripDataFromTIFFFormat(std::istream& input, bool decode,
                                                       TIFFFileInfo* infoOut = nullptr);

// Decodes strip `index` and hands each row to `deliver`.
void ReadStripFromTIFFFormat(std::istream& input, const TIFFFileInfo& info, std::size_t index,
                             const RowCallback& deliver);

// Reads a whole TIFF file into an image of the file's geometry; the bytes
// are taken as they stand (no photometric or orientation conversion), and
// the resolution is the file's, fraction dropped. A non-null `infoOut`
// receives a copy of the parsed info.
Image ReadFromTIFFFormat(std::istream& input, TIFFFileInfo* infoOut = nullptr);

}  // namespace ImageIO

}  // namespace Brindle
