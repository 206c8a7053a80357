// vellum-image's command line: spellings users type, and the refusals.
#include "imagetool/options.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace Corvane::ImageTool {
namespace {

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

// What a command line asks for, in one line that a table can hold.
std::string Parsed(const std::string& line) {
  const CommandLine l = ParseCommandLine(Words(line));
  const PictureJobOptions& j = l.job;
  const LabelJob::IssueOptions& i = j.issueOptions;
  std::ostringstream out;
  out << j.geometry.width << "x" << j.geometry.length << "+" << j.geometry.gap << " "
      << j.dotsPerInch << " m" << j.method << " c" << j.curve << " r" << j.quarterTurns << " area"
      << (j.area ? std::to_string(j.area->x) + "," + std::to_string(j.area->y) + "," +
                       std::to_string(j.area->width) + "," + std::to_string(j.area->height)
                 : "-")
      << (j.stretch ? " stretch" : "") << (j.issue ? " issue " : " no-issue ") << i.copies << "s"
      << static_cast<int>(i.sensor) << (i.cut ? " cut" : "") << (i.strip ? " strip" : "")
      << (i.ribbon ? " ribbon" : "") << " " << l.picture << ">" << l.output;
  return out.str();
}

TEST(ImageOptions, EveryOptionInItsSpellings) {
  EXPECT_EQ(Parsed("--width 50 --length 30 in.png"),
            "500x300+0 203 m2 c3 r0 area- issue 1s1 in.png>");
  EXPECT_EQ(Parsed("--width=101.6 --length 25.44 --gap 2.55mm --resolution 600 --method Patterns "
                   "--curve DARKEST --rotate 270 --copies 12 --sensor reflective --cut --strip "
                   "--ribbon --no-issue --area 5,2.5,40,20.05 --stretch -o out.prn -- -x.png"),
            "1016x254+26 600 m0 c6 r3 area50,25,400,201 stretch no-issue 12s2 cut strip ribbon "
            "-x.png>out.prn");
  EXPECT_EQ(Parsed("--width 5 --length 3 --method threshold --curve light --sensor none -"),
            "50x30+0 203 m5 c2 r0 area- issue 1s0 ->");
  EXPECT_TRUE(ParseCommandLine({"--help"}).help);
}

TEST(ImageOptions, Refused) {
  const std::string picture = "--width 50 --length 30 in.png ";
  for (const auto& [line, message] : std::initializer_list<std::pair<std::string, std::string>>{
           {"--length 30 in.png", "--width is required"},
           {"--width 30 --length 30", "No picture given"},
           {picture + "other.png", "Only one picture at a time: other.png"},
           {picture + "--width 20", "--width is given twice"},
           {picture + "--colour", "Unknown option: --colour"},
           {picture + "--cut=yes", "Unknown option: --cut=yes"},
           {picture + "--copies", "Missing value after --copies"},
           {picture + "--copies 0", "The value of --copies must be from 1 to 9999: 0"},
           {picture + "--copies ten", "The value of --copies must be a number: ten"},
           {picture + "--resolution 200",
            "The value of --resolution must be one of 203, 300, 600: 200"},
           {picture + "--method floyd",
            "The value of --method must be one of screen1, screen2, screen32, threshold, "
            "patterns: floyd"},
           {picture + "--curve normalish",
            "The value of --curve must be one of lightest, lighter, light, normal, dark, darker, "
            "darkest: normalish"},
           {picture + "--sensor mark",
            "The value of --sensor must be one of none, transmissive, reflective: mark"},
           {picture + "--gap -3", "The value of --gap must be a length in millimetres: -3"},
           {"--width 1000 --length 30 a", "The value of --width must be at most 999.9 mm: 1000"},
           {picture + "--area 1,2,3",
            "The value of --area must be X,Y,WIDTH,HEIGHT in millimetres: 1,2,3"},
           {picture + "--output=", "The value of --output must not be empty"}}) {
    try {
      (void)ParseCommandLine(Words(line));
      ADD_FAILURE() << message;
    } catch (const OptionException& e) {
      EXPECT_EQ(e.what(), message);
    }
  }
}

}  // namespace
}  // namespace Corvane::ImageTool
