// The label a raster page becomes: its size on the label stock, the printer's
// resolution, and its dots.
#pragma once

#include <cups/raster.h>

#include <cstdint>

#include "driver/label_options.h"
#include "driver/raster_input.h"
#include "graphics/bitmap.h"
#include "labeljob/label_job.h"

namespace Corvane::Driver {

// The largest label the driver prints, in tenths of a millimetre: as wide as
// the widest print head, and as long as the label-size command's four-digit
// length. The PPD's custom sizes stop at the same numbers.
inline constexpr std::uint32_t kWidestLabel = 1700;
inline constexpr std::uint32_t kLongestLabel = 9999;

// The print head's dots per millimetre for the page's HWResolution: 8, 12 or
// 24 (LabelJob::kResolutions), which are 203.2, 304.8 and 609.6 dots per inch,
// for a resolution within 1.6 % of one of them, so 200 to 206 dpi give 8, 300
// to 309 give 12 and 600 to 619 give 24. Throws
// Corvane::UnimplementedException for any other resolution or one that
// differs across and along the page.
unsigned DotsPerMillimetreOf(const cups_page_header2_t& header);

// The label's width and length from the page size (cupsPageSize, or PageSize
// where that is 0), in tenths of a millimetre rounded to the nearest, and the
// gap of the options. Throws Corvane::InvalidFormatException for a page
// without a size or one larger than kWidestLabel x kLongestLabel.
LabelJob::LabelGeometry GeometryOf(const cups_page_header2_t& header, std::uint32_t gap);

// Reads the current page of `input` (whose header is `header`) and returns the
// label canvas (LabelJob::LabelCanvas) with the page's pixels halftoned onto
// it dot for dot from its top-left corner: the pixels are the printer's dots,
// so nothing is scaled; what lies beyond the canvas is cut off, and canvas
// left over stays white. A one-bit page is taken as it stands; otherwise the
// bitmap-from-image operation dithers it with the options' method and tone
// curve (the screens always with the normal curve). Throws what
// ReadPagePicture and the graphics library throw.
Brindle::Bitmap PageCanvas(RasterInput& input, const cups_page_header2_t& header,
                           const LabelJob::LabelGeometry& geometry, unsigned dotsPerMillimetre,
                           const LabelOptions& options);

}  // namespace Corvane::Driver
