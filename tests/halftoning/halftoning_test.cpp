#include "graphics/halftoning.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "graphics/exception.h"
#include "graphics/screens.h"

namespace Brindle {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Halftoner = std::uint64_t (*)(const HalftoneParameters&);

enum class SourceKind { kGrey, kMappedGrey, kMappedRgb };

struct HalftonerCase {
  const char* name;
  Halftoner halftone;
  SourceKind kind;
  const ThresholdScreen& (*screen)();
};

const HalftonerCase kHalftoners[] = {
    {"grey first", HalftoneGreyFirstScreen, SourceKind::kGrey, FirstScreen},
    {"grey second", HalftoneGreySecondScreen, SourceKind::kGrey, SecondScreen},
    {"grey 32", HalftoneGrey32Screen, SourceKind::kGrey, ThirtyTwoScreen},
    {"mapped grey first", HalftoneMappedGreyFirstScreen, SourceKind::kMappedGrey, FirstScreen},
    {"mapped grey second", HalftoneMappedGreySecondScreen, SourceKind::kMappedGrey, SecondScreen},
    {"mapped grey 32", HalftoneMappedGrey32Screen, SourceKind::kMappedGrey, ThirtyTwoScreen},
    {"mapped RGB first", HalftoneMappedRgbFirstScreen, SourceKind::kMappedRgb, FirstScreen},
    {"mapped RGB second", HalftoneMappedRgbSecondScreen, SourceKind::kMappedRgb, SecondScreen},
    {"mapped RGB 32", HalftoneMappedRgb32Screen, SourceKind::kMappedRgb, ThirtyTwoScreen},
};

// Mirrors the picture left to right: parameters {width, ...}.
SourcePoint Mirror(const MappingParameters& p, std::uint64_t x, std::uint64_t y) {
  return {p[0] - 1 - x, y};
}

// A grey picture of width x height, turned into the source the case reads:
// one byte per pixel, or RGBA with R = G = B = grey (whose luminance is the
// grey itself), read through a left-right mirror for the mapped kinds.
struct Job {
  Bytes source;
  Bytes destination;
  HalftoneParameters parameters;

