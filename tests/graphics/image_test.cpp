#include "graphics/image.h"

#include <gtest/gtest.h>

#include <sstream>

#include "graphics/bitmap.h"
#include "graphics/exception.h"

namespace Brindle {
namespace {

TEST(Image, BytesPerRowPacksToWholeBytesOnly) {
  struct Case {
    std::uint64_t bits, channels, width, expected;
  };
  static const Case kCases[] = {
      {1, 1, 10, 2}, {8, 3, 3, 9}, {1, 1, 8, 1}, {1, 1, 9, 2},   {16, 1, 5, 10},
      {1, 1, 0, 0},  {8, 4, 1, 4}, {4, 1, 3, 2}, {0, 1, 100, 0},
  };
  for (const auto& c : kCases) {
    const Image image(c.bits, c.channels, c.width, 3);
    EXPECT_EQ(image.BytesPerRow(), c.expected) << c.bits << "x" << c.channels << "x" << c.width;
    EXPECT_EQ(image.DataSize(), 3 * c.expected);
  }
}

TEST(Image, FreshImageIsZeroedAt96Dpi) {
  Image image(8, 1, 4, 2);
  EXPECT_EQ(image.Data(), std::vector<unsigned char>(8, 0));
  EXPECT_EQ(image.HorizontalResolution(), 96u);
  EXPECT_EQ(image.VerticalResolution(), 96u);
  EXPECT_FALSE(image.WhiteIsZero());
  EXPECT_TRUE(image.IsNonEmpty());
  EXPECT_FALSE(Image(8, 1, 0, 2).IsNonEmpty());
  EXPECT_FALSE(Image(8, 1, 2, 0).IsNonEmpty());
  image.SetResolution(203, 300);
  EXPECT_EQ(image.HorizontalResolution(), 203u);
  EXPECT_EQ(image.VerticalResolution(), 300u);
}

TEST(Image, DataIsTakenAsItStands) {
  const std::vector<unsigned char> data = {1, 2, 3};
  const Image image(8, 1, 10, 10, data);
  EXPECT_EQ(image.Data(), data);
  Image copy = image;
  copy.Data()[0] = 9;
  EXPECT_EQ(image.Data()[0], 1);
}

TEST(Image, InvertNeedsEightBitSamples) {
  Image grey(8, 1, 2, 1, std::vector<unsigned char>{0x00, 0x5A});
  grey.Invert();
  EXPECT_EQ(grey.Data(), (std::vector<unsigned char>{0xFF, 0xA5}));
  for (std::uint64_t bits : {1u, 16u}) {
    Image image(bits, 1, 2, 1);
    try {
      image.Invert();
      FAIL() << bits;
    } catch (const ImageException& e) {
      EXPECT_STREQ(e.what(), "Unable to invert images if the number of bits per sample is not 8");
    }
    EXPECT_EQ(image.Data(), std::vector<unsigned char>(image.DataSize(), 0));
  }
}

TEST(Image, ReserveOnlyGrowsAndKeepsContents) {
  Image image(8, 1, 2, 1, std::vector<unsigned char>{7, 8});
  image.Reserve(1000);
  EXPECT_GE(image.Data().capacity(), 1000u);
  image.Reserve(1);
  EXPECT_GE(image.Data().capacity(), 1000u);
  EXPECT_EQ(image.Data(), (std::vector<unsigned char>{7, 8}));
}

TEST(Image, WriteKnowsOnlyTiff) {
  const Image image(8, 1, 2, 2);
  std::ostringstream out;
  try {
    image.Write(out, 1);
    FAIL();
  } catch (const ImageException& e) {
    EXPECT_STREQ(e.what(), "Unsupported format");
  }
  EXPECT_TRUE(out.str().empty());
  image.Write(out, 0);
  EXPECT_EQ(out.str().size(), 186u + 4u);
}

TEST(Image, ImpossibleGeometryIsRefused) {
  EXPECT_THROW(Image(64, 1, UINT64_MAX / 2, 1), ImageException);
  EXPECT_THROW(Image(8, 1, UINT64_MAX / 4, 16), ImageException);
}

}  // namespace
}  // namespace Brindle
