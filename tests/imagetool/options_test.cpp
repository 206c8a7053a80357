// vellum-image's command line: spellings users type, and the refusals.
#include "imagetool/options.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace Corvane::ImageTool {
namespace {

using Words = std::vector<std::string>;

const Words kRequired = {"--width", "50", "--length", "30", "in.png"};

Words With(Words extra) {
  extra.insert(extra.begin(), kRequired.begin(), kRequired.end());
  return extra;
}

struct Accepted {
  const char* name;
  Words words;
  std::function<bool(const CommandLine&)> holds;
};

TEST(ImageOptions, Accepted) {
  const Accepted kCases[] = {
      {"defaults", kRequired,
       [](const CommandLine& l) {
         const PictureJobOptions& j = l.job;
         return j.geometry.width == 500 && j.geometry.length == 300 && j.geometry.gap == 0 &&
                j.dotsPerInch == 203 && j.method == Brindle::kFirstScreenMethod &&
                j.curve == Brindle::kNormalCurve && j.quarterTurns == 0 && !j.area && !j.stretch &&
                j.issue && j.issueOptions.copies == 1 &&
                j.issueOptions.sensor == LabelJob::Sensor::kTransmissive && !j.issueOptions.cut &&
                l.picture == "in.png" && l.output.empty();
       }},
      {"tenths and rounding",
       {"--width=101.6", "--length", "25.44", "--gap", "2.55", "p.jpg"},
       [](const CommandLine& l) {
         return l.job.geometry.width == 1016 && l.job.geometry.length == 254 &&
                l.job.geometry.gap == 26;
       }},
      {"every choice in words",
       With({"--resolution", "600", "--method", "Patterns", "--curve", "DARKEST", "--rotate", "270",
             "--copies", "12", "--sensor", "reflective", "--cut", "--strip", "--ribbon",
             "--no-issue", "-o", "out.prn"}),
       [](const CommandLine& l) {
         const PictureJobOptions& j = l.job;
         return j.dotsPerInch == 600 && j.method == Brindle::kPatternMethod &&
                j.curve == Brindle::kDarkestCurve && j.quarterTurns == 3 && !j.issue &&
                j.issueOptions.copies == 12 &&
                j.issueOptions.sensor == LabelJob::Sensor::kReflective && j.issueOptions.cut &&
                j.issueOptions.strip && j.issueOptions.ribbon && l.output == "out.prn";
       }},
      {"methods", With({"--method", "screen32"}),
       [](const CommandLine& l) { return l.job.method == Brindle::kThirtyTwoScreenMethod; }},
      {"threshold", With({"--method=threshold", "--curve=light"}),
       [](const CommandLine& l) {
         return l.job.method == Brindle::kFixedThresholdMethod &&
                l.job.curve == Brindle::kLightCurve;
       }},
      {"area and stretch", With({"--area", "5,2.5,40,20.05", "--stretch"}),
       [](const CommandLine& l) {
         return l.job.area && l.job.area->x == 50 && l.job.area->y == 25 &&
                l.job.area->width == 400 && l.job.area->height == 201 && l.job.stretch;
       }},
      {"standard input",
       {"--width", "50", "--length", "30", "-"},
       [](const CommandLine& l) { return l.picture == "-"; }},
      {"a picture named like an option",
       {"--width", "50", "--length", "30", "--", "-x.png"},
       [](const CommandLine& l) { return l.picture == "-x.png"; }},
      {"help needs nothing else", {"--help"}, [](const CommandLine& l) { return l.help; }},
      {"version", {"--version"}, [](const CommandLine& l) { return l.version; }},
  };
  for (const Accepted& c : kCases) {
    EXPECT_TRUE(c.holds(ParseCommandLine(c.words))) << c.name;
  }
}

struct Refused {
  Words words;
  const char* message;
};

TEST(ImageOptions, Refused) {
  const Refused kCases[] = {
      {{"--length", "30", "in.png"}, "--width is required"},
      {{"--width", "30", "in.png"}, "--length is required"},
      {{"--width", "30", "--length", "30"}, "No picture given"},
      {With({"other.png"}), "Only one picture at a time: other.png"},
      {With({"--width", "20"}), "--width is given twice"},
      {With({"--colour"}), "Unknown option: --colour"},
      {With({"--copies"}), "Missing value after --copies"},
      {With({"--copies", "0"}), "The value of --copies must be from 1 to 9999: 0"},
      {With({"--copies", "ten"}), "The value of --copies must be a number: ten"},
      {With({"--resolution", "200"}),
       "The value of --resolution must be one of 203, 300, 600: 200"},
      {With({"--rotate", "45"}), "The value of --rotate must be one of 0, 90, 180, 270: 45"},
      {With({"--method", "floyd"}),
       "The value of --method must be one of screen1, screen2, screen32, threshold, patterns: "
       "floyd"},
      {With({"--curve", "normalish"}),
       "The value of --curve must be one of lightest, lighter, light, normal, dark, darker, "
       "darkest: normalish"},
      {With({"--sensor", "mark"}),
       "The value of --sensor must be one of none, transmissive, reflective: mark"},
      {With({"--gap", "-3"}), "The value of --gap must be a length in millimetres: -3"},
      {With({"--gap", "3 mm"}), "The value of --gap must be a length in millimetres: 3 mm"},
      {{"--width", "1000", "--length", "30", "a"},
       "The value of --width must be at most 999.9 mm: 1000"},
      {With({"--area", "1,2,3"}),
       "The value of --area must be X,Y,WIDTH,HEIGHT in millimetres: 1,2,3"},
      {With({"--output="}), "The value of --output must not be empty"},
      {With({"--cut=yes"}), "Unknown option: --cut=yes"},
  };
  for (const Refused& c : kCases) {
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
