// The choices and page header fields the filter understands, and how a page
// header gives the label's size and the printer's resolution.
#include "driver/label_options.h"

#include <gtest/gtest.h>

#include "core/exception.h"
#include "driver/page_label.h"

namespace Corvane::Driver {
namespace {

TEST(LabelOptions, ChoicesAreTakenOrReportedAndLeftAlone) {
  const struct {
    const char* keyword;
    const char* choice;
    bool taken;
    std::uint32_t gap;
    bool cut;
  } cases[] = {
      {"TECLabelGap", "2.5mm", true, 25, false},
      {"TECLabelGap", "0", true, 0, false},
      {"TECLabelGap", "100mm", true, 1000, false},
      {"TECLabelGap", "100.1mm", false, 30, false},
      {"TECLabelGap", "2.55mm", true, 26, false},
      {"TECLabelGap", "-1mm", false, 30, false},
      {"TECLabelGap", "3 mm", false, 30, false},
      {"TECCut", "yes", true, 30, true},
      {"TECCut", "ON", true, 30, true},
      {"TECCut", "False", true, 30, false},
      {"TECCut", "maybe", false, 30, false},
      {"Darkness", "dark", true, 30, false},
      // Other options of the queue are not the driver's business.
      {"PageSize", "Custom.10x10mm", true, 30, false},
  };
  for (const auto& c : cases) {
    std::vector<std::string> warnings;
    const LabelOptions options = ApplyChoices({}, {{c.keyword, c.choice}}, warnings);
    EXPECT_EQ(warnings.empty(), c.taken) << c.keyword << "=" << c.choice;
    EXPECT_EQ(options.gap, c.gap) << c.keyword << "=" << c.choice;
    EXPECT_EQ(options.issue.cut, c.cut) << c.keyword << "=" << c.choice;
  }
}

TEST(LabelOptions, PageHeaderFieldsOutsideTheirChoicesAreRefused) {
  const struct {
    int field;
    unsigned value;
    const char* message;  // empty: taken
  } cases[] = {
      {0, 5, ""},
      {0, 6, "The page header's cupsInteger0 (halftoning) is 6; it takes 0 to 5"},
      {1, 7, ""},
      {1, 8, "The page header's cupsInteger1 (darkness) is 8; it takes 0 to 7"},
      {2, 4, "The page header's cupsInteger2 (media tracking) is 4; it takes 0 to 3"},
      {3, 1001, ""},
      {3, 1002, "The page header's cupsInteger3 (gap) is 1002; it takes 0 to 1001"},
      {6, 3, "The page header's cupsInteger6 (ribbon) is 3; it takes 0 to 2"},
  };
  for (const auto& c : cases) {
    cups_page_header2_t header{};
    header.cupsInteger[c.field] = c.value;
    try {
      ApplyPageHeader({}, header);
      EXPECT_STREQ(c.message, "") << c.field;
    } catch (const InvalidFormatException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

TEST(PageLabel, ResolutionsNearTheHeadsDotsAreTaken) {
  const struct {
    unsigned x, y, dotsPerMillimetre;  // 0: refused
  } cases[] = {{199, 199, 0},  {200, 200, 8},  {203, 203, 8},  {206, 206, 8},  {207, 207, 0},
               {300, 300, 12}, {309, 309, 12}, {310, 310, 0},  {600, 600, 24}, {609, 609, 24},
               {619, 619, 24}, {620, 620, 0},  {203, 406, 0},  {0, 0, 0}};
  for (const auto& c : cases) {
    cups_page_header2_t header{};
    header.HWResolution[0] = c.x;
    header.HWResolution[1] = c.y;
    if (c.dotsPerMillimetre == 0) {
      EXPECT_THROW(DotsPerMillimetreOf(header), UnimplementedException) << c.x << "x" << c.y;
    } else {
      EXPECT_EQ(DotsPerMillimetreOf(header), c.dotsPerMillimetre) << c.x;
    }
  }
}

TEST(PageLabel, TheLabelIsThePageSizeInTenthsOfAMillimetre) {
  const struct {
    float exactWidth, exactLength;         // cupsPageSize, points
    unsigned width, length;                // PageSize, points
    std::uint32_t tenthsWide, tenthsLong;  // 0: refused
  } cases[] = {
      {283.46f, 425.2f, 283, 425, 1000, 1500},  // the exact size wins
      {0, 0, 283, 425, 998, 1499},              // whole points when there is none
      {0, 425.2f, 283, 425, 998, 1499},         // or only half of it
      {481.89f, 2834.36f, 0, 0, 1700, 9999},    // the largest label
      {482.2f, 100, 0, 0, 0, 0},                // 170.1 mm wide
      {100, 2834.7f, 0, 0, 0, 0},               // 1000.0 mm long
      {0, 0, 0, 425, 0, 0},                     // no width
      {-5, 100, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
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
    EXPECT_EQ(geometry.width, c.tenthsWide) << c.exactWidth;
    EXPECT_EQ(geometry.length, c.tenthsLong) << c.exactWidth;
    EXPECT_EQ(geometry.gap, 30u);
  }
}

}  // namespace
}  // namespace Corvane::Driver
