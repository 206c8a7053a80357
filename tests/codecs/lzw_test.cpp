// LZW both ways against libtiff, every decoder failure, and the predictor.
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

#include "codecs/codec_runner.h"
#include "codecs/sample_data.h"
#include "graphics/codecs/exception.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/stream_bit_writer.h"
#include "graphics/codecs/tiff_prediction.h"

namespace {

using VellumTest::Bytes;

// A one-strip, 8-bit grey TIFF of data.size() x 1 in a temporary file:
// libtiff encodes and decodes strips only inside a file.
class LibtiffStrip {
 public:
  LibtiffStrip() {
    char name[] = "/tmp/vellum-lzw-XXXXXX";
    close(mkstemp(name));
    path_ = name;
  }
  ~LibtiffStrip() { std::remove(path_.c_str()); }

  // libtiff's LZW encoding of `data`.
  Bytes Encode(const Bytes& data) {
    TIFF* tiff = Create(data.size());
    TIFFWriteEncodedStrip(tiff, 0, const_cast<unsigned char*>(data.data()),
                          static_cast<tmsize_t>(data.size()));
    TIFFClose(tiff);
    tiff = TIFFOpen(path_.c_str(), "r");
    Bytes strip(TIFFRawStripSize(tiff, 0));
    TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    return strip;
  }

  // libtiff's decoding of an LZW `strip` of `size` bytes.
  Bytes Decode(const Bytes& strip, std::size_t size) {
    TIFF* tiff = Create(size);
    TIFFWriteRawStrip(tiff, 0, const_cast<unsigned char*>(strip.data()),
                      static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    tiff = TIFFOpen(path_.c_str(), "r");
    Bytes out(size);
    const tmsize_t got = TIFFReadEncodedStrip(tiff, 0, out.data(), static_cast<tmsize_t>(size));
    TIFFClose(tiff);
    out.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return out;
  }

 private:
  TIFF* Create(std::size_t width) {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    TIFF* tiff = TIFFOpen(path_.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1u);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 1u);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    return tiff;
  }

  std::string path_;
};

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

TEST(LZW, BothWaysAgainstLibtiff) {
  const struct {
    const char* name;
    Bytes bytes;
  } payloads[] = {
      {"one byte", {0x41}},
      {"label", VellumTest::LabelBitmap(900, 700)},
      {"photo", VellumTest::PhotoGrey(300, 200)},
      {"text", VellumTest::EnglishText(150'000)},
      {"random, many table resets", VellumTest::RandomBytes(200'000, 9)},
      {"zeros, long strings", Bytes(2'000'000, 0)},
  };
  LibtiffStrip libtiff;
  for (const auto& p : payloads) {
    SCOPED_TRACE(p.name);
    Ashgrove::LZWCompression early(1), classic(0);
    const Bytes ours = VellumTest::Encode(early, p.bytes);
    EXPECT_EQ(libtiff.Decode(ours, p.bytes.size()), p.bytes);
    EXPECT_EQ(Decode(libtiff.Encode(p.bytes)), p.bytes);
    EXPECT_EQ(Decode(ours, 1), p.bytes);
    EXPECT_EQ(Decode(VellumTest::Encode(classic, p.bytes), 0), p.bytes);
  }
}

TEST(LZWEncoder, ClearFirstEndOfInformationLast) {
  Ashgrove::LZWCompression codec(1);
  // 256 and 257 in 9 bits each, MSB first, padded with zeros.
  EXPECT_EQ(VellumTest::Encode(codec, {}), (Bytes{0x80, 0x40, 0x40}));
  // Clear, 'A', End of Information.
  EXPECT_EQ(VellumTest::Encode(codec, {0x41}), (Bytes{0x80, 0x10, 0x60, 0x20}));
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
