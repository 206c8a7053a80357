// vellum-image's command line: spellings users type, and the refusals.
#include "imagetool/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Corvane::ImageTool {
namespace {

using Words = std::vector<std::string>;

Words With(Words extra) {
  extra.insert(extra.begin(), {"--width", "50", "--length", "30", "in.png"});
  return extra;
}

TEST(ImageOptions, EveryOptionInItsSpellings) {
  const CommandLine defaults = ParseCommandLine(With({}));
  const PictureJobOptions& d = defaults.job;
  EXPECT_TRUE(d.geometry.width == 500 && d.geometry.length == 300 && d.geometry.gap == 0 &&
              d.dotsPerInch == 203 && d.method == Brindle::kFirstScreenMethod &&
              d.curve == Brindle::kNormalCurve && d.quarterTurns == 0 && !d.area && !d.stretch &&
              d.issue && d.issueOptions.copies == 1 &&
              d.issueOptions.sensor == LabelJob::Sensor::kTransmissive && !d.issueOptions.cut &&
              defaults.picture == "in.png" && defaults.output.empty());

  const CommandLine all = ParseCommandLine({"--width=101.6",
                                            "--length",
                                            "25.44",
                                            "--gap",
                                            "2.55mm",
                                            "--resolution",
                                            "600",
                                            "--method",
                                            "Patterns",
                                            "--curve",
                                            "DARKEST",
                                            "--rotate",
                                            "270",
                                            "--copies",
                                            "12",
                                            "--sensor",
                                            "reflective",
                                            "--cut",
                                            "--strip",
                                            "--ribbon",
                                            "--no-issue",
                                            "--area",
                                            "5,2.5,40,20.05",
                                            "--stretch",
                                            "-o",
                                            "out.prn",
                                            "--",
                                            "-x.png"});
  const PictureJobOptions& j = all.job;
  EXPECT_TRUE(j.geometry.width == 1016 && j.geometry.length == 254 && j.geometry.gap == 26 &&
              j.dotsPerInch == 600 && j.method == Brindle::kPatternMethod &&
              j.curve == Brindle::kDarkestCurve && j.quarterTurns == 3 && !j.issue &&
              j.issueOptions.copies == 12 &&
              j.issueOptions.sensor == LabelJob::Sensor::kReflective && j.issueOptions.cut &&
              j.issueOptions.strip && j.issueOptions.ribbon && j.stretch && j.area &&
              j.area->x == 50 && j.area->y == 25 && j.area->width == 400 && j.area->height == 201 &&
              all.output == "out.prn" && all.picture == "-x.png");
  EXPECT_EQ(ParseCommandLine({"--width", "5", "--length", "3", "-"}).picture, "-");
  EXPECT_TRUE(ParseCommandLine({"--help"}).help);
}

TEST(ImageOptions, Refused) {
  const struct {
    Words words;
    const char* message;
  } kCases[] = {
      {{"--length", "30", "in.png"}, "--width is required"},
      {{"--width", "30", "--length", "30"}, "No picture given"},
      {With({"other.png"}), "Only one picture at a time: other.png"},
      {With({"--width", "20"}), "--width is given twice"},
      {With({"--colour"}), "Unknown option: --colour"},
      {With({"--cut=yes"}), "Unknown option: --cut=yes"},
      {With({"--copies"}), "Missing value after --copies"},
      {With({"--copies", "0"}), "The value of --copies must be from 1 to 9999: 0"},
      {With({"--copies", "ten"}), "The value of --copies must be a number: ten"},
      {With({"--resolution", "200"}),
       "The value of --resolution must be one of 203, 300, 600: 200"},
      {With({"--method", "floyd"}),
       "The value of --method must be one of screen1, screen2, screen32, threshold, patterns: "
       "floyd"},
      {With({"--curve", "normalish"}),
       "The value of --curve must be one of lightest, lighter, light, normal, dark, darker, "
       "darkest: normalish"},
      {With({"--sensor", "mark"}),
       "The value of --sensor must be one of none, transmissive, reflective: mark"},
      {With({"--gap", "-3"}), "The value of --gap must be a length in millimetres: -3"},
      {{"--width", "1000", "--length", "30", "a"},
       "The value of --width must be at most 999.9 mm: 1000"},
      {With({"--area", "1,2,3"}),
       "The value of --area must be X,Y,WIDTH,HEIGHT in millimetres: 1,2,3"},
      {With({"--output="}), "The value of --output must not be empty"},
  };
  for (const auto& c : kCases) {
    try {
      (void)ParseCommandLine(c.words);
      ADD_FAILURE() << c.message;
    } catch (const OptionException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

}  // namespace
}  // namespace Corvane::ImageTool
