// libtiff on the benchmarks' side of the comparisons: writing a TIFF file
// into memory (TIFFClientOpen over a byte vector), so that its encoders can
// be timed into the same kind of destination as ours, with no file system in
// the way, and reading a whole file the way our reader does; and zlib's
// inflate as a reference for our Deflate decoder.
#pragma once

#include <tiffio.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace Vellum::Bench {

class MemoryTiff {
 public:
  explicit MemoryTiff(std::vector<unsigned char>& bytes) : bytes_(bytes) {}

  // Opens for writing ("w") or reading ("r"); TIFFClose() ends it.
  TIFF* Open(const char* mode) {
    position_ = 0;
    return TIFFClientOpen("memory", mode, this, Read, Write, Seek, Close, Size, Map, Unmap);
  }

 private:
  static MemoryTiff& Of(thandle_t handle) { return *static_cast<MemoryTiff*>(handle); }

  static tmsize_t Read(thandle_t handle, void* to, tmsize_t count) {
    MemoryTiff& m = Of(handle);
    const std::size_t left = m.position_ < m.bytes_.size() ? m.bytes_.size() - m.position_ : 0;
    const std::size_t n = std::min(left, static_cast<std::size_t>(count));
    std::memcpy(to, m.bytes_.data() + m.position_, n);
    m.position_ += n;
    return static_cast<tmsize_t>(n);
  }
  static tmsize_t Write(thandle_t handle, void* from, tmsize_t count) {
    MemoryTiff& m = Of(handle);
    const std::size_t end = m.position_ + static_cast<std::size_t>(count);
    if (end > m.bytes_.size()) m.bytes_.resize(end);
    std::memcpy(m.bytes_.data() + m.position_, from, static_cast<std::size_t>(count));
    m.position_ = end;
    return count;
  }
  static toff_t Seek(thandle_t handle, toff_t offset, int whence) {
    MemoryTiff& m = Of(handle);
    if (whence == SEEK_SET) m.position_ = offset;
    if (whence == SEEK_CUR) m.position_ += offset;
    if (whence == SEEK_END) m.position_ = m.bytes_.size() + offset;
    return m.position_;
  }
  static int Close(thandle_t) { return 0; }
  static toff_t Size(thandle_t handle) { return Of(handle).bytes_.size(); }
  static int Map(thandle_t, void**, toff_t*) { return 0; }
  static void Unmap(thandle_t, void*, toff_t) {}

  std::vector<unsigned char>& bytes_;
  std::size_t position_ = 0;
};

// libtiff into a fresh buffer of the image's size, left uninitialised as our
// reader's image is filled before anyone reads it; returns the bytes read.
inline std::size_t ReadLibtiff(const std::string& path) {
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  if (tiff == nullptr) return 0;
  const tstrip_t strips = TIFFNumberOfStrips(tiff);
  const tmsize_t stripSize = TIFFStripSize(tiff);
  auto out =
      std::make_unique_for_overwrite<unsigned char[]>(static_cast<std::size_t>(stripSize) * strips);
  tmsize_t used = 0;
  for (tstrip_t s = 0; s < strips; ++s) {
    const tmsize_t got = TIFFReadEncodedStrip(tiff, s, out.get() + used, stripSize);
    if (got > 0) used += got;
  }
  TIFFClose(tiff);
  return static_cast<std::size_t>(used);
}

// libtiff writing `data` (rows of `bits`-bit grey, one sample a pixel) as one
// LZW strip of a TIFF file into `out`.
inline void LibtiffLzwStrip(std::vector<unsigned char>& out, std::uint32_t width,
                            std::uint32_t height, std::uint16_t bits,
                            const std::vector<unsigned char>& data) {
  out.clear();
  MemoryTiff memory(out);
  TIFF* tiff = memory.Open("w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, height);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFWriteEncodedStrip(tiff, 0, const_cast<unsigned char*>(data.data()),
                        static_cast<tmsize_t>(data.size()));
  TIFFClose(tiff);
}

// zlib inflating raw Deflate `packed` into `out`, which has the output's size.
inline void ZlibInflateRaw(const std::vector<unsigned char>& packed,
                           std::vector<unsigned char>& out) {
  z_stream stream{};
  inflateInit2(&stream, -15);
  stream.next_in = const_cast<unsigned char*>(packed.data());
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
}

}  // namespace Vellum::Bench
