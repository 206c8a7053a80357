// The label job writer: its graphics rendered back by the render command dot
// for dot at every resolution, and its commands as text.
#include "labeljob/label_job.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <regex>
#include <sstream>

#include "support/rendered_job.h"

namespace Corvane::LabelJob {
namespace {

// The graphics commands' widths, Y fields and TOPIX counts.
struct Graphic {
  unsigned long y, width, count;
};
std::vector<Graphic> Graphics(const std::string& job) {
  std::vector<Graphic> graphics;
  static const std::regex kHead(R"(\{SG;\d{4,6},(\d{4,6}),(\d{4,6}),\d{4,6},3,)");
  for (std::sregex_iterator it(job.begin(), job.end(), kHead), end; it != end; ++it) {
    const auto at = static_cast<std::size_t>(it->position() + it->length());
    graphics.push_back(
        {std::stoul((*it)[1]), std::stoul((*it)[2]),
         static_cast<unsigned char>(job[at]) * 256ul + static_cast<unsigned char>(job[at + 1])});
  }
  return graphics;
}

enum class Fill { kWhite, kNoise, kStripes, kSparseDots, kBlack };

void Paint(Brindle::Bitmap& canvas, Fill fill) {
  std::mt19937 random(12);
  const std::uint64_t rowBytes = canvas.BytesPerRow();
  // Padding bits stay white, as every bitmap keeps them.
  const auto last = static_cast<unsigned char>(0xFF << (8 - canvas.Width() % 8) % 8);
  for (std::uint64_t i = 0; i < canvas.Data().size(); ++i) {
    const std::uint64_t y = i / rowBytes;
    unsigned byte = fill == Fill::kNoise ? random() : fill == Fill::kBlack ? 0xFF : 0;
    if (fill == Fill::kStripes && y / 50 % 3 == 1) byte = 0xFF;
    if (fill == Fill::kSparseDots && (y * 7 + i % rowBytes * 13) % 389 == 0) byte = 0x10;
    canvas.Data()[i] =
        static_cast<unsigned char>(byte & (i % rowBytes + 1 == rowBytes ? last : 0xFF));
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
  std::ostringstream job;
  WriteLabelSize(job, c.geometry);
  WriteClearImageBuffer(job);
  WriteGraphics(job, canvas, dotsPerMillimetre);
  WriteIssue(job, {});
  ASSERT_EQ(::Vellum::Testing::RenderedDots(job.str(), c.dotsPerInch), canvas.Data());

  const std::vector<Graphic> graphics = Graphics(job.str());
  if (c.fill == Fill::kWhite) {
    EXPECT_TRUE(graphics.empty());  // the buffer was cleared
  }
  for (std::size_t i = 0; i < graphics.size(); ++i) {
    EXPECT_LE(graphics[i].width, 4096u);  // TOPIX's widest row: wider labels get columns
    EXPECT_GT(graphics[i].count, 0u);     // 65536 would have wrapped to 0
    // Noise fills each band up to the two-byte count, within three lines of
    // a 512-byte row (a band may end two rows early, on a row a Y reaches).
    const bool lastOfColumn = i + 1 == graphics.size() || graphics[i + 1].y < graphics[i].y;
    if (c.fill == Fill::kNoise && graphics[i].width == 4096 && !lastOfColumn) {
      EXPECT_GT(graphics[i].count, 65535u - 3 * 585u) << "band " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Labels, LabelJobRoundTrip,
    ::testing::Values(RoundTrip{"noise_bands_203", 203, {1040, 1500, 30}, Fill::kNoise},
                      RoundTrip{"noise_columns_600", 600, {2000, 600, 0}, Fill::kNoise},
                      RoundTrip{"sparse_odd_width_300", 300, {333, 401, 17}, Fill::kSparseDots},
                      RoundTrip{
                          "stripes_wider_than_topix_300", 300, {3600, 200, 0}, Fill::kStripes},
                      RoundTrip{"black_one_dot_wide_600", 600, {1, 77, 3}, Fill::kBlack},
                      RoundTrip{"white_203", 203, {1040, 1500, 30}, Fill::kWhite}),
    [](const auto& info) { return std::string(info.param.name); });

// What a writer writes, or "! " and its refusal when it writes nothing.
std::string Written(const std::function<void(std::ostream&)>& write) {
  std::ostringstream out;
  try {
    write(out);
  } catch (const LabelJobException& e) {
    return out.str().empty() ? std::string("! ") + e.what() : "written before a refusal";
  }
  return out.str();
}

TEST(LabelJobCommands, TextAndRefusals) {
  using Size = std::pair<LabelGeometry, const char*>;
  for (const auto& [geometry, text] :
       {Size{{1000, 500, 40}, "{D0540,1000,0500|}\n"},
        Size{{9999, 99000, 999}, "{D99999,9999,99000|}\n"},
        Size{{10000, 100, 0}, "! Label width must be from 0.1 to 999.9 mm, not 1000.0 mm"},
        Size{{100, 0, 10}, "! Label length must be at least 0.1 mm"},
        Size{{100, 99990, 10},
             "! Label length and gap together must be at most 9999.9 mm, not 10000.0 mm"}})
    EXPECT_EQ(Written([&](auto& o) { WriteLabelSize(o, geometry); }), text);
  using Issue = std::pair<IssueOptions, const char*>;
  for (const auto& [options, text] :
       {Issue{{}, "{XS;I,0001,0002C3000|}\n"},
        Issue{{12, Sensor::kReflective, true, false, true}, "{XS;I,0012,0011C3100|}\n"},
        Issue{{9999, Sensor::kNone, false, true}, "{XS;I,9999,0000D3000|}\n"},
        Issue{{0}, "! Copies must be from 1 to 9999, not 0"}})
    EXPECT_EQ(Written([&](auto& o) { WriteIssue(o, options); }), text);
  EXPECT_EQ(Written([](auto& o) { WriteClearImageBuffer(o); }), "{C|}\n");
  EXPECT_EQ(Written([](auto& o) { WriteGraphics(o, Brindle::Bitmap(8, 8), 10); }),
            "! Unsupported resolution: 10 dots/mm (8, 12 or 24)");
  EXPECT_EQ(
      Written([](auto&) {
        (void)LabelCanvas({9999, 20000, 0}, 24);
      }),
      "! The label is too large at this resolution (23997 x 48000 dots; at most 268 million)");
  EXPECT_EQ(LabelCanvas({508, 468, 40}, 12).Width(), 609u);  // 50.8 mm at 12 dots/mm
  EXPECT_THROW((void)DotsPerMillimetre(200), LabelJobException);
}

}  // namespace
}  // namespace Corvane::LabelJob
