// TOPIX, the compressed form in which TEC printers take one-bit graphics: each
// row is sent as its difference from the row above, addressed through a
// section byte, block bytes and byte-map bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <vector>

#include "graphics/bitmap.h"

namespace Brindle {

// Compression-format codes shared by both directions.
constexpr int kRawFormat = 0;
constexpr int kTOPIXFormat = 1;

// The widest row TOPIX can address: 8 sections of 64 bytes.
constexpr std::uint64_t kTOPIXMaxWidth = 4096;

// Builds a bitmap `width` dots wide from graphics data. Format 0 takes the
// bytes as the packed rows (`height` rows); format 1 decodes TOPIX lines (the
// lines only, without the 16-bit count): the result has one row per line,
// whatever `height` says, which only sizes the storage up front (0: room is
// reserved for as many rows as the data has bytes, up to 64 MiB). Other formats: BitmapException
// "Unknown compression format specified". Data that ends inside a line, or addresses a byte outside
// the row, ends in std::out_of_range.
[[nodiscard]] Bitmap BitmapFromData(const std::vector<unsigned char>& data, std::uint64_t width,
                                    std::uint64_t height, int format);

// Decodes TOPIX lines one by one, handing each finished row to `row` together
// with its index. A line cannot address bytes past the 512th, so those are
// always 0: the row handed over is the first min(bytes per row, 512) bytes and
// the rest of the row is white. The buffer is reused for the next line, so
// the callee copies what it keeps. Failures as BitmapFromData. Holds one
// such row at a time, whatever the number of lines or the width.
void DecodeTOPIX(const std::vector<unsigned char>& data, std::uint64_t width,
                 const std::function<void(std::uint64_t, const std::vector<unsigned char>&)>& row);

// The longest a TOPIX line can be: the section byte, 8 block bytes, 64 byte
// maps and 512 difference bytes.
constexpr std::size_t kTOPIXLongestLine = 1 + 8 + 64 + 512;

// Encodes one row of `length` bytes (at most 512) as its TOPIX line, the
// difference from `previous` (the row above, all 0 for a graphic's first
// row), into `line`, which has room for kTOPIXLongestLine bytes; returns the
// line's length. The lines of WriteBitmap are these, one per row.
std::size_t EncodeTOPIXLine(const unsigned char* row, const unsigned char* previous,
                            std::size_t length, unsigned char* line);

// Writes the bitmap to the stream. Format 0: the data bytes as they stand.
// Format 1: a TOPIX block, a 16-bit big-endian byte count and then one line
// per row. The count is patched in at absolute position 0 of the stream once
// every line is out, so the stream must be the encoder's own and seekable.
// BitmapException "Unknown bitmap format specified" for other formats;
// "Bitmap width exceeds supported width for TOPIX compression" over 4096
// dots; "Bitmap has no height"; "Unable to compress bitmap to under maximum
// size of 65536 bytes". After a TOPIX failure the stream keeps what was
// written (the place holder and any lines) and no count is patched in.
void WriteBitmap(const Bitmap& bitmap, std::ostream& output, int format);

}  // namespace Brindle
