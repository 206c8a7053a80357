#include "driver/page_label.h"

#include <cmath>
#include <cstdlib>
#include <string>

#include "core/exception.h"
#include "driver/page_picture.h"
#include "graphics/bitmap_from_image.h"
#include "labeljob/choice_words.h"

namespace Corvane::Driver {
namespace {

// How far, in thousandths, a page's resolution may be from the head's: 200
// dpi, the round figure below 203.2, is 16 thousandths off, and a label of
// 100 mm printed from it is 1.6 mm short.
constexpr long kResolutionTolerance = 16;

// Points (1/72 inch) to tenths of a millimetre, rounded; 0 for nonsense.
std::uint64_t Tenths(double points) {
  if (!(points > 0) || points > 1e7) return 0;
  return static_cast<std::uint64_t>(std::lround(points * 254.0 / 72.0));
}

std::string Millimetres(std::uint64_t tenths) {
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

}  // namespace

unsigned DotsPerMillimetreOf(const cups_page_header2_t& header) {
  const unsigned x = header.HWResolution[0], y = header.HWResolution[1];
  for (const LabelJob::Resolution& r : LabelJob::kResolutions) {
    // Tenths of a dot per inch: the head's exact figure, 25.4 x dots/mm.
    const long exact = 254L * r.dotsPerMillimetre;
    if (x == y && std::labs(10L * x - exact) * 1000 <= exact * kResolutionTolerance) {
      return r.dotsPerMillimetre;
    }
  }
  throw UnimplementedException("The page's resolution is " + std::to_string(x) + " x " +
                               std::to_string(y) +
                               " dpi; the printer prints 203, 300 or 600 dpi, the same across "
                               "and along the label");
}

LabelJob::LabelGeometry GeometryOf(const cups_page_header2_t& header, std::uint32_t gap) {
  const bool exact = header.cupsPageSize[0] > 0 && header.cupsPageSize[1] > 0;
  const std::uint64_t width = Tenths(exact ? header.cupsPageSize[0] : header.PageSize[0]);
  const std::uint64_t length = Tenths(exact ? header.cupsPageSize[1] : header.PageSize[1]);
  if (width == 0 || length == 0) throw InvalidFormatException("The page header gives no page size");
  if (width > kWidestLabel || length > kLongestLabel) {
    throw InvalidFormatException("The page is " + Millimetres(width) + " x " + Millimetres(length) +
                                 " mm; a label is at most " + Millimetres(kWidestLabel) +
                                 " mm wide and " + Millimetres(kLongestLabel) + " mm long");
  }
  LabelJob::LabelGeometry geometry;
  geometry.width = static_cast<std::uint32_t>(width);
  geometry.length = static_cast<std::uint32_t>(length);
  geometry.gap = gap;
  return geometry;
}

Brindle::Bitmap PageCanvas(RasterInput& input, const cups_page_header2_t& header,
                           const LabelJob::LabelGeometry& geometry, unsigned dotsPerMillimetre,
                           const LabelOptions& options) {
  Brindle::Bitmap canvas = LabelJob::LabelCanvas(geometry, dotsPerMillimetre);
  const Brindle::Image picture = ReadPagePicture(input, header, canvas.Width(), canvas.Height());
  if (!picture.IsNonEmpty()) return canvas;
  // At 10 dots per millimetre a rectangle in tenths of a millimetre is a
  // rectangle in pixels: the picture keeps its size, one pixel per dot.
  const Brindle::LabelRectangle rectangle{0, 0, picture.Width(), picture.Height()};
  const std::uint32_t curve =
      LabelJob::TakesToneCurve(options.method) ? options.curve : Brindle::kNormalCurve;
  canvas.Draw(Brindle::BitmapFromImage(picture, rectangle, 10.0, 0, options.method, curve));
  return canvas;
}

}  // namespace Corvane::Driver
