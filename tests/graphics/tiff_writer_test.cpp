#include "graphics/tiff_writer.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "graphics/bitmap.h"
#include "graphics/exception.h"
#include "graphics/tiff_tools.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;
using vellum_test::LibtiffPixels;
using vellum_test::RunCommand;
using vellum_test::TempDir;
using vellum_test::TiffTags;

std::string Written(const Image& image, std::uint16_t compression) {
  std::ostringstream out;
  ImageIO::WriteToTIFFFormat(image, out, compression);
  return out.str();
}

std::uint32_t Word(const std::string& file, std::size_t offset) {
  std::uint32_t value;
  std::memcpy(&value, file.data() + offset, sizeof value);
  return value;
}

// A label-like bitmap: diagonal strokes and a solid block, with a width that
// leaves padding bits in every row.
Bitmap Sample(std::uint64_t width, std::uint64_t height) {
  Bitmap bitmap(width, height);
  for (std::uint64_t y = 0; y < height; ++y) {
    for (std::uint64_t x = 0; x < width; ++x) {
      if ((x + 2 * y) % 7 == 0 || (x > width / 3 && x < width / 2 && y % 9 < 5)) {
        bitmap.SetPixel(x, y, true);
      }
    }
  }
  return bitmap;
}

TEST(TiffWriter, UncompressedBitmapLayout) {
  Bitmap bitmap = Sample(100, 50);
  bitmap.SetResolution(203, 203);
  const std::string file = Written(bitmap, 1);
  ASSERT_EQ(file.size(), 186 + bitmap.DataSize());
  EXPECT_EQ(file.substr(0, 2), "II");
  EXPECT_EQ(file[2], 42);
  EXPECT_EQ(Word(file, 4), 8u);
  EXPECT_EQ(file[8], 13);
  EXPECT_EQ(Word(file, 166), 0u);
  EXPECT_EQ(Word(file, 170), 203u);
  EXPECT_EQ(Word(file, 174), 1u);
  EXPECT_EQ(Word(file, 178), 203u);
  EXPECT_EQ(Word(file, 182), 1u);
  EXPECT_EQ(Bytes(file.begin() + 186, file.end()), bitmap.Data());
}

TEST(TiffWriter, LibtiffReadsTheTagsWeMeant) {
  struct Case {
    const char* name;
    std::shared_ptr<Image> image;
    std::map<int, std::string> tags;
  };
  auto bitmap = std::make_shared<Bitmap>(Sample(100, 50));
  bitmap->SetResolution(203, 300);
  const Case kCases[] = {
      {"bitmap",
       bitmap,
       {{256, "100"},
        {257, "50"},
        {258, "1"},
        {259, "1"},
        {262, "0"},
        {273, "186"},
        {277, "1"},
        {278, "50"},
        {279, "650"},
        {282, "203"},
        {283, "300"},
        {296, "2"}}},
      {"grey",
       std::make_shared<Image>(8, 1, 3, 2),
       {{258, "8"}, {262, "1"}, {279, "6"}, {282, "96"}}},
      {"rgb",
       std::make_shared<Image>(8, 3, 3, 2),
       {{258, "8 8 8"}, {262, "2"}, {273, "192"}, {277, "3"}}},
      {"cmyk", std::make_shared<Image>(8, 4, 3, 2), {{258, "8 8 8 8"}, {262, "5"}, {273, "194"}}},
      // Two SHORTs would fit in the entry, but the writer points at an array
      // anyway; a reader takes the field as inline values.
      {"two samples",
       std::make_shared<Image>(8, 2, 3, 2),
       {{258, "186 0"}, {262, "1"}, {273, "190"}}},
      {"no pixels", std::make_shared<Image>(1, 1, 0, 0), {{256, "0"}, {279, "0"}}},
  };
  TempDir dir;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const auto path = dir / (std::string(c.name) + ".tif");
    {
      std::ofstream out(path, std::ios::binary);
      ImageIO::WriteToTIFFFormat(*c.image, out, 1);
    }
    auto tags = TiffTags(path);
    for (const auto& [tag, value] : c.tags) EXPECT_EQ(tags[tag], value) << "tag " << tag;
  }
}

TEST(TiffWriter, LibtiffDecodesOurPixels) {
  TempDir dir;
  for (std::uint64_t width : {1u, 8u, 13u, 100u, 831u}) {
    const Bitmap bitmap = Sample(width, 37);
    const auto path = dir / ("b" + std::to_string(width) + ".tif");
    {
      std::ofstream out(path, std::ios::binary);
      bitmap.Write(out, 0);
    }
    EXPECT_EQ(RunCommand("tiffinfo -D '" + path.string() + "'").status, 0);
    EXPECT_EQ(LibtiffPixels(path), bitmap.Data()) << width;
  }
}

// Inflates a raw Deflate stream (no zlib header) with zlib itself.
Bytes RawInflate(const Bytes& compressed, std::size_t expected) {
  Bytes result(expected + 1);
  z_stream stream{};
  if (inflateInit2(&stream, -15) != Z_OK) return {};
  stream.next_in = const_cast<Bytef*>(compressed.data());
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  const int status = inflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  inflateEnd(&stream);
  return status == Z_STREAM_END ? result : Bytes{};
}

TEST(TiffWriter, CompressedStripsDecodeToTheImageBytes) {
  TempDir dir;
  struct Case {
    std::uint64_t width, height;
  };
  for (const Case& c : {Case{1, 1}, Case{100, 50}, Case{831, 211}, Case{4096, 40}}) {
    SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height));
    const Bitmap bitmap = Sample(c.width, c.height);

    const std::string lzw = Written(bitmap, 5);
    const auto path = dir / "lzw.tif";
    std::ofstream(path, std::ios::binary) << lzw;
    EXPECT_EQ(TiffTags(path)[259], "5");
    EXPECT_EQ(TiffTags(path)[279], std::to_string(lzw.size() - 186));
    EXPECT_EQ(LibtiffPixels(path), bitmap.Data());

    const std::string deflate = Written(bitmap, 8);
    EXPECT_EQ(Word(deflate, 10 + 12 * 4 + 8) & 0xFFFF, 8u);           // Compression (259)
    EXPECT_EQ(Word(deflate, 10 + 12 * 9 + 8), deflate.size() - 186);  // StripByteCounts (279)
    const Bytes strip(deflate.begin() + 186, deflate.end());
    EXPECT_EQ(RawInflate(strip, bitmap.DataSize()), bitmap.Data());
    // A zlib header would start 0x78; a raw stream starts with a block header.
    EXPECT_NE(strip.at(0), 0x78);
  }
}

TEST(TiffWriter, UnknownCompressionStopsAfterTheEntryCount) {
  for (std::uint16_t compression : {0, 2, 7, 32773}) {
    std::ostringstream out;
    try {
      ImageIO::WriteToTIFFFormat(Bitmap(8, 8), out, compression);
      ADD_FAILURE() << compression;
    } catch (const ImageException& e) {
      EXPECT_STREQ(e.what(), "Unsupported TIFF compression method for writing");
    }
    EXPECT_EQ(out.str().size(), 10u);
  }
}

}  // namespace
}  // namespace Brindle
