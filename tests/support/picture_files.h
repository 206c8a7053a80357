// Picture files made in the test by the formats' own libraries (libpng,
// libtiff, libjpeg-turbo), so the loader is checked against files as other
// programs write them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Vellum::Testing {

using Bytes = std::vector<unsigned char>;

// Samples of `channels` per pixel, each 0..(2^bits - 1) (palette files: the
// index), rows top first, not packed.
struct Samples {
  unsigned width = 0;
  unsigned height = 0;
  unsigned channels = 1;
  unsigned bits = 8;
  std::vector<std::uint32_t> values;
};

struct PNGFile {
  int colourType = 0;  // PNG_COLOR_TYPE_*
  bool interlaced = false;
  std::vector<std::uint8_t> palette = {};       // RGB triples
  std::vector<std::uint8_t> transparency = {};  // tRNS: palette alphas
};
Bytes WritePNG(const Samples& samples, const PNGFile& file);

struct TIFFFile {
  unsigned photometric = 1;  // PHOTOMETRIC_*
  unsigned compression = 1;  // COMPRESSION_*
  unsigned orientation = 1;
  bool unassociatedAlpha = false;  // the last channel is alpha
};
// In strips of three rows, written through a temporary file as libtiff
// writes files.
Bytes WriteTIFF(const Samples& samples, const TIFFFile& file);

// 8-bit grey (1), RGB (3) or CMYK stored inverted as Adobe's programs do (4).
// An Exif orientation other than 1 is written in an APP1 marker, in Intel or
// Motorola byte order.
Bytes WriteJPEG(const Samples& samples, int quality = 100, unsigned exifOrientation = 1,
                bool littleEndianExif = false);

}  // namespace Vellum::Testing
