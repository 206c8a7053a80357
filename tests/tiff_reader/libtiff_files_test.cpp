// Files made by libtiff's own tools must read to the pixels libtiff decodes.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "graphics/codecs/exception.h"
#include "graphics/exception.h"
#include "graphics/tiff_reader.h"
#include "graphics/tiff_tools.h"
#include "graphics/tiff_writer.h"

namespace {

using Bytes = std::vector<unsigned char>;

// libtiff's decoding of every strip, concatenated (samples in host order).
Bytes LibtiffStrips(const std::string& path, std::uint32_t* predictor = nullptr) {
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  if (tiff == nullptr) return {};
  Bytes out;
  for (tstrip_t s = 0; s < TIFFNumberOfStrips(tiff); ++s) {
    Bytes strip(TIFFStripSize(tiff));
    const tmsize_t got =
        TIFFReadEncodedStrip(tiff, s, strip.data(), static_cast<tmsize_t>(strip.size()));
    if (got < 0) break;
    out.insert(out.end(), strip.begin(), strip.begin() + got);
  }
  if (predictor) {
    std::uint16_t value = 1;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PREDICTOR, &value);
    *predictor = value;
  }
  TIFFClose(tiff);
  return out;
}

Brindle::Image ReadOurs(const std::filesystem::path& path, Brindle::TIFFFileInfo* info = nullptr) {
  std::ifstream in(path, std::ios::binary);
  return Brindle::ImageIO::ReadFromTIFFFormat(in, info);
}

struct Source {
  const char* name;
  std::uint32_t bits, samples, width, height;
};

Bytes SourcePixels(const Source& s) {
  const std::size_t rowBytes = (std::size_t{s.bits} * s.samples * s.width + 7) / 8;
  Bytes pixels(rowBytes * s.height);
  for (std::size_t y = 0; y < s.height; ++y)
    for (std::size_t x = 0; x < rowBytes; ++x)
      pixels[y * rowBytes + x] =
          static_cast<unsigned char>((x * 7 + y * 13 + (x * y) / 5) ^ (y % 3 ? 0 : 0x5A));
  return pixels;
}

