#include "graphics/tiff_writer.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <sstream>

#include "graphics/bitmap.h"
#include "graphics/exception.h"
#include "graphics/tiff_tools.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;
using vellum_test::TiffTags;

// Inflates a raw Deflate stream (no zlib header) with zlib itself.
Bytes RawInflate(Bytes compressed, std::size_t expected) {
  Bytes result(expected + 1);
  z_stream stream{};
  if (inflateInit2(&stream, -15) != Z_OK) return {};
  stream.next_in = compressed.data();
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  const int status = inflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  inflateEnd(&stream);
  return status == Z_STREAM_END ? result : Bytes{};
}

// libtiff's tools read our uncompressed and LZW files to our pixels, and the
// Deflate strip is raw Deflate that zlib inflates to them.
TEST(TiffWriter, IndependentReadersGetOurPixels) {
  vellum_test::TempDir dir;
  for (const auto& [width, height] : {std::pair{1, 1}, {13, 37}, {831, 211}, {4096, 40}}) {
    // Diagonal strokes and a solid block, with padding bits in most rows.
    Bitmap bitmap(width, height);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        bitmap.SetPixel(x, y,
                        (x + 2 * y) % 7 == 0 || (x > width / 3 && x < width / 2 && y % 9 < 5));
      }
    }
    for (std::uint16_t compression : {1, 5, 8}) {
      SCOPED_TRACE(std::to_string(width) + " dots, compression " + std::to_string(compression));
      const auto path = dir / "out.tif";
      {
        std::ofstream out(path, std::ios::binary);
        ImageIO::WriteToTIFFFormat(bitmap, out, compression);
      }
      const Bytes file = vellum_test::ReadFile(path);
      auto tags = TiffTags(path);
      EXPECT_EQ(tags[259], std::to_string(compression));
      EXPECT_EQ(tags[279], std::to_string(file.size() - 186));
      if (compression == 8) {
        EXPECT_EQ(RawInflate({file.begin() + 186, file.end()}, bitmap.DataSize()), bitmap.Data());
      } else {
        EXPECT_EQ(vellum_test::RunCommand("tiffinfo -D '" + path.string() + "'").status, 0);
        EXPECT_EQ(vellum_test::LibtiffPixels(path), bitmap.Data());
      }
    }
  }
}

TEST(TiffWriter, TagsDescribeTheImage) {
  Bitmap bitmap(100, 50);
  bitmap.SetResolution(203, 300);
  const Image rgb(8, 3, 3, 2);
  const std::pair<const Image*, std::map<int, std::string>> kCases[] = {
      {&bitmap,
       {{256, "100"},
        {257, "50"},
        {258, "1"},
        {262, "0"},
        {273, "186"},
        {282, "203"},
        {283, "300"},
        {296, "2"}}},
      {&rgb, {{258, "8 8 8"}, {262, "2"}, {277, "3"}, {279, "18"}, {282, "96"}}},
  };
  vellum_test::TempDir dir;
  for (const auto& [image, expected] : kCases) {
    {
      std::ofstream out(dir / "out.tif", std::ios::binary);
      ImageIO::WriteToTIFFFormat(*image, out, 1);
    }
    auto tags = TiffTags(dir / "out.tif");
    for (const auto& [tag, value] : expected) EXPECT_EQ(tags[tag], value) << "tag " << tag;
  }
  std::ostringstream out;
  EXPECT_THROW(ImageIO::WriteToTIFFFormat(bitmap, out, 7), ImageException);
}

}  // namespace
}  // namespace Brindle
