#include "labeljob/label_job.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "render/label_canvas.h"
#include "render/topix_codec.h"
#include "tpcl/graphics_command.h"

namespace Corvane::LabelJob {

namespace {

constexpr std::uint32_t kMaxWidth = 9999;   // the label-size command's four digits
constexpr std::uint32_t kMaxPitch = 99999;  // its five
constexpr std::uint32_t kMaxCopies = 9999;
// The count before a TOPIX block's lines is two bytes. The encoder lets
// exactly 65536 through with a count that wraps to 0, which a printer would
// read as an empty graphic, so bands stay one byte short of it.
constexpr std::uint64_t kMaxBandBytes = 65535;
constexpr std::uint64_t kColumnBytes = Brindle::kTOPIXMaxWidth / 8;
// A band is cut at a run of white rows only when the run is longer than what
// a new graphics command's header costs: inside a band each white row after
// the first is one byte.
constexpr std::uint64_t kWhiteRunWorthSkipping = 40;
// X and Y fields are at most six characters; a Y of 999999 tenths is 100 m.
constexpr std::uint64_t kMaxFieldValue = 999999;

std::string Digits(std::uint64_t value, int minimum) {
  char text[24];
  std::snprintf(text, sizeof text, "%0*llu", minimum, static_cast<unsigned long long>(value));
  return text;
}

void CheckDotsPerMillimetre(unsigned dotsPerMillimetre) {
  if (std::ranges::none_of(kResolutions, [&](const Resolution& r) {
        return r.dotsPerMillimetre == dotsPerMillimetre;
      })) {
    throw LabelJobException("Unsupported resolution: " + std::to_string(dotsPerMillimetre) +
                            " dots/mm (8, 12 or 24)");
  }
}

// The byte of a canvas row at which a graphic whose X field is `tenths` lands
// (render rounds the left edge to the nearest byte).
std::uint64_t LandingByte(std::uint64_t tenths, unsigned dotsPerMillimetre) {
  const std::uint64_t x = TPCL::Dots(dotsPerMillimetre, tenths);
  return x % 8 < 4 ? x / 8 : x / 8 + 1;
}

// The smallest X in tenths that lands a graphic on byte `column`. One tenth
// moves a graphic by at most 3 dots at 24 dots/mm, so every byte is reached.
std::uint64_t TenthsForByte(std::uint64_t column, unsigned dotsPerMillimetre) {
  std::uint64_t tenths = column * 8 * 10 / dotsPerMillimetre;
  tenths = tenths > 2 ? tenths - 2 : 0;
  while (LandingByte(tenths, dotsPerMillimetre) < column) ++tenths;
  if (LandingByte(tenths, dotsPerMillimetre) != column) {
    throw InternalInconsistencyException("No X field reaches byte " + std::to_string(column));
  }
  return tenths;
}

// A row that a Y field reaches exactly, and that field's value.
struct AddressableRow {
  std::uint64_t row;
  std::uint64_t tenths;
};

// The lowest addressable row at or above `row` (rows count downwards; row 0
// always is one).
AddressableRow AddressableAtOrAbove(std::uint64_t row, unsigned dotsPerMillimetre) {
  const std::uint64_t tenths = (row * 10 + dotsPerMillimetre - 1) / dotsPerMillimetre;
  if (TPCL::Dots(dotsPerMillimetre, tenths) == row) return {row, tenths};
  return {TPCL::Dots(dotsPerMillimetre, tenths - 1), tenths - 1};
}

// The first addressable row at or below `row`.
std::uint64_t AddressableAtOrBelow(std::uint64_t row, unsigned dotsPerMillimetre) {
  const std::uint64_t tenths = (row * 10 + dotsPerMillimetre - 1) / dotsPerMillimetre;
  return TPCL::Dots(dotsPerMillimetre, tenths);
}

// One column of the canvas: bytes [first, first + length) of every row.
struct Column {
  std::uint64_t first;
  std::uint64_t length;
  std::uint64_t dots;
};

// The bytes of the TOPIX line of `row` below `previous` (nullptr: the first
// row of a graphic, below an all-white one): a section byte, a block byte per
// section and a byte-map byte per block that differ, and each differing byte.
// Counted eight bytes (one block) at a time, as every row is counted once.
std::uint64_t LineBytes(const unsigned char* row, const unsigned char* previous,
                        std::uint64_t length) {
  std::uint64_t bytes = 1;
  for (std::uint64_t section = 0; section < length; section += 64) {
    std::uint64_t blocks = 0;
    for (std::uint64_t block = section; block < std::min(section + 64, length); block += 8) {
      const std::uint64_t count = std::min<std::uint64_t>(8, length - block);
      std::uint64_t now = 0, before = 0;
      std::memcpy(&now, row + block, count);
      if (previous != nullptr) std::memcpy(&before, previous + block, count);
      std::uint64_t difference = now ^ before;
      if (difference == 0) continue;
      // One bit per differing byte: its low seven bits folded into its top one.
      difference |= (difference & 0x7F7F7F7F7F7F7F7FULL) + 0x7F7F7F7F7F7F7F7FULL;
      bytes += static_cast<std::uint64_t>(std::popcount(difference & 0x8080808080808080ULL)) + 1;
      ++blocks;
    }
    if (blocks != 0) ++bytes;
  }
  return bytes;
}

bool RowIsWhite(const unsigned char* row, std::uint64_t length) {
  return std::all_of(row, row + length, [](unsigned char byte) { return byte == 0; });
}

class GraphicsWriter {
 public:
  GraphicsWriter(std::ostream& output, const Brindle::Bitmap& canvas, unsigned dotsPerMillimetre)
      : output_(output), canvas_(canvas), dotsPerMillimetre_(dotsPerMillimetre) {}

