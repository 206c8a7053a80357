#include "graphics/codecs/tiff_prediction.h"

#include <array>
#include <vector>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {
constexpr std::size_t kBlockSize = 1 << 16;
}

TIFFPrediction::TIFFPrediction(std::uint32_t colors, std::uint32_t bitsPerComponent,
                               std::uint32_t columns)
    : colors_(colors), bitsPerComponent_(bitsPerComponent), columns_(columns) {
  if (colors < 1 || colors > 4)
    throw DecompressionException("Unsupported number of colors for TIFF prediction");
  if (bitsPerComponent != 8 && bitsPerComponent != 16) {
    throw DecompressionException("Bits per component must be 8 or 16");
  }
  if (columns == 0)
    throw DecompressionException("Unable to perform TIFF prediction with no column data");
}

void TIFFPrediction::Decompress(std::istream& input, std::ostream& output) {
  // The sums are deliberately not reset at the start of each row: files
  // written by this system's counterparts rely on the carry-over.
  std::array<std::uint16_t, 4> sums{};
  const bool wide = bitsPerComponent_ == 16;
  std::uint32_t color = 0;   // colors of the current pixel already done
  std::uint32_t column = 0;  // pixel within the row
  bool haveFirstByte = false;
  std::vector<char> in(kBlockSize);
  std::vector<char> out(kBlockSize);
  for (;;) {
    input.read(in.data(), static_cast<std::streamsize>(in.size()));
    const auto got = static_cast<std::size_t>(input.gcount());
    std::size_t produced = 0;
    for (std::size_t i = 0; i < got; ++i) {
      const auto byte = static_cast<std::uint8_t>(in[i]);
      if (wide && !haveFirstByte) {
        // Only the second byte of a 16-bit sample enters the sum.
        haveFirstByte = true;
        continue;
      }
      haveFirstByte = false;
      sums[color] = static_cast<std::uint16_t>(sums[color] + byte);
      out[produced++] = static_cast<char>(sums[color] & 0xFF);
      if (++color == colors_) {
        color = 0;
        if (++column == columns_) column = 0;
      }
    }
    output.write(out.data(), static_cast<std::streamsize>(produced));
    if (got < in.size()) break;
  }
  // Ending inside a row's first pixel is accepted; only later pixels must be whole.
  if (color > 0 && column > 0) throw DecompressionException("Row data is incomplete");
}

void TIFFPrediction::Compress(std::istream&, std::ostream&) {
  throw UnimplementedException("TIFF prediction is only undone, never applied");
}

}  // namespace Ashgrove
