#include "render/topix_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <stdexcept>

#include "core/exception.h"
#include "graphics/exception.h"

namespace Brindle {

namespace {

constexpr std::uint64_t kSectionBytes = 64;
constexpr std::uint64_t kBlockBytes = 8;
constexpr std::uint64_t kMaxLineBytes = 512;
constexpr std::uint64_t kMaxBlockBytes = 65536;

std::uint64_t RowBytes(std::uint64_t width) { return width / 8 + (width % 8 != 0 ? 1 : 0); }

// Bit 7 stands for the first section, block or byte of a map byte.
bool IsSet(unsigned char map, unsigned bit) { return (map & (0x80u >> bit)) != 0; }

// Index of the highest set bit of a map byte, counted from bit 7 as 0: the
// order in which TOPIX lists sections, blocks and bytes.
unsigned FirstSet(unsigned map) {
  return static_cast<unsigned>(std::countl_zero(static_cast<std::uint8_t>(map)));
}

// The longest a line can be: section byte, 8 block bytes, 64 byte maps and
// 512 difference bytes.
constexpr std::size_t kLongestLine = 1 + 8 + 64 + kMaxLineBytes;

// Reads one line starting at `position` and XORs its difference bytes into
// `row`, which then holds the decoded row; returns the number of bytes taken.
// Row accesses go through at(), so a line pointing past the row is a
// std::out_of_range; so are data accesses when Checked, near the end of the
// data, where a line may be cut short. Further from the end no line can run
// past the data, and that check is left out of this hot loop.
template <bool Checked>
std::size_t DecodeLine(const std::vector<unsigned char>& data, std::size_t position,
                       std::vector<unsigned char>& row) {
  const auto take = [&data, &position] { return Checked ? data.at(position++) : data[position++]; };
  const std::size_t start = position;
  for (unsigned sections = take(); sections != 0;) {
    const unsigned s = FirstSet(sections);
    sections &= ~(0x80u >> s);
    for (unsigned blocks = take(); blocks != 0;) {
      const unsigned b = FirstSet(blocks);
      blocks &= ~(0x80u >> b);
      for (unsigned bytes = take(); bytes != 0;) {
        const unsigned p = FirstSet(bytes);
        bytes &= ~(0x80u >> p);
        // Indices within a line only ever increase, so XOR into the running
        // row is the same as a zeroed line buffer XOR the row above.
        const std::size_t index = s * kSectionBytes + b * kBlockBytes + p;
        row.at(index) ^= take();
      }
    }
  }
  return position - start;
}

}  // namespace

void DecodeTOPIX(const std::vector<unsigned char>& data, std::uint64_t width,
                 const std::function<void(std::uint64_t, const std::vector<unsigned char>&)>& row) {
  // The first row's "row above" is all white. Bytes past the addressable 512
  // stay white in every row, so they are not kept: an index is out of range
  // here exactly when it is outside the full row.
  std::vector<unsigned char> current(std::min(RowBytes(width), kMaxLineBytes), 0);
  std::size_t position = 0;
  for (std::uint64_t index = 0; position < data.size(); ++index) {
    const bool checked = data.size() - position < kLongestLine;
    const std::size_t taken = checked ? DecodeLine<true>(data, position, current)
                                      : DecodeLine<false>(data, position, current);
    // The section byte is always taken, so this cannot fire; it stays as a
    // guard against a line that would never advance.
    if (taken == 0) throw BitmapException("TOPIX data invalid");
    position += taken;
    row(index, current);
  }
}

Bitmap BitmapFromData(const std::vector<unsigned char>& data, std::uint64_t width,
                      std::uint64_t height, int format) {
  if (format == kRawFormat) return Bitmap(data, width, height);
  if (format != kTOPIXFormat) throw BitmapException("Unknown compression format specified");
  Bitmap bitmap(width, 0);
  // Only rows wider than the 512 addressable bytes need padding out.
  std::vector<unsigned char> full(bitmap.BytesPerRow() > kMaxLineBytes ? bitmap.BytesPerRow() : 0);
  DecodeTOPIX(data, width, [&](std::uint64_t, const std::vector<unsigned char>& row) {
    if (row.size() == bitmap.BytesPerRow()) {
      bitmap.AppendRow(row);
      return;
    }
    std::copy(row.begin(), row.end(), full.begin());
    bitmap.AppendRow(full);
  });
  return bitmap;
}

namespace {

// Builds the line for one row from its difference to the row above; `line`
// is cleared first. Rows are at most 512 bytes here (the width was checked).
void EncodeLine(const unsigned char* row, const unsigned char* previous, std::size_t length,
                std::vector<unsigned char>& line) {
  unsigned char sections = 0;
  std::array<unsigned char, 8> blocks{};
  std::array<unsigned char, 64> bytes{};
  for (std::size_t i = 0; i < length; ++i) {
    if (row[i] == previous[i]) continue;
    bytes[i / kBlockBytes] |= static_cast<unsigned char>(0x80u >> (i % 8));
    blocks[i / kSectionBytes] |= static_cast<unsigned char>(0x80u >> ((i / kBlockBytes) % 8));
    sections |= static_cast<unsigned char>(0x80u >> (i / kSectionBytes));
  }
  line.clear();
  line.push_back(sections);
  for (unsigned s = 0; s < 8; ++s) {
    if (!IsSet(sections, s)) continue;
    line.push_back(blocks[s]);
    for (unsigned b = 0; b < 8; ++b) {
      if (!IsSet(blocks[s], b)) continue;
      const unsigned char map = bytes[s * 8 + b];
      line.push_back(map);
      for (unsigned p = 0; p < 8; ++p) {
        if (!IsSet(map, p)) continue;
        const std::size_t i = s * kSectionBytes + b * kBlockBytes + p;
        const auto difference = static_cast<unsigned char>(row[i] ^ previous[i]);
        if (difference == 0) {
          throw Corvane::InternalInconsistencyException("Outputting unnecessary byte");
        }
        line.push_back(difference);
      }
    }
  }
}

void WriteTOPIX(const Bitmap& bitmap, std::ostream& output) {
  output.write("\0\0", 2);  // place holder for the byte count
  if (bitmap.Width() > kTOPIXMaxWidth) {
    throw BitmapException("Bitmap width exceeds supported width for TOPIX compression");
  }
  if (bitmap.Height() == 0) throw BitmapException("Bitmap has no height");
  const std::size_t length = bitmap.BytesPerRow();
  const std::vector<unsigned char>& data = bitmap.Data();
  if (length != 0 && data.size() / length < bitmap.Height()) {
    throw std::out_of_range("Bitmap data shorter than its geometry");
  }
  std::vector<unsigned char> previous(length, 0);
  std::vector<unsigned char> line;
  line.reserve(1 + 8 + 64 + kMaxLineBytes);
  std::uint64_t total = 0;
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
    const unsigned char* row = data.data() + y * length;
    EncodeLine(row, previous.data(), length, line);
    output.write(reinterpret_cast<const char*>(line.data()),
                 static_cast<std::streamsize>(line.size()));
    total += line.size();
    std::copy_n(row, length, previous.begin());
  }
  if (total > kMaxBlockBytes) {
    throw BitmapException("Unable to compress bitmap to under maximum size of 65536 bytes");
  }
  // Exactly 65536 bytes is let through and its count wraps to 0x0000; printers
  // have always been sent it that way.
  const char count[2] = {static_cast<char>((total >> 8) & 0xFF), static_cast<char>(total & 0xFF)};
  output.seekp(0);
  output.write(count, 2);
  output.seekp(0, std::ios_base::end);
}

}  // namespace

void WriteBitmap(const Bitmap& bitmap, std::ostream& output, int format) {
  if (format == kRawFormat) {
    output.write(reinterpret_cast<const char*>(bitmap.Data().data()),
                 static_cast<std::streamsize>(bitmap.DataSize()));
  } else if (format == kTOPIXFormat) {
    WriteTOPIX(bitmap, output);
  } else {
    throw BitmapException("Unknown bitmap format specified");
  }
}

}  // namespace Brindle