  void WriteColumn(const Column& column) {
    xField_ = Digits(TenthsForByte(column.first, dotsPerMillimetre_), 4);
    std::uint64_t next = 0;  // the first row no band has covered; always addressable
    const std::uint64_t height = canvas_.Height();
    while (next < height) {
      std::uint64_t ink = next;
      while (ink < height && RowIsWhite(Row(ink, column), column.length)) ++ink;
      if (ink == height) return;
      const AddressableRow start = AddressableAtOrAbove(ink, dotsPerMillimetre_);
      next = WriteBand(column, std::max(start.row, next));
    }
  }

 private:
  const unsigned char* Row(std::uint64_t y, const Column& column) const {
    return canvas_.Data().data() + y * canvas_.BytesPerRow() + column.first;
  }

  // Writes the band that starts at addressable row `first` and returns the
  // row after it, itself addressable (or the canvas's height).
  std::uint64_t WriteBand(const Column& column, std::uint64_t first) {
    const std::uint64_t height = canvas_.Height();
    std::uint64_t bytes = 0;
    std::uint64_t end = first;
    std::uint64_t whiteSince = first;  // start of the white rows just passed
    while (end < height) {
      const unsigned char* row = Row(end, column);
      const std::uint64_t line =
          LineBytes(row, end == first ? nullptr : Row(end - 1, column), column.length);
      if (bytes + line > kMaxBandBytes) {
        // Back to an addressable row, so the next band can start exactly there.
        end = AddressableAtOrAbove(end, dotsPerMillimetre_).row;
        break;
      }
      if (!RowIsWhite(row, column.length)) {
        whiteSince = end + 1;
      } else if (end + 1 - whiteSince >= kWhiteRunWorthSkipping) {
        const std::uint64_t cut = AddressableAtOrBelow(whiteSince, dotsPerMillimetre_);
        if (cut <= end) {
          end = cut;
          break;
        }
      }
      bytes += line;
      ++end;
    }
    Emit(column, first, end);
    return end;
  }

  void Emit(const Column& column, std::uint64_t first, std::uint64_t end) {
    std::vector<unsigned char> rows(column.length * (end - first));
    for (std::uint64_t y = first; y < end; ++y) {
      std::copy_n(Row(y, column), column.length,
                  rows.begin() + static_cast<std::ptrdiff_t>((y - first) * column.length));
    }
    const Brindle::Bitmap band(std::move(rows), column.dots, end - first);
    topix_.str({});
    Brindle::WriteBitmap(band, topix_, Brindle::kTOPIXFormat);
    const AddressableRow top = AddressableAtOrAbove(first, dotsPerMillimetre_);
    if (top.tenths > kMaxFieldValue) {
      throw LabelJobException("The label is too long for a graphic's Y field");
    }
    output_ << "{SG;" << xField_ << ',' << Digits(top.tenths, 4) << ',' << Digits(column.dots, 4)
            << ',' << Digits(end - first, 4) << ",3," << topix_.view() << "|}\n";
  }

