// rastertovellum as CUPS runs it: raster written with libcupsimage goes in on
// standard input, the TPCL job comes out, and `vellum render`'s code draws it
// back; the dots must be those the raster library makes from the same
// pixels.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "driver/raster_pages.h"
#include "graphics/bitmap_from_image.h"
#include "graphics/tiff_tools.h"
#include "labeljob/label_job.h"
#include "ppd/ppd_insertion.h"
#include "render/render_command.h"
#include "support/process.h"

namespace Vellum::Testing {
namespace {

namespace LabelJob = Corvane::LabelJob;
using Brindle::Bitmap;
using Brindle::Image;

// The filter binary, run as cupsd runs it; a cross build runs it under the
// emulator named in VELLUM_EMULATOR.
ProcessResult RunFilter(const std::string& raster, const std::string& options = "",
                        const std::string& copies = "1", const std::string& ppd = "",
                        std::vector<std::string> extra = {}) {
  std::vector<std::string> command;
  if (const char* emulator = std::getenv("VELLUM_EMULATOR")) {
    std::istringstream words(emulator);
    for (std::string word; words >> word;) command.push_back(word);
  }
  command.insert(command.end(), {RASTERTOVELLUM_BINARY, "7", "user", "title", copies, options});
  command.insert(command.end(), extra.begin(), extra.end());
  return RunProcess(command, {{"PPD", ppd}}, raster);
}

// The pixels of a page as the raster library's Image (luminance, 1-bit white
// = 1), cut to the canvas.
Image PagePicture(const RasterPage& page, std::uint64_t width, std::uint64_t height) {
  const cups_page_header2_t& h = page.header;
  const bool black = h.cupsColorSpace == CUPS_CSPACE_K;
  const std::uint64_t channels = h.cupsBitsPerPixel / h.cupsBitsPerColor;
  const std::uint64_t w = std::min<std::uint64_t>(width, h.cupsWidth);
  const std::uint64_t rows = std::min<std::uint64_t>(height, h.cupsHeight);
  const std::uint64_t bytes = (w * h.cupsBitsPerPixel + 7) / 8;
  std::vector<unsigned char> data;
  for (std::uint64_t y = 0; y < rows; ++y)
    for (std::uint64_t i = 0; i < bytes; ++i) {
      const unsigned char byte = page.rows[y * h.cupsBytesPerLine + i];
      data.push_back(black ? static_cast<unsigned char>(~byte) : byte);
    }
  return Image(h.cupsBitsPerColor, channels, w, rows, std::move(data));
}

// The canvas the library makes from the page: the pixels dithered one pixel
// per dot from the top-left corner of a label of the page's size.
Bitmap ExpectedCanvas(const RasterPage& page, const LabelJob::LabelGeometry& geometry,
                      unsigned dotsPerMillimetre, std::int32_t method, std::uint32_t curve) {
  Bitmap canvas = LabelJob::LabelCanvas(geometry, dotsPerMillimetre);
  const Image picture = PagePicture(page, canvas.Width(), canvas.Height());
  canvas.Draw(Brindle::BitmapFromImage(picture, {0, 0, picture.Width(), picture.Height()}, 10.0, 0,
                                       method, curve));
  return canvas;
}

// One label as the job carries it, insertions around it.
std::string LabelBytes(const Bitmap& canvas, const LabelJob::LabelGeometry& geometry,
                       unsigned dotsPerMillimetre, const LabelJob::IssueOptions& issue,
                       const std::string& preLabel = "", const std::string& postLabel = "") {
  std::ostringstream out;
  out << preLabel;
  LabelJob::WriteLabelSize(out, geometry);
  LabelJob::WriteClearImageBuffer(out);
  LabelJob::WriteGraphics(out, canvas, dotsPerMillimetre);
  LabelJob::WriteIssue(out, issue);
  out << postLabel;
  return out.str();
}

// A picture with every grey level, solid black squares and white space.
unsigned char Grey(unsigned x, unsigned y) {
  if ((x / 24 + y / 16) % 5 == 0) return 0;
  if ((x / 40) % 4 == 3) return 255;
  return static_cast<unsigned char>((x * 3 + y * 2) % 256);
}

// The raster page of a label with the picture in the header's format.
RasterPage PicturePage(const cups_page_header2_t& header) {
  const unsigned channels = header.cupsBitsPerPixel / header.cupsBitsPerColor;
  if (header.cupsBitsPerColor == 1)
    return MakePage(header, [](unsigned i, unsigned y) {
      return static_cast<unsigned char>(Grey(i * 8, y) < 128 ? 0xC3 ^ y : 0x18 ^ i);
    });
  const bool black = header.cupsColorSpace == CUPS_CSPACE_K;
  return MakePage(header, [=](unsigned i, unsigned y) {
    const unsigned char grey = Grey(i / channels, y);
    // Colours that all come out as the same grey would test nothing: tint them.
    const unsigned char value =
        channels == 3 ? static_cast<unsigned char>(grey ^ (i % 3 == 1 ? 0x20 : 0)) : grey;
    return black ? static_cast<unsigned char>(255 - value) : value;
  });
}

// The dots of the job's (first) label as `vellum render` draws them.
std::vector<unsigned char> Rendered(const std::string& job, unsigned dpi) {
  TempDir dir;
  std::ofstream(dir / "job.prn", std::ios::binary) << job;
  Corvane::Vellum::Commands::Render(
      {"-r", std::to_string(dpi), "-o", (dir / "label.tif").string(), (dir / "job.prn").string()});
  return LibtiffPixels(dir / "label.tif");
}

struct FormatCase {
  const char* name;
  cups_cspace_t space;
  unsigned bits, channels, dpi;
  double width, length;  // millimetres
  const char* halftone;  // TECHalftone choice, and the method it stands for
  std::int32_t method;
  const char* darkness;  // Darkness choice, and the curve the library uses
  std::uint32_t curve;
};

// Named in test output by its name, not its bytes.
void PrintTo(const FormatCase& c, std::ostream* out) { *out << c.name; }

class FilterRoundTrip : public testing::TestWithParam<FormatCase> {};

TEST_P(FilterRoundTrip, RenderedLabelHasTheLibrarysDots) {
  const FormatCase& c = GetParam();
  const RasterPage page =
      PicturePage(LabelHeader(c.width, c.length, c.dpi, c.space, c.bits, c.channels));
  const std::string options = std::string("TECHalftone=") + c.halftone + " Darkness=" + c.darkness;
  const ProcessResult result = RunFilter(WriteRaster({page}), options);
  ASSERT_EQ(result.status, 0) << result.err;

  const unsigned dpmm = c.dpi < 250 ? 8 : c.dpi < 450 ? 12 : 24;
  const LabelJob::LabelGeometry geometry{static_cast<std::uint32_t>(std::lround(c.width * 10)),
                                         static_cast<std::uint32_t>(std::lround(c.length * 10)),
                                         30};
  const Bitmap canvas = ExpectedCanvas(page, geometry, dpmm, c.method, c.curve);
  EXPECT_EQ(result.out, LabelBytes(canvas, geometry, dpmm, {}));
  const unsigned renderDpi = dpmm == 8 ? 203 : dpmm == 12 ? 300 : 600;
  EXPECT_TRUE(Rendered(result.out, renderDpi) == canvas.Data());
  // Some dots and some white, or the comparison proves little.
  const auto& data = canvas.Data();
  EXPECT_NE(std::count(data.begin(), data.end(), 0), static_cast<long>(data.size()));
  EXPECT_NE(std::count(data.begin(), data.end(), 0xFF), static_cast<long>(data.size()));
}

using Brindle::kFirstScreenMethod;
using Brindle::kFixedThresholdMethod;
using Brindle::kPatternMethod;
using Brindle::kSecondScreenMethod;
using Brindle::kThirtyTwoScreenMethod;

INSTANTIATE_TEST_SUITE_P(
    Formats, FilterRoundTrip,
    testing::Values(FormatCase{"Grey203Threshold", CUPS_CSPACE_W, 8, 1, 203, 30, 12, "Threshold",
                               kFixedThresholdMethod, "Normal", 3},
                    FormatCase{"Grey300Screen1", CUPS_CSPACE_W, 8, 1, 305, 20, 12, "Screen1",
                               kFirstScreenMethod, "Normal", 3},
                    FormatCase{"Grey600Screen32", CUPS_CSPACE_W, 8, 1, 609, 20, 10, "Screen32",
                               kThirtyTwoScreenMethod, "Normal", 3},
                    FormatCase{"SGrey600Screen2", CUPS_CSPACE_SW, 8, 1, 600, 20, 10, "Screen2",
                               kSecondScreenMethod, "Normal", 3},
                    FormatCase{"Black300Patterns", CUPS_CSPACE_K, 8, 1, 300, 25, 15, "Patterns",
                               kPatternMethod, "Dark", 4},
                    FormatCase{"RGB203Threshold", CUPS_CSPACE_RGB, 8, 3, 203, 30, 20, "Threshold",
                               kFixedThresholdMethod, "Lightest", 0},
                    FormatCase{"SRGB600Patterns", CUPS_CSPACE_SRGB, 8, 3, 609, 15, 10, "Patterns",
                               kPatternMethod, "Darkest", 6},
                    FormatCase{"OneBitGrey203", CUPS_CSPACE_W, 1, 1, 203, 30, 12, "Screen1",
                               kFirstScreenMethod, "Normal", 3},
                    FormatCase{"OneBitBlack600", CUPS_CSPACE_K, 1, 1, 609, 15, 10, "Patterns",
                               kPatternMethod, "Darker", 5},
                    // The screens have no darker curve: the normal one, with a warning.
                    FormatCase{"ScreenWithDarkness", CUPS_CSPACE_W, 8, 1, 203, 30, 12, "Screen1",
                               kFirstScreenMethod, "Darkest", 3},
                    // 204 dpi is still 8 dots/mm; the raster, a little wider than the
                    // label, is cut at its edge.
                    FormatCase{"WiderThanTheLabel", CUPS_CSPACE_W, 8, 1, 204, 50, 20, "Threshold",
                               kFixedThresholdMethod, "Normal", 3}),
    [](const testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.name); });

// A small grey label page of the given size at 203 dpi.
RasterPage GreyPage(double width, double length, unsigned dpi = 203) {
  return PicturePage(LabelHeader(width, length, dpi));
}

LabelJob::LabelGeometry Geometry(double width, double length, std::uint32_t gap = 30) {
  return {static_cast<std::uint32_t>(std::lround(width * 10)),
          static_cast<std::uint32_t>(std::lround(length * 10)), gap};
}

// The label of a 203 dpi page with the default options but `issue`.
std::string DefaultLabel(const RasterPage& page, const LabelJob::LabelGeometry& geometry,
                         const LabelJob::IssueOptions& issue, const std::string& preLabel = "",
                         const std::string& postLabel = "") {
  return LabelBytes(ExpectedCanvas(page, geometry, 8, kFixedThresholdMethod, 3), geometry, 8, issue,
                    preLabel, postLabel);
}

class FilterJob : public testing::Test {
 protected:
  // A copy of the driver's PPD whose insertion lines are set as `vellum
  // setprejob` etc. set them, and whose defaults may be changed.
  std::string QueuePPD(const std::vector<std::pair<std::string, std::string>>& replacements = {},
                       const std::vector<std::array<std::string, 3>>& insertions = {}) {
    std::string ppd = ReadText(std::string(VELLUM_SOURCE_DIR) + "/ppd/tec.ppd");
    for (const auto& [from, to] : replacements) {
      const std::size_t at = ppd.find(from);
      EXPECT_NE(at, std::string::npos) << from;
      if (at != std::string::npos) ppd.replace(at, from.size(), to);
    }
    const std::filesystem::path path = dir_ / "queue.ppd";
    std::ofstream(path, std::ios::binary) << ppd;
    for (const auto& [keyword, type, value] : insertions)
      Corvane::Vellum::Commands::SetInsertion(dir_.path(), "queue", keyword, type, value);
    return path.string();
  }
  static std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  TempDir dir_;
};

TEST_F(FilterJob, EveryPageBecomesALabelIssuedWithTheCopies) {
  const std::vector<RasterPage> pages = {GreyPage(30, 12), GreyPage(50, 25), GreyPage(20, 40)};
  const ProcessResult result = RunFilter(WriteRaster(pages), "", "12");
  ASSERT_EQ(result.status, 0) << result.err;
  LabelJob::IssueOptions issue;
  issue.copies = 12;
  EXPECT_EQ(result.out, DefaultLabel(pages[0], Geometry(30, 12), issue) +
                            DefaultLabel(pages[1], Geometry(50, 25), issue) +
                            DefaultLabel(pages[2], Geometry(20, 40), issue));
  EXPECT_NE(result.err.find("PAGE: 3 12\n"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("INFO: 3 labels sent\n"), std::string::npos) << result.err;

  // The same stream uncompressed, and from a file named on the command line.
  std::ofstream(dir_ / "job.ras", std::ios::binary) << WriteRaster(pages, CUPS_RASTER_WRITE);
  const ProcessResult fromFile = RunFilter("", "", "12", "", {(dir_ / "job.ras").string()});
  EXPECT_EQ(fromFile.status, 0) << fromFile.err;
  EXPECT_EQ(fromFile.out, result.out);
}

TEST_F(FilterJob, InsertionsGoAroundTheJobAndEachLabel) {
  const std::string fileBytes("{PL;file}\0\x1b\xff|}\n", 15);
  std::ofstream(dir_ / "post-label.tpcl", std::ios::binary) << fileBytes;
  const std::string ppd =
      QueuePPD({}, {{"PreJob", "string", "\\e{PJ;start|}\\n"},
                    {"PostJob", "string", "{PJ;end\\x21|}"},
                    {"PreLabel", "string", "\\\"q\\\"\\t"},
                    {"PostLabel", "file", (dir_ / "post-label.tpcl").string()}});
  const std::vector<RasterPage> pages = {GreyPage(30, 12), GreyPage(30, 12)};
  const ProcessResult result = RunFilter(WriteRaster(pages), "", "1", ppd);
  ASSERT_EQ(result.status, 0) << result.err;
  const std::string label = DefaultLabel(pages[0], Geometry(30, 12), {}, "\"q\"\t", fileBytes);
  EXPECT_EQ(result.out, "\x1b{PJ;start|}\n" + label + label + "{PJ;end!|}");
}

TEST_F(FilterJob, AMissingInsertionFileFailsTheJobBeforeAnyByte) {
  const std::string ppd = QueuePPD({}, {{"PreLabel", "file", "/nonexistent/label.tpcl"}});
  const ProcessResult result = RunFilter(WriteRaster({GreyPage(30, 12)}), "", "1", ppd);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "ERROR: Unable to read the pre-label insertion file /nonexistent/label.tpcl: No such "
            "file or directory\n");
}

TEST_F(FilterJob, OptionsComeFromThePPDThenTheJobThenThePageHeader) {
  // The queue's defaults: black marks, a 2 mm gap, cut.
  const std::string ppd =
      QueuePPD({{"*DefaultTECMediaTracking: Gap", "*DefaultTECMediaTracking: Mark"},
                {"*DefaultTECLabelGap: 3mm", "*DefaultTECLabelGap: 2mm"},
                {"*DefaultTECCut: False", "*DefaultTECCut: True"}});
  RasterPage page = GreyPage(30, 12);
  LabelJob::IssueOptions issue;
  issue.sensor = LabelJob::Sensor::kReflective;
  issue.cut = true;
  ProcessResult result = RunFilter(WriteRaster({page}), "", "1", ppd);
  EXPECT_EQ(result.out, DefaultLabel(page, Geometry(30, 12, 20), issue)) << result.err;

  // The job's options win over the defaults.
  issue.sensor = LabelJob::Sensor::kNone;
  issue.strip = issue.ribbon = true;
  result = RunFilter(WriteRaster({page}),
                     "TECMediaTracking=Continuous TECLabelGap=0.5mm TECStrip=True TECRibbon=yes",
                     "1", ppd);
  EXPECT_EQ(result.out, DefaultLabel(page, Geometry(30, 12, 5), issue)) << result.err;

  // And the page header's fields, as the PPD's choices set them, over both.
  page.header.cupsInteger[0] = 5;    // Patterns
  page.header.cupsInteger[1] = 2;    // Lighter
  page.header.cupsInteger[2] = 2;    // Gap
  page.header.cupsInteger[3] = 101;  // 10 mm
  page.header.cupsInteger[4] = 1;    // no cut
  issue = {};
  issue.strip = issue.ribbon = true;
  result = RunFilter(WriteRaster({page}), "TECStrip=True TECRibbon=yes", "1", ppd);
  const LabelJob::LabelGeometry geometry = Geometry(30, 12, 100);
  EXPECT_EQ(result.out,
            LabelBytes(ExpectedCanvas(page, geometry, 8, kPatternMethod, 1), geometry, 8, issue))
      << result.err;

  // A choice the driver does not know is reported and left alone.
  result = RunFilter(WriteRaster({GreyPage(30, 12)}), "Darkness=Pitch", "1");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("WARNING: Darkness=Pitch is not a choice of this driver; it is "
                            "ignored\n"),
            std::string::npos)
      << result.err;
}

