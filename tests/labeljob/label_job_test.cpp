// The label job writer: its commands as text, and its graphics rendered back
// by the render command, dot for dot, at every resolution.
#include "labeljob/label_job.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "graphics/tiff_reader.h"
#include "graphics/tiff_tools.h"
#include "render/render_command.h"

namespace Corvane::LabelJob {
namespace {

using Bytes = std::vector<unsigned char>;

// The label `render` draws for a job, as its TIFF's rows.
Bytes Rendered(const std::string& job, unsigned dotsPerInch) {
  ::Vellum::Testing::TempDir dir;
  std::ofstream(dir / "job.prn", std::ios::binary) << job;
  Vellum::Commands::Render({"-r", std::to_string(dotsPerInch), "-o", (dir / "label.tif").string(),
                            (dir / "job.prn").string()});
  std::ifstream tiff(dir / "label.tif", std::ios::binary);
  return Brindle::ImageIO::ReadFromTIFFFormat(tiff).Data();
}

std::string Job(const LabelGeometry& geometry, const Brindle::Bitmap& canvas,
                unsigned dotsPerMillimetre) {
  std::ostringstream job;
  WriteLabelSize(job, geometry);
  WriteClearImageBuffer(job);
  WriteGraphics(job, canvas, dotsPerMillimetre);
  WriteIssue(job, {});
  return job.str();
}

// The graphics commands' fields: x, y, width, height and the TOPIX count.
struct Graphic {
  unsigned long x, y, width, height, count;
};
std::vector<Graphic> Graphics(const std::string& job) {
  std::vector<Graphic> graphics;
  static const std::regex kHead(R"(\{SG;(\d{4,6}),(\d{4,6}),(\d{4,6}),(\d{4,6}),3,)");
  for (std::sregex_iterator it(job.begin(), job.end(), kHead), end; it != end; ++it) {
    const auto at = static_cast<std::size_t>(it->position() + it->length());
    const unsigned long count =
        static_cast<unsigned char>(job[at]) * 256ul + static_cast<unsigned char>(job[at + 1]);
    graphics.push_back({std::stoul((*it)[1]), std::stoul((*it)[2]), std::stoul((*it)[3]),
                        std::stoul((*it)[4]), count});
  }
  return graphics;
}

enum class Fill {
  kWhite,
  kNoise,       // barely compressible: many bands
  kStripes,     // black bars between long white runs: bands skip the white
  kSparseDots,  // a dot here and there, on rows no Y field reaches
  kBlack,
};

void Paint(Brindle::Bitmap& canvas, Fill fill) {
  std::mt19937 random(12);
  Bytes& data = canvas.Data();
  const std::uint64_t rowBytes = canvas.BytesPerRow();
  for (std::uint64_t y = 0; y < canvas.Height(); ++y) {
    for (std::uint64_t i = 0; i < rowBytes; ++i) {
      unsigned char byte = 0;
      switch (fill) {
        case Fill::kWhite:
          break;
        case Fill::kNoise:
          byte = static_cast<unsigned char>(random());
          break;
        case Fill::kStripes:
          byte = (y / 50) % 3 == 1 ? 0xFF : 0x00;
          break;
        case Fill::kSparseDots:
          byte = (y * 7 + i * 13) % 389 == 0 ? 0x10 : 0x00;
          break;
        case Fill::kBlack:
          byte = 0xFF;
          break;
      }
      data[y * rowBytes + i] = byte;
    }
    // Padding bits stay white, as every bitmap keeps them.
    if (const unsigned padding = (8 - canvas.Width() % 8) % 8; padding != 0 && rowBytes != 0) {
      data[y * rowBytes + rowBytes - 1] &= static_cast<unsigned char>(0xFF << padding);
    }
  }
}

struct RoundTrip {
  const char* name;
  unsigned dotsPerInch;
  LabelGeometry geometry;
  Fill fill;
};

class LabelJobRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(LabelJobRoundTrip, RenderDrawsExactlyTheCanvas) {
  const RoundTrip& c = GetParam();
  const unsigned dotsPerMillimetre = DotsPerMillimetre(c.dotsPerInch);
  Brindle::Bitmap canvas = LabelCanvas(c.geometry, dotsPerMillimetre);
  Paint(canvas, c.fill);
  const std::string job = Job(c.geometry, canvas, dotsPerMillimetre);

