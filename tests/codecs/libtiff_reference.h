// libtiff as the independent LZW decoder: a strip wrapped in a minimal TIFF
// file and read back through TIFFReadEncodedStrip.
#pragma once

#include <tiffio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace VellumTest {

// A little-endian, one-strip, 8-bit grey TIFF around `strip`; the image is
// `width` x `height` bytes.
inline std::vector<unsigned char> WrapStrip(const std::vector<unsigned char>& strip,
                                            std::uint32_t width, std::uint32_t height,
                                            std::uint16_t compression) {
  std::vector<unsigned char> file;
  auto put16 = [&](std::uint32_t v) {
    file.push_back(v & 0xFF);
    file.push_back((v >> 8) & 0xFF);
  };
  auto put32 = [&](std::uint32_t v) {
    put16(v & 0xFFFF);
    put16(v >> 16);
  };
  const std::uint16_t entries = 9;
  const std::uint32_t dataOffset = 8 + 2 + 12 * entries + 4;
  put16(0x4949);
  put16(42);
  put32(8);
  put16(entries);
  auto entry = [&](std::uint16_t tag, std::uint16_t type, std::uint32_t value) {
    put16(tag);
    put16(type);
    put32(1);
    if (type == 3) {
      put16(value);
      put16(0);
    } else {
      put32(value);
    }
  };
  entry(256, 4, width);
  entry(257, 4, height);
  entry(258, 3, 8);
  entry(259, 3, compression);
  entry(262, 3, 1);
  entry(273, 4, dataOffset);
  entry(277, 3, 1);
  entry(278, 4, height);
  entry(279, 4, static_cast<std::uint32_t>(strip.size()));
  put32(0);
  file.insert(file.end(), strip.begin(), strip.end());
  return file;
}

class TempFile {
 public:
  TempFile() {
    char name[] = "/tmp/vellum-test-XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    close(fd);
    path_ = name;
  }
  ~TempFile() { std::remove(path_.c_str()); }
  const std::string& path() const { return path_; }
  void Write(const std::vector<unsigned char>& bytes) const {
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }

 private:
  std::string path_;
};

// Decodes strip 0 of a TIFF file with libtiff; throws on any libtiff error.
inline std::vector<unsigned char> LibtiffReadStrip0(const std::string& path, std::size_t expected) {
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  if (tiff == nullptr) throw std::runtime_error("libtiff cannot open the file");
  std::vector<unsigned char> out(expected + 1);
  const tmsize_t got = TIFFReadEncodedStrip(tiff, 0, out.data(), static_cast<tmsize_t>(out.size()));
  TIFFClose(tiff);
  if (got < 0) throw std::runtime_error("libtiff cannot decode the strip");
  out.resize(static_cast<std::size_t>(got));
  return out;
}

}  // namespace VellumTest