TEST_F(FilterJob, APPDBeingRewrittenIsReadOnceTheRewriteIsDone) {
  const std::string ppd = QueuePPD({}, {{"PreJob", "string", "old"}});
  // Held as `vellum setprejob` holds it while it truncates and rewrites.
  const int fd = open(ppd.c_str(), O_RDWR);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  std::atomic<bool> done = false;
  ProcessResult result;
  std::thread job([&] {
    result = RunFilter(WriteRaster({GreyPage(30, 12)}), "", "1", ppd);
    done = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(done) << "the filter read the PPD while it was locked";
  // The rewrite, through the locked descriptor: a second open file would wait
  // for this very lock.
  const std::string text = Corvane::Vellum::Commands::ReplaceInsertion(
      ReadText(ppd), "PreJob", "*TECPreJobInsertion String: \"new\"");
  ASSERT_EQ(ftruncate(fd, 0), 0);
  ASSERT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  flock(fd, LOCK_UN);
  close(fd);
  job.join();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(result.out.starts_with("new{D")) << result.out.substr(0, 20);
}

// A raster stream cut at `end` bytes.
std::string Cut(const std::string& stream, std::size_t end) { return stream.substr(0, end); }

TEST_F(FilterJob, ABadPageEndsTheJobAfterTheWholeLabelsBeforeIt) {
  const std::string ppd = QueuePPD({}, {{"PreJob", "string", "<job>"},
                                        {"PostJob", "string", "</job>"},
                                        {"PreLabel", "string", "<label>"},
                                        {"PostLabel", "string", "</label>"}});
  const RasterPage good = GreyPage(30, 12);
  const std::string first = "<label>" + DefaultLabel(good, Geometry(30, 12), {}) + "</label>";
  const std::string two = WriteRaster({good, good}, CUPS_RASTER_WRITE);
  const std::string twoCompressed = WriteRaster({good, good});
  RasterPage cmyk = good;
  cmyk.header = LabelHeader(30, 12, 203, CUPS_CSPACE_CMYK, 8, 4);
  cmyk.rows.assign(static_cast<std::size_t>(cmyk.header.cupsBytesPerLine) * cmyk.header.cupsHeight,
                   7);
  RasterPage deep = good;
  deep.header = LabelHeader(30, 12, 203, CUPS_CSPACE_W, 16, 1);
  deep.rows.assign(static_cast<std::size_t>(deep.header.cupsBytesPerLine) * deep.header.cupsHeight,
                   7);
  RasterPage lowResolution = PicturePage(LabelHeader(30, 12, 150));
  RasterPage huge = good;
  huge.header.cupsPageSize[0] = 600;  // 211.7 mm
  RasterPage noSize = good;
  noSize.header.cupsPageSize[0] = 0;
  noSize.header.PageSize[0] = 0;
  RasterPage oddField = good;
  oddField.header.cupsInteger[0] = 9;

  const struct {
    const char* name;
    std::string raster;
    std::string out;    // what reaches the printer
    std::string error;  // the ERROR: line
  } cases[] = {
      {"second page cut short", Cut(two, two.size() - 100), "<job>" + first + "</job>",
       "Page 2: The page ends after " + std::to_string(good.header.cupsHeight - 1) + " of its " +
           std::to_string(good.header.cupsHeight) + " rows"},
      {"second header cut short", Cut(two, two.size() / 2 + 100), "<job>" + first + "</job>",
       "Page 2: The page header is cut short"},
      {"second header cut short, compressed", Cut(twoCompressed, WriteRaster({good}).size() + 100),
       "<job>" + first + "</job>", ""},
      {"not raster", "%PDF-1.7\n", "", "The input is not a CUPS raster stream"},
      {"empty", "", "", "The input is not a CUPS raster stream"},
      {"CMYK", WriteRaster({good, cmyk}), "<job>" + first + "</job>",
       "Page 2: The raster has colour space 6 with 8 bits per colour, 32 per pixel, in order 0; "
       "the driver takes 8-bit grey (as its PPD asks), 1-bit grey or black, 8-bit black and "
       "chunky 8-bit RGB"},
      {"16 bits", WriteRaster({deep}), "<job></job>", "Page 1: The raster has colour space 0"},
      {"150 dpi", WriteRaster({lowResolution}), "<job></job>",
       "Page 1: The page's resolution is 150 x 150 dpi; the printer prints 203, 300 or 600 dpi, "
       "the same across and along the label"},
      {"too wide", WriteRaster({huge}), "<job></job>",
       "Page 1: The page is 211.7 x 12.0 mm; a label is at most 170.0 mm wide and 999.9 mm long"},
      {"no size", WriteRaster({noSize}), "<job></job>",
       "Page 1: The page header gives no page size"},
      {"odd header field", WriteRaster({oddField}), "<job></job>",
       "Page 1: The page header's cupsInteger0 (halftoning) is 9; it takes 0 to 5"},
  };
  for (const auto& c : cases) {
    const ProcessResult result = RunFilter(c.raster, "", "1", ppd);
    EXPECT_EQ(result.out, c.out) << c.name;
    if (c.error.empty()) {
      // libcups has read a compressed stream ahead, header and all, so the
      // header cut short cannot be told from the end of the job: the first
      // label is all there is.
      EXPECT_EQ(result.status, 0) << c.name << result.err;
      continue;
    }
    EXPECT_EQ(result.status, 1) << c.name;
    const std::size_t at = result.err.find("ERROR: " + c.error);
    EXPECT_NE(at, std::string::npos) << c.name << ": " << result.err;
    EXPECT_TRUE(result.err.ends_with("\n")) << c.name;
  }
}

TEST_F(FilterJob, CommandLineMistakesAreReported) {
  const std::string raster = WriteRaster({GreyPage(30, 12)});
  const struct {
    std::vector<std::string> arguments;
    std::string error;
  } cases[] = {
      {{"7", "user", "title", "1"},
       "Usage: rastertovellum job-id user title copies options [file]"},
      {{"7", "user", "title", "0", ""}, "The number of copies is \"0\"; it must be 1 to 9999"},
      {{"7", "user", "title", "10000", ""},
       "The number of copies is \"10000\"; it must be 1 to 9999"},
      {{"7", "user", "title", "x", ""}, "The number of copies is \"x\"; it must be 1 to 9999"},
      {{"7", "user", "title", "1", "", "/nonexistent.ras"},
       "Unable to open the raster file /nonexistent.ras: No such file or directory"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command;
    if (const char* emulator = std::getenv("VELLUM_EMULATOR")) {
      std::istringstream words(emulator);
      for (std::string word; words >> word;) command.push_back(word);
    }
    command.push_back(RASTERTOVELLUM_BINARY);
    command.insert(command.end(), c.arguments.begin(), c.arguments.end());
    const ProcessResult result = RunProcess(command, {{"PPD", ""}}, raster);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ERROR: " + c.error + "\n");
  }
  // A queue whose PPD has gone.
  const ProcessResult noPPD = RunFilter(raster, "", "1", "/nonexistent/queue.ppd");
  EXPECT_EQ(noPPD.status, 1);
  EXPECT_EQ(noPPD.out, "");
  EXPECT_EQ(
      noPPD.err,
      "ERROR: Unable to read the PPD file /nonexistent/queue.ppd: No such file or directory\n");
}

}  // namespace
}  // namespace Vellum::Testing
