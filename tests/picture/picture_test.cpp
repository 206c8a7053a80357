// Pictures of every format and kind (grey, RGB, alpha, palette, one bit, 16
// bits), written by the formats' own libraries and read back by the loader;
// and the damaged, huge and odd files it must refuse by name.
#include "picture/picture.h"

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <cstdlib>
#include <functional>

#include "graphics/tiff_tools.h"
#include "picture/exif_orientation.h"
#include "picture/picture_formats.h"
#include "support/picture_files.h"

namespace Corvane::Picture {
namespace {

using ::Vellum::Testing::Bytes;
using ::Vellum::Testing::Samples;
using Level = std::function<std::uint32_t(unsigned x, unsigned y, unsigned c)>;

constexpr unsigned kWidth = 13, kHeight = 7;  // odd, and more than a byte of bits

// Levels that vary along x, y and the channel and reach both ends, or as
// `level` gives them.
Samples Make(unsigned channels, unsigned bits, const Level& level = {}) {
  Samples s{kWidth, kHeight, channels, bits, {}};
  for (unsigned i = 0; i < kWidth * kHeight * channels; ++i) {
    const unsigned x = i / channels % kWidth, y = i / channels / kWidth, c = i % channels;
    s.values.push_back(level ? level(x, y, c) : (x * 7 + y * 3 + c * 5) % (1u << bits));
  }
  return s;
}

// What the loader gives: 8-bit samples, the last channel laid over white as
// alpha when `alpha`, or the palette's colours for indices.
Bytes Expected(const Samples& s, bool alpha = false, const std::vector<std::uint8_t>& palette = {},
               const std::vector<std::uint8_t>& paletteAlpha = {}) {
  const auto eight = [&](std::uint32_t v) { return std::uint8_t(v * 255 / ((1u << s.bits) - 1)); };
  Bytes out;
  for (std::size_t p = 0; p < s.values.size(); p += s.channels) {
    const std::uint32_t i = s.values[p];
    for (unsigned c = 0; c < (palette.empty() ? s.channels - alpha : 3); ++c) {
      out.push_back(
          palette.empty()
              ? OverWhite(eight(s.values[p + c]), alpha ? eight(s.values[p + s.channels - 1]) : 255)
              : OverWhite(palette[i * 3 + c], i < paletteAlpha.size() ? paletteAlpha[i] : 255));
    }
  }
  return out;
}

// One-bit rows of a plain Image (1 = white) from levels where `white` is white.
Bytes Bits(const Samples& s, std::uint32_t white) {
  Bytes out(2 * kHeight, 0);
  for (unsigned i = 0; i < kWidth * kHeight; ++i)
    if (s.values[i] == white) out[i / kWidth * 2 + i % kWidth / 8] |= 0x80 >> (i % kWidth % 8);
  return out;
}

Bytes Join(const std::string& text, const Bytes& bytes = {}) {
  Bytes joined(text.begin(), text.end());
  joined.insert(joined.end(), bytes.begin(), bytes.end());
  return joined;
}

struct Case {
  std::string name;
  Bytes file;
  unsigned bits, channels;  // what the loader makes
  Bytes expected;
  int tolerance = 0;  // largest difference allowed per sample (lossy files)
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

std::vector<Case> Cases() {
  using namespace ::Vellum::Testing;
  const Samples bits = Make(1, 1), grey4 = Make(1, 4), grey8 = Make(1, 8), rgb = Make(3, 8);
  const Samples grey16 =
      Make(1, 16, [](auto x, auto y, auto) { return (x * 19 + y * 7) % 256 * 257; });
  const Samples rgba16 = Make(4, 16, [](auto x, auto y, auto c) {
    return (c == 3 ? (x * 20 + y * 9) % 256 : (x * 31 + c * 50) % 256) * 257;
  });
  std::vector<std::uint8_t> palette;
  for (unsigned i = 0; i < 48; ++i) palette.push_back(std::uint8_t(i * 37 + i % 3 * 90));
  const std::vector<std::uint8_t> alphas = {0, 128, 255, 10};
  Samples upsideDown = grey8;  // stored bottom row first
  for (unsigned i = 0; i < kWidth * kHeight; ++i)
    upsideDown.values[i] = grey8.values[(kHeight - 1 - i / kWidth) * kWidth + i % kWidth];
  // JPEG is lossy: near enough, smooth pictures keep the error small.
  const Level smooth = [](auto x, auto y, auto c) { return 40 + x * 8 + y * 4 + c * 20; };
  const Samples jpegGrey = Make(1, 8, smooth), jpegRGB = Make(3, 8, smooth);
  // Adobe's inverted CMYK with no black ink: C, M, Y are the complement of R, G, B.
  const Samples cmyk =
      Make(4, 8, [&](auto x, auto y, auto c) { return c == 3 ? 255u : smooth(x, y, c); });
  Bytes plainPBM, plainPGM, wide;
  for (std::uint32_t v : bits.values) plainPBM.push_back(v ? '1' : '0');  // no spaces needed
  for (std::uint32_t v : grey4.values)
    for (char ch : std::to_string(v) + "\n") plainPGM.push_back(ch);
  for (std::uint32_t v : grey16.values)
    wide.insert(wide.end(), {std::uint8_t(v >> 8), std::uint8_t(v)});
  return {
      {"png_one_bit", WritePNG(bits, {PNG_COLOR_TYPE_GRAY}), 1, 1, Bits(bits, 1)},
      {"png_grey_4", WritePNG(grey4, {PNG_COLOR_TYPE_GRAY}), 8, 1, Expected(grey4)},
      {"png_rgb_interlaced", WritePNG(rgb, {PNG_COLOR_TYPE_RGB, true}), 8, 3, Expected(rgb)},
      {"png_rgba_16", WritePNG(rgba16, {PNG_COLOR_TYPE_RGB_ALPHA}), 8, 3, Expected(rgba16, true)},
      {"png_palette_alpha", WritePNG(grey4, {PNG_COLOR_TYPE_PALETTE, false, palette, alphas}), 8, 3,
       Expected(grey4, false, palette, alphas)},
      {"tiff_fax", WriteTIFF(bits, {PHOTOMETRIC_MINISWHITE, COMPRESSION_CCITTFAX4}), 1, 1,
       Bits(bits, 0)},
      {"tiff_rgb_lzw", WriteTIFF(rgb, {PHOTOMETRIC_RGB, COMPRESSION_LZW}), 8, 3, Expected(rgb)},
      {"tiff_grey_16", WriteTIFF(grey16, {PHOTOMETRIC_MINISBLACK}), 8, 1, Expected(grey16)},
      {"tiff_rgba_16", WriteTIFF(rgba16, {PHOTOMETRIC_RGB, 1, 1, true}), 8, 3,
       Expected(rgba16, true), 1},
      {"tiff_bottom_left", WriteTIFF(upsideDown, {PHOTOMETRIC_MINISBLACK, 1, ORIENTATION_BOTLEFT}),
       8, 1, Expected(grey8)},
      {"jpeg_grey", WriteJPEG(jpegGrey), 8, 1, Expected(jpegGrey), 6},
      {"jpeg_rgb", WriteJPEG(jpegRGB), 8, 3, Expected(jpegRGB), 8},
      {"jpeg_cmyk", WriteJPEG(cmyk), 8, 3, Expected(jpegRGB), 8},
      {"pbm_plain", Join("P1\n# a comment\n13 7\n", plainPBM), 1, 1, Bits(bits, 0)},
      {"pbm_raw", Join("P4 13 7\n", Bits(bits, 1)), 1, 1, Bits(bits, 0)},
      {"pgm_plain_maxval_15", Join("P2 13 7 15\n", plainPGM), 8, 1, Expected(grey4)},
      {"pgm_raw_16", Join("P5 13 7 65535\n", wide), 8, 1, Expected(grey16)},
      {"ppm_raw", Join("P6 #size\n13 7 #maxval\n255\r", Expected(rgb)), 8, 3, Expected(rgb)},
  };
}

class PictureFormats : public ::testing::TestWithParam<Case> {};

TEST_P(PictureFormats, LoadsAsTheFileShows) {
  const Case& c = GetParam();
  const Brindle::Image image = LoadPicture(c.file, c.name);
  ASSERT_EQ(image.Width() * 100 + image.Height(), kWidth * 100 + kHeight);
  ASSERT_EQ(image.BitsPerSample() * 10 + image.Channels(), c.bits * 10 + c.channels);
  ASSERT_EQ(image.Data().size(), c.expected.size());
  for (std::size_t i = 0; i < c.expected.size(); ++i) {
    // One bit: the pixels count, not the padding bits of each row.
    const int mask = c.bits == 1 && i % 2 == 1 ? 0xF8 : 0xFF;
    ASSERT_LE(std::abs((image.Data()[i] & mask) - (c.expected[i] & mask)), c.tolerance) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, PictureFormats, ::testing::ValuesIn(Cases()),
                         [](const auto& info) { return info.param.name; });

TEST(PictureRefusals, NameTheFileAndTheFault) {
  using namespace ::Vellum::Testing;
  const Bytes png = WritePNG(Make(3, 8), {PNG_COLOR_TYPE_RGB}), jpeg = WriteJPEG(Make(3, 8));
  Bytes badCRC = png;
  badCRC[40] ^= 0x55;  // inside IHDR or IDAT: a chunk whose checksum fails
  const auto cut = [](const Bytes& bytes, std::size_t keep) {
    return Bytes(bytes.begin(), bytes.begin() + keep);
  };
  const struct {
    Bytes file;
    std::string message;
  } kCases[] = {
      {{}, "the file is empty"},
      {Join("hello, printer"), "not a PNG, JPEG, TIFF or netpbm (PNM) picture"},
      {cut(png, 20), "not a readable PNG picture"},
      {cut(png, png.size() - 30), "not a readable PNG picture"},
      {badCRC, "not a readable PNG picture"},
      {cut(jpeg, 100), "not a readable JPEG picture"},
      {cut(jpeg, jpeg.size() - 10), "the JPEG picture ends early"},
      {cut(WriteTIFF(Make(1, 8), {}), 12), "not a readable TIFF picture"},
      {Join("P5 0 7 255\n"), "the picture has no pixels"},
      {Join("P5 100000 100000 255\n"),
       "the picture is too large (100000 x 100000 pixels; at most 1 megapixels)"},
      {Join("P5 99999999999 1 255\n"), "the width is too large"},
      {Join("P5 2 2 70000\n1234"), "the maxval is 70000 (1 to 65535)"},
      {Join("P6 2 2 255\nabcdefghi"), "the picture data ends early (12 bytes expected, 9 found)"},
      {Join("P2 2 2 255x 1 2 3 4"), "the maxval is not a number"},
      {Join("P3 2"), "the file ends before its height"},
      {Join("P1 2 1 0 2"), "a pixel of a plain bitmap is not 0 or 1"},
  };
  PictureLimits limits;
  limits.maxPixels = 1000000;
  for (const auto& c : kCases) {
    try {
      (void)LoadPicture(c.file, "label.pic", limits);
      ADD_FAILURE() << c.message << ": no exception";
    } catch (const PictureException& e) {
      EXPECT_EQ(std::string(e.what()).rfind("label.pic: " + c.message, 0), 0u) << e.what();
    }
  }
  ::Vellum::Testing::TempDir dir;
  limits.maxFileBytes = 3 << 20;
  for (const auto& [path, message] :
       {std::pair{(dir / "missing.png").string(), ": No such file or directory"},
        std::pair{dir.path().string(), ": is a directory"},
        std::pair{std::string("/dev/zero"), ": the file is larger than 3 MiB"}}) {
    try {
      (void)LoadPictureFile(path, limits);
      ADD_FAILURE() << path;
    } catch (const PictureException& e) {
      EXPECT_EQ(e.what(), path + message);
    }
  }
}

// A photograph held sideways shows the right way up. The picture is 3 x 2
// blocks of 8 x 8 pixels, A B C over D E F, each of one grey.
TEST(PictureOrientation, ExifOrientationTurnsJPEGs) {
  Samples blocks{24, 16, 1, 8, {}};
  for (unsigned i = 0; i < 24 * 16; ++i)
    blocks.values.push_back(20 + (i / 24 / 8 * 3 + i % 24 / 8) * 40);
  const std::string kShown[9] = {"",         "ABC/DEF",  "CBA/FED",  "FED/CBA", "DEF/ABC",
                                 "AD/BE/CF", "DA/EB/FC", "FC/EB/DA", "CF/BE/AD"};
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    // Both byte orders of the Exif block, in turn.
    const Brindle::Image image = LoadPicture(
        ::Vellum::Testing::WriteJPEG(blocks, 100, orientation, orientation % 2), "photo.jpg");
    std::string shown;
    for (std::uint64_t y = 4; y < image.Height(); y += 8) {
      if (!shown.empty()) shown += '/';
      for (std::uint64_t x = 4; x < image.Width(); x += 8)
        shown += static_cast<char>('A' + image.Data()[y * image.Width() + x] / 40);
    }
    EXPECT_EQ(shown, kShown[orientation]) << "orientation " << orientation;
  }
  // A damaged Exif block is not the picture's fault: it shows as stored.
  EXPECT_EQ(ExifOrientation(Join(std::string("Exif\0\0MM\0*\0\0\xff\xff", 14))), 1u);
}

}  // namespace
}  // namespace Corvane::Picture
