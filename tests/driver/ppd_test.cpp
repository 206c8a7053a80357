// The driver's PPD file: valid for CUPS, every choice understood by the
// filter whichever way it arrives, and insertion lines that the insertion
// commands find and the filter reads back.
#include <cups/cups.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "driver/insertions.h"
#include "driver/label_options.h"
#include "driver/page_label.h"
#include "driver/page_picture.h"
#include "driver/ppd_choices.h"
#include "graphics/tiff_tools.h"
#include "ppd/ppd_insertion.h"
#include "support/process.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <cups/ppd.h>

namespace Corvane::Driver {
namespace {

using ::Vellum::Testing::RunProcess;

const std::string kPPD = std::string(VELLUM_SOURCE_DIR) + "/ppd/tec.ppd";

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// cupstestppd's verdict; the filter is checked for where the PPD is installed
// beside it, not in the source tree.
TEST(DriverPPD, PassesCupstestppdWithoutWarnings) {
  const auto result = RunProcess({"/usr/bin/cupstestppd", "-I", "filters", kPPD});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_NE(result.out.find(": PASS"), std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("WARN"), std::string::npos) << result.out;
}

// The page header cupsRasterInterpretPPD makes, as a rasterizer does, for
// the PPD's defaults with one choice marked.
cups_page_header2_t HeaderFor(const std::string& keyword, const std::string& choice) {
  ppd_file_t* ppd = ppdOpenFile(kPPD.c_str());
  EXPECT_NE(ppd, nullptr);
  ppdMarkDefaults(ppd);
  cups_option_t* options = nullptr;
  const int count = cupsAddOption(keyword.c_str(), choice.c_str(), 0, &options);
  cupsMarkOptions(ppd, count, options);
  cups_page_header2_t header{};
  EXPECT_EQ(cupsRasterInterpretPPD(&header, ppd, count, options, nullptr), 0)
      << keyword << "=" << choice << ": " << cupsRasterErrorString();
  cupsFreeOptions(count, options);
  ppdClose(ppd);
  return header;
}

void ExpectSame(const LabelOptions& a, const LabelOptions& b, const std::string& what) {
  EXPECT_EQ(a.method, b.method) << what;
  EXPECT_EQ(a.curve, b.curve) << what;
  EXPECT_EQ(a.gap, b.gap) << what;
  EXPECT_EQ(a.issue.sensor, b.issue.sensor) << what;
  EXPECT_EQ(a.issue.cut, b.issue.cut) << what;
  EXPECT_EQ(a.issue.strip, b.issue.strip) << what;
  EXPECT_EQ(a.issue.ribbon, b.issue.ribbon) << what;
}

TEST(DriverPPD, EveryChoiceReachesTheFilterTheSameThroughHeaderAndOptions) {
  // The driver's own defaults are the PPD's.
  std::vector<std::string> warnings;
  ExpectSame(ApplyChoices({}, PPDDefaultChoices(kPPD), warnings), LabelOptions{}, "defaults");
  EXPECT_TRUE(warnings.empty());

  ppd_file_t* ppd = ppdOpenFile(kPPD.c_str());
  ASSERT_NE(ppd, nullptr);
  std::size_t choices = 0;
  for (const char* keyword : kOptionKeywords) {
    const ppd_option_t* option = ppdFindOption(ppd, keyword);
    ASSERT_NE(option, nullptr) << keyword;
    for (int i = 0; i < option->num_choices; ++i) {
      const std::string choice = option->choices[i].choice,
                        what = std::string(keyword) + "=" + choice;
      // The job's options name the choice: understood, no warning.
      const LabelOptions defaults = ApplyChoices({}, PPDDefaultChoices(kPPD), warnings);
      const LabelOptions expected = ApplyChoices(defaults, {{keyword, choice}}, warnings);
      EXPECT_TRUE(warnings.empty()) << what;
      // A header made for the defaults and this choice says the same, over
      // options that are all the other way.
      const LabelOptions other = ApplyChoices({},
                                              {{"TECHalftone", "Patterns"},
                                               {"Darkness", "Darkest"},
                                               {"TECMediaTracking", "Mark"},
                                               {"TECLabelGap", "99.9mm"},
                                               {"TECCut", "True"},
                                               {"TECStrip", "True"},
                                               {"TECRibbon", "True"}},
                                              warnings);
      ExpectSame(ApplyPageHeader(other, HeaderFor(keyword, choice)), expected, what);
      ++choices;
    }
  }
  ppdClose(ppd);
  EXPECT_EQ(choices, 5u + 7 + 3 + 9 + 2 + 2 + 2);
}

TEST(DriverPPD, SizesResolutionsAndColourMakeLabelsTheFilterTakes) {
  // Every label size of the list: its name's millimetres (or inches) at each
  // resolution, in the raster format the filter takes.
  ppd_file_t* ppd = ppdOpenFile(kPPD.c_str());
  ASSERT_NE(ppd, nullptr);
  const ppd_option_t* sizes = ppdFindOption(ppd, "PageSize");
  ASSERT_NE(sizes, nullptr);
  for (int i = 0; i < sizes->num_choices; ++i) {
    const std::string name = sizes->choices[i].choice, text = sizes->choices[i].text;
    if (name == "Custom") continue;  // the custom size's own entry, tried below
    const cups_page_header2_t header = HeaderFor("PageSize", name);
    EXPECT_NO_THROW(CheckPixelFormat(header)) << name;
    const LabelJob::LabelGeometry geometry = GeometryOf(header, 30);
    unsigned width = 0, length = 0;
    char unit[3] = {};
    ASSERT_EQ(std::sscanf(text.c_str(), "%u x %u %2s", &width, &length, unit), 3) << text;
    const unsigned tenths = std::string(unit) == "in" ? 254 : 10;
    EXPECT_NEAR(geometry.width, width * tenths, 1) << name;
    EXPECT_NEAR(geometry.length, length * tenths, 1) << name;
  }
  ppdClose(ppd);

  const struct {
    const char* resolution;
    unsigned dotsPerMillimetre;
  } resolutions[] = {{"203dpi", 8}, {"300dpi", 12}, {"600dpi", 24}};
  for (const auto& r : resolutions)
    EXPECT_EQ(DotsPerMillimetreOf(HeaderFor("Resolution", r.resolution)), r.dotsPerMillimetre);

  // A custom size, as lp -o PageSize=Custom.62x29mm asks for it.
  const LabelJob::LabelGeometry custom = GeometryOf(HeaderFor("PageSize", "Custom.62x29mm"), 0);
  EXPECT_EQ(custom.width, 620u);
  EXPECT_EQ(custom.length, 290u);
}

TEST(DriverPPD, InsertionCommandsEditTheLinesTheFilterReads) {
  ::Vellum::Testing::TempDir dir;
  std::filesystem::copy_file(kPPD, dir / "labels.ppd");
  std::ofstream(dir / "post.tpcl", std::ios::binary) << "{XX;post|}";
  std::string expected = ReadText(kPPD);
  const struct {
    const char* keyword;
    const char* type;
    std::string value, line;
  } cases[] = {
      {"PreJob", "string", "\\x1b{PJ|}\\n", "*TECPreJobInsertion String: \"\\e{PJ|}\\n\""},
      {"PostJob", "file", (dir / "post.tpcl").string(),
       "*TECPostJobInsertion File: \"" + (dir / "post.tpcl").string() + "\""},
      {"PreLabel", "string", "caf\\xE9", "*TECPreLabelInsertion String: \"caf\\xe9\""},
      {"PostLabel", "string", "{XX;\\t|}", "*TECPostLabelInsertion String: \"{XX;\\t|}\""},
  };
  for (const auto& c : cases) {
    Vellum::Commands::SetInsertion(dir.path(), "labels", c.keyword, c.type, c.value);
    // Exactly its own line has changed.
    const std::string empty = std::string("*TEC") + c.keyword + "Insertion String: \"\"";
    const std::size_t at = expected.find(empty);
    ASSERT_NE(at, std::string::npos) << c.keyword;
    expected.replace(at, empty.size(), c.line);
    EXPECT_EQ(ReadText((dir / "labels.ppd").string()), expected) << c.keyword;
  }
  const Insertions insertions = ReadInsertions(ReadText((dir / "labels.ppd").string()));
  EXPECT_EQ(insertions.preJob, "\x1b{PJ|}\n");
  EXPECT_EQ(insertions.postJob, "{XX;post|}");
  EXPECT_EQ(insertions.preLabel, "caf\xe9");
  EXPECT_EQ(insertions.postLabel, "{XX;\t|}");
  // The edited file is still a valid PPD.
  const auto result =
      RunProcess({"/usr/bin/cupstestppd", "-I", "filters", (dir / "labels.ppd").string()});
  EXPECT_EQ(result.status, 0) << result.out;
}

}  // namespace
}  // namespace Corvane::Driver

#pragma GCC diagnostic pop
