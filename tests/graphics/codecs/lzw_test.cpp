// The LZW decoder's failures and the predictor; both codecs meet libtiff in
// the TIFF reader's tests.
#include <gtest/gtest.h>

#include <sstream>

#include "graphics/codecs/codec_runner.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/sample_data.h"
#include "graphics/codecs/stream_bit_writer.h"
#include "graphics/codecs/tiff_prediction.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Packs 9-bit codes, most significant bit first: enough for short streams.
Bytes Codes(std::initializer_list<std::uint32_t> codes) {
  std::ostringstream out;
  Ashgrove::StreamBitWriter writer(out);
  for (auto code : codes) writer.Write(code, 9);
  writer.Flush();
  const std::string s = out.str();
  return Bytes(s.begin(), s.end());
}

TEST(LZWDecoder, MalformedStreamsFailWithTheirMessage) {
  Bytes afterEnd = Codes({256, 'A', 257});
  afterEnd.push_back(0x55);
  const struct {
    const char* name;
    Bytes strip;
    std::string output;  // compared only when the strip decodes
    std::string shown;   // the exception's message, then what went to standard error
  } cases[] = {
      {"Clear, End of Information", Codes({256, 257}), "", ""},
      {"data after End of Information", afterEnd, "A", "Warning, not all data read\n"},
      {"empty strip", Bytes{}, "", "Unexpected end of stream"},
      {"no End of Information", Codes({256, 'A'}), "", "Unexpected end of stream"},
      {"nothing after Clear", Codes({256}), "", "Unexpected end of LZW stream"},
      {"undefined code after Clear", Codes({256, 300}), "", "Invalid code in stream"},
      {"code beyond the next free one", Codes({256, 'A', 300}), "", "LZW code is invalid"},
      {"no Clear before the first string", Codes({'A', 257}), "",
       "Internal inconsistency in LZW decompression"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Ashgrove::LZWCompression codec(1);
    std::string failure;
    testing::internal::CaptureStderr();
    const Bytes output = Vellum::Testing::Decode(codec, c.strip, &failure);
    EXPECT_EQ(failure + testing::internal::GetCapturedStderr(), c.shown);
    if (failure.empty()) {
      EXPECT_EQ(output, Bytes(c.output.begin(), c.output.end()));
    }
  }
}

// The TIFF reader decodes a file's strips with one codec, which keeps its
// tables from strip to strip: a strip after any other, a failed one
// included, decodes as it does with a fresh codec, from bytes in place or
// from a stream, and with its last codes close to the end of its bytes.
TEST(LZWDecoder, OneCodecForManyStripsActsAsFreshOnes) {
  std::vector<Bytes> strips;
  for (std::size_t size : {0, 1, 2, 7, 300, 5000, 70'000}) {
    Bytes plain = Vellum::Testing::LabelBitmap(313 * 8, 1 + size / 313);
    plain.resize(size);
    Bytes packed;
    Ashgrove::LZWCompression encoder(1);
    Ashgrove::CompressVector(encoder, plain, packed);
    strips.push_back(packed);
    packed.resize(packed.size() / 2);  // cut in two: fails
    strips.push_back(packed);
  }
  strips.push_back(Codes({256, 'A', 300}));
  strips.push_back(Codes({256, 'B', 'C', 258, 257}));
  Ashgrove::LZWCompression shared(1);
  for (int round = 0; round < 2; ++round) {
    for (std::size_t i = 0; i < strips.size(); ++i) {
      SCOPED_TRACE("strip " + std::to_string(i));
      Ashgrove::LZWCompression fresh(1);
      std::string expectedFailure, failure, streamFailure;
      const Bytes expected = Vellum::Testing::Decode(fresh, strips[i], &expectedFailure);
      Bytes inPlace;
      try {
        shared.DecompressBytes(strips[i].data(), strips[i].size(), inPlace);
      } catch (const std::exception& e) {
        failure = e.what();
      }
      EXPECT_EQ(failure, expectedFailure);
      EXPECT_EQ(inPlace, expected);
      EXPECT_EQ(Vellum::Testing::Decode(shared, strips[i], &streamFailure), expected);
      EXPECT_EQ(streamFailure, expectedFailure);
    }
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
      {"ends in a row's first pixel", 3, 8, 2, {1, 1, 1, 1, 1, 1, 1}, {1, 1, 1, 2, 2, 2, 3}, ""},
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
      output = Vellum::Testing::Decode(predictor, c.input, &failure);
    } catch (const std::exception& error) {
      failure = error.what();
    }
    EXPECT_EQ(failure, c.message);
    EXPECT_EQ(output, c.output);
  }
}

}  // namespace