  ASSERT_EQ(Rendered(job, c.dotsPerInch), canvas.Data());
  for (const Graphic& g : Graphics(job)) {
    EXPECT_LE(g.width, 4096u);
    EXPECT_GT(g.count, 0u);  // 65536 would have wrapped to 0
    EXPECT_LE(g.height, g.count);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Labels, LabelJobRoundTrip,
    ::testing::Values(RoundTrip{"noise_203", 203, {1040, 1500, 30}, Fill::kNoise},
                      RoundTrip{"noise_300", 300, {1040, 1000, 20}, Fill::kNoise},
                      RoundTrip{"noise_600", 600, {1040, 600, 0}, Fill::kNoise},
                      RoundTrip{"odd_width_203", 203, {333, 401, 17}, Fill::kNoise},
                      RoundTrip{"odd_width_300", 300, {333, 401, 17}, Fill::kSparseDots},
                      RoundTrip{"odd_width_600", 600, {1, 77, 3}, Fill::kBlack},
                      RoundTrip{"wider_than_topix_600", 600, {2000, 300, 0}, Fill::kNoise},
                      RoundTrip{"wider_than_topix_300", 300, {3600, 200, 0}, Fill::kStripes},
                      RoundTrip{"stripes_203", 203, {500, 800, 30}, Fill::kStripes},
                      RoundTrip{"stripes_600", 600, {500, 400, 30}, Fill::kStripes},
                      RoundTrip{"sparse_203", 203, {1040, 700, 0}, Fill::kSparseDots},
                      RoundTrip{"sparse_600", 600, {1040, 700, 0}, Fill::kSparseDots},
                      RoundTrip{"black_300", 300, {1040, 600, 0}, Fill::kBlack},
                      RoundTrip{"white_203", 203, {1040, 1500, 30}, Fill::kWhite},
                      RoundTrip{"white_600", 600, {1040, 1500, 30}, Fill::kWhite}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(LabelJobGraphics, LargePicturesAreSplitIntoBandsAndColumns) {
  const LabelGeometry geometry{2000, 600, 0};
  Brindle::Bitmap canvas = LabelCanvas(geometry, 24);
  Paint(canvas, Fill::kNoise);
  std::ostringstream out;
  WriteGraphics(out, canvas, 24);
  const std::vector<Graphic> graphics = Graphics(out.str());
  ASSERT_GT(graphics.size(), 10u);
  // Two columns: 4096 dots from byte 0, the other 704 from byte 512.
  EXPECT_EQ(graphics.front().x, 0u);
  EXPECT_EQ(graphics.front().width, 4096u);
  // Bands are filled as far as the two-byte count allows: within three lines
  // of 65535 (a line of a 512-byte row is at most 585 bytes, and a band ends
  // up to two rows early, on a row a Y field reaches).
  for (std::size_t i = 0; i + 1 < graphics.size() && graphics[i + 1].width == 4096; ++i) {
    EXPECT_GT(graphics[i].count, 65535u - 3 * 585u) << "band " << i;
  }
  EXPECT_EQ(graphics.back().width, 704u);
  const unsigned long dot = graphics.back().x * 24 / 10;  // render rounds to the nearest byte
  EXPECT_EQ(dot % 8 < 4 ? dot / 8 : dot / 8 + 1, 512u);
}

TEST(LabelJobGraphics, WhiteRowsAreLeftOut) {
  Brindle::Bitmap canvas = LabelCanvas({800, 1000, 0}, 8);
  std::ostringstream white;
  WriteGraphics(white, canvas, 8);
  EXPECT_EQ(white.str(), "");

  // One black row far down the label: one small graphic near it.
  canvas.SetRow(700, Bytes(canvas.BytesPerRow(), 0xFF));
  std::ostringstream one;
  WriteGraphics(one, canvas, 8);
  const std::vector<Graphic> graphics = Graphics(one.str());
  ASSERT_EQ(graphics.size(), 1u);
  EXPECT_EQ(graphics[0].y * 8 / 10 + graphics[0].height, 701u);
  EXPECT_LT(one.str().size(), 200u);
}

TEST(LabelJobCommands, LabelSizeAndClear) {
  struct Case {
    LabelGeometry geometry;
    const char* text;
  } const kCases[] = {
      {{1000, 500, 40}, "{D0540,1000,0500|}\n"},
      {{1, 1, 0}, "{D0001,0001,0001|}\n"},
      {{9999, 99000, 999}, "{D99999,9999,99000|}\n"},
  };
  for (const Case& c : kCases) {
    std::ostringstream out;
    WriteLabelSize(out, c.geometry);
    EXPECT_EQ(out.str(), c.text);
  }
  std::ostringstream clear;
  WriteClearImageBuffer(clear);
  EXPECT_EQ(clear.str(), "{C|}\n");
}

TEST(LabelJobCommands, IssueCarriesCopiesAndFeedOptions) {
  struct Case {
    IssueOptions options;
    const char* text;
  } const kCases[] = {
      {{}, "{XS;I,0001,0002C3000|}\n"},
      {{9999, Sensor::kNone, false, false, false}, "{XS;I,9999,0000C3000|}\n"},
      {{12, Sensor::kReflective, true, false, true}, "{XS;I,0012,0011C3100|}\n"},
      {{1, Sensor::kTransmissive, false, true, false}, "{XS;I,0001,0002D3000|}\n"},
  };
  for (const Case& c : kCases) {
    std::ostringstream out;
    WriteIssue(out, c.options);
    EXPECT_EQ(out.str(), c.text);
  }
}

TEST(LabelJobCommands, ValuesOutsideTheCommandsAreRefused) {
  struct Case {
    const char* name;
    std::function<void(std::ostream&)> write;
    const char* message;
  } const kCases[] = {
      {"no width",
       [](auto& o) {
         WriteLabelSize(o, {0, 100, 0});
       },
       "Label width must be from 0.1 to 999.9 mm, not 0.0 mm"},
      {"too wide",
       [](auto& o) {
         WriteLabelSize(o, {10000, 100, 0});
       },
       "Label width must be from 0.1 to 999.9 mm, not 1000.0 mm"},
      {"no length",
       [](auto& o) {
         WriteLabelSize(o, {100, 0, 10});
       },
       "Label length must be at least 0.1 mm"},
      {"pitch too long",
       [](auto& o) {
         WriteLabelSize(o, {100, 99990, 10});
       },
       "Label length and gap together must be at most 9999.9 mm, not 10000.0 mm"},
      {"no copies", [](auto& o) { WriteIssue(o, {0}); }, "Copies must be from 1 to 9999, not 0"},
      {"too many copies", [](auto& o) { WriteIssue(o, {10000}); },
       "Copies must be from 1 to 9999, not 10000"},
      {"resolution", [](auto& o) { WriteGraphics(o, Brindle::Bitmap(8, 8), 10); },
       "Unsupported resolution: 10 dots/mm (8, 12 or 24)"},
  };
  for (const Case& c : kCases) {
    std::ostringstream out;
    try {
      c.write(out);
      ADD_FAILURE() << c.name << ": no exception";
    } catch (const LabelJobException& e) {
      EXPECT_STREQ(e.what(), c.message) << c.name;
    }
    EXPECT_EQ(out.str(), "") << c.name << ": nothing is written";
  }
}

TEST(LabelJobCommands, Resolutions) {
  EXPECT_EQ(DotsPerMillimetre(203), 8u);
  EXPECT_EQ(DotsPerMillimetre(300), 12u);
  EXPECT_EQ(DotsPerMillimetre(600), 24u);
  for (unsigned dpi : {0u, 200u, 8u, 609u}) {
    EXPECT_THROW((void)DotsPerMillimetre(dpi), LabelJobException) << dpi;
  }
  const Brindle::Bitmap canvas = LabelCanvas({508, 468, 40}, 12);
  EXPECT_EQ(canvas.Width(), 609u);   // 50.8 mm at 12 dots/mm
  EXPECT_EQ(canvas.Height(), 609u);  // pitch 50.8 mm
}

}  // namespace
}  // namespace Corvane::LabelJob
