// One raster page as a picture that the bitmap-from-image operation takes.
#pragma once

#include <cups/raster.h>

#include <cstdint>

#include "driver/raster_input.h"
#include "graphics/image.h"

namespace Corvane::Driver {

// The raster formats the driver takes, the one its PPD asks for first:
//   8-bit luminance (CUPS_CSPACE_W, CUPS_CSPACE_SW), 0 black .. 255 white;
//   8-bit black (CUPS_CSPACE_K), 0 white .. 255 black;
//   1-bit luminance or black (W, SW, K), taken as dots as they stand;
//   8-bit RGB (CUPS_CSPACE_RGB, CUPS_CSPACE_SRGB), chunky pixels.
// Throws Corvane::UnimplementedException naming the page's colour space,
// depth and order for anything else, and Corvane::InvalidFormatException for
// a header whose line length does not match its width and depth or whose
// line is longer than 1 MiB.
void CheckPixelFormat(const cups_page_header2_t& header);

// Reads every row of the current page and keeps its top-left `width` x
// `height` pixels (less where the page is smaller): the part that lands on a
// label canvas of that size. The image is 8-bit grey (black 0), 8-bit RGB or
// 1-bit with 1 for white, as Brindle::Image stores them. Checks the format
// first as CheckPixelFormat does; a page that ends early is the IOException of
// RasterInput::ReadRow. Memory grows with the rows kept, not with the size the
// header claims.
Brindle::Image ReadPagePicture(RasterInput& input, const cups_page_header2_t& header,
                               std::uint64_t width, std::uint64_t height);

}  // namespace Corvane::Driver
