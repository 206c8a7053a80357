#include "render/label_canvas.h"

#include <utility>

#include "core/exception.h"
#include "render/topix_codec.h"
#include "tpcl/graphics_command.h"

namespace Corvane::Vellum {

namespace {

// Draws a TOPIX graphic row by row as it is decoded, so a graphic of many
// lines never needs more than one row besides the canvas. Every line is still
// decoded, and rows below the canvas are dropped just as drawing clips them.
void DrawTOPIX(Brindle::Bitmap& canvas, const std::vector<unsigned char>& data, std::uint64_t width,
               std::uint64_t x, std::uint64_t y) {
  const std::uint64_t length = width / 8 + (width % 8 != 0 ? 1 : 0);
  // A graphic whose top is below the canvas draws nothing, even though its
  // top plus a row index might wrap around to a row inside it.
  const bool visible = y < canvas.Height();
  Brindle::DecodeTOPIX(data, width,
                       [&](std::uint64_t index, const std::vector<unsigned char>& row) {
                         if (visible) canvas.DrawRow(row, length, x, y + index);
                       });
}

}  // namespace

Brindle::Bitmap LabelCanvas(unsigned dotsPerMillimetre, std::uint64_t pitch, std::uint64_t width) {
  return Brindle::Bitmap(TPCL::Dots(dotsPerMillimetre, width),
                         TPCL::Dots(dotsPerMillimetre, pitch));
}

void DrawGraphic(Brindle::Bitmap& canvas, unsigned long type, const std::string& typeField,
                 std::vector<unsigned char>&& data, std::uint64_t width, std::uint64_t height,
                 std::uint64_t left, std::uint64_t top) {
  if (type == TPCL::kRawGraphics) {
    Brindle::Bitmap graphic(std::move(data), width, height);
    graphic.SetPosition(left, top);
    canvas.Draw(graphic);
  } else if (type == TPCL::kTOPIXGraphics) {
    DrawTOPIX(canvas, data, width, left, top);
  } else {
    throw UnimplementedException("Graphics format unsupported (" + typeField + ")");
  }
}

}  // namespace Corvane::Vellum
