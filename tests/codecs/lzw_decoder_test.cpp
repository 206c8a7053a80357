// Our LZW decoder against libtiff's encoder and our own, and every failure.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <sstream>

#include "codecs/codec_runner.h"
#include "codecs/libtiff_reference.h"
#include "codecs/sample_data.h"
#include "graphics/codecs/exception.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/stream_bit_writer.h"
#include "graphics/codecs/tiff_prediction.h"

namespace {

using VellumTest::Bytes;

// libtiff's LZW encoding of `data` as one strip (width x 1, 8-bit grey).
Bytes LibtiffLzwStrip(const Bytes& data) {
  VellumTest::TempFile file;
  TIFF* tiff = TIFFOpen(file.path().c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(data.size()));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1u);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1u);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFWriteEncodedStrip(tiff, 0, const_cast<unsigned char*>(data.data()),
                        static_cast<tmsize_t>(data.size()));
  TIFFClose(tiff);
  tiff = TIFFOpen(file.path().c_str(), "r");
  Bytes strip(TIFFRawStripSize(tiff, 0));
  TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
  TIFFClose(tiff);
  return strip;
}

Bytes Decode(const Bytes& strip, std::uint32_t earlyChange = 1, Bytes* partial = nullptr) {
  Ashgrove::LZWCompression codec(earlyChange);
  return VellumTest::Decode(codec, strip, partial);
}

// Packs 9-bit codes, MSB first: enough for streams that stay short.
Bytes Codes(std::initializer_list<std::uint32_t> codes) {
  std::ostringstream out;
  Ashgrove::StreamBitWriter writer(out);
  for (auto code : codes) writer.Write(code, 9);
  writer.Flush();
  const std::string s = out.str();
  return Bytes(s.begin(), s.end());
}

TEST(LZWDecoder, DecodesLibtiffAndOurOwnStrips) {
  const struct {
    const char* name;
    Bytes bytes;
  } payloads[] = {
      {"label", VellumTest::LabelBitmap(900, 700)},
      {"photo", VellumTest::PhotoGrey(300, 200)},
      {"text", VellumTest::EnglishText(150'000)},
      {"random", VellumTest::RandomBytes(60'000, 9)},
      {"zeros", Bytes(500'000, 0)},
  };
  for (const auto& p : payloads) {
    SCOPED_TRACE(p.name);
    EXPECT_EQ(Decode(LibtiffLzwStrip(p.bytes)), p.bytes);
    Ashgrove::LZWCompression early(1), classic(0);
    EXPECT_EQ(Decode(VellumTest::Encode(early, p.bytes), 1), p.bytes);
    EXPECT_EQ(Decode(VellumTest::Encode(classic, p.bytes), 0), p.bytes);
  }
}

TEST(LZWDecoder, ClearThenEndOfInformationIsEmpty) {
  EXPECT_EQ(Decode(Codes({256, 257})), Bytes{});
}

TEST(LZWDecoder, DataAfterEndOfInformationOnlyWarns) {
  Bytes strip = Codes({256, 'A', 257});
  strip.push_back(0x55);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Decode(strip), Bytes{'A'});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning, not all data read\n");
}

TEST(LZWDecoder, WidthGrowsOneCodeEarly) {
  // After Clear and 254 codes, 253 entries have been added (next free code
  // 511), so the 255th code is read with 10 bits.
  std::ostringstream out;
  Ashgrove::StreamBitWriter writer(out);
  writer.Write(256, 9);
  for (int i = 0; i < 254; ++i) writer.Write('x', 9);
  writer.Write('y', 10);
  writer.Write(257, 10);
  writer.Flush();
  const std::string s = out.str();
  Bytes expected(254, 'x');
  expected.push_back('y');
  EXPECT_EQ(Decode(Bytes(s.begin(), s.end())), expected);
}

TEST(LZWDecoder, MalformedStreamsFailWithTheirMessage) {
  // Clear, then 'A' forever: the table fills after 3838 additions.
  std::ostringstream full;
  {
    Ashgrove::StreamBitWriter writer(full);
    std::uint32_t width = 9, next = 258;
    writer.Write(256, 9);
    writer.Write('A', 9);
    for (int i = 0; i < 3900; ++i) {
      writer.Write('A', width);
      if (next < 4096) ++next;
      if (((next + 1) >> width) != 0 && width < 13) ++width;
    }
    writer.Flush();
  }
  const std::string fullText = full.str();
  const struct {
    const char* name;
    Bytes strip;
    std::string message;
  } cases[] = {
      {"empty strip", {}, "Unexpected end of stream"},
      {"no End of Information", Codes({256, 'A'}), "Unexpected end of stream"},
      {"nothing after Clear", Codes({256}), "Unexpected end of LZW stream"},
      {"undefined code after Clear", Codes({256, 300}), "Invalid code in stream"},
      {"code beyond the next free one", Codes({256, 'A', 300}), "LZW code is invalid"},
      {"no Clear before the first string", Codes({'A', 257}),
       "Internal inconsistency in LZW decompression"},
      {"table overflow", Bytes(fullText.begin(), fullText.end()), "LZW table is full!"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(VellumTest::MessageOf([&] { Decode(c.strip); }), c.message);
  }
}

TEST(TIFFPrediction, UndoesDifferencingWithRowCarryOver) {
  const struct {
    const char* name;
    std::uint32_t colors, bits, columns;
    Bytes input, output;
    std::string message;
  } cases[] = {
      {"rows continue the previous row's sum", 1, 8, 1, {10, 5}, {10, 15}, ""},
      {"each color has its own sum", 2, 8, 2, {1, 2, 1, 2, 1, 2}, {1, 2, 2, 4, 3, 6}, ""},
      {"sums wrap at 256", 1, 8, 3, {200, 100, 1}, {200, 44, 45}, ""},
      {"16 bits add only the second byte", 1, 16, 1, {0x01, 0x02}, {0x02}, ""},
      {"16 bits, two samples", 1, 16, 2, {0xFF, 0x80, 0x00, 0x90}, {0x80, 0x10}, ""},
      {"ends inside a later pixel", 3, 8, 2, {1, 1, 1, 1}, {1, 1, 1, 2}, "Row data is incomplete"},
      {"ends inside a row's first pixel",
       3,
       8,
       2,
       {1, 1, 1, 1, 1, 1, 1},
       {1, 1, 1, 2, 2, 2, 3},
       ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Ashgrove::TIFFPrediction predictor(c.colors, c.bits, c.columns);
    Bytes out;
    EXPECT_EQ(VellumTest::MessageOf([&] { out = VellumTest::Decode(predictor, c.input, &out); }),
              c.message);
    EXPECT_EQ(out, c.output);
  }
}

TEST(TIFFPrediction, RefusesShapesItCannotUndo) {
  const struct {
    std::uint32_t colors, bits, columns;
    const char* message;
  } cases[] = {
      {5, 8, 10, "Unsupported number of colors for TIFF prediction"},
      {0, 8, 10, "Unsupported number of colors for TIFF prediction"},
      {1, 12, 10, "Bits per component must be 8 or 16"},
      {1, 8, 0, "Unable to perform TIFF prediction with no column data"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(VellumTest::MessageOf([&] { Ashgrove::TIFFPrediction(c.colors, c.bits, c.columns); }),
              c.message);
  }
}

}  // namespace
