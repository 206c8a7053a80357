// Our reader against libtiff: files made by libtiff's tools read to the pixels
// libtiff decodes, our writer's files read back, and files we must refuse.
#include "graphics/tiff_reader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "graphics/codecs/exception.h"
#include "graphics/exception.h"
#include "graphics/tiff_tools.h"
#include "graphics/tiff_writer.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Reads `file` into `image` and returns the message it fails with, "" if none.
std::string ReadInto(Brindle::Image& image, std::istream& file) {
  try {
    image.ReadFromTIFF(file);
  } catch (const Brindle::Exception& error) {
    return error.what();
  } catch (const Ashgrove::Exception& error) {
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
  image.SetResolution(203, 203);
  return image;
}

// Our predictor's sums run on from row to row within a strip (deliberately),
// where libtiff restarts them at each row: from libtiff's 8-bit pixels,
// re-difference each row and sum over the whole strip.
Bytes WithRowCarryOver(const Bytes& pixels, std::uint32_t samples, std::uint32_t width,
                       std::uint32_t rowsPerStrip) {
  const std::size_t rowBytes = std::size_t{samples} * width;
  Bytes out(pixels.size());
  std::vector<unsigned char> sums(samples);
  for (std::size_t y = 0; y < pixels.size() / rowBytes; ++y) {
    if (y % rowsPerStrip == 0) std::fill(sums.begin(), sums.end(), 0);
    for (std::size_t i = 0; i < rowBytes; ++i) {
      const std::size_t at = y * rowBytes + i;
      const unsigned char delta =
          i < samples ? pixels[at] : static_cast<unsigned char>(pixels[at] - pixels[at - samples]);
      sums[i % samples] = static_cast<unsigned char>(sums[i % samples] + delta);
      out[at] = sums[i % samples];
    }
  }
  return out;
}

// Heights avoid exactly two strips: libtiff then stores two SHORT
// StripByteCounts inside the entry, which our reader deliberately takes as an
// offset, as it does any count above one.
TEST(TIFFReaderAgainstLibtiff, TiffcpVariantsReadToLibtiffsPixels) {
  const Source sources[] = {
      {"1-bit label", 1, 1, 77, 40}, {"2-bit grey", 2, 1, 33, 16},   {"4-bit grey", 4, 1, 21, 18},
      {"8-bit grey", 8, 1, 50, 33},  {"16-bit grey", 16, 1, 20, 17}, {"8-bit RGB", 8, 3, 19, 21},
      {"8-bit CMYK", 8, 4, 11, 15},
  };
  const vellum_test::TempDir dir;
  const auto base = dir / "base.tif";
  const auto file = dir / "variant.tif";
  for (const auto& s : sources) {
    const Brindle::Image image = SourceImage(s);
    {
      std::ofstream out(base, std::ios::binary);
      Brindle::ImageIO::WriteToTIFFFormat(image, out, 1);
    }
    for (const std::string compression : {"none", "lzw", "lzw:2", "zip"})
      for (const std::string order : {"-L", "-B"})
        for (std::uint32_t rows : {1, 7, 100}) {
          // Our predictor undoes 8-bit samples as libtiff does, bar the carry-over.
          if (compression == "lzw:2" && s.bits != 8) continue;
          const std::string options =
              "-c " + compression + " " + order + " -r " + std::to_string(rows);
          SCOPED_TRACE(std::string(s.name) + " " + options);
          const auto copy = vellum_test::RunCommand("tiffcp " + options + " '" + base.string() +
                                                    "' '" + file.string() + "'");
          ASSERT_EQ(copy.status, 0) << copy.output;
          Bytes expected = vellum_test::LibtiffPixels(file);
          ASSERT_EQ(expected, image.Data());
          if (compression == "lzw:2")
            expected = WithRowCarryOver(expected, s.samples, s.width, rows);
          // Our reader keeps 16-bit samples in the file's byte order.
          for (std::size_t i = 0; s.bits == 16 && order == "-B" && i < expected.size(); i += 2)
            std::swap(expected[i], expected[i + 1]);
          std::ifstream in(file, std::ios::binary);
          Brindle::Image read(1, 1, 1, 1);
          const std::string failure = ReadInto(read, in);
          if (compression == "zip") {
            // libtiff's Deflate strips carry a zlib header; our decoder reads raw Deflate only.
            EXPECT_EQ(failure, "Error reading length of uncompressed data");
            continue;
          }
          EXPECT_EQ(failure, "");
          EXPECT_EQ(read.Data(), expected);
          EXPECT_EQ(read.HorizontalResolution(), 203u);
        }
  }
}

TEST(TIFFReader, OurWriterReadsBack) {
  const Source sources[] = {{"1-bit", 1, 1, 21, 9},
                            {"8-bit", 8, 1, 13, 11},
                            {"RGB", 8, 3, 5, 7},
                            {"16-bit", 16, 1, 4, 4}};
  for (const auto& s : sources) {
    for (std::uint16_t compression : {1, 5, 8}) {
      SCOPED_TRACE(std::string(s.name) + ", compression " + std::to_string(compression));
      Brindle::Image original = SourceImage(s);
      original.SetResolution(203, 300);
      std::stringstream file;
      Brindle::ImageIO::WriteToTIFFFormat(original, file, compression);
      Brindle::Image read(1, 1, 1, 1);
      EXPECT_EQ(ReadInto(read, file), "");
      EXPECT_EQ(read.Data(), original.Data());
      EXPECT_EQ(read.Channels(), original.Channels());
      EXPECT_EQ(read.Width(), original.Width());
      EXPECT_EQ(read.HorizontalResolution(), 203u);
      EXPECT_EQ(read.VerticalResolution(), 300u);
    }
  }
}

// Each file in malformed/ is named after its defect; a failed read must leave
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
      std::filesystem::path(VELLUM_SOURCE_DIR) / "tests" / "tiff_reader" / "malformed";
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
