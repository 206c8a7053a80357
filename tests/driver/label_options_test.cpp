// The choices and page header fields the filter takes or refuses, the
// resolutions it maps to the print heads and the label sizes it reads.
#include "driver/label_options.h"

#include <gtest/gtest.h>

#include <tuple>

#include "core/exception.h"
#include "driver/page_label.h"

namespace Corvane::Driver {
namespace {

TEST(LabelOptions, ChoicesAreTakenOrReportedAndLeftAlone) {
  const struct {
    const char *keyword, *choice;
    bool taken;
    std::uint32_t gap;
    bool cut;
  } cases[] = {
      {"TECLabelGap", "2.55mm", true, 26, false},
      {"TECLabelGap", "100mm", true, 1000, false},
      {"TECLabelGap", "100.1mm", false, 30, false},
      {"TECLabelGap", "-1mm", false, 30, false},
      {"TECCut", "ON", true, 30, true},
      {"TECCut", "maybe", false, 30, false},
      {"Darkness", "Pitch", false, 30, false},
      {"PageSize", "Custom.10x10mm", true, 30, false},  // not the driver's business
  };
  for (const auto& c : cases) {
    std::vector<std::string> warnings;
    const LabelOptions options = ApplyChoices({}, {{c.keyword, c.choice}}, warnings);
    EXPECT_EQ(warnings.empty(), c.taken) << c.keyword << "=" << c.choice;
    EXPECT_EQ(options.gap, c.gap) << c.keyword << "=" << c.choice;
    EXPECT_EQ(options.issue.cut, c.cut) << c.keyword << "=" << c.choice;
  }
  cups_page_header2_t header{};
  for (const auto& [field, value, message] :
       {std::tuple{0, 6u, "The page header's cupsInteger0 (halftoning) is 6; it takes 0 to 5"},
        std::tuple{1, 8u, "The page header's cupsInteger1 (darkness) is 8; it takes 0 to 7"},
        std::tuple{3, 1002u, "The page header's cupsInteger3 (gap) is 1002; it takes 0 to 1001"},
        std::tuple{6, 3u, "The page header's cupsInteger6 (ribbon) is 3; it takes 0 to 2"}}) {
    header.cupsInteger[field] = value;
    try {
      ApplyPageHeader({}, header);
      ADD_FAILURE() << message;
    } catch (const InvalidFormatException& e) {
      EXPECT_STREQ(e.what(), message);
    }
    header.cupsInteger[field] = value - 1;  // the largest value taken
  }
  EXPECT_EQ(ApplyPageHeader({}, header).gap, 1000u);
}

TEST(PageLabel, ResolutionsAndSizesOfThePage) {
  const struct {
    unsigned x, y, dotsPerMillimetre;  // 0: refused
  } resolutions[] = {{199, 199, 0},  {200, 200, 8},  {206, 206, 8}, {207, 207, 0},
                     {300, 300, 12}, {309, 309, 12}, {310, 310, 0}, {600, 600, 24},
                     {619, 619, 24}, {620, 620, 0},  {203, 406, 0}};
  for (const auto& c : resolutions) {
    cups_page_header2_t header{};
    header.HWResolution[0] = c.x;
    header.HWResolution[1] = c.y;
    if (c.dotsPerMillimetre == 0)
      EXPECT_THROW(DotsPerMillimetreOf(header), UnimplementedException) << c.x << "x" << c.y;
    else
      EXPECT_EQ(DotsPerMillimetreOf(header), c.dotsPerMillimetre) << c.x;
  }
  const struct {
    float exactWidth, exactLength;         // cupsPageSize, points
    unsigned width, length;                // PageSize, points
    std::uint32_t tenthsWide, tenthsLong;  // 0: refused
  } sizes[] = {
      {283.46f, 425.2f, 283, 425, 1000, 1500},  // the exact size wins
      {0, 425.2f, 283, 425, 998, 1499},         // whole points when it is not all there
      {481.89f, 2834.36f, 0, 0, 1700, 9999},    // the largest label
      {482.2f, 100, 0, 0, 0, 0},                // 170.1 mm wide
      {100, 2834.7f, 0, 0, 0, 0},               // 1000.0 mm long
      {-5, 100, 0, 0, 0, 0},
  };
  for (const auto& c : sizes) {
    cups_page_header2_t header{};
    header.cupsPageSize[0] = c.exactWidth;
    header.cupsPageSize[1] = c.exactLength;
    header.PageSize[0] = c.width;
    header.PageSize[1] = c.length;
    if (c.tenthsWide == 0) {
      EXPECT_THROW(GeometryOf(header, 30), InvalidFormatException) << c.exactWidth;
      continue;
    }
    const LabelJob::LabelGeometry geometry = GeometryOf(header, 30);
    EXPECT_EQ(geometry.width * 100000 + geometry.length, c.tenthsWide * 100000 + c.tenthsLong);
  }
}

}  // namespace
}  // namespace Corvane::Driver
