// The driver's PPD file: valid for CUPS, every choice understood by the
// filter whichever way it arrives, every label size one the filter takes.
#include <cups/cups.h>
#include <gtest/gtest.h>

#include <fstream>

#include "driver/label_options.h"
#include "driver/page_label.h"
#include "driver/page_picture.h"
#include "driver/ppd_choices.h"
#include "support/process.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <cups/ppd.h>

namespace Corvane::Driver {
namespace {

const std::string kPPD = std::string(VELLUM_SOURCE_DIR) + "/ppd/tec.ppd";

// cupstestppd's verdict; the filter is looked for where the PPD is installed
// beside it, not in the source tree.
std::string Cupstestppd(const std::string& ppd) {
  const auto result = ::Vellum::Testing::RunProcess({"/usr/bin/cupstestppd", "-I", "filters", ppd});
  return result.status == 0 ? result.out : "failed: " + result.out + result.err;
}

// The page header cupsRasterInterpretPPD makes, as a rasterizer does, for
// the PPD's defaults with one choice marked.
cups_page_header2_t HeaderFor(ppd_file_t* ppd, const std::string& keyword,
                              const std::string& choice) {
  ppdMarkDefaults(ppd);
  cups_option_t* options = nullptr;
  const int count = cupsAddOption(keyword.c_str(), choice.c_str(), 0, &options);
  cupsMarkOptions(ppd, count, options);
  cups_page_header2_t header{};
  EXPECT_EQ(cupsRasterInterpretPPD(&header, ppd, count, options, nullptr), 0)
      << keyword << "=" << choice;
  cupsFreeOptions(count, options);
  return header;
}

std::tuple<std::int32_t, std::uint32_t, std::uint32_t, LabelJob::Sensor, bool, bool, bool> Fields(
    const LabelOptions& o) {
  return {o.method, o.curve, o.gap, o.issue.sensor, o.issue.cut, o.issue.strip, o.issue.ribbon};
}

class DriverPPD : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(ppd_, nullptr); }
  void TearDown() override { ppdClose(ppd_); }
  ppd_file_t* ppd_ = ppdOpenFile(kPPD.c_str());
};

TEST_F(DriverPPD, EveryChoiceReachesTheFilterTheSameThroughHeaderAndOptions) {
  EXPECT_NE(Cupstestppd(kPPD).find(": PASS"), std::string::npos) << Cupstestppd(kPPD);
  EXPECT_EQ(Cupstestppd(kPPD).find("WARN"), std::string::npos) << Cupstestppd(kPPD);
  std::vector<std::string> warnings;
  const LabelOptions defaults = ApplyChoices({}, PPDDefaultChoices(kPPD), warnings);
  EXPECT_EQ(Fields(defaults), Fields(LabelOptions{}));  // the driver's own defaults are the PPD's
  // Options that are all the other way, for the header to overrule.
  const LabelOptions other = ApplyChoices({},
                                          {{"TECHalftone", "Patterns"},
                                           {"Darkness", "Darkest"},
                                           {"TECMediaTracking", "Mark"},
                                           {"TECLabelGap", "99.9mm"},
                                           {"TECCut", "True"},
                                           {"TECStrip", "True"},
                                           {"TECRibbon", "True"}},
                                          warnings);
  std::size_t choices = 0;
  for (const char* keyword : kOptionKeywords) {
    const ppd_option_t* option = ppdFindOption(ppd_, keyword);
    ASSERT_NE(option, nullptr) << keyword;
    for (int i = 0; i < option->num_choices; ++i, ++choices) {
      const std::string choice = option->choices[i].choice;
      const LabelOptions expected = ApplyChoices(defaults, {{keyword, choice}}, warnings);
      EXPECT_EQ(Fields(ApplyPageHeader(other, HeaderFor(ppd_, keyword, choice))), Fields(expected))
          << keyword << "=" << choice;
    }
  }
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(choices, 5u + 7 + 3 + 9 + 2 + 2 + 2);
}

TEST_F(DriverPPD, SizesResolutionsAndColourMakeLabelsTheFilterTakes) {
  // Every listed size is its name's millimetres (or inches) in a raster format the filter takes.
  const ppd_option_t* sizes = ppdFindOption(ppd_, "PageSize");
  ASSERT_NE(sizes, nullptr);
  for (int i = 0; i < sizes->num_choices; ++i) {
    const std::string name = sizes->choices[i].choice;
    if (name == "Custom") continue;  // the custom size's own entry, tried below
    const cups_page_header2_t header = HeaderFor(ppd_, "PageSize", name);
    EXPECT_NO_THROW(CheckPixelFormat(header)) << name;
    unsigned width = 0, length = 0;
    char unit[3] = {};
    ASSERT_EQ(std::sscanf(sizes->choices[i].text, "%u x %u %2s", &width, &length, unit), 3);
    const unsigned tenths = std::string(unit) == "in" ? 254 : 10;
    EXPECT_NEAR(GeometryOf(header, 30).width, width * tenths, 1) << name;
    EXPECT_NEAR(GeometryOf(header, 30).length, length * tenths, 1) << name;
  }
  const LabelJob::LabelGeometry custom =
      GeometryOf(HeaderFor(ppd_, "PageSize", "Custom.62x29mm"), 0);
  EXPECT_EQ(custom.width * 10000 + custom.length, 620u * 10000 + 290);
  for (const auto& [resolution, dotsPerMillimetre] :
       {std::pair{"203dpi", 8u}, {"300dpi", 12u}, {"600dpi", 24u}})
    EXPECT_EQ(DotsPerMillimetreOf(HeaderFor(ppd_, "Resolution", resolution)), dotsPerMillimetre);
}

}  // namespace
}  // namespace Corvane::Driver

#pragma GCC diagnostic pop
