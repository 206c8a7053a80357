// LZW both ways against libtiff, the decoder's failures, and the predictor.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <sstream>

#include "codecs/codec_runner.h"
#include "codecs/sample_data.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/stream_bit_writer.h"
#include "graphics/codecs/tiff_prediction.h"
#include "graphics/tiff_tools.h"

namespace {

using VellumTest::Bytes;

// libtiff's LZW on a one-row, one-strip 8-bit grey file (libtiff codes strips
// only inside a file): with `encode`, libtiff's strip for `data`; otherwise
// `data` is a strip and the result is libtiff's decoding of its `width` bytes.
Bytes Libtiff(const Bytes& data, bool encode, std::size_t width) {
  const vellum_test::TempDir dir;
  const std::string path = (dir / "strip.tif").string();
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1u);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  auto* bytes = const_cast<unsigned char*>(data.data());
  const auto size = static_cast<tmsize_t>(data.size());
  encode ? TIFFWriteEncodedStrip(tiff, 0, bytes, size) : TIFFWriteRawStrip(tiff, 0, bytes, size);
  TIFFClose(tiff);
  tiff = TIFFOpen(path.c_str(), "r");
  Bytes out(encode ? static_cast<std::size_t>(TIFFRawStripSize(tiff, 0)) : width);
  const auto room = static_cast<tmsize_t>(out.size());
  const tmsize_t got = encode ? TIFFReadRawStrip(tiff, 0, out.data(), room)
                              : TIFFReadEncodedStrip(tiff, 0, out.data(), room);
  TIFFClose(tiff);
  out.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  return out;
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
      {"zeros, long strings", Bytes(1'000'000, 0)},
  };
  for (const auto& p : payloads) {
    SCOPED_TRACE(p.name);
    Ashgrove::LZWCompression tiff(1), classic(0);
    EXPECT_EQ(Libtiff(VellumTest::Encode(tiff, p.bytes), false, p.bytes.size()), p.bytes);
    EXPECT_EQ(VellumTest::Decode(tiff, Libtiff(p.bytes, true, p.bytes.size())), p.bytes);
    // No peer writes classic LZW (codes widen one code later); ours must agree with itself.
    EXPECT_EQ(VellumTest::Decode(classic, VellumTest::Encode(classic, p.bytes)), p.bytes);
  }
}

// Packs 9-bit codes, most significant bit first: enough for short streams.
Bytes Codes(std::initializer_list<std::uint32_t> codes, std::uint32_t width = 9) {
  std::ostringstream out;
  Ashgrove::StreamBitWriter writer(out);
  for (auto code : codes) writer.Write(code, width);
  writer.Flush();
  const std::string s = out.str();
  return Bytes(s.begin(), s.end());
}

TEST(LZWDecoder, MalformedStreamsFailWithTheirMessage) {
  // Clear, then 'A' for ever, each code as wide as the decoder expects: the
  // table fills after 3838 additions.
  std::ostringstream overflow;
  Ashgrove::StreamBitWriter writer(overflow);
  writer.Write(256, 9);
  for (std::uint32_t i = 0, next = 257, width = 9; i < 3901; ++i) {
    writer.Write('A', width);
    if (i > 0 && next < 4096) ++next;
    if (((next + 1) >> width) != 0 && width < 13) ++width;
  }
  writer.Flush();
  const std::string full = overflow.str();
  Bytes afterEnd = Codes({256, 'A', 257});
  afterEnd.push_back(0x55);
  const struct {
    const char* name;
    Bytes strip, output;  // output is compared only when the strip decodes
    std::string shown;    // the exception's message, then what went to standard error
  } cases[] = {
      {"Clear, End of Information", Codes({256, 257}), {}, ""},
      {"data after End of Information", afterEnd, {'A'}, "Warning, not all data read\n"},
      {"empty strip", {}, {}, "Unexpected end of stream"},
      {"no End of Information", Codes({256, 'A'}), {}, "Unexpected end of stream"},
      {"nothing after Clear", Codes({256}), {}, "Unexpected end of LZW stream"},
      {"undefined code after Clear", Codes({256, 300}), {}, "Invalid code in stream"},
      {"code beyond the next free one", Codes({256, 'A', 300}), {}, "LZW code is invalid"},
      {"no Clear before the first string",
       Codes({'A', 257}),
       {},
       "Internal inconsistency in LZW decompression"},
      {"table overflow", Bytes(full.begin(), full.end()), {}, "LZW table is full!"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Ashgrove::LZWCompression codec(1);
    std::string failure;
    testing::internal::CaptureStderr();
    const Bytes output = VellumTest::Decode(codec, c.strip, &failure);
    EXPECT_EQ(failure + testing::internal::GetCapturedStderr(), c.shown);
    if (failure.empty()) EXPECT_EQ(output, c.output);
  }
}

// Unlike libtiff, our predictor carries each color's sum on from one row to
// the next on purpose; 16-bit samples keep only their second byte's sum.
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
      {"five colors", 5, 8, 10, {}, {}, "Unsupported number of colors for TIFF prediction"},
      {"12 bits", 1, 12, 10, {}, {}, "Bits per component must be 8 or 16"},
      {"no columns", 1, 8, 0, {}, {}, "Unable to perform TIFF prediction with no column data"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string failure;
    Bytes output;
    try {
      Ashgrove::TIFFPrediction predictor(c.colors, c.bits, c.columns);
      output = VellumTest::Decode(predictor, c.input, &failure);
    } catch (const std::exception& error) {
      failure = error.what();
    }
    EXPECT_EQ(failure, c.message);
    EXPECT_EQ(output, c.output);
  }
}

}  // namespace
