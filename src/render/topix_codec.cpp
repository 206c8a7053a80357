#include "render/topix_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "core/exception.h"
#include "graphics/exception.h"

namespace Brindle {

namespace {

constexpr std::uint64_t kSectionBytes = 64;
constexpr std::uint64_t kBlockBytes = 8;
constexpr std::uint64_t kMaxLineBytes = 512;
// The most storage reserved ahead for rows whose number is not known yet.
constexpr std::uint64_t kGuessedRoom = std::uint64_t{64} << 20;
constexpr std::uint64_t kMaxBlockBytes = 65536;

std::uint64_t RowBytes(std::uint64_t width) { return width / 8 + (width % 8 != 0 ? 1 : 0); }

// Index of the highest set bit of a map byte, counted from bit 7 as 0: the
// order in which TOPIX lists sections, blocks and bytes.
unsigned FirstSet(unsigned map) {
  return static_cast<unsigned>(std::countl_zero(static_cast<std::uint8_t>(map)));
}

constexpr std::size_t kLongestLine = kTOPIXLongestLine;

// The failure a checked vector access gives (std::vector::at), worded the
// same, since the decoder's callers have always reported that text.
[[noreturn]] void OutOfRange(std::size_t index, std::size_t size) {
  char text[128];
  std::snprintf(text, sizeof text,
                "vector::_M_range_check: __n (which is %zu) >= this->size() (which is %zu)", index,
                size);
  throw std::out_of_range(text);
}

// Reads one line starting at `position` and XORs its difference bytes into
// the `length` bytes at `row`, which then hold the decoded row; returns the
// number of bytes taken. A line pointing past the row is a std::out_of_range;
// so are data accesses when Checked, near the end of the data, where a line
// may be cut short. Further from the end no line can run past the data, and
// that check is left out of this hot loop.
// For each byte map: the block positions of its set bits in list order
// (bit 7 first), and how many there are.
struct MapPlaces {
  std::array<std::uint8_t, 8> position;
  std::uint8_t count;
};

constexpr std::array<MapPlaces, 256> kMapPlaces = [] {
  std::array<MapPlaces, 256> table{};
  for (unsigned map = 0; map < 256; ++map) {
    for (unsigned p = 0; p < 8; ++p) {
      if (map & (0x80u >> p))
        table[map].position[table[map].count++] = static_cast<std::uint8_t>(p);
    }
  }
  return table;
}();

template <bool Checked>
std::size_t DecodeLine(const unsigned char* data, std::size_t size, std::size_t position,
                       unsigned char* row, std::size_t length) {
  const auto take = [data, size, &position] {
    if (Checked && position >= size) OutOfRange(position, size);
    return data[position++];
  };
  const std::size_t start = position;
  for (unsigned sections = take(); sections != 0;) {
    const unsigned s = FirstSet(sections);
    sections &= ~(0x80u >> s);
    for (unsigned blocks = take(); blocks != 0;) {
      const unsigned b = FirstSet(blocks);
      blocks &= ~(0x80u >> b);
      const std::size_t block = s * kSectionBytes + b * kBlockBytes;
      unsigned bytes = take();
      if (!Checked && block + kBlockBytes <= length) {
        // A whole block inside the row: its difference bytes are placed in
        // one word by the map's table entry and XORed in at once. Far from
        // the end of the data, the eight bytes read here are all there.
        const MapPlaces& places = kMapPlaces[bytes];
        std::uint64_t difference = 0;
        for (unsigned i = 0; i < places.count; ++i) {
          difference |= std::uint64_t{data[position + i]} << (8 * places.position[i]);
        }
        position += places.count;
        std::uint64_t current;
        std::memcpy(&current, row + block, 8);
        if constexpr (std::endian::native == std::endian::big) {
          current ^= __builtin_bswap64(difference);
        } else {
          current ^= difference;
        }
        std::memcpy(row + block, &current, 8);
        continue;
      }
      while (bytes != 0) {
        const unsigned p = FirstSet(bytes);
        bytes &= ~(0x80u >> p);
        // Indices within a line only ever increase, so XOR into the running
        // row is the same as a zeroed line buffer XOR the row above.
        const unsigned char difference = take();
        if (block + p >= length) OutOfRange(block + p, length);
        row[block + p] ^= difference;
      }
    }
  }
  return position - start;
}

// Decodes the line at `position` into `row`, with the data checks only where
// the line might run past the end; throws "TOPIX data invalid" for a line
// that takes no bytes.
std::size_t DecodeNextLine(const std::vector<unsigned char>& data, std::size_t position,
                           unsigned char* row, std::size_t length) {
  const bool checked = data.size() - position < kLongestLine;
  const std::size_t taken =
      checked ? DecodeLine<true>(data.data(), data.size(), position, row, length)
              : DecodeLine<false>(data.data(), data.size(), position, row, length);
  // The section byte is always taken, so this cannot fire; it stays as a
  // guard against a line that would never advance.
  if (taken == 0) throw BitmapException("TOPIX data invalid");
  return taken;
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
    position += DecodeNextLine(data, position, current.data(), current.size());
    row(index, current);
  }
}

Bitmap BitmapFromData(const std::vector<unsigned char>& data, std::uint64_t width,
                      std::uint64_t height, int format) {
  if (format == kRawFormat) return Bitmap(data, width, height);
  if (format != kTOPIXFormat) throw BitmapException("Unknown compression format specified");
  // Each line is XORed into a row buffer holding the row above (white at
  // first), which is then appended to the bitmap's own storage. Only the
  // first 512 bytes of a row can change; the rest stays white.
  const std::uint64_t length = RowBytes(width);
  std::vector<unsigned char> current(std::min(length, kMaxLineBytes), 0);
  std::vector<unsigned char> rows;
  // The storage is sized once: grown row by row it would be reallocated
  // again and again, and each large fresh block costs its page faults anew.
  // The caller's height (never more rows than bytes of data) saves counting
  // the lines first; it stays a hint, as the data decides the rows. Without
  // it, room for as many rows as there are bytes of data is reserved
  // instead, up to kGuessedRoom: only the pages the rows fill are ever
  // touched, so the rest costs address space, not memory, and a pass that
  // only counts lines would cost almost as much as decoding them.
  std::uint64_t room = 0;
  if (height != 0) {
    if (__builtin_mul_overflow(std::min<std::uint64_t>(height, data.size()), length, &room))
      room = 0;
  } else if (__builtin_mul_overflow(std::uint64_t{data.size()}, length, &room) ||
             room > kGuessedRoom) {
    room = kGuessedRoom;
  }
  rows.reserve(static_cast<std::size_t>(room));
  std::uint64_t decoded = 0;
  for (std::size_t position = 0; position < data.size(); ++decoded) {
    position += DecodeNextLine(data, position, current.data(), current.size());
    rows.insert(rows.end(), current.begin(), current.end());
    if (length > current.size()) rows.resize(rows.size() + (length - current.size()), 0);
  }
  return Bitmap(std::move(rows), width, decoded);
}

namespace {

// Byte i of the word is a difference when it is not 0: one bit per byte, the
// first byte's in bit 7, as a TOPIX byte map lists them.
unsigned ByteMap(std::uint64_t difference) {
  constexpr std::uint64_t kLow7 = 0x7F7F7F7F7F7F7F7FULL;
  // Bit 7 of each byte: set when any bit of that byte is.
  const std::uint64_t high = (((difference & kLow7) + kLow7) | difference) & ~kLow7;
  if constexpr (std::endian::native == std::endian::little) {
    return static_cast<unsigned>(((high >> 7) * 0x8040201008040201ULL) >> 56);
  } else {
    return static_cast<unsigned>(((__builtin_bswap64(high) >> 7) * 0x8040201008040201ULL) >> 56);
  }
}

std::uint64_t Load(const unsigned char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, 8);
  return word;
}

// Builds the line for one row from its difference to the row above into
// `line`; returns its length. Rows are at most 512 bytes here (the width was
// checked). Blocks are compared eight bytes at a time; the section and block
// bytes are filled in once their blocks are known.
std::size_t EncodeLine(const unsigned char* row, const unsigned char* previous, std::size_t length,
                       unsigned char* line) {
  std::size_t size = 1;
  unsigned sections = 0;
  for (std::size_t section = 0; section * kSectionBytes < length; ++section) {
    const std::size_t blockByte = size++;
    unsigned blocks = 0;
    for (std::size_t b = 0; b < 8; ++b) {
      const std::size_t start = section * kSectionBytes + b * kBlockBytes;
      if (start >= length) break;
      std::uint64_t now, before;
      if (start + kBlockBytes <= length) {
        now = Load(row + start);
        before = Load(previous + start);
      } else {
        unsigned char a[8] = {}, c[8] = {};
        std::memcpy(a, row + start, length - start);
        std::memcpy(c, previous + start, length - start);
        now = Load(a);
        before = Load(c);
      }
      const std::uint64_t difference = now ^ before;
      if (difference == 0) continue;
      const unsigned map = ByteMap(difference);
      blocks |= 0x80u >> b;
      line[size++] = static_cast<unsigned char>(map);
      if (map == 0xFF) {
        std::memcpy(line + size, &difference, 8);
        size += 8;
        continue;
      }
      for (unsigned bytes = map; bytes != 0;) {
        const unsigned p = FirstSet(bytes);
        bytes &= ~(0x80u >> p);
        const auto d = static_cast<unsigned char>(row[start + p] ^ previous[start + p]);
        if (d == 0) throw Corvane::InternalInconsistencyException("Outputting unnecessary byte");
        line[size++] = d;
      }
    }
    if (blocks == 0) {
      --size;  // no block changed: the section is left out
      continue;
    }
    line[blockByte] = static_cast<unsigned char>(blocks);
    sections |= 0x80u >> section;
  }
  line[0] = static_cast<unsigned char>(sections);
  return size;
}

// Lines are gathered and handed to the stream in large pieces; the stream
// sees the same bytes in the same order as line by line, and on a failure
// every finished line is handed over before the exception goes on.
class LineWriter {
 public:
  explicit LineWriter(std::ostream& output) : output_(output) {}
  ~LineWriter() { Flush(); }

  unsigned char* Next() { return buffer_.data() + used_; }
  void Commit(std::size_t size) {
    used_ += size;
    if (used_ + kLongestLine > buffer_.size()) Flush();
  }
  void Flush() {
    output_.write(reinterpret_cast<const char*>(buffer_.data()),
                  static_cast<std::streamsize>(used_));
    used_ = 0;
  }

 private:
  std::ostream& output_;
  std::array<unsigned char, 16384> buffer_;
  std::size_t used_ = 0;
};

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
  const std::vector<unsigned char> white(length, 0);
  std::uint64_t total = 0;
  {
    LineWriter lines(output);
    for (std::uint64_t y = 0; y < bitmap.Height(); ++y) {
      const unsigned char* row = data.data() + y * length;
      const unsigned char* previous = y == 0 ? white.data() : row - length;
      const std::size_t size = EncodeLine(row, previous, length, lines.Next());
      lines.Commit(size);
      total += size;
    }
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

std::size_t EncodeTOPIXLine(const unsigned char* row, const unsigned char* previous,
                            std::size_t length, unsigned char* line) {
  return EncodeLine(row, previous, length, line);
}

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
