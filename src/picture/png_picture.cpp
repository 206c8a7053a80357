// PNG through libpng. libpng reports errors by a long jump back into the
// function that set it up; that function (Decode) keeps every object with a
// destructor in its caller's frame, so the jump skips no C++ clean-up.
#include <png.h>

#include <csetjmp>
#include <cstring>
#include <vector>

#include "picture/picture_formats.h"

namespace Corvane::Picture {

namespace {

struct PNGSource {
  std::span<const unsigned char> bytes;
  std::size_t position = 0;
  char message[200] = {};
};

void ReadBytes(png_structp png, png_bytep out, png_size_t count) {
  auto* source = static_cast<PNGSource*>(png_get_io_ptr(png));
  if (source->bytes.size() - source->position < count) png_error(png, "the file ends early");
  std::memcpy(out, source->bytes.data() + source->position, count);
  source->position += count;
}

void Error(png_structp png, png_const_charp message) {
  auto* source = static_cast<PNGSource*>(png_get_error_ptr(png));
  std::strncpy(source->message, message, sizeof source->message - 1);
  png_longjmp(png, 1);
}

// Warnings (an unknown chunk, a wrong sRGB profile) do not stop a picture
// that can be shown; they are not the user's concern here.
void Warning(png_structp, png_const_charp) {}

struct Decoded {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  unsigned channels = 0;
  unsigned bitDepth = 8;
  std::vector<unsigned char> pixels;
  std::vector<png_bytep> rows;
};

// Lays the alpha channel (the last of `channels`) over white and drops it,
// in place.
void FlattenAlpha(Decoded& d) {
  if (d.channels != 2 && d.channels != 4) return;
  const unsigned colours = d.channels - 1;
  const std::uint64_t pixels = d.width * d.height;
  unsigned char* data = d.pixels.data();
  for (std::uint64_t i = 0; i < pixels; ++i) {
    const unsigned char* in = data + i * d.channels;
    unsigned char* out = data + i * colours;
    const unsigned char alpha = in[colours];
    for (unsigned c = 0; c < colours; ++c) out[c] = OverWhite(in[c], alpha);
  }
  d.channels = colours;
  d.pixels.resize(pixels * colours);
}

// False when libpng failed; its message is in source.message.
bool Decode(png_structp png, png_infop info, const std::string& name, const PictureLimits& limits,
            Decoded& d) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  d.width = png_get_image_width(png, info);
  d.height = png_get_image_height(png, info);
  CheckPictureSize(d.width, d.height, name, limits);
  const int colourType = png_get_color_type(png, info);
  const int depth = png_get_bit_depth(png, info);
  const bool transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  if (colourType == PNG_COLOR_TYPE_GRAY && depth == 1 && !transparency) {
    // 0 black, 1 white: already the bits of a plain one-bit Image.
    d.bitDepth = 1;
  } else {
    if (depth == 16) png_set_scale_16(png);
    if (colourType == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colourType == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (transparency) png_set_tRNS_to_alpha(png);
  }
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  d.channels = png_get_channels(png, info);
  const std::size_t rowBytes = png_get_rowbytes(png, info);
  d.pixels.resize(rowBytes * d.height);
  d.rows.resize(d.height);
  for (std::uint64_t y = 0; y < d.height; ++y) d.rows[y] = d.pixels.data() + y * rowBytes;
  png_read_image(png, d.rows.data());
  return true;
}

}  // namespace

Brindle::Image LoadPNG(std::span<const unsigned char> bytes, const std::string& name,
                       const PictureLimits& limits) {
  PNGSource source{bytes};
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &source, Error, Warning);
  if (png == nullptr) throw PictureException(name + ": out of memory");
  png_infop info = png_create_info_struct(png);
  Decoded d;
  bool decoded = false;
  try {
    if (info != nullptr) {
      png_set_read_fn(png, &source, ReadBytes);
      decoded = Decode(png, info, name, limits, d);
    }
  } catch (...) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw;
  }
  png_destroy_read_struct(&png, &info, nullptr);
  if (!decoded)
    throw PictureException(name + ": not a readable PNG picture (" + source.message + ")");
  FlattenAlpha(d);
  return Brindle::Image(d.bitDepth, d.channels, d.width, d.height, std::move(d.pixels));
}

}  // namespace Corvane::Picture
