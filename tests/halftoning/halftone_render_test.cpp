// End to end: a grey picture becomes dots, travels as TOPIX inside a TPCL job,
// and the render command draws the same dots into its TIFF.
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "render/render_command.h"
#include "render/topix_codec.h"

namespace Brindle {
namespace {

using Bytes = std::vector<unsigned char>;

// A fresh directory under the system's temporary directory, removed with the object.
class TempDir {
 public:
  TempDir() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vellum-halftone-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// The rows of a one-bit TIFF as libtiff, an implementation independent of
// ours, decodes them; empty when libtiff refuses the file.
Bytes LibtiffRows(const std::filesystem::path& file) {
  std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(TIFFOpen(file.c_str(), "r"), TIFFClose);
  if (!tiff) return {};
  std::uint32_t height = 0;
  TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
  const auto rowBytes = static_cast<std::size_t>(TIFFScanlineSize(tiff.get()));
  Bytes rows(rowBytes * height);
  for (std::uint32_t y = 0; y < height; ++y) {
    if (TIFFReadScanline(tiff.get(), rows.data() + y * rowBytes, y) < 0) return {};
  }
  return rows;
}

// A picture with both slow and sharp changes: a diagonal ramp crossed by a
// dark ring, so every grey level and solid edges both occur.
Image TestPicture(std::uint64_t width, std::uint64_t height) {
  Bytes grey(width * height);
  for (std::uint64_t y = 0; y < height; ++y) {
    for (std::uint64_t x = 0; x < width; ++x) {
      const double dx = static_cast<double>(x) - width / 2.0;
      const double dy = static_cast<double>(y) - height / 2.0;
      const bool ring = std::abs(std::hypot(dx, dy) - height / 3.0) < 4;
      grey[y * width + x] = ring ? 0 : static_cast<unsigned char>((x + y) * 255 / (width + height));
    }
  }
  return Image(8, 1, width, height, std::move(grey));
}

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
  TempDir dir;
  const Image picture = TestPicture(160, 90);
  for (const Case& c : kCases) {
    // 20 x 10 mm at 24 dots/mm (the "600" resolution): 480 x 240 dots.
    const Bitmap dots =
        BitmapFromImage(picture, {10, 5, 210, 105}, 24.0, c.rotation, c.method, c.curve);
    ASSERT_EQ(dots.Width(), 480U);
    ASSERT_EQ(dots.Height(), 240U);
    std::uint64_t printed = 0;
    for (unsigned char byte : dots.Data()) printed += static_cast<unsigned>(std::popcount(byte));
    ASSERT_GT(printed, dots.Width() * dots.Height() / 10) << "method " << c.method;
    ASSERT_LT(printed, dots.Width() * dots.Height() * 9 / 10) << "method " << c.method;

    std::ostringstream topix;
    WriteBitmap(dots, topix, kTOPIXFormat);
    // Label 30.0 mm wide and 15.0 mm long: a 720 x 360 dot canvas. The graphic
    // goes to (1.0 mm, 0.5 mm) = dots (24, 12), byte 3 of the canvas rows.
    const std::string job = "{D0150,0300,0130|}\n{SG;0010,0005,0480,0240,3," + topix.str() +
                            "|}\n{XS;I,0001,0002C3000|}\n";
    std::ofstream(dir / "job.prn", std::ios::binary) << job;
    Corvane::Vellum::Commands::Render(
        {"-r", "600", "-o", (dir / "out.tif").string(), (dir / "job.prn").string()});

    const Bytes canvas = LibtiffRows(dir / "out.tif");
    ASSERT_EQ(canvas.size(), 90U * 360U) << "method " << c.method;
    for (std::uint64_t y = 0; y < 360; ++y) {
      const Bytes row(canvas.begin() + static_cast<long>(y * 90),
                      canvas.begin() + static_cast<long>(y * 90 + 90));
      Bytes expected(90, 0);
      if (y >= 12 && y < 252) {
        const Bytes drawn = dots.GetRow(y - 12);
        std::copy(drawn.begin(), drawn.end(), expected.begin() + 3);
      }
      ASSERT_EQ(row, expected) << "method " << c.method << " canvas row " << y;
    }
  }
}

}  // namespace
}  // namespace Brindle