  Job(const HalftonerCase& c, const Bytes& grey, std::uint64_t width, std::uint64_t height) {
    const std::uint64_t pixelBytes = c.kind == SourceKind::kMappedRgb ? 4 : 1;
    source.resize(grey.size() * pixelBytes);
    for (std::uint64_t y = 0; y < height; ++y) {
      for (std::uint64_t x = 0; x < width; ++x) {
        // The mapped kinds read the mirror image, so store the picture mirrored.
        const std::uint64_t stored = c.kind == SourceKind::kGrey ? x : width - 1 - x;
        for (std::uint64_t i = 0; i < pixelBytes; ++i) {
          source[(y * width + stored) * pixelBytes + i] =
              i == 3 ? 0x5A : grey[y * width + x];  // the fourth byte is ignored
        }
      }
    }
    const std::uint64_t bytesPerRow = (width + 7) / 8;
    destination.assign(bytesPerRow * height, 0xA5);
    parameters.source = source.data();
    parameters.sourceBytesPerRow = width * pixelBytes;
    parameters.sourceBytesPerPixel = pixelBytes;
    parameters.destination = destination.data();
    parameters.destinationBytesPerRow = bytesPerRow;
    parameters.destinationHeight = height;
    parameters.paddingBits = static_cast<unsigned>(bytesPerRow * 8 - width);
    parameters.mapping = Mirror;
    parameters.mappingParameters = {width, height, width, height};
  }
};

int Bit(const Bytes& rows, std::uint64_t bytesPerRow, std::uint64_t x, std::uint64_t y) {
  return (rows[y * bytesPerRow + x / 8] >> (7 - x % 8)) & 1;
}

// Every halftoner against the plain rule "dot when grey < threshold" on a
// random picture whose width is not a multiple of 8 or of the screens.
TEST(Halftoners, MatchTheThresholdRuleBitForBit) {
  const std::uint64_t width = 45;
  const std::uint64_t height = 37;
  std::mt19937 random(6);
  Bytes grey(width * height);
  for (auto& g : grey) g = static_cast<std::uint8_t>(random());
  for (const HalftonerCase& c : kHalftoners) {
    Job job(c, grey, width, height);
    c.halftone(job.parameters);
    const std::uint64_t bytesPerRow = job.parameters.destinationBytesPerRow;
    for (std::uint64_t y = 0; y < height; ++y) {
      for (std::uint64_t x = 0; x < width; ++x) {
        const int expected = grey[y * width + x] < c.screen().At(x, y) ? 1 : 0;
        ASSERT_EQ(Bit(job.destination, bytesPerRow, x, y), expected)
            << c.name << " at (" << x << ", " << y << ")";
      }
      // The three padding bits of the row's last byte stay clear.
      EXPECT_EQ(job.destination[y * bytesPerRow + bytesPerRow - 1] & 0x07, 0) << c.name;
    }
  }
}

TEST(Halftoners, SolidAndBlankLevels) {
  struct Case {
    std::uint8_t grey;
    std::uint8_t rowByte;  // every full byte of every row
  };
  static const Case kCases[] = {{0, 0xFF}, {12, 0xFF}, {245, 0x00}, {255, 0x00}};
  for (const HalftonerCase& c : kHalftoners) {
    for (const Case& level : kCases) {
      Job job(c, Bytes(64 * 64, level.grey), 64, 64);
      c.halftone(job.parameters);
      EXPECT_EQ(job.destination, Bytes(8 * 64, level.rowByte)) << c.name << " grey " << +level.grey;
    }
  }
}

// At 244 only the first screen's single 245 cell prints: one dot per 16 x 16
// tile, at row 4, column 15 of the tile.
TEST(Halftoners, Level244PrintsOneDotPerTileOfTheFirstScreen) {
  for (const HalftonerCase& c : kHalftoners) {
    Job job(c, Bytes(64 * 48, 244), 64, 48);
    c.halftone(job.parameters);
    const bool first = &c.screen() == &FirstScreen();
    for (std::uint64_t y = 0; y < 48; ++y) {
      for (std::uint64_t x = 0; x < 64; ++x) {
        const int expected = first && x % 16 == 15 && y % 16 == 4 ? 1 : 0;
        ASSERT_EQ(Bit(job.destination, 8, x, y), expected)
            << c.name << " (" << x << ", " << y << ")";
      }
    }
  }
}

TEST(Halftoners, PaddingBitsOfTheLastByte) {
  struct Case {
    std::uint64_t width;
    unsigned padding;
    Bytes row;  // one row at grey 0
  };
  static const Case kCases[] = {
      {10, 6, {0xFF, 0xC0}},  // pixels 8 and 9 in the top two bits
      {8, 0, {0xFF}},
      {1, 7, {0x80}},
      {8, 8, {0xFF, 0x00}},  // a last byte of padding only is left 0
  };
  for (const HalftonerCase& c : kHalftoners) {
    for (const Case& k : kCases) {
      const std::uint64_t bytesPerRow = k.row.size();
      Job job(c, Bytes(bytesPerRow * 8 * 2, 0), bytesPerRow * 8, 2);
      job.parameters.paddingBits = k.padding;
      job.parameters.mappingParameters[0] = k.width;  // mirror within the real width
      const std::uint64_t pure = c.halftone(job.parameters);
      Bytes expected = k.row;
      expected.insert(expected.end(), k.row.begin(), k.row.end());
      EXPECT_EQ(job.destination, expected) << c.name << " width " << k.width;
      EXPECT_EQ(pure, 2 * k.width) << c.name << " width " << k.width;
    }
  }
}

TEST(Halftoners, OtherCurvesFailBeforeWriting) {
  for (const HalftonerCase& c : kHalftoners) {
    for (std::uint32_t curve : {0U, 2U, 4U, 6U, 7U}) {
      Job job(c, Bytes(16 * 4, 0), 16, 4);
      job.parameters.curve = curve;
      try {
        c.halftone(job.parameters);
        ADD_FAILURE() << c.name << " accepted curve " << curve;
      } catch (const HalftoningException& e) {
        EXPECT_EQ(std::string(e.what()),
                  "Only normal halftoning curve supported by this halftoner");
      }
      EXPECT_EQ(job.destination, Bytes(2 * 4, 0xA5)) << c.name << " wrote before failing";
    }
  }
}

TEST(Halftoners, CountPureBlackAndWhitePixels) {
  struct Case {
    Bytes grey;  // one row of 8
    std::uint64_t pure;
  };
  static const Case kCases[] = {
      {{128, 128, 128, 128, 128, 128, 128, 128}, 0},
      {{0, 255, 1, 254, 0, 0, 128, 255}, 5},
      {{255, 255, 255, 255, 255, 255, 255, 255}, 8},
  };
  for (const HalftonerCase& c : kHalftoners) {
    for (const Case& k : kCases) {
      Job job(c, k.grey, 8, 1);
      EXPECT_EQ(c.halftone(job.parameters), k.pure) << c.name;
    }
  }
}

}  // namespace
}  // namespace Brindle