  std::ostream& output_;
  const Brindle::Bitmap& canvas_;
  unsigned dotsPerMillimetre_;
  std::string xField_;
  // The encoder patches its count in at position 0, so every band gets a
  // stream of its own; this one is emptied and reused.
  std::ostringstream topix_;
};

}  // namespace

unsigned DotsPerMillimetre(unsigned dotsPerInch) {
  for (const Resolution& r : kResolutions)
    if (r.dotsPerInch == dotsPerInch) return r.dotsPerMillimetre;
  throw LabelJobException("Unsupported resolution: " + std::to_string(dotsPerInch) +
                          " dpi (203, 300 or 600)");
}

void CheckGeometry(const LabelGeometry& geometry) {
  if (geometry.width == 0 || geometry.width > kMaxWidth) {
    throw LabelJobException("Label width must be from 0.1 to 999.9 mm, not " +
                            std::to_string(geometry.width / 10) + "." +
                            std::to_string(geometry.width % 10) + " mm");
  }
  if (geometry.length == 0) throw LabelJobException("Label length must be at least 0.1 mm");
  const std::uint64_t pitch = std::uint64_t{geometry.length} + geometry.gap;
  if (pitch > kMaxPitch) {
    throw LabelJobException("Label length and gap together must be at most 9999.9 mm, not " +
                            std::to_string(pitch / 10) + "." + std::to_string(pitch % 10) + " mm");
  }
}

void CheckCanvas(const LabelGeometry& geometry, unsigned dotsPerMillimetre) {
  CheckGeometry(geometry);
  CheckDotsPerMillimetre(dotsPerMillimetre);
  const std::uint64_t width = TPCL::Dots(dotsPerMillimetre, geometry.width);
  const std::uint64_t height = TPCL::Dots(dotsPerMillimetre, geometry.Pitch());
  if (width * height > kMaxCanvasDots) {
    throw LabelJobException("The label is too large at this resolution (" + std::to_string(width) +
                            " x " + std::to_string(height) + " dots; at most " +
                            std::to_string(kMaxCanvasDots / 1000000) + " million)");
  }
}

Brindle::Bitmap LabelCanvas(const LabelGeometry& geometry, unsigned dotsPerMillimetre) {
  CheckCanvas(geometry, dotsPerMillimetre);
  return Vellum::LabelCanvas(dotsPerMillimetre, geometry.Pitch(), geometry.width);
}

void WriteLabelSize(std::ostream& output, const LabelGeometry& geometry) {
  CheckGeometry(geometry);
  output << "{D" << Digits(geometry.Pitch(), 4) << ',' << Digits(geometry.width, 4) << ','
         << Digits(geometry.length, 4) << "|}\n";
}

void WriteClearImageBuffer(std::ostream& output) { output << "{C|}\n"; }

void WriteGraphics(std::ostream& output, const Brindle::Bitmap& canvas,
                   unsigned dotsPerMillimetre) {
  CheckDotsPerMillimetre(dotsPerMillimetre);
  if (canvas.Height() > 0 &&
      AddressableAtOrAbove(canvas.Height() - 1, dotsPerMillimetre).tenths > kMaxFieldValue) {
    throw LabelJobException("The label is too long for a graphic's Y field");
  }
  GraphicsWriter writer(output, canvas, dotsPerMillimetre);
  const std::uint64_t rowBytes = canvas.BytesPerRow();
  for (std::uint64_t first = 0; first < rowBytes; first += kColumnBytes) {
    const std::uint64_t length = std::min(kColumnBytes, rowBytes - first);
    const std::uint64_t dots = std::min<std::uint64_t>(length * 8, canvas.Width() - first * 8);
    writer.WriteColumn({first, length, dots});
  }
}

void WriteIssue(std::ostream& output, const IssueOptions& options) {
  if (options.copies == 0 || options.copies > kMaxCopies) {
    throw LabelJobException("Copies must be from 1 to 9999, not " + std::to_string(options.copies));
  }
  const char sensor = options.sensor == Sensor::kNone         ? '0'
                      : options.sensor == Sensor::kReflective ? '1'
                                                              : '2';
  output << "{XS;I," << Digits(options.copies, 4) << ',' << (options.cut ? "001" : "000") << sensor
         << (options.strip ? 'D' : 'C') << '3' << (options.ribbon ? '1' : '0') << "00|}\n";
}

}  // namespace Corvane::LabelJob
