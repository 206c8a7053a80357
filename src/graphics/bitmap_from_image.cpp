#include "graphics/bitmap_from_image.h"

#include <array>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "graphics/dot_rows.h"
#include "graphics/exception.h"
#include "graphics/grey_rows.h"
#include "graphics/screens.h"
#include "graphics/tone_curves.h"

namespace Brindle {
namespace {

// Products such as x * w must not wrap for any 64-bit sizes.
__extension__ using Wide = unsigned __int128;

std::uint64_t Scale(std::uint64_t value, std::uint64_t by, std::uint64_t over) {
  if (over == 0) return 0;
  // Pictures are far below 2^32 on a side, and a 64-bit division costs a
  // fraction of a 128-bit one, which matters once per pixel.
  if ((value | by) >> 32 == 0) return value * by / over;
  return static_cast<std::uint64_t>(static_cast<Wide>(value) * by / over);
}

// Parameters: {w, h, W, H}.
SourcePoint MapRotation0(const MappingParameters& p, std::uint64_t x, std::uint64_t y) {
  return {Scale(x, p[0], p[2]), Scale(y, p[1], p[3])};
}
SourcePoint MapRotation1(const MappingParameters& p, std::uint64_t x, std::uint64_t y) {
  return {Scale(y, p[0], p[3]), Scale(p[2] - x - 1, p[1], p[2])};
}
SourcePoint MapRotation2(const MappingParameters& p, std::uint64_t x, std::uint64_t y) {
  return {p[0] - 1 - Scale(x, p[0], p[2]), p[1] - 1 - Scale(y, p[1], p[3])};
}
SourcePoint MapRotation3(const MappingParameters& p, std::uint64_t x, std::uint64_t y) {
  return {Scale(p[3] - y - 1, p[0], p[3]), Scale(x, p[1], p[2])};
}

void CheckSourceFormat(const Image& source) {
  const std::uint64_t bits = source.BitsPerSample();
  const std::uint64_t channels = source.Channels();
  const bool knownChannels = channels == 1 || channels == 3 || channels == 4;
  if (!knownChannels) {
    throw BitmapException("Cannot downsample images that do not have 1, 3 or 4 channels");
  }
  if (bits != 8 && !(bits == 1 && channels == 1)) {
    throw BitmapException(
        "Cannot downsample images that do not have 8 bits per sample or 1-bit monochrome");
  }
}

// Dots along one side: length in tenths of a millimetre times dots per
// millimetre, in double precision, truncated toward zero.
std::uint64_t DotsAlong(std::uint64_t from, std::uint64_t to, double resolution) {
  const double dots = static_cast<double>(to - from) * resolution / 10.0;
  // A wrapped (to < from) length, a negative or NaN resolution, or a size past
  // what 64 bits (and memory) could ever hold: refuse instead of converting
  // an out-of-range double, which has no defined result.
  if (std::isnan(dots) || dots <= -1.0 || dots >= 9.2e18) throw BitmapException("Invalid size");
  return dots <= 0.0 ? 0 : static_cast<std::uint64_t>(dots);
}

// Where a destination pixel's sample lies in the source data: byte offset
// byX[x] + byY[y], and for one-bit sources the bit shift shiftX[x] + shiftY[y].
// Each source coordinate depends on only one destination coordinate (x for
// sx and y for sy, or crosswise for quarter turns), so two tables per call
// replace two divisions per pixel.
struct SampleTables {
  std::vector<std::uint64_t> byX, byY;
  std::vector<std::uint8_t> shiftX, shiftY;
  bool crosswise = false;  // byX holds row offsets and byY column offsets
};

SampleTables BuildTables(const Image& source, SourceMapping map, const MappingParameters& p,
                         std::uint64_t width, std::uint64_t height) {
  const bool oneBit = source.BitsPerSample() == 1;
  const std::uint64_t bytesPerPixel = source.Channels();
  const std::uint64_t rowBytes = source.BytesPerRow();
  // Quarter turns take sx from y and sy from x.
  const bool crosswise = map == MapRotation1 || map == MapRotation3;
  SampleTables t;
  t.crosswise = crosswise;
  t.byX.resize(width);
  t.byY.resize(height);
  t.shiftX.assign(width, 0);
  t.shiftY.assign(height, 0);
  auto column = [&](std::uint64_t sx, std::uint64_t& byte, std::uint8_t& shift) {
    byte = oneBit ? sx / 8 : sx * bytesPerPixel;
    shift = oneBit ? static_cast<std::uint8_t>(7 - sx % 8) : 0;
  };
  for (std::uint64_t x = 0; x < width; ++x) {
    const SourcePoint s = map(p, x, 0);
    if (crosswise) {
      t.byX[x] = s.y * rowBytes;
    } else {
      column(s.x, t.byX[x], t.shiftX[x]);
    }
  }
  for (std::uint64_t y = 0; y < height; ++y) {
    const SourcePoint s = map(p, 0, y);
    if (crosswise) {
      column(s.x, t.byY[y], t.shiftY[y]);
    } else {
      t.byY[y] = s.y * rowBytes;
    }
  }
  return t;
}

// Grey level of the pixel whose bytes start at `pixel`.
std::uint8_t GreyOf(const std::uint8_t* pixel) { return *pixel; }

// A row whose dots are already worked out, one 0/1 byte per pixel.
struct PatternRow {
  const std::uint8_t* dots;
  std::uint64_t pure = 0;

