// The label canvas of a TPCL job and the drawing of its bitmap graphics, as
// render draws them; anything else that shows a job's label draws with these
// so that the two pictures agree dot for dot.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "graphics/bitmap.h"

namespace Corvane::Vellum {

// The canvas of a label `width` by `pitch` tenths of a millimetre at the given
// dots per millimetre, all white.
Brindle::Bitmap LabelCanvas(unsigned dotsPerMillimetre, std::uint64_t pitch, std::uint64_t width);

// Draws a graphic whose top-left corner is at dot (left, top): raw rows (type
// 1) as they stand, TOPIX lines (type 3) decoded row by row. Whole bytes are
// copied, the left edge rounded to the nearest byte, and clipped at the right
// and bottom edges. Any other type throws UnimplementedException "Graphics
// format unsupported (<typeField>)". Failures of the TOPIX decoder (malformed
// data) pass through unchanged; rows drawn before one stay drawn.
void DrawGraphic(Brindle::Bitmap& canvas, unsigned long type, const std::string& typeField,
                 std::vector<unsigned char>&& data, std::uint64_t width, std::uint64_t height,
                 std::uint64_t left, std::uint64_t top);

}  // namespace Corvane::Vellum
