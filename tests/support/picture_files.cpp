#include "support/picture_files.h"

// clang-format off
// jpeglib.h uses size_t and FILE without including their headers.
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
// clang-format on
#include <arpa/inet.h>
#include <png.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace Vellum::Testing {

namespace {

// One row packed as PNG and TIFF pack it: samples of `bits` bits, most
// significant first, 16-bit ones big-endian (PNG) or native (TIFF).
Bytes PackRow(const Samples& s, unsigned y, bool bigEndian16) {
  Bytes row;
  unsigned accumulator = 0, filled = 0;
  for (unsigned i = y * s.width * s.channels; i < (y + 1) * s.width * s.channels; ++i) {
    if (s.bits == 16) {
      const auto sample =
          static_cast<std::uint16_t>(bigEndian16 ? htons(s.values[i]) : s.values[i]);
      row.insert(row.end(), reinterpret_cast<const unsigned char*>(&sample),
                 reinterpret_cast<const unsigned char*>(&sample) + 2);
      continue;
    }
    accumulator = accumulator << s.bits | s.values[i];
    if ((filled += s.bits) == 8) {
      row.push_back(static_cast<unsigned char>(accumulator));
      accumulator = filled = 0;
    }
  }
  if (filled != 0) row.push_back(static_cast<unsigned char>(accumulator << (8 - filled)));
  return row;
}

void AppendBytes(png_structp png, png_bytep data, png_size_t length) {
  auto* out = static_cast<Bytes*>(png_get_io_ptr(png));
  out->insert(out->end(), data, data + length);
}

}  // namespace

Bytes WritePNG(const Samples& s, const PNGFile& file) {
  Bytes out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    throw std::runtime_error("libpng could not write the test picture");
  }
  png_set_write_fn(png, &out, AppendBytes, nullptr);
  png_set_IHDR(png, info, s.width, s.height, static_cast<int>(s.bits), file.colourType,
               file.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!file.palette.empty()) {  // png_color is three bytes, as the triples are
    png_set_PLTE(png, info, reinterpret_cast<png_const_colorp>(file.palette.data()),
                 static_cast<int>(file.palette.size() / 3));
  }
  if (!file.transparency.empty()) {
    png_set_tRNS(png, info, file.transparency.data(), static_cast<int>(file.transparency.size()),
                 nullptr);
  }
  std::vector<Bytes> rows;
  std::vector<png_bytep> pointers;
  for (unsigned y = 0; y < s.height; ++y) rows.push_back(PackRow(s, y, true));
  for (Bytes& row : rows) pointers.push_back(row.data());
  png_set_rows(png, info, pointers.data());
  png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  png_destroy_write_struct(&png, &info);
  return out;
}

Bytes WriteTIFF(const Samples& s, const TIFFFile& file) {
  const std::string path = (std::filesystem::temp_directory_path() /
                            ("vellum-picture-" + std::to_string(getpid()) + ".tif"))
                               .string();
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  if (tiff == nullptr) throw std::runtime_error("libtiff could not create " + path);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, s.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, s.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, s.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, s.channels);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, file.photometric);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, file.compression);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, file.orientation);
  if (file.unassociatedAlpha) {
    const std::uint16_t extra[] = {EXTRASAMPLE_UNASSALPHA};
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, extra);
  }
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 3);
  bool ok = true;
  for (unsigned y = 0; y < s.height; ++y) {
    Bytes row = PackRow(s, y, false);
    ok = ok && TIFFWriteScanline(tiff, row.data(), y, 0) >= 0;
  }
  TIFFClose(tiff);
  std::ifstream in(path, std::ios::binary);
  Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::filesystem::remove(path);
  if (!ok) throw std::runtime_error("libtiff could not write the test picture");
  return bytes;
}

Bytes WriteJPEG(const Samples& s, int quality, unsigned exifOrientation, bool littleEndianExif) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = s.width;
  info.image_height = s.height;
  info.input_components = static_cast<int>(s.channels);
  info.in_color_space = s.channels == 1 ? JCS_GRAYSCALE : s.channels == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  jpeg_start_compress(&info, TRUE);
  if (exifOrientation != 1) {
    // "Exif\0\0", a TIFF header, and IFD0 with the one Orientation (274) entry.
    const auto o = static_cast<unsigned char>(exifOrientation);
    const Bytes exif = littleEndianExif
                           ? Bytes{'E',  'x',  'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0,
                                   0x12, 0x01, 3,   0,   1, 0, 0,   0,   o,  0, 0, 0, 0, 0, 0, 0}
                           : Bytes{'E',  'x',  'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1,
                                   0x01, 0x12, 0,   3,   0, 0, 0,   1,   0, o,  0, 0, 0, 0, 0, 0};
    jpeg_write_marker(&info, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
  }
  for (unsigned y = 0; y < s.height; ++y) {
    Bytes row = PackRow(s, y, true);
    JSAMPROW pointer = row.data();
    jpeg_write_scanlines(&info, &pointer, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  Bytes out(buffer, buffer + size);
  std::free(buffer);
  return out;
}

}  // namespace Vellum::Testing
