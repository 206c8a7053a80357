// Pictures of every format and colour type, written by the formats' own
// libraries, read back by the loader; and the files users get wrong.
#include "picture/picture.h"

#include <gtest/gtest.h>
#include <png.h>
#include <tiffio.h>

#include <functional>
#include <string>
#include <vector>

#include "graphics/tiff_tools.h"
#include "picture/exif_orientation.h"
#include "picture/picture_files.h"
#include "picture/picture_formats.h"

namespace Corvane::Picture {
namespace {

using ::Vellum::Testing::Bytes;
using ::Vellum::Testing::Samples;

constexpr unsigned kWidth = 13;  // odd, and more than a byte of bits
constexpr unsigned kHeight = 7;

// Levels that vary along x, y and the channel, and reach both ends.
Samples Make(unsigned channels, unsigned bits,
             const std::function<std::uint32_t(unsigned, unsigned, unsigned)>& level = {}) {
  Samples s{kWidth, kHeight, channels, bits, {}};
  const std::uint32_t top = (1u << bits) - 1;
  for (unsigned y = 0; y < kHeight; ++y) {
    for (unsigned x = 0; x < kWidth; ++x) {
      for (unsigned c = 0; c < channels; ++c) {
        s.values.push_back(level ? level(x, y, c) : (x * 7 + y * 3 + c * 5) % (top + 1));
      }
    }
  }
  return s;
}

std::uint8_t Eight(std::uint32_t value, unsigned bits) {
  return static_cast<std::uint8_t>(value * 255 / ((1u << bits) - 1));
}

// What the loader should give for samples without alpha: grey or RGB bytes.
Bytes Plain(const Samples& s, bool inverted = false) {
  Bytes out;
  for (std::uint32_t v : s.values) {
    const std::uint8_t e = Eight(v, s.bits);
    out.push_back(inverted ? static_cast<std::uint8_t>(255 - e) : e);
  }
  return out;
}

// The last channel is alpha, laid over white.
Bytes Flattened(const Samples& s) {
  Bytes out;
  for (std::size_t p = 0; p < s.values.size(); p += s.channels) {
    const std::uint8_t alpha = Eight(s.values[p + s.channels - 1], s.bits);
    for (unsigned c = 0; c + 1 < s.channels; ++c) {
      out.push_back(OverWhite(Eight(s.values[p + c], s.bits), alpha));
    }
  }
  return out;
}

// One-bit rows of a plain Image (1 = white) from levels where `white` is white.
Bytes Bits(const Samples& s, std::uint32_t white) {
  const unsigned rowBytes = (s.width + 7) / 8;
  Bytes out(rowBytes * s.height, 0);
  for (unsigned y = 0; y < s.height; ++y) {
    for (unsigned x = 0; x < s.width; ++x) {
      if (s.values[y * s.width + x] == white) out[y * rowBytes + x / 8] |= 0x80 >> (x % 8);
    }
  }
  return out;
}

// The palette colours (3 per entry) of every index, with alpha when given.
Bytes FromPalette(const Samples& s, const std::vector<std::uint8_t>& palette,
                  const std::vector<std::uint8_t>& alpha = {}) {
  Bytes out;
  for (std::uint32_t index : s.values) {
    const std::uint8_t a = index < alpha.size() ? alpha[index] : 255;
    for (unsigned c = 0; c < 3; ++c) out.push_back(OverWhite(palette[index * 3 + c], a));
  }
  return out;
}

std::vector<std::uint8_t> Palette(unsigned entries) {
  std::vector<std::uint8_t> colours;
  for (unsigned i = 0; i < entries; ++i) {
    colours.insert(colours.end(),
                   {static_cast<std::uint8_t>(i * 37), static_cast<std::uint8_t>(255 - i * 11),
                    static_cast<std::uint8_t>(i * 101)});
  }
  return colours;
}

std::vector<std::uint16_t> TIFFColourMap(const std::vector<std::uint8_t>& palette) {
  const std::size_t n = palette.size() / 3;
  std::vector<std::uint16_t> map(palette.size());
  for (std::size_t i = 0; i < n; ++i) {
    for (unsigned c = 0; c < 3; ++c)
      map[c * n + i] = static_cast<std::uint16_t>(palette[i * 3 + c] * 257);
  }
  return map;
}

std::string PNM(const std::string& header, const Bytes& data) {
  return header + std::string(data.begin(), data.end());
}

struct Case {
  std::string name;
  Bytes file;
  unsigned bits, channels;  // what the loader makes
  Bytes expected;
  int tolerance = 0;  // largest difference allowed per sample (lossy files)
};

Bytes AsBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::vector<Case> Cases() {
  using namespace ::Vellum::Testing;
  std::vector<Case> cases;
  const auto add = [&](std::string name, Bytes file, unsigned bits, unsigned channels,
                       Bytes expected, int tolerance = 0) {
    cases.push_back(
        {std::move(name), std::move(file), bits, channels, std::move(expected), tolerance});
  };
  // PNG: every colour type and depth.
  const Samples bilevel = Make(1, 1);
  add("png_grey_1", WritePNG(bilevel, {PNG_COLOR_TYPE_GRAY}), 1, 1, Bits(bilevel, 1));
  for (unsigned bits : {2u, 4u, 8u, 16u}) {
    const Samples grey = Make(
        1, bits,
        bits == 16
            ? std::function<std::uint32_t(unsigned, unsigned, unsigned)>(
                  [](unsigned x, unsigned y, unsigned) { return (x * 19 + y * 7) % 256 * 257; })
            : nullptr);
    add("png_grey_" + std::to_string(bits), WritePNG(grey, {PNG_COLOR_TYPE_GRAY}), 8, 1,
        Plain(grey));
  }
  const Samples greyAlpha = Make(2, 8);
  add("png_grey_alpha", WritePNG(greyAlpha, {PNG_COLOR_TYPE_GRAY_ALPHA}), 8, 1,
      Flattened(greyAlpha));
  const Samples rgb = Make(3, 8);
  add("png_rgb", WritePNG(rgb, {PNG_COLOR_TYPE_RGB}), 8, 3, Plain(rgb));
  add("png_rgb_interlaced", WritePNG(rgb, {PNG_COLOR_TYPE_RGB, true}), 8, 3, Plain(rgb));
  const Samples rgb16 = Make(3, 16, [](unsigned x, unsigned y, unsigned c) {
    return (x * 13 + y * 5 + c * 77) % 256 * 257;
  });
  add("png_rgb_16", WritePNG(rgb16, {PNG_COLOR_TYPE_RGB}), 8, 3, Plain(rgb16));
  const Samples rgba = Make(4, 8, [](unsigned x, unsigned y, unsigned c) {
    return c == 3 ? (x * 20 + y * 9) % 256 : (x * 31 + c * 50) % 256;
  });
  add("png_rgba", WritePNG(rgba, {PNG_COLOR_TYPE_RGB_ALPHA}), 8, 3, Flattened(rgba));
  const Samples rgba16 = Make(4, 16, [](unsigned x, unsigned y, unsigned c) {
    return (c == 3 ? (x * 20 + y * 9) % 256 : (x * 31 + c * 50) % 256) * 257;
  });
  add("png_rgba_16", WritePNG(rgba16, {PNG_COLOR_TYPE_RGB_ALPHA}), 8, 3, Flattened(rgba16));
  for (unsigned bits : {1u, 4u, 8u}) {
    const Samples indices = Make(1, bits);
    const auto palette = Palette(1u << bits);
    add("png_palette_" + std::to_string(bits),
        WritePNG(indices, {PNG_COLOR_TYPE_PALETTE, false, palette}), 8, 3,
        FromPalette(indices, palette));
  }
  const Samples indices = Make(1, 4);
  const std::vector<std::uint8_t> alphas = {0, 128, 255, 10};
  add("png_palette_transparent",
      WritePNG(indices, {PNG_COLOR_TYPE_PALETTE, false, Palette(16), alphas}), 8, 3,
      FromPalette(indices, Palette(16), alphas));
  const Samples greyKey = Make(1, 8);
  Bytes keyed = Plain(greyKey);
  for (std::size_t i = 0; i < keyed.size(); ++i) keyed[i] = greyKey.values[i] == 0 ? 255 : keyed[i];
  add("png_grey_transparent_key", WritePNG(greyKey, {PNG_COLOR_TYPE_GRAY, false, {}, {}, true}), 8,
      1, keyed);

  // TIFF: the kinds read row by row, and the ones libtiff's RGBA reader takes.
  add("tiff_bilevel_min_is_black", WriteTIFF(bilevel, {PHOTOMETRIC_MINISBLACK}), 1, 1,
      Bits(bilevel, 1));
  add("tiff_bilevel_min_is_white_g4",
      WriteTIFF(bilevel, {PHOTOMETRIC_MINISWHITE, COMPRESSION_CCITTFAX4}), 1, 1, Bits(bilevel, 0));
  const Samples grey8 = Make(1, 8);
  add("tiff_grey", WriteTIFF(grey8, {PHOTOMETRIC_MINISBLACK, COMPRESSION_LZW}), 8, 1, Plain(grey8));
  add("tiff_grey_min_is_white",
      WriteTIFF(grey8, {PHOTOMETRIC_MINISWHITE, COMPRESSION_ADOBE_DEFLATE}), 8, 1,
      Plain(grey8, true));
  const Samples grey4 = Make(1, 4);
  add("tiff_grey_4", WriteTIFF(grey4, {PHOTOMETRIC_MINISBLACK}), 8, 1, Plain(grey4));
  const Samples grey16 =
      Make(1, 16, [](unsigned x, unsigned y, unsigned) { return (x * 19 + y * 7) % 256 * 257; });
  add("tiff_grey_16", WriteTIFF(grey16, {PHOTOMETRIC_MINISBLACK}), 8, 1, Plain(grey16));
  add("tiff_rgb", WriteTIFF(rgb, {PHOTOMETRIC_RGB, COMPRESSION_PACKBITS}), 8, 3, Plain(rgb));
  add("tiff_rgb_planes", WriteTIFF(rgb, {PHOTOMETRIC_RGB, COMPRESSION_NONE, true}), 8, 3,
      Plain(rgb));
  add("tiff_rgb_tiles", WriteTIFF(rgb, {PHOTOMETRIC_RGB, COMPRESSION_LZW, false, true}), 8, 3,
      Plain(rgb));
  add("tiff_rgb_16", WriteTIFF(rgb16, {PHOTOMETRIC_RGB}), 8, 3, Plain(rgb16));
  add("tiff_rgba", WriteTIFF(rgba, {PHOTOMETRIC_RGB, COMPRESSION_NONE, false, false, 1, true}), 8,
      3, Flattened(rgba), 1);
  const auto palette8 = Palette(256);
  add("tiff_palette",
      WriteTIFF(Make(1, 8), {PHOTOMETRIC_PALETTE, COMPRESSION_NONE, false, false, 1, false,
                             TIFFColourMap(palette8)}),
      8, 3, FromPalette(Make(1, 8), palette8));
  {
    // Stored bottom row first: read the right way up.
    Samples upsideDown = grey8;
    for (unsigned y = 0; y < kHeight; ++y) {
      for (unsigned x = 0; x < kWidth; ++x)
        upsideDown.values[y * kWidth + x] = grey8.values[(kHeight - 1 - y) * kWidth + x];
    }
    add("tiff_bottom_left",
        WriteTIFF(upsideDown,
                  {PHOTOMETRIC_MINISBLACK, COMPRESSION_NONE, false, false, ORIENTATION_BOTLEFT}),
        8, 1, Plain(grey8));
  }

  // JPEG: lossy, so near enough. Smooth pictures keep the error small.
  const auto smooth = [](unsigned x, unsigned y, unsigned c) {
    return 40 + x * 8 + y * 4 + c * 20;
  };
  const Samples jpegGrey = Make(1, 8, smooth);
  add("jpeg_grey", WriteJPEG(jpegGrey), 8, 1, Plain(jpegGrey), 6);
  const Samples jpegRGB = Make(3, 8, smooth);
  add("jpeg_rgb", WriteJPEG(jpegRGB), 8, 3, Plain(jpegRGB), 8);
  {
    // Adobe's inverted CMYK: ink 0 is stored as 255. No black ink; C, M, Y
    // make the complement of R, G, B.
    Samples cmyk = Make(
        4, 8, [&](unsigned x, unsigned y, unsigned c) { return c == 3 ? 255u : smooth(x, y, c); });
    add("jpeg_cmyk", WriteJPEG(cmyk), 8, 3, Plain(jpegRGB), 8);
  }

  // PNM, plain and raw, with comments and odd maxvals.
  add("pbm_plain",
      AsBytes("P1\n# a comment\n13 7\n" +
              [&] {
                std::string text;
                for (std::uint32_t v : bilevel.values) text += v == 1 ? "1" : "0 ";
                return text;
              }()),
      1, 1, Bits(bilevel, 0));
  add("pbm_raw",
      AsBytes(PNM("P4 13 7\n",
                  [&] {
                    Bytes packed = Bits(bilevel, 1);
                    return packed;
                  }())),
      1, 1, Bits(bilevel, 0));
  const Samples grey15 = Make(1, 4);
  add("pgm_plain_maxval_15",
      AsBytes("P2 13 7 15\n" +
              [&] {
                std::string text;
                for (std::uint32_t v : grey15.values)
                  text += std::to_string(v) + (v % 3 == 0 ? "\n" : " ");
                return text;
              }()),
      8, 1, Plain(grey15));
  add("pgm_raw", AsBytes(PNM("P5\n13 7\n255\n", Plain(grey8))), 8, 1, Plain(grey8));
  {
    Bytes wide;
    for (std::uint32_t v : grey16.values)
      wide.insert(wide.end(), {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)});
    add("pgm_raw_16", AsBytes(PNM("P5 13 7 65535\n", wide)), 8, 1, Plain(grey16));
  }
  add("ppm_plain",
      AsBytes("P3 13 7 255 " +
              [&] {
                std::string text;
                for (std::uint32_t v : rgb.values) text += std::to_string(v) + "\t";
                return text;
              }()),
      8, 3, Plain(rgb));
  add("ppm_raw", AsBytes(PNM("P6 #size\n13 7 #maxval\n255\r", Plain(rgb))), 8, 3, Plain(rgb));
  return cases;
}

// Test names say enough; the bytes of the file would only flood the log.
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class PictureFormats : public ::testing::TestWithParam<Case> {};

TEST_P(PictureFormats, LoadsAsTheFileShows) {
  const Case& c = GetParam();
  const Brindle::Image image = LoadPicture(c.file, c.name);
  ASSERT_EQ(image.Width(), kWidth);
  ASSERT_EQ(image.Height(), kHeight);
  ASSERT_EQ(image.BitsPerSample(), c.bits);
  ASSERT_EQ(image.Channels(), c.channels);
  const Bytes& data = image.Data();
  ASSERT_EQ(data.size(), c.expected.size());
  if (c.bits == 1) {
    // Only the pixels count, not the padding bits of each row.
    for (unsigned y = 0; y < kHeight; ++y) {
      for (unsigned x = 0; x < kWidth; ++x) {
        const unsigned i = y * 2 + x / 8, mask = 0x80u >> (x % 8);
        ASSERT_EQ(data[i] & mask, c.expected[i] & mask) << "pixel " << x << "," << y;
      }
    }
    return;
  }
  for (std::size_t i = 0; i < data.size(); ++i) {
    ASSERT_LE(std::abs(int{data[i]} - int{c.expected[i]}), c.tolerance) << "sample " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, PictureFormats, ::testing::ValuesIn(Cases()),
                         [](const auto& info) { return info.param.name; });

Bytes Cut(Bytes bytes, std::size_t keep) {
  bytes.resize(keep);
  return bytes;
}

struct Refusal {
  std::string name;
  Bytes file;
  std::string message;
};

void PrintTo(const Refusal& r, std::ostream* out) { *out << r.name; }

class PictureRefusals : public ::testing::TestWithParam<Refusal> {};

TEST_P(PictureRefusals, NameTheFileAndTheFault) {
  const Refusal& r = GetParam();
  PictureLimits limits;
  limits.maxPixels = 1000000;
  try {
    (void)LoadPicture(r.file, "label.pic", limits);
    FAIL() << "no exception";
  } catch (const PictureException& e) {
    EXPECT_EQ(std::string(e.what()).rfind("label.pic: ", 0), 0u) << e.what();
    EXPECT_NE(std::string(e.what()).find(r.message), std::string::npos) << e.what();
  }
}

std::vector<Refusal> Refusals() {
  using namespace ::Vellum::Testing;
  const Bytes png = WritePNG(Make(3, 8), {PNG_COLOR_TYPE_RGB});
  const Bytes jpeg = WriteJPEG(Make(3, 8));
  const Bytes tiff = WriteTIFF(Make(1, 8), {PHOTOMETRIC_MINISBLACK});
  Bytes badCRC = png;
  badCRC[40] ^= 0x55;  // inside IHDR or IDAT: a chunk whose checksum fails
  return {
      {"empty", {}, "the file is empty"},
      {"text", AsBytes("hello, printer"), "not a PNG, JPEG, TIFF or netpbm (PNM) picture"},
      {"png_cut_in_header", Cut(png, 20), "not a readable PNG picture"},
      {"png_cut_in_pixels", Cut(png, png.size() - 30), "not a readable PNG picture"},
      {"png_damaged", badCRC, "not a readable PNG picture"},
      {"jpeg_cut_in_header", Cut(jpeg, 100), "not a readable JPEG picture"},
      {"jpeg_cut_in_pixels", Cut(jpeg, jpeg.size() - 10), "the JPEG picture ends early"},
      {"tiff_cut", Cut(tiff, 12), "not a readable TIFF picture"},
      {"pnm_no_pixels", AsBytes("P5 0 7 255\n"), "the picture has no pixels"},
      {"pnm_too_large", AsBytes("P5 100000 100000 255\n"),
       "the picture is too large (100000 x 100000 pixels; at most 1 megapixels)"},
      {"pnm_maxval", AsBytes("P5 2 2 70000\n1234"), "the maxval is 70000 (1 to 65535)"},
      {"pnm_cut", AsBytes("P6 2 2 255\nabcdefghi"),
       "the picture data ends early (12 bytes expected, 9 found)"},
      {"pnm_letters", AsBytes("P2 2 x 255\n"), "the height is not a number"},
      {"pnm_glued", AsBytes("P2 2 2 255x 1 2 3 4"), "the maxval is not a number"},
      {"pbm_plain_bad_pixel", AsBytes("P1 2 1 0 2"), "a pixel of a plain bitmap is not 0 or 1"},
      {"pnm_header_cut", AsBytes("P3 2"), "the file ends before its height"},
      {"pnm_huge_number", AsBytes("P5 99999999999 1 255\n"), "the width is too large"},
  };
}

INSTANTIATE_TEST_SUITE_P(Files, PictureRefusals, ::testing::ValuesIn(Refusals()),
                         [](const auto& info) { return info.param.name; });

// A photograph held sideways shows the right way up. The picture is 3 x 2
// blocks of 8 x 8 pixels, A B C over D E F, each of one grey.
TEST(PictureOrientation, ExifOrientationTurnsJPEGs) {
  Samples blocks{24, 16, 1, 8, {}};
  for (unsigned y = 0; y < 16; ++y) {
    for (unsigned x = 0; x < 24; ++x) blocks.values.push_back(20 + (y / 8 * 3 + x / 8) * 40);
  }
  const std::string kShown[9] = {"",         "ABC/DEF",  "CBA/FED",  "FED/CBA", "DEF/ABC",
                                 "AD/BE/CF", "DA/EB/FC", "FC/EB/DA", "CF/BE/AD"};
  for (unsigned orientation = 1; orientation <= 8; ++orientation) {
    for (bool little : {false, true}) {
      const Brindle::Image image =
          LoadPicture(::Vellum::Testing::WriteJPEG(blocks, 100, orientation, little), "photo.jpg");
      std::string shown;
      for (std::uint64_t y = 4; y < image.Height(); y += 8) {
        if (!shown.empty()) shown += '/';
        for (std::uint64_t x = 4; x < image.Width(); x += 8) {
          const int grey = image.Data()[y * image.Width() + x];
          shown += static_cast<char>('A' + (grey - 20 + 20) / 40);
        }
      }
      EXPECT_EQ(shown, kShown[orientation])
          << "orientation " << orientation << (little ? " II" : " MM");
    }
  }
  // A damaged Exif block is not the picture's fault: it shows as stored.
  EXPECT_EQ(ExifOrientation(AsBytes(std::string("Exif\0\0MM\0*\0\0\xff\xff", 14))), 1u);
  EXPECT_EQ(ExifOrientation(AsBytes("Exif")), 1u);
}

TEST(PictureFile, UnreadableFilesAreNamed) {
  ::Vellum::Testing::TempDir dir;
  struct {
    std::string path;
    std::string message;
  } const kCases[] = {
      {(dir / "missing.png").string(), "missing.png: No such file or directory"},
      {dir.path().string(), ": is a directory"},
  };
  for (const auto& c : kCases) {
    try {
      (void)LoadPictureFile(c.path);
      ADD_FAILURE() << c.path;
    } catch (const PictureException& e) {
      EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
  }
}

}  // namespace
}  // namespace Corvane::Picture
