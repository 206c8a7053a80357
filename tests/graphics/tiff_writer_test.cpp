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

// Inflates a raw Deflate stream (no zlib header) with zlib itself.
Bytes RawInflate(Bytes compressed, std::size_t expected) {
  Bytes result(expected + 1);
  z_stream stream{};
  inflateInit2(&stream, -15);
  stream.next_in = compressed.data();
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = result.data();
  stream.avail_out = static_cast<uInt>(result.size());
  const int status = inflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  inflateEnd(&stream);
  return status == Z_STREAM_END ? result : Bytes{};
}

// libtiff's tools read our uncompressed and LZW files to our tags and
// pixels, and the Deflate strip is raw Deflate that zlib inflates to them.
TEST(TiffWriter, IndependentReadersGetOurTagsAndPixels) {
  Vellum::Testing::TempDir dir;
  const auto path = dir / "out.tif";
  for (const auto& [width, height] : {std::pair{1, 1}, {13, 37}, {831, 211}, {4096, 40}}) {
    // Diagonal strokes and a solid block, with padding bits in most rows.
    Bitmap bitmap(width, height);
    bitmap.SetResolution(203, 300);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        bitmap.SetPixel(x, y,
                        (x + 2 * y) % 7 == 0 || (x > width / 3 && x < width / 2 && y % 9 < 5));
      }
    }
    for (std::uint16_t compression : {1, 5, 8}) {
      SCOPED_TRACE(std::to_string(width) + " dots, compression " + std::to_string(compression));
      {
        std::ofstream out(path, std::ios::binary);
        ImageIO::WriteToTIFFFormat(bitmap, out, compression);
      }
      const Bytes file = Vellum::Testing::ReadFile(path);
      auto tags = Vellum::Testing::TiffTags(path);
      EXPECT_EQ(tags[256] + "x" + tags[257], std::to_string(width) + "x" + std::to_string(height));
      EXPECT_EQ(tags[259], std::to_string(compression));
      EXPECT_EQ(tags[279], std::to_string(file.size() - 186));
      // One bit a sample, 0 is white, the strip follows the header, dots per inch.
      for (const auto& [tag, value] :
           {std::pair{258, "1"}, {262, "0"}, {273, "186"}, {282, "203"}, {283, "300"}}) {
        EXPECT_EQ(tags[tag], value) << "tag " << tag;
      }
      if (compression == 8) {
        EXPECT_EQ(RawInflate({file.begin() + 186, file.end()}, bitmap.DataSize()), bitmap.Data());
      } else {
        EXPECT_EQ(Vellum::Testing::RunCommand("tiffinfo -D '" + path.string() + "'").status, 0);
        EXPECT_EQ(Vellum::Testing::LibtiffPixels(path), bitmap.Data());
      }
    }
  }
  std::ostringstream out;
  EXPECT_THROW(ImageIO::WriteToTIFFFormat(Bitmap(8, 8), out, 7), ImageException);
}

}  // namespace
}  // namespace Brindle
