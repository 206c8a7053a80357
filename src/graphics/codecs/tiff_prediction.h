// Undoes TIFF's horizontal differencing (Predictor 2) on decoded strip data.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

#include "graphics/codecs/codec.h"

namespace Ashgrove {

class TIFFPrediction : public IDecompressor, public ICompressor {
 public:
  // `colors` samples per pixel (1 to 4), `bitsPerComponent` 8 or 16, `columns`
  // pixels per row (not 0). Throws DecompressionException
  // "Unsupported number of colors for TIFF prediction",
  // "Bits per component must be 8 or 16" or
  // "Unable to perform TIFF prediction with no column data".
  TIFFPrediction(std::uint32_t colors, std::uint32_t bitsPerComponent, std::uint32_t columns);

  // Adds each sample to the running sum of its color. The sums start at zero
  // once and run on from row to row; with 16 bits only the second byte of each
  // sample is added and one byte per sample (the sum's low byte) is written.
  // Throws DecompressionException "Row data is incomplete" when the input
  // ends inside a pixel other than a row's first one.
  void Decompress(std::istream& input, std::ostream& output) override;

  // Differencing is never written by this system: throws
  // UnimplementedException.
  void Compress(std::istream& input, std::ostream& output) override;

 private:
  std::uint32_t colors_;
  std::uint32_t bitsPerComponent_;
  std::uint32_t columns_;
};

}  // namespace Ashgrove
