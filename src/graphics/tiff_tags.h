// The TIFF tags and field types that this system reads and writes, named as
// the format names them, shared by the reader and the writer.
#pragma once

#include <cstdint>

namespace Brindle::TIFFTag {

constexpr std::uint16_t kNewSubfileType = 254;
constexpr std::uint16_t kImageWidth = 256;
constexpr std::uint16_t kImageLength = 257;
constexpr std::uint16_t kBitsPerSample = 258;
constexpr std::uint16_t kCompression = 259;
constexpr std::uint16_t kPhotometricInterpretation = 262;
constexpr std::uint16_t kStripOffsets = 273;
constexpr std::uint16_t kSamplesPerPixel = 277;
constexpr std::uint16_t kRowsPerStrip = 278;
constexpr std::uint16_t kStripByteCounts = 279;
constexpr std::uint16_t kXResolution = 282;
constexpr std::uint16_t kYResolution = 283;
constexpr std::uint16_t kResolutionUnit = 296;
constexpr std::uint16_t kPredictor = 317;

}  // namespace Brindle::TIFFTag

namespace Brindle::TIFFType {

// Field types: BYTE (1), SHORT (3), LONG (4) and RATIONAL (5), two LONGs.
constexpr std::uint16_t kByte = 1;
constexpr std::uint16_t kShort = 3;
constexpr std::uint16_t kLong = 4;
constexpr std::uint16_t kRational = 5;

}  // namespace Brindle::TIFFType
