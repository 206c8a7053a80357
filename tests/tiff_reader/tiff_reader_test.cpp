// The reader on hand-built files: each field rule, and a corpus of malformed
// files named after their defect.
#include "graphics/tiff_reader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "graphics/codecs/exception.h"
#include "graphics/exception.h"
#include "graphics/image.h"
#include "graphics/tiff_writer.h"
#include "tiff_reader/tiff_builder.h"

namespace {

using Bytes = std::vector<unsigned char>;
using VellumTest::TiffBuilder;

std::string AsString(const Bytes& b) { return std::string(b.begin(), b.end()); }

Brindle::Image Read(const Bytes& file, Brindle::TIFFFileInfo* info = nullptr) {
  std::istringstream in(AsString(file));
  return Brindle::ImageIO::ReadFromTIFFFormat(in, info);
}

std::string FailureOf(const Bytes& file) {
  try {
    Read(file);
  } catch (const Brindle::Exception& e) {
    return e.what();
  } catch (const Ashgrove::Exception& e) {
    return e.what();
  }
  return "";
}

const Bytes kPixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

TEST(TIFFReader, ReadsAHandBuiltFileInEitherByteOrder) {
  for (bool bigEndian : {false, true}) {
    TiffBuilder b = TiffBuilder::Grey(4, 3, kPixels);
    b.bigEndian = bigEndian;
    Brindle::TIFFFileInfo info(*std::make_unique<std::istringstream>(AsString(b.Build())));
    const Brindle::Image image = Read(b.Build());
    EXPECT_EQ(image.Data(), kPixels);
    EXPECT_EQ(image.Width(), 4u);
    EXPECT_EQ(image.Height(), 3u);
    EXPECT_EQ(image.BitsPerSample(), 8u);
    EXPECT_EQ(image.HorizontalResolution(), 300u);
    EXPECT_EQ(info.rowsPerStrip, 3u);
    EXPECT_EQ(info.stripByteCounts, std::vector<std::uint32_t>{12});
  }
}

TEST(TIFFReader, ResolutionUnits) {
  const struct {
    std::uint32_t unit, numerator;
    double resolution;
    std::uint64_t whole;
  } cases[] = {{1, 300, 300, 300}, {2, 203, 203, 203}, {3, 118, 299.72, 299}};
  for (const auto& c : cases) {
    TiffBuilder b = TiffBuilder::Grey(4, 3, kPixels);
    b.Set(296, 3, {c.unit}).Set(282, 5, {c.numerator, 1}).Set(283, 5, {c.numerator, 1});
    Brindle::TIFFFileInfo info(*std::make_unique<std::istringstream>(AsString(b.Build())));
    EXPECT_DOUBLE_EQ(info.horizontalResolution, c.resolution);
    EXPECT_EQ(Read(b.Build()).VerticalResolution(), c.whole);
  }
}

TEST(TIFFReader, LaterDirectoriesOnlyAddFields) {
  TiffBuilder b = TiffBuilder::Grey(4, 3, kPixels);
  b.Drop(296);
  b.nextDirectory = static_cast<std::uint32_t>(b.Build().size());
  Bytes file = b.Build();
  // Second directory: ImageWidth 2 (ignored, the first says 4) and
  // ResolutionUnit 3 (used: the first has none).
  const unsigned char second[] = {2, 0, 0x00, 1, 4, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0x28,
                                  1, 3, 0,    1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0};
  file.insert(file.end(), std::begin(second), std::end(second));
  Brindle::TIFFFileInfo info;
  const Brindle::Image image = Read(file, &info);
  EXPECT_EQ(info.width, 4u);
  EXPECT_EQ(image.HorizontalResolution(), 762u);
}

TEST(TIFFReader, FieldRulesAndTheirMessages) {
  const struct {
    const char* name;
    TiffBuilder file;
    std::string message;
  } cases[] = {
      {"no compression", TiffBuilder::Grey(4, 3, kPixels).Drop(259),
       "Cannot determine compression of this TIFF"},
      {"no width", TiffBuilder::Grey(4, 3, kPixels).Drop(256), "TIFF dimensions are invalid"},
      {"two heights", TiffBuilder::Grey(4, 3, kPixels).Set(257, 4, {3, 3}),
       "TIFF dimensions are invalid"},
      {"no samples per pixel", TiffBuilder::Grey(4, 3, kPixels).Drop(277),
       "File does not specify number of samples per pixel"},
      {"no bits per sample", TiffBuilder::Grey(4, 3, kPixels).Drop(258),
       "Cannot find information about bits per sample"},
      {"bits per sample as text", TiffBuilder::Grey(4, 3, kPixels).Set(258, 2, {8, 8}),
       "Cannot read fields of this type"},
      {"mixed bit depths",
       TiffBuilder::Grey(4, 1, kPixels).Set(277, 3, {3}).Set(258, 3, {8, 8, 16}),
       "Variably-sized bit-depths are not supported"},
      {"no photometric interpretation", TiffBuilder::Grey(4, 3, kPixels).Drop(262),
       "TIFF file does not contain a photometric interpretation"},
      {"no rows per strip", TiffBuilder::Grey(4, 3, kPixels).Drop(278),
       "Could not find strip information"},
      {"more offsets than counts", TiffBuilder::Grey(4, 3, kPixels).Set(279, 4, {6, 6, 0}),
       "Strip offsets and strip byte counts are different sizes"},
      {"no x resolution", TiffBuilder::Grey(4, 3, kPixels).Drop(282),
       "This TIFF file does not contain the required x-resolution information"},
      {"y resolution of one value", TiffBuilder::Grey(4, 3, kPixels).Set(283, 4, {300}),
       "This TIFF file does not contain the required y-resolution information"},
      {"no resolution unit", TiffBuilder::Grey(4, 3, kPixels).Drop(296),
       "This TIFF file does not contain the resolution unit of measurement"},
      {"resolution unit 0", TiffBuilder::Grey(4, 3, kPixels).Set(296, 3, {0}),
       "Unknown unit of measurement used in TIFF file"},
      {"3 bits per sample", TiffBuilder::Grey(4, 3, kPixels).Set(258, 3, {3}),
       "Unsupported bit-depth for this TIFF file"},
      {"JPEG", TiffBuilder::Grey(4, 3, kPixels).Set(259, 3, {7}), "JPEG support is missing"},
      {"CCITT", TiffBuilder::Grey(4, 3, kPixels).Set(259, 3, {2}),
       "Unknown TIFF compression method used"},
      {"floating point predictor",
       TiffBuilder::Grey(1, 1, {0x80, 0x10, 0x60, 0x20}).Set(259, 3, {5}).Set(317, 3, {3}),
       "Unknown prediction method used in TIFF"},
      {"strip not a whole number of rows", TiffBuilder::Grey(4, 3, Bytes(10, 0)),
       "Data in this TIFF file is not stored correctly"},
      {"zero denominator", TiffBuilder::Grey(4, 3, kPixels).Set(282, 5, {300, 0}),
       "TIFF resolution is out of range"},
      {"bits per sample 8,8,8 are fine",
       TiffBuilder::Grey(4, 1, kPixels).Set(277, 3, {3}).Set(258, 3, {8, 8, 8}), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(FailureOf(c.file.Build()), c.message);
  }
}

TEST(TIFFReader, HeaderChecks) {
  EXPECT_EQ(FailureOf({'I', 'X', 42, 0, 8, 0, 0, 0}), "Not a valid TIFF file");
  EXPECT_EQ(FailureOf({'M', 'M', 0, 43, 0, 0, 0, 8}), "Unknown TIFF version");
  EXPECT_EQ(FailureOf({'I', 'I', 42, 0, 8}), "Read error reading from TIFF");
  EXPECT_EQ(FailureOf({'M', 'M', 0, 42, 0, 0, 0, 0}), "Cannot determine compression of this TIFF");
}

// Each file in malformed/ is named after its defect. Set
// VELLUM_REGENERATE_MALFORMED=1 to write them again from the table.
TEST(TIFFReader, MalformedCorpus) {
  auto withStrip = [](TiffBuilder b, std::uint32_t offset, std::uint32_t count) {
    b.Set(273, 4, {offset}).Set(279, 4, {count});
    return b.Build();
  };
  TiffBuilder looping = TiffBuilder::Grey(4, 3, kPixels);
  looping.nextDirectory = 8;
  TiffBuilder truncated = TiffBuilder::Grey(4, 3, kPixels);
  Bytes truncatedFile = truncated.Build();
  truncatedFile.erase(truncatedFile.end() - 5, truncatedFile.end());
  const struct {
    const char* file;
    Bytes bytes;
    std::string message;
  } cases[] = {
      {"truncated-strip.tif", truncatedFile, "Unable to read required number of bytes"},
      {"zero-width.tif", TiffBuilder::Grey(0, 3, kPixels).Build(),
       "Data in this TIFF file is not stored correctly"},
      {"strip-offset-past-end.tif", withStrip(TiffBuilder::Grey(4, 3, {}), 100000, 12),
       "Unable to read required number of bytes"},
      {"huge-strip-byte-count.tif", withStrip(TiffBuilder::Grey(4, 3, kPixels), 8, 0xFFFFFFF0u),
       "Unable to read required number of bytes"},
      {"looping-directory-chain.tif", looping.Build(), "TIFF directory chain loops back on itself"},
      {"wrong-bits-per-sample-count.tif",
       TiffBuilder::Grey(4, 1, kPixels).Set(277, 3, {3}).Set(258, 3, {8, 8}).Build(),
       "Number of bits per sample fields does not match number of samples per pixel"},
  };
  const char* source = std::getenv("VELLUM_SOURCE_DIR");
  if (source == nullptr) GTEST_SKIP() << "VELLUM_SOURCE_DIR is not set (run through ctest)";
  const std::filesystem::path dir = std::filesystem::path(source) /
                                    "tests" / "tiff_reader" / "malformed";
  const bool regenerate = std::getenv("VELLUM_REGENERATE_MALFORMED") != nullptr;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    if (regenerate) {
      std::ofstream(dir / c.file, std::ios::binary)
          .write(reinterpret_cast<const char*>(c.bytes.data()),
                 static_cast<std::streamsize>(c.bytes.size()));
    }
    std::ifstream in(dir / c.file, std::ios::binary);
    ASSERT_TRUE(in) << "missing corpus file";
    const Bytes stored{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(stored, c.bytes);
    EXPECT_EQ(FailureOf(stored), c.message);
  }
}

TEST(TIFFReader, OurWriterReadsBack) {
  Bytes rgb(5 * 7 * 3);
  for (std::size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<unsigned char>(i * 37);
  const Brindle::Image images[] = {
      Brindle::Image(1, 1, 21, 9, Bytes(27, 0xA5)),
      Brindle::Image(8, 1, 13, 11, Bytes(143, 0x42)),
      Brindle::Image(8, 3, 5, 7, rgb),
      Brindle::Image(16, 1, 4, 4, Bytes(32, 0x10)),
  };
  for (const auto& original : images) {
    for (std::uint16_t compression : {1, 5, 8}) {
      SCOPED_TRACE(compression);
      Brindle::Image copy(original);
      copy.SetResolution(203, 300);
      std::stringstream file;
      Brindle::ImageIO::WriteToTIFFFormat(copy, file, compression);
      Brindle::Image read(1, 1, 1, 1);
      read.ReadFromTIFF(file);
      EXPECT_EQ(read.Data(), original.Data());
      EXPECT_EQ(read.Channels(), original.Channels());
      EXPECT_EQ(read.Width(), original.Width());
      EXPECT_EQ(read.HorizontalResolution(), 203u);
      EXPECT_EQ(read.VerticalResolution(), 300u);
    }
  }
}

TEST(TIFFReader, FailedReadLeavesTheImageAsItWas) {
  Brindle::Image image(8, 1, 2, 2, Bytes{1, 2, 3, 4});
  std::istringstream broken("II*\0garbage");
  EXPECT_THROW(image.ReadFromTIFF(broken), Brindle::ImageException);
  EXPECT_EQ(image.Data(), (Bytes{1, 2, 3, 4}));
}

TEST(TIFFReader, RawStripDataIsReturnedAsStored) {
  const Bytes lzw = {0x80, 0x10, 0x60, 0x20};  // Clear, 'A', End of Information
  const Bytes file = TiffBuilder::Grey(1, 1, lzw).Set(259, 3, {5}).Build();
  std::istringstream in(AsString(file));
  Brindle::TIFFFileInfo info(in);
  EXPECT_EQ(Brindle::ImageIO::ReadStripDataFromTIFFFormat(in, info, false), lzw);
  EXPECT_EQ(Brindle::ImageIO::ReadStripDataFromTIFFFormat(in, info, true), Bytes{'A'});
}

}  // namespace
