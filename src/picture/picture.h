// Users' pictures, read from the everyday formats into a Brindle::Image that
// the halftoning takes: PNG (libpng), JPEG (libjpeg-turbo), TIFF (libtiff)
// and the netpbm formats P1-P6 (our own reader, pnm_picture.h).
//
// Whatever the file holds, the image is one of three kinds:
// - 8-bit grey, one channel (grey, grey with alpha, 16-bit grey);
// - 8-bit RGB, three channels (colour of any depth, palettes, CMYK JPEG);
// - one bit, one channel, 1 = white as in every plain Image (bilevel files).
// Transparency is laid over white, the colour of the label; 16-bit samples
// are rounded to 8 bits. Pictures show the right way up: a JPEG as its Exif
// orientation says, a TIFF as its Orientation tag says. The file's own resolution is not used:
// pictures are scaled to the place they get on the label.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "core/exception.h"
#include "graphics/image.h"

namespace Corvane::Picture {

// A picture that cannot be read. The message names the file (or the
// picture's description given to LoadPicture) and says what is wrong.
CORVANE_MESSAGE_EXCEPTION(PictureException, Exception);

struct PictureLimits {
  // The most pixels (width x height) a picture may have; larger ones are
  // refused before their pixels are allocated. 256 megapixels is an 16000 x
  // 16000 photograph, or a 1 m long label at 600 dpi.
  std::uint64_t maxPixels = std::uint64_t{1} << 28;
  // The largest file LoadPictureFile reads: past it (a device that never
  // ends, a file that is not a picture) reading stops with an error rather
  // than filling memory. 1 GiB holds the largest picture even as raw 16-bit
  // RGB netpbm.
  std::uint64_t maxFileBytes = std::uint64_t{1} << 30;
};

enum class PictureFormat { kUnknown, kPNG, kJPEG, kTIFF, kPNM };

// The format by the file's first bytes.
[[nodiscard]] PictureFormat DetectFormat(std::span<const unsigned char> bytes);

// Reads a whole picture file held in memory. `name` is the file's name as
// the user gave it, for messages ("photo.png: not a PNG, JPEG, TIFF or
// netpbm picture"). Throws PictureException for anything it cannot read:
// an unknown or damaged file, a picture with no pixels or more than the
// limit allows.
[[nodiscard]] Brindle::Image LoadPicture(std::span<const unsigned char> bytes,
                                         const std::string& name, const PictureLimits& limits = {});

// Reads the file at `path` ("-" is standard input) and loads it as above.
// A file that cannot be opened or read, or that is larger than
// limits.maxFileBytes ("<name>: the file is larger than N MiB"), is a
// PictureException naming it too.
[[nodiscard]] Brindle::Image LoadPictureFile(const std::string& path,
                                             const PictureLimits& limits = {});

}  // namespace Corvane::Picture