// The predictor's sums run on from row to row within a strip in our reader
// (deliberately), where libtiff restarts them at each row: from libtiff's
// pixels, re-difference each row and sum over the whole strip.
Bytes WithRowCarryOver(const Bytes& pixels, std::uint32_t samples, std::uint32_t width,
                       std::uint32_t rowsPerStrip) {
  const std::size_t rowBytes = std::size_t{samples} * width;
  const std::size_t rows = pixels.size() / rowBytes;
  Bytes out(pixels.size());
  std::vector<unsigned char> sums(samples);
  for (std::size_t y = 0; y < rows; ++y) {
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

// Heights avoid exactly two strips: see TwoInlineStripCountsAreTakenAsAnOffset.
TEST(TIFFReaderAgainstLibtiff, TiffcpVariantsReadToLibtiffsPixels) {
  const Source sources[] = {
      {"1-bit label", 1, 1, 77, 40}, {"2-bit grey", 2, 1, 33, 16},   {"4-bit grey", 4, 1, 21, 18},
      {"8-bit grey", 8, 1, 50, 33},  {"16-bit grey", 16, 1, 20, 17}, {"8-bit RGB", 8, 3, 19, 21},
      {"8-bit CMYK", 8, 4, 11, 15},
  };
  const char* const compressions[] = {"none", "lzw"};
  const char* const orders[] = {"-L", "-B"};
  const int rowsPerStrip[] = {1, 7, 100};
  vellum_test::TempDir dir;
  for (const auto& s : sources) {
    Brindle::Image image(s.bits, s.samples, s.width, s.height, SourcePixels(s));
    image.SetResolution(203, 203);
    const auto base = dir / (std::string(s.name) + ".tif");
    {
      std::ofstream out(base, std::ios::binary);
      Brindle::ImageIO::WriteToTIFFFormat(image, out, 1);
    }
    for (const char* compression : compressions)
      for (const char* order : orders)
        for (int rows : rowsPerStrip) {
          const std::string variant = std::string(s.name) + " -c " + compression + " " + order +
                                      " -r " + std::to_string(rows);
          SCOPED_TRACE(variant);
          const auto file = dir / "variant.tif";
          const auto copy = vellum_test::RunCommand("tiffcp -c " + std::string(compression) + " " +
                                                    order + " -r " + std::to_string(rows) + " '" +
                                                    base.string() + "' '" + file.string() + "'");
          ASSERT_EQ(copy.status, 0) << copy.output;
          Bytes expected = LibtiffStrips(file.string());
          ASSERT_EQ(expected, image.Data());
          // Our reader keeps 16-bit samples in the file's byte order.
          if (s.bits == 16 && std::string(order) == "-B") {
            for (std::size_t i = 0; i + 1 < expected.size(); i += 2)
              std::swap(expected[i], expected[i + 1]);
          }
          Brindle::TIFFFileInfo info;
          const Brindle::Image read = ReadOurs(file, &info);
          EXPECT_EQ(read.Data(), expected);
          EXPECT_EQ(info.rowsPerStrip, static_cast<std::uint32_t>(rows));
          EXPECT_EQ(read.HorizontalResolution(), 203u);
        }
  }
}

TEST(TIFFReaderAgainstLibtiff, PredictorFilesCarrySumsAcrossRows) {
  const Source sources[] = {
      {"8-bit grey", 8, 1, 30, 20}, {"8-bit RGB", 8, 3, 9, 11}, {"8-bit CMYK", 8, 4, 7, 12}};
  vellum_test::TempDir dir;
  for (const auto& s : sources) {
    for (int rows : {1, 5}) {
      SCOPED_TRACE(std::string(s.name) + " rows " + std::to_string(rows));
      Brindle::Image image(s.bits, s.samples, s.width, s.height, SourcePixels(s));
      const auto base = dir / "base.tif";
      const auto file = dir / "lzw2.tif";
      {
        std::ofstream out(base, std::ios::binary);
        Brindle::ImageIO::WriteToTIFFFormat(image, out, 1);
      }
      const auto copy = vellum_test::RunCommand("tiffcp -c lzw:2 -r " + std::to_string(rows) +
                                                " '" + base.string() + "' '" + file.string() + "'");
      ASSERT_EQ(copy.status, 0) << copy.output;
      std::uint32_t predictor = 0;
      const Bytes pixels = LibtiffStrips(file.string(), &predictor);
      ASSERT_EQ(predictor, 2u);
      ASSERT_EQ(pixels, image.Data());
      EXPECT_EQ(ReadOurs(file).Data(), WithRowCarryOver(pixels, s.samples, s.width, rows));
    }
  }
}

TEST(TIFFReaderAgainstLibtiff, TwoInlineStripCountsAreTakenAsAnOffset) {
  // libtiff stores two SHORT byte counts inside the entry; our reader takes
  // any count above 1 as an offset, on purpose, and here that offset
  // (264 << 16 | 308) lies far past the end of the file.
  vellum_test::TempDir dir;
  Brindle::Image image(8, 4, 11, 13, SourcePixels({"CMYK", 8, 4, 11, 13}));
  const auto base = dir / "base.tif";
  const auto file = dir / "two-strips.tif";
  {
    std::ofstream out(base, std::ios::binary);
    Brindle::ImageIO::WriteToTIFFFormat(image, out, 1);
  }
  ASSERT_EQ(
      vellum_test::RunCommand("tiffcp -c none -r 7 '" + base.string() + "' '" + file.string() + "'")
          .status,
      0);
  ASSERT_EQ(LibtiffStrips(file.string()), image.Data());
  EXPECT_THROW(ReadOurs(file), Brindle::ImageException);
}

TEST(TIFFReaderAgainstLibtiff, LibtiffDeflateWithZlibHeaderFailsCleanly) {
  vellum_test::TempDir dir;
  Brindle::Image image(8, 1, 64, 64, Bytes(64 * 64, 0x33));
  const auto base = dir / "base.tif";
  const auto file = dir / "zip.tif";
  {
    std::ofstream out(base, std::ios::binary);
    Brindle::ImageIO::WriteToTIFFFormat(image, out, 1);
  }
  ASSERT_EQ(vellum_test::RunCommand("tiffcp -c zip '" + base.string() + "' '" + file.string() + "'")
                .status,
            0);
  ASSERT_EQ(LibtiffStrips(file.string()), image.Data());
  bool failed = false;
  try {
    ReadOurs(file);
  } catch (const Ashgrove::Exception&) {
    failed = true;
  } catch (const Brindle::Exception&) {
    failed = true;
  }
  EXPECT_TRUE(failed);
}

}  // namespace