  unsigned Dot(std::uint64_t x) const { return dots[x]; }
};

struct OneBitRow {
  const std::uint8_t* data;
  const SampleTables* t;
  std::uint64_t rowByte;
  unsigned rowShift;
  unsigned flip;  // 1 when the source stores 1 for white
  std::uint64_t pure = 0;

  unsigned Dot(std::uint64_t x) {
    const unsigned bit = (data[t->byX[x] + rowByte] >> (t->shiftX[x] + rowShift)) & 1U;
    return bit ^ flip;
  }
};

const ThresholdScreen* ScreenOf(std::int32_t method) {
  switch (method) {
    case kFirstScreenMethod:
      return &FirstScreen();
    case kSecondScreenMethod:
      return &SecondScreen();
    case kThirtyTwoScreenMethod:
      return &ThirtyTwoScreen();
    default:
      return nullptr;
  }
}

// Fills the rows from an 8-bit source, grey or RGB (grey: GreyOf or
// Detail::GreyOfRgb), by the method's rule. Each row's greys are gathered
// through the tables first, and the rule then runs over that plain row.
template <std::uint8_t (*Grey)(const std::uint8_t*)>
std::uint64_t DitherRows(const Detail::DotRows& rows, std::uint64_t width, const std::uint8_t* data,
                         const SampleTables& t, std::int32_t method, std::uint32_t curve) {
  std::vector<std::uint8_t> greys(width);
  // One byte per pixel goes through the row gatherer; RGB pixel by pixel.
  std::optional<Detail::GreyRows> greyRows;
  if (Grey == GreyOf) {
    greyRows.emplace(data, t.byX.data(), t.byY.data(), width, rows.height, t.crosswise);
  }
  const auto gather = [&](std::uint64_t y) -> const std::uint8_t* {
    if (greyRows) return greyRows->Row(y);
    const std::uint8_t* row = data + t.byY[y];
    const std::uint64_t* byX = t.byX.data();
    for (std::uint64_t x = 0; x < width; ++x) greys[x] = Grey(row + byX[x]);
    return greys.data();
  };
  const auto threshold = [&](auto&& thresholdsOf, std::uint64_t period) {
    std::uint64_t pure = 0;
    for (std::uint64_t y = 0; y < rows.height; ++y) {
      pure +=
          Detail::ThresholdRow(gather(y), thresholdsOf(y), period, rows.data + y * rows.bytesPerRow,
                               rows.bytesPerRow, rows.paddingBits);
    }
    return pure;
  };
  if (const ThresholdScreen* screen = ScreenOf(method)) {
    CheckHalftoningCurve(curve);
    return threshold(
        [screen](std::uint64_t y) {
          return screen->thresholds.data() + (y % screen->size) * screen->size;
        },
        screen->size);
  }
  if (method == kFixedThresholdMethod) {
    std::array<std::uint8_t, 16> fixed{};
    fixed.fill(static_cast<std::uint8_t>(FixedThreshold(curve)));
    return threshold([&fixed](std::uint64_t) { return fixed.data(); }, fixed.size());
  }
  // Patterns: the dot of grey g at (x mod 4, y mod 4), and whether g's class
  // is a pure one (0 or 8).
  std::array<std::uint8_t, 256> pureClass{};
  std::vector<std::uint8_t> dotOf(4 * 4 * 256);
  for (unsigned g = 0; g < 256; ++g) {
    const unsigned toneClass = ToneClass(curve, static_cast<std::uint8_t>(g));
    pureClass[g] = toneClass == 0 || toneClass == 8;
    for (unsigned y = 0; y < 4; ++y) {
      for (unsigned x = 0; x < 4; ++x) {
        dotOf[(y * 4 + x) * 256 + g] = static_cast<std::uint8_t>(PatternDot(toneClass, x, y));
      }
    }
  }
  std::vector<std::uint8_t> dots(width);
  std::uint64_t pure = 0;
  const std::uint64_t dotted = Detail::PackDotRows(rows, [&](std::uint64_t y) {
    const std::uint8_t* row = gather(y);
    const std::uint8_t* dotRow = dotOf.data() + (y % 4) * 4 * 256;
    for (std::uint64_t x = 0; x < width; ++x) {
      dots[x] = dotRow[(x % 4) * 256 + row[x]];
      pure += pureClass[row[x]];
    }
    return PatternRow{dots.data()};
  });
  return dotted + pure;
}

// The grey picture at its own size, unturned: the plain halftoner reads the
// rows directly, with no mapping at all.
std::uint64_t HalftoneUnmapped(const Image& source, const Detail::DotRows& rows,
                               std::int32_t method, std::uint32_t curve) {
  HalftoneParameters p;
  p.curve = curve;
  p.source = source.Data().data();
  p.sourceBytesPerRow = source.BytesPerRow();
  p.destination = rows.data;
  p.destinationBytesPerRow = rows.bytesPerRow;
  p.destinationHeight = rows.height;
  p.paddingBits = rows.paddingBits;
  switch (method) {
    case kFirstScreenMethod:
      return HalftoneGreyFirstScreen(p);
    case kSecondScreenMethod:
      return HalftoneGreySecondScreen(p);
    default:
      return HalftoneGrey32Screen(p);
  }
}

// Fills `rows` (width x height dots, at least one) from the source; returns
// the pure-pixel count.
std::uint64_t FillRows(const Image& source, const Detail::DotRows& rows, std::uint64_t width,
                       std::int32_t rotation, std::int32_t method, std::uint32_t curve) {
  const std::uint64_t w = source.Width();
  const std::uint64_t h = source.Height();
  const bool grey = source.BitsPerSample() == 8 && source.Channels() == 1;
  if (grey && rotation == 0 && width == w && rows.height == h && ScreenOf(method) != nullptr) {
    return HalftoneUnmapped(source, rows, method, curve);
  }
  const SampleTables t = BuildTables(source, RotationMapping(rotation), {w, h, width, rows.height},
                                     width, rows.height);
  const std::uint8_t* pixels = source.Data().data();
  if (source.BitsPerSample() == 1) {
    const unsigned flip = source.WhiteIsZero() ? 0 : 1;
    Detail::PackDotRows(rows, [&](std::uint64_t y) {
      return OneBitRow{pixels, &t, t.byY[y], t.shiftY[y], flip};
    });
    return width * rows.height;
  }
  if (grey) return DitherRows<GreyOf>(rows, width, pixels, t, method, curve);
  if (source.Channels() == 3 || source.Channels() == 4) {
    return DitherRows<Detail::GreyOfRgb>(rows, width, pixels, t, method, curve);
  }
  // Unreachable after CheckSourceFormat; kept as a guard should the accepted
  // formats ever grow apart from the ones handled here.
  throw BitmapException("Unsupported source image format for downsampling");
}

}  // namespace

SourceMapping RotationMapping(std::int32_t rotation) {
  switch (rotation) {
    case 0:
      return MapRotation0;
    case 1:
      return MapRotation1;
    case 2:
      return MapRotation2;
    case 3:
      return MapRotation3;
    default:
      throw BitmapException("Unknown rotation");
  }
}

Bitmap BitmapFromImage(const Image& source, const LabelRectangle& rectangle, double resolution,
                       std::int32_t rotation, std::int32_t method, std::uint32_t curve,
                       std::uint64_t* pureCount) {
  CheckSourceFormat(source);
  const std::uint64_t width = DotsAlong(rectangle.x0, rectangle.x1, resolution);
  const std::uint64_t height = DotsAlong(rectangle.y0, rectangle.y1, resolution);
  const std::uint64_t bytesPerRow = width / 8 + (width % 8 != 0);
  const unsigned paddingBits = static_cast<unsigned>((8 - width % 8) % 8);
  std::uint64_t size = 0;
  if (__builtin_mul_overflow(height, bytesPerRow, &size)) throw BitmapException("Invalid size");

  std::uint64_t sourceSize = 0;
  if (__builtin_mul_overflow(source.Height(), source.BytesPerRow(), &sourceSize) ||
      sourceSize != source.DataSize()) {
    throw BitmapException("Source data does not match size");
  }
  (void)RotationMapping(rotation);  // "Unknown rotation" before any work
  if (size != 0 && !source.IsNonEmpty()) throw BitmapException("Source image is empty");

  std::vector<unsigned char> data(size);
  std::uint64_t pure = 0;
  if (size != 0) {
    pure = FillRows(source, {data.data(), bytesPerRow, height, paddingBits}, width, rotation,
                    method, curve);
  } else if (ScreenOf(method) != nullptr && source.BitsPerSample() == 8) {
    // An empty result still goes through the screen's halftoner, which
    // refuses the curve whatever the size.
    CheckHalftoningCurve(curve);
  }

  if (pureCount != nullptr) *pureCount = pure;
  Bitmap bitmap(std::move(data), width, height);
  bitmap.SetResolution(source.HorizontalResolution(), source.VerticalResolution());
  bitmap.SetPosition(rectangle.x0, rectangle.y0);
  return bitmap;
}

}  // namespace Brindle
