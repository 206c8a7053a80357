// The orientation a camera records in a JPEG's Exif block, and turning a
// picture so that it shows the right way up. Phones store every photograph
// as the sensor saw it and only note how it was held.
#pragma once

#include <cstdint>
#include <span>

#include "graphics/image.h"

namespace Corvane::Picture {

// The Orientation (274) tag of IFD0 in the body of an APP1 marker that begins
// "Exif\0\0": 1 (as stored) to 8. Anything missing, damaged or out of range
// reads as 1: a picture is never refused for its Exif block.
[[nodiscard]] unsigned ExifOrientation(std::span<const unsigned char> app1);

// The picture turned and mirrored as orientation 2 to 8 asks (6: a quarter
// turn clockwise, 8: anticlockwise, 3: half a turn; 2, 4, 5, 7 mirrored).
// 1 and unknown values return it as it is. 8-bit pictures of any number of
// channels; others are returned unchanged.
[[nodiscard]] Brindle::Image Oriented(Brindle::Image picture, unsigned orientation);

}  // namespace Corvane::Picture
