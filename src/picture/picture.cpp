#include "picture/picture.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <vector>

#include "picture/picture_formats.h"

namespace Corvane::Picture {

namespace {

// How a failed read is told: the system's own words for the error.
std::string SystemError() { return std::strerror(errno); }

// Reads to the end in large pieces (a picture can be hundreds of megabytes),
// stopping one piece past the limit.
std::vector<unsigned char> ReadAll(std::istream& input, const std::string& name,
                                   const PictureLimits& limits) {
  std::vector<unsigned char> bytes;
  constexpr std::size_t kPiece = 1 << 20;
  while (input && bytes.size() <= limits.maxFileBytes) {
    const std::size_t size = bytes.size();
    bytes.resize(size + kPiece);
    input.read(reinterpret_cast<char*>(bytes.data() + size), kPiece);
    bytes.resize(size + static_cast<std::size_t>(input.gcount()));
  }
  if (bytes.size() > limits.maxFileBytes) {
    throw PictureException(name + ": the file is larger than " +
                           std::to_string(limits.maxFileBytes >> 20) + " MiB");
  }
  return bytes;
}

}  // namespace

void CheckPictureSize(std::uint64_t width, std::uint64_t height, const std::string& name,
                      const PictureLimits& limits) {
  if (width == 0 || height == 0) throw PictureException(name + ": the picture has no pixels");
  if (width > limits.maxPixels || height > limits.maxPixels / width) {
    throw PictureException(name + ": the picture is too large (" + std::to_string(width) + " x " +
                           std::to_string(height) + " pixels; at most " +
                           std::to_string(limits.maxPixels / 1000000) + " megapixels)");
  }
}

PictureFormat DetectFormat(std::span<const unsigned char> bytes) {
  auto starts = [&](std::initializer_list<unsigned char> magic) {
    return bytes.size() >= magic.size() && std::equal(magic.begin(), magic.end(), bytes.begin());
  };
  if (starts({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) return PictureFormat::kPNG;
  if (starts({0xFF, 0xD8, 0xFF})) return PictureFormat::kJPEG;
  if (starts({'I', 'I', 42, 0}) || starts({'M', 'M', 0, 42}) || starts({'I', 'I', 43, 0}) ||
      starts({'M', 'M', 0, 43})) {
    return PictureFormat::kTIFF;
  }
  if (bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6') {
    return PictureFormat::kPNM;
  }
  return PictureFormat::kUnknown;
}

Brindle::Image LoadPicture(std::span<const unsigned char> bytes, const std::string& name,
                           const PictureLimits& limits) {
  switch (DetectFormat(bytes)) {
    case PictureFormat::kPNG:
      return LoadPNG(bytes, name, limits);
    case PictureFormat::kJPEG:
      return LoadJPEG(bytes, name, limits);
    case PictureFormat::kTIFF:
      return LoadTIFF(bytes, name, limits);
    case PictureFormat::kPNM:
      return LoadPNM(bytes, name, limits);
    case PictureFormat::kUnknown:
      break;
  }
  if (bytes.empty()) throw PictureException(name + ": the file is empty");
  throw PictureException(name + ": not a PNG, JPEG, TIFF or netpbm (PNM) picture");
}

Brindle::Image LoadPictureFile(const std::string& path, const PictureLimits& limits) {
  if (path == "-") {
    std::vector<unsigned char> bytes = ReadAll(std::cin, "standard input", limits);
    if (std::ferror(stdin)) throw PictureException("standard input: " + SystemError());
    return LoadPicture(bytes, "standard input", limits);
  }
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw PictureException(path + ": is a directory");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw PictureException(path + ": " + SystemError());
  std::vector<unsigned char> bytes = ReadAll(file, path, limits);
  // A directory opens but cannot be read; so does a file on a failing disk.
  if (file.bad() || (!file.eof() && file.fail())) {
    throw PictureException(path + ": " + SystemError());
  }
  return LoadPicture(bytes, path, limits);
}

}  // namespace Corvane::Picture
