// JPEG through libjpeg-turbo. Its errors end in a long jump back into
// Decode, which keeps every object with a destructor in its caller's frame,
// so the jump skips no C++ clean-up.
// clang-format off
// jpeglib.h uses size_t and FILE without including their headers.
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include <csetjmp>
#include <vector>

#include "picture/exif_orientation.h"
#include "picture/picture_formats.h"

namespace Corvane::Picture {

namespace {

struct ErrorManager {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX] = {};
  bool endedEarly = false;
};

void ErrorExit(j_common_ptr info) {
  auto* errors = reinterpret_cast<ErrorManager*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->jump, 1);
}

// Warnings of damaged data would go to standard error; a file that ends early
// is the one that matters (libjpeg fills the missing rows with grey), and it
// becomes an error after decoding.
void EmitMessage(j_common_ptr info, int level) {
  auto* errors = reinterpret_cast<ErrorManager*>(info->err);
  if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF) errors->endedEarly = true;
}

struct Decoded {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  unsigned channels = 0;
  std::vector<unsigned char> pixels;
  std::vector<unsigned char> cmykRow;
  unsigned orientation = 1;
};

// CMYK (and YCCK, which libjpeg turns into CMYK) to RGB. Adobe's files, the
// usual source, store the inks inverted (0 = full ink).
void CMYKToRGB(const unsigned char* cmyk, unsigned char* rgb, std::uint64_t width, bool inverted) {
  for (std::uint64_t x = 0; x < width; ++x) {
    unsigned k = cmyk[x * 4 + 3];
    if (!inverted) k = 255 - k;
    for (unsigned c = 0; c < 3; ++c) {
      unsigned v = cmyk[x * 4 + c];
      if (!inverted) v = 255 - v;
      rgb[x * 3 + c] = static_cast<unsigned char>((v * k + 127) / 255);
    }
  }
}

// False when libjpeg failed; its message is in errors.message.
bool Decode(jpeg_decompress_struct& info, ErrorManager& errors,
            std::span<const unsigned char> bytes, const std::string& name,
            const PictureLimits& limits, Decoded& d) {
  if (setjmp(errors.jump)) return false;
  jpeg_mem_src(&info, bytes.data(), static_cast<unsigned long>(bytes.size()));
  jpeg_save_markers(&info, JPEG_APP0 + 1, 0xFFFF);
  jpeg_read_header(&info, TRUE);
  for (jpeg_saved_marker_ptr marker = info.marker_list; marker != nullptr; marker = marker->next) {
    if (marker->marker == JPEG_APP0 + 1) {
      const unsigned found = ExifOrientation({marker->data, marker->data_length});
      if (found != 1) d.orientation = found;
    }
  }
  CheckPictureSize(info.image_width, info.image_height, name, limits);
  const bool cmyk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
  info.out_color_space = info.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE
                         : cmyk                                 ? JCS_CMYK
                                                                : JCS_RGB;
  jpeg_start_decompress(&info);
  d.width = info.output_width;
  d.height = info.output_height;
  d.channels = cmyk ? 3 : static_cast<unsigned>(info.output_components);
  d.pixels.resize(d.width * d.height * d.channels);
  if (cmyk) d.cmykRow.resize(d.width * 4);
  while (info.output_scanline < info.output_height) {
    unsigned char* row =
        d.pixels.data() + std::uint64_t{info.output_scanline} * d.width * d.channels;
    JSAMPROW target = cmyk ? d.cmykRow.data() : row;
    if (jpeg_read_scanlines(&info, &target, 1) != 1) break;
    if (cmyk) CMYKToRGB(d.cmykRow.data(), row, d.width, info.saw_Adobe_marker);
  }
  return true;
}

}  // namespace

Brindle::Image LoadJPEG(std::span<const unsigned char> bytes, const std::string& name,
                        const PictureLimits& limits) {
  jpeg_decompress_struct info{};
  ErrorManager errors{};
  info.err = jpeg_std_error(&errors.manager);
  errors.manager.error_exit = ErrorExit;
  errors.manager.emit_message = EmitMessage;
  jpeg_create_decompress(&info);
  Decoded d;
  bool decoded;
  try {
    decoded = Decode(info, errors, bytes, name, limits, d);
  } catch (...) {
    jpeg_destroy_decompress(&info);
    throw;
  }
  jpeg_destroy_decompress(&info);
  if (!decoded)
    throw PictureException(name + ": not a readable JPEG picture (" + errors.message + ")");
  if (errors.endedEarly) throw PictureException(name + ": the JPEG picture ends early");
  return Oriented(Brindle::Image(8, d.channels, d.width, d.height, std::move(d.pixels)),
                  d.orientation);
}

}  // namespace Corvane::Picture
