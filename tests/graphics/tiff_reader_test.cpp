// Our reader against libtiff: files made by libtiff's tools read to the pixels
// libtiff decodes, our writer's files read back, and files we must refuse.
#include "graphics/tiff_reader.h"

#include <gtest/gtest.h>

#include <fstream>

#include "graphics/tiff_tools.h"
#include "graphics/tiff_writer.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Reads `file` into `image` and returns the message it fails with, "" if none.
std::string ReadInto(Brindle::Image& image, std::istream& file) {
  try {
    image.ReadFromTIFF(file);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

struct Source {
  const char* name;
  std::uint32_t bits, samples, width, height;
};

Brindle::Image SourceImage(const Source& s) {
  const std::size_t rowBytes = (std::size_t{s.bits} * s.samples * s.width + 7) / 8;
  Bytes pixels(rowBytes * s.height);
  for (std::size_t y = 0; y < s.height; ++y)
    for (std::size_t x = 0; x < rowBytes; ++x)
      pixels[y * rowBytes + x] =
          static_cast<unsigned char>((x * 7 + y * 13 + (x * y) / 5) ^ (y % 3 ? 0 : 0x5A));
  Brindle::Image image(s.bits, s.samples, s.width, s.height, pixels);
  image.SetResolution(203, 300);
  return image;
}

// Reads `file` with our reader, which must see `pixels` at the source's shape
// or else fail with `failure`.
void ExpectRead(const std::filesystem::path& file, const Source& s, const Bytes& pixels,
                const std::string& failure = "") {
  std::ifstream in(file, std::ios::binary);
  Brindle::Image read(1, 1, 1, 1);
  EXPECT_EQ(ReadInto(read, in), failure);
  if (!failure.empty()) return;
  EXPECT_EQ(read.Data(), pixels);
  EXPECT_EQ(read.Width() * read.Channels() * read.BitsPerSample(), s.width * s.samples * s.bits);
  EXPECT_EQ(read.HorizontalResolution(), 203u);
  EXPECT_EQ(read.VerticalResolution(), 300u);
}

// Our writer's files (compressions 1, 5 and 8) read back, and tiffcp's copies
// of them read to the pixels libtiff decodes. Heights avoid exactly two
// strips: libtiff then stores two SHORT StripByteCounts inside the entry,
// which our reader deliberately takes as an offset, as any count above one.
// The large source's strips let LZW fill its table and start over.
TEST(TIFFReaderAgainstLibtiff, FilesOfEveryShapeReadToLibtiffsPixels) {
  const Source sources[] = {{"1-bit label", 1, 1, 77, 40},  {"2-bit grey", 2, 1, 33, 16},
                            {"4-bit grey", 4, 1, 21, 18},   {"8-bit grey", 8, 1, 50, 33},
                            {"16-bit grey", 16, 1, 20, 17}, {"8-bit RGB", 8, 3, 19, 21},
                            {"8-bit CMYK", 8, 4, 11, 15},   {"8-bit large", 8, 1, 300, 210}};
  const Vellum::Testing::TempDir dir;
  const auto ours = dir / "ours.tif";
  const auto file = dir / "tiffcp.tif";
  for (const auto& s : sources) {
    const Brindle::Image image = SourceImage(s);
    for (int compression : {8, 5, 1}) {  // the last, uncompressed, is tiffcp's source
      SCOPED_TRACE(std::string(s.name) + ", our compression " + std::to_string(compression));
      {
        std::ofstream out(ours, std::ios::binary);
        Brindle::ImageIO::WriteToTIFFFormat(image, out, compression);
      }
      // libtiff decodes our LZW; it cannot read raw Deflate without a zlib header.
      if (compression != 8) {
        EXPECT_EQ(Vellum::Testing::LibtiffPixels(ours), image.Data());
      }
      ExpectRead(ours, s, image.Data());
    }
    for (const std::string compression : {"none", "lzw", "lzw:2", "zip"})
      for (const std::string order : {"-L", "-B"})
        for (std::uint32_t rows : {1, 7, 100}) {
          // libtiff's predictor takes 16-bit samples whole, ours their second byte only.
          if (compression == "lzw:2" && s.bits != 8) continue;
          const std::string options =
              "-c " + compression + " " + order + " -r " + std::to_string(rows);
          SCOPED_TRACE(std::string(s.name) + " " + options);
          const auto copy = Vellum::Testing::RunCommand("tiffcp " + options + " '" + ours.string() +
                                                        "' '" + file.string() + "'");
          ASSERT_EQ(copy.status, 0) << copy.output;
          Bytes expected = Vellum::Testing::LibtiffPixels(file);
          ASSERT_EQ(expected, image.Data());
          if (compression == "zip") {
            // libtiff's Deflate strips carry a zlib header; our decoder reads raw Deflate only.
            ExpectRead(file, s, {}, "Error reading length of uncompressed data");
            continue;
          }
          // Our predictor carries each color's sum on from row to row within a
          // strip (deliberately), where libtiff starts every row afresh.
          const std::size_t row = s.samples * s.width;
          for (std::size_t at = 0; compression == "lzw:2" && at < expected.size(); ++at) {
            if (at / row % rows != 0)
              expected[at] += expected[at / row * row - s.samples + at % row % s.samples];
          }
          // Our reader keeps 16-bit samples in the file's byte order.
          for (std::size_t i = 0; s.bits == 16 && order == "-B" && i < expected.size(); i += 2)
            std::swap(expected[i], expected[i + 1]);
          ExpectRead(file, s, expected);
        }
  }
}

// Each file in malformed-tiff/ is named after its defect; a failed read must leave
// the image it was reading into as it was.
TEST(TIFFReader, MalformedCorpus) {
  const struct {
    const char* file;
    const char* message;
  } cases[] = {
      {"not-a-tiff.tif", "Not a valid TIFF file"},
      {"unknown-version.tif", "Unknown TIFF version"},
      {"cut-inside-header.tif", "Read error reading from TIFF"},
      {"truncated-strip.tif", "Unable to read required number of bytes"},
      {"zero-width.tif", "Data in this TIFF file is not stored correctly"},
      {"strip-offset-past-end.tif", "Unable to read required number of bytes"},
      {"huge-strip-byte-count.tif", "Unable to read required number of bytes"},
      {"looping-directory-chain.tif", "TIFF directory chain loops back on itself"},
      {"wrong-bits-per-sample-count.tif",
       "Number of bits per sample fields does not match number of samples per pixel"},
      {"mixed-bit-depths.tif", "Variably-sized bit-depths are not supported"},
      {"three-bits-per-sample.tif", "Unsupported bit-depth for this TIFF file"},
      {"no-resolution-unit.tif",
       "This TIFF file does not contain the resolution unit of measurement"},
      {"jpeg-compression.tif", "JPEG support is missing"},
      {"ccitt-compression.tif", "Unknown TIFF compression method used"},
      {"floating-point-predictor.tif", "Unknown prediction method used in TIFF"},
  };
  const std::filesystem::path dir =
      std::filesystem::path(VELLUM_SOURCE_DIR) / "tests" / "graphics" / "malformed-tiff";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    std::ifstream in(dir / c.file, std::ios::binary);
    ASSERT_TRUE(in) << "missing corpus file";
    Brindle::Image image(8, 1, 2, 2, Bytes{1, 2, 3, 4});
    EXPECT_EQ(ReadInto(image, in), c.message);
    EXPECT_EQ(image.Data(), (Bytes{1, 2, 3, 4}));
  }
}

}  // namespace
