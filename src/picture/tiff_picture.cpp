// TIFF through libtiff, read from memory. Everyday files (one-bit, 8-bit grey
// and RGB in strips, top row first) are read row by row as they stand; every
// other kind (palettes, 16 bits, alpha, CMYK, YCbCr, tiles, other
// orientations) goes through libtiff's RGBA reader, which knows them all.
#include <tiffio.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "picture/picture_formats.h"

namespace Corvane::Picture {

namespace {

struct TIFFSource {
  std::span<const unsigned char> bytes;
  toff_t position = 0;
  std::string firstError;
};

tmsize_t ReadProc(thandle_t handle, void* out, tmsize_t count) {
  auto* source = static_cast<TIFFSource*>(handle);
  if (count < 0 || source->position >= source->bytes.size()) return 0;
  const auto available = static_cast<tmsize_t>(source->bytes.size() - source->position);
  const tmsize_t n = std::min(count, available);
  std::memcpy(out, source->bytes.data() + source->position, static_cast<std::size_t>(n));
  source->position += static_cast<toff_t>(n);
  return n;
}

tmsize_t WriteProc(thandle_t, void*, tmsize_t) { return 0; }

toff_t SeekProc(thandle_t handle, toff_t offset, int whence) {
  auto* source = static_cast<TIFFSource*>(handle);
  toff_t base = 0;
  if (whence == SEEK_CUR) base = source->position;
  if (whence == SEEK_END) base = source->bytes.size();
  source->position = base + offset;
  return source->position;
}

int CloseProc(thandle_t) { return 0; }
toff_t SizeProc(thandle_t handle) { return static_cast<TIFFSource*>(handle)->bytes.size(); }

// The file is already in memory: libtiff may read it in place.
int MapProc(thandle_t handle, void** base, toff_t* size) {
  auto* source = static_cast<TIFFSource*>(handle);
  *base = const_cast<unsigned char*>(source->bytes.data());
  *size = source->bytes.size();
  return 1;
}
void UnmapProc(thandle_t, void*, toff_t) {}

// The first error is the one that explains the others; warnings about
// unknown tags and the like do not stop a picture that can be shown.
int OnError(TIFF*, void* handle, const char*, const char* format, va_list arguments) {
  auto* source = static_cast<TIFFSource*>(handle);
  if (source->firstError.empty()) {
    char message[256];
    std::vsnprintf(message, sizeof message, format, arguments);
    source->firstError = message;
  }
  return 1;
}
int OnWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TIFFCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};

class TIFFPicture {
 public:
  TIFFPicture(std::span<const unsigned char> bytes, const std::string& name,
              const PictureLimits& limits)
      : source_{bytes, 0, {}}, name_(name), limits_(limits) {}

  Brindle::Image Read() {
    std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                         TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), OnError, &source_);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), OnWarning, &source_);
    // No single buffer beyond what the largest allowed picture needs.
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(),
                                        static_cast<tmsize_t>(limits_.maxPixels * 4 + (1 << 20)));
    tiff_.reset(TIFFClientOpenExt(name_.c_str(), "r", &source_, ReadProc, WriteProc, SeekProc,
                                  CloseProc, SizeProc, MapProc, UnmapProc, options.get()));
    if (!tiff_) Fail();
    std::uint32_t width = 0, height = 0;
    TIFFGetField(tiff_.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff_.get(), TIFFTAG_IMAGELENGTH, &height);
    CheckPictureSize(width, height, name_, limits_);
    std::uint16_t bits = 1, samples = 1, photometric = 0, planar = PLANARCONFIG_CONTIG,
                  orientation = ORIENTATION_TOPLEFT;
    TIFFGetFieldDefaulted(tiff_.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff_.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff_.get(), TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tiff_.get(), TIFFTAG_ORIENTATION, &orientation);
    if (!TIFFGetField(tiff_.get(), TIFFTAG_PHOTOMETRIC, &photometric)) photometric = 0xFFFF;
    const bool grey =
        photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    const bool asStored = !TIFFIsTiled(tiff_.get()) && planar == PLANARCONFIG_CONTIG &&
                          orientation == ORIENTATION_TOPLEFT &&
                          ((grey && samples == 1 && (bits == 1 || bits == 8)) ||
                           (photometric == PHOTOMETRIC_RGB && samples == 3 && bits == 8));
    if (asStored) return Scanlines(width, height, bits, samples, photometric);
    return ThroughRGBA(width, height, grey);
  }

 private:
  [[noreturn]] void Fail() const {
    throw PictureException(name_ + ": not a readable TIFF picture" +
                           (source_.firstError.empty() ? "" : " (" + source_.firstError + ")"));
  }

  // Grey and one-bit rows are kept with 0 meaning black, as a plain Image
  // keeps them; files that store 0 for white are turned over.
  Brindle::Image Scanlines(std::uint32_t width, std::uint32_t height, unsigned bits,
                           unsigned samples, unsigned photometric) {
    Brindle::Image image(bits, samples, width, height);
    const std::uint64_t rowBytes = image.BytesPerRow();
    if (static_cast<std::uint64_t>(TIFFScanlineSize64(tiff_.get())) != rowBytes) Fail();
    unsigned char* data = image.Data().data();
    for (std::uint32_t y = 0; y < height; ++y) {
      if (TIFFReadScanline(tiff_.get(), data + y * rowBytes, y, 0) < 0) Fail();
    }
    if (photometric == PHOTOMETRIC_MINISWHITE) {
      for (unsigned char& byte : image.Data()) byte = static_cast<unsigned char>(~byte);
    }
    return image;
  }

  // libtiff hands back premultiplied RGBA, so over white a colour is its
  // value plus the white that shows through.
  Brindle::Image ThroughRGBA(std::uint32_t width, std::uint32_t height, bool grey) {
    char reason[1024] = {};
    if (!TIFFRGBAImageOK(tiff_.get(), reason)) {
      throw PictureException(name_ + ": a TIFF picture of a kind that cannot be read (" + reason +
                             ")");
    }
    const std::uint64_t pixels = std::uint64_t{width} * height;
    std::vector<std::uint32_t> raster(pixels);
    if (!TIFFReadRGBAImageOriented(tiff_.get(), width, height, raster.data(), ORIENTATION_TOPLEFT,
                                   1)) {
      Fail();
    }
    const unsigned channels = grey ? 1 : 3;
    std::vector<unsigned char> out(pixels * channels);
    for (std::uint64_t i = 0; i < pixels; ++i) {
      const std::uint32_t p = raster[i];
      const unsigned white = 255 - TIFFGetA(p);
      if (grey) {
        out[i] = static_cast<unsigned char>(std::min(255u, TIFFGetR(p) + white));
      } else {
        out[i * 3] = static_cast<unsigned char>(std::min(255u, TIFFGetR(p) + white));
        out[i * 3 + 1] = static_cast<unsigned char>(std::min(255u, TIFFGetG(p) + white));
        out[i * 3 + 2] = static_cast<unsigned char>(std::min(255u, TIFFGetB(p) + white));
      }
    }
    return Brindle::Image(8, channels, width, height, std::move(out));
  }

  TIFFSource source_;
  const std::string& name_;
  const PictureLimits& limits_;
  std::unique_ptr<TIFF, TIFFCloser> tiff_;
};

}  // namespace

Brindle::Image LoadTIFF(std::span<const unsigned char> bytes, const std::string& name,
                        const PictureLimits& limits) {
  return TIFFPicture(bytes, name, limits).Read();
}

}  // namespace Corvane::Picture
