// End to end: a grey picture becomes dots, travels as TOPIX inside a TPCL job,
// and the render command draws the same dots into its TIFF.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "graphics/tiff_tools.h"
#include "render/render_command.h"
#include "render/topix_codec.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

struct Case {
  std::int32_t method;
  std::int32_t rotation;
  std::uint32_t curve;
};

TEST(HalftoneRender, RenderedJobShowsTheSameDots) {
  static const Case kCases[] = {
      {kFirstScreenMethod, 0, 3},    {kSecondScreenMethod, 1, 3}, {kThirtyTwoScreenMethod, 2, 3},
      {kFixedThresholdMethod, 3, 4}, {kPatternMethod, 0, 1},
  };
  Vellum::Testing::TempDir dir;
  // A diagonal ramp over every grey level, broken by solid black squares.
  Bytes grey(160 * 90);
  for (std::size_t i = 0; i < grey.size(); ++i) {
    const std::size_t x = i % 160;
    const std::size_t y = i / 160;
    grey[i] = (x / 20 + y / 15) % 3 == 0 ? 0 : static_cast<unsigned char>((x + y) * 255 / 250);
  }
  const Image picture(8, 1, 160, 90, std::move(grey));
  for (const Case& c : kCases) {
    // 20 x 10 mm at 24 dots/mm (the "600" resolution): 480 x 240 dots.
    const Bitmap dots =
        BitmapFromImage(picture, {10, 5, 210, 105}, 24.0, c.rotation, c.method, c.curve);
    ASSERT_TRUE(dots.Width() == 480 && dots.Height() == 240);
    std::uint64_t printed = 0;
    for (unsigned char byte : dots.Data()) printed += static_cast<unsigned>(std::popcount(byte));
    ASSERT_TRUE(printed > 480 * 240 / 10 && printed < 480 * 240 * 9 / 10) << "method " << c.method;

    std::ostringstream topix;
    WriteBitmap(dots, topix, kTOPIXFormat);
    // Label 30.0 mm wide and 15.0 mm long: a 720 x 360 dot canvas. The graphic
    // goes to (1.0 mm, 0.5 mm) = dots (24, 12), byte 3 of the canvas rows.
    const std::string job = "{D0150,0300,0130|}\n{SG;0010,0005,0480,0240,3," + topix.str() +
                            "|}\n{XS;I,0001,0002C3000|}\n";
    std::ofstream(dir / "job.prn", std::ios::binary) << job;
    Corvane::Vellum::Commands::Render(
        {"-r", "600", "-o", (dir / "out.tif").string(), (dir / "job.prn").string()});

    // libtiff's tools, independent of our writer, decode the rendered file.
    Bytes expected(90 * 360, 0);
    for (std::uint64_t y = 0; y < 240; ++y) {
      std::ranges::copy(dots.GetRow(y), expected.begin() + static_cast<long>((y + 12) * 90 + 3));
    }
    ASSERT_TRUE(Vellum::Testing::LibtiffPixels(dir / "out.tif") == expected) << "method " << c.method;
  }
}

}  // namespace
}  // namespace Brindle
