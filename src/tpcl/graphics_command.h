// The rules of the TPCL bitmap-graphics command that every reader of a job
// shares: what its fields mean, how big its data is and where it lands.
//
// In a job the command is "{SG;x,y,width,height,type," followed by the data
// and "|}". Each field is one to six characters ending in a comma. TOPIX data
// (type 3) carries a two-byte big-endian size before it, raw rows (type 1)
// have a size that follows from width and height, and the long form "{SG0;"
// carries a four-byte size and one spare byte instead, for any type.
#pragma once

#include <cstdint>
#include <string>

namespace Corvane::TPCL {

constexpr std::size_t kGraphicsFieldMaxLength = 6;

constexpr unsigned long kRawGraphics = 1;
constexpr unsigned long kTOPIXGraphics = 3;
// A type that carries no data.
constexpr unsigned long kEmptyGraphics = 0x0A;

// The X, Y, width and height fields: a decimal number read as std::stoul reads
// it (from the start, up to the first non-digit), so "0120D" is 120. Throws
// std::invalid_argument or std::out_of_range as std::stoul does.
std::uint64_t GraphicsNumber(const std::string& field);

// A type field longer than one character that begins with "M" is a modifier:
// the type itself is the field after it.
bool IsTypeModifier(const std::string& field);

// The type field, hexadecimal. Throws as std::stoul does.
unsigned long GraphicsType(const std::string& field);

// Where the size of the data comes from when the command does not carry a
// four-byte size (the short form, or a long form whose size is 0).
struct ShortFormSize {
  enum class Kind {
    kTwoByteCount,  // TOPIX: two big-endian bytes before the data
    kFixed,         // `bytes`, known from the type and the geometry
    kUnsupported,   // no way to know: the command cannot be read
  };
  Kind kind;
  std::uint32_t bytes = 0;
};
// Raw rows take ((width + 7) / 8) x height bytes, held in 32 bits as a
// four-byte size is; the empty type takes none.
ShortFormSize ShortFormPayloadSize(unsigned long type, std::uint64_t width, std::uint64_t height);

// Tenths of a millimetre to dots, truncating.
inline std::uint64_t Dots(std::uint64_t dotsPerMillimetre, std::uint64_t tenths) {
  return dotsPerMillimetre * tenths / 10;
}

// The dot at which a graphic's X or Y field places it, given the field and
// its number. A field ending in "D" is converted to dots once more before the
// placement converts it again. That double scaling is required: previews
// must place graphics exactly where existing jobs have been placed.
std::uint64_t PlacementDots(unsigned dotsPerMillimetre, const std::string& field,
                            std::uint64_t value);

}  // namespace Corvane::TPCL
