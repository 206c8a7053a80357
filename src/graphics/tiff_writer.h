// Writes a Brindle::Image as a minimal TIFF file.
#pragma once

#include <cstdint>
#include <ostream>

#include "graphics/image.h"

namespace Brindle::ImageIO {

// Writes the whole file, starting at the stream's current position, in the
// host's byte order: one IFD of thirteen entries, resolution in dots per inch,
// and one strip holding the image's bytes exactly as the image stores its rows.
// compression is the TIFF code: 1 (none), 5 (LZW) or 8 (raw Deflate). Any other
// code throws ImageException "Unsupported TIFF compression method for writing"
// after the 10 bytes of header and entry count have been written. Stream
// errors are not checked here: the caller examines the stream afterwards.
void WriteToTIFFFormat(const Image& image, std::ostream& output, std::uint16_t compression);

}  // namespace Brindle::ImageIO
