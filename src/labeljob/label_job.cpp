#include "labeljob/label_job.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
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

bool RowIsWhite(const unsigned char* row, std::uint64_t length) {
  // Eight bytes a step: every row of the label is looked at this way.
  std::uint64_t i = 0, ink = 0;
  for (; i + 8 <= length; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, row + i, 8);
    ink |= word;
  }
  for (; i < length; ++i) ink |= row[i];
  return ink == 0;
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
  // row after it, itself addressable (or the canvas's height). Rows are
  // encoded straight from the canvas onto the band's lines; a row that would
  // take the band past the two-byte count, or the end of a long white run,
  // ends it, and the band is cut back to the last addressable row before.
  std::uint64_t WriteBand(const Column& column, std::uint64_t first) {
    const std::uint64_t height = canvas_.Height();
    starts_.clear();
    std::size_t size = 0;
    std::uint64_t end = first;
    std::uint64_t whiteSince = first;  // start of the white rows just passed
    while (end < height) {
      const unsigned char* row = Row(end, column);
      const std::size_t line =
          Brindle::EncodeTOPIXLine(row, end == first ? white_.data() : Row(end - 1, column),
                                   column.length, lines_.data() + size);
      if (size + line > kMaxBandBytes) {
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
      starts_.push_back(size);
      size += line;
      ++end;
    }
    if (end - first < starts_.size()) size = starts_[end - first];
    Emit(column, first, end, size);
    return end;
  }

  void Emit(const Column& column, std::uint64_t first, std::uint64_t end, std::size_t size) {
    const AddressableRow top = AddressableAtOrAbove(first, dotsPerMillimetre_);
    if (top.tenths > kMaxFieldValue) {
      throw LabelJobException("The label is too long for a graphic's Y field");
    }
    const std::string head = "{SG;" + xField_ + ',' + Digits(top.tenths, 4) + ',' +
                             Digits(column.dots, 4) + ',' + Digits(end - first, 4) + ",3,";
    const char count[2] = {static_cast<char>(size >> 8), static_cast<char>(size & 0xFF)};
    output_.write(head.data(), static_cast<std::streamsize>(head.size()));
    output_.write(count, 2);
    output_.write(reinterpret_cast<const char*>(lines_.data()), static_cast<std::streamsize>(size));
    output_.write("|}\n", 3);
  }

  std::ostream& output_;
  const Brindle::Bitmap& canvas_;
  unsigned dotsPerMillimetre_;
  std::string xField_;
  // The band's lines as they are encoded (room for one more line past the
  // largest band), where each row's line starts, and a white row to encode
  // a band's first row against.
  std::vector<unsigned char> lines_ =
      std::vector<unsigned char>(kMaxBandBytes + Brindle::kTOPIXLongestLine);
  std::vector<std::size_t> starts_;
  std::vector<unsigned char> white_ = std::vector<unsigned char>(kColumnBytes, 0);
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
