// rastertovellum as CUPS runs it: raster written with libcupsimage goes in on
// standard input, the TPCL job comes out, and `vellum render`'s code draws it
// back; the dots must be those the raster library makes from the same pixels.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "graphics/bitmap_from_image.h"
#include "labeljob/choice_words.h"
#include "labeljob/label_job.h"
#include "ppd/ppd_insertion.h"
#include "support/process.h"
#include "support/raster_pages.h"
#include "support/rendered_job.h"

namespace Vellum::Testing {
namespace {

namespace LabelJob = Corvane::LabelJob;
using Brindle::Bitmap;

ProcessResult RunFilter(const std::string& raster, const std::string& options = "",
                        const std::string& copies = "1", const std::string& ppd = "") {
  return RunBuilt(RASTERTOVELLUM_BINARY, {"7", "user", "title", copies, options}, {{"PPD", ppd}},
                  raster);
}

// The canvas the library makes from the page: its pixels (luminance; black
// raster inverted) dithered one pixel per dot from the top-left corner of a
// label of the page's size.
Bitmap ExpectedCanvas(const RasterPage& page, const LabelJob::LabelGeometry& geometry,
                      unsigned dotsPerMillimetre, std::int32_t method, std::uint32_t curve) {
  const cups_page_header2_t& h = page.header;
  Bitmap canvas = LabelJob::LabelCanvas(geometry, dotsPerMillimetre);
  const std::uint64_t width = std::min<std::uint64_t>(canvas.Width(), h.cupsWidth);
  const std::uint64_t rows = std::min<std::uint64_t>(canvas.Height(), h.cupsHeight);
  const std::uint64_t bytes = (width * h.cupsBitsPerPixel + 7) / 8;
  std::vector<unsigned char> data;
  for (std::uint64_t i = 0; i < rows * bytes; ++i) {
    const unsigned char byte = page.rows[i / bytes * h.cupsBytesPerLine + i % bytes];
    data.push_back(h.cupsColorSpace == CUPS_CSPACE_K ? static_cast<unsigned char>(~byte) : byte);
  }
  const Brindle::Image picture(h.cupsBitsPerColor, h.cupsBitsPerPixel / h.cupsBitsPerColor, width,
                               rows, std::move(data));
  canvas.Draw(Brindle::BitmapFromImage(picture, {0, 0, width, rows}, 10.0, 0, method, curve));
  return canvas;
}

// One label as the job carries it, insertions around it.
std::string LabelBytes(const Bitmap& canvas, const LabelJob::LabelGeometry& geometry,
                       unsigned dotsPerMillimetre, const LabelJob::IssueOptions& issue = {},
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

// A page with every grey level, solid black squares and white space, in the
// header's format; colours are tinted so that they do not all give one grey.
RasterPage PicturePage(const cups_page_header2_t& header) {
  const unsigned channels = header.cupsBitsPerPixel / header.cupsBitsPerColor;
  const bool black = header.cupsColorSpace == CUPS_CSPACE_K, oneBit = header.cupsBitsPerColor == 1;
  return MakePage(header, [=](unsigned i, unsigned y) {
    const unsigned x = oneBit ? i * 8 : i / channels;
    unsigned value = (x / 24 + y / 16) % 5 == 0 ? 0
                     : (x / 40) % 4 == 3        ? 255
                                                : (x * 3 + y * 2) % 256;
    if (oneBit) value = value < 128 ? 0xC3 ^ y : 0x18 ^ i;
    if (channels == 3 && i % 3 == 1) value ^= 0x20;
    return static_cast<unsigned char>(black && !oneBit ? 255 - value : value);
  });
}

LabelJob::LabelGeometry Geometry(double width, double length, std::uint32_t gap = 30) {
  return {static_cast<std::uint32_t>(std::lround(width * 10)),
          static_cast<std::uint32_t>(std::lround(length * 10)), gap};
}

struct FormatCase {
  const char* name;
  cups_cspace_t space;
  unsigned bits, channels, dpi;
  double width, length;             // millimetres
  const char *halftone, *darkness;  // the job's choices, and what the library uses
  std::int32_t method;
  std::uint32_t curve;
};
void PrintTo(const FormatCase& c, std::ostream* out) { *out << c.name; }

class FilterRoundTrip : public testing::TestWithParam<FormatCase> {};

TEST_P(FilterRoundTrip, RenderedLabelHasTheLibrarysDots) {
  const FormatCase& c = GetParam();
  const RasterPage page =
      PicturePage(LabelHeader(c.width, c.length, c.dpi, c.space, c.bits, c.channels));
  const ProcessResult result = RunFilter(
      WriteRaster({page}), std::string("TECHalftone=") + c.halftone + " Darkness=" + c.darkness);
  ASSERT_EQ(result.status, 0) << result.err;
  const unsigned dotsPerInch = c.dpi < 250 ? 203 : c.dpi < 450 ? 300 : 600;
  const unsigned dotsPerMillimetre = LabelJob::DotsPerMillimetre(dotsPerInch);
  const Bitmap canvas =
      ExpectedCanvas(page, Geometry(c.width, c.length), dotsPerMillimetre, c.method, c.curve);
  EXPECT_EQ(result.out, LabelBytes(canvas, Geometry(c.width, c.length), dotsPerMillimetre));
  EXPECT_TRUE(RenderedDots(result.out, dotsPerInch) == canvas.Data());
  // Some dots and some white, or the comparison proves little.
  const auto& data = canvas.Data();
  EXPECT_NE(std::count(data.begin(), data.end(), 0), static_cast<long>(data.size()));
  EXPECT_NE(std::count(data.begin(), data.end(), 0xFF), static_cast<long>(data.size()));
  const bool warned = result.err.find("WARNING: Darkness sets the threshold") != std::string::npos;
  EXPECT_EQ(warned, c.curve != LabelJob::CurveNamed(c.darkness));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FilterRoundTrip,
    testing::Values(FormatCase{"SGrey305Screen1", CUPS_CSPACE_SW, 8, 1, 305, 20, 12, "Screen1",
                               "Normal", Brindle::kFirstScreenMethod, 3},
                    FormatCase{"Grey609Screen32", CUPS_CSPACE_W, 8, 1, 609, 20, 10, "Screen32",
                               "Normal", Brindle::kThirtyTwoScreenMethod, 3},
                    FormatCase{"Black300Patterns", CUPS_CSPACE_K, 8, 1, 300, 25, 15, "Patterns",
                               "Dark", Brindle::kPatternMethod, 4},
                    FormatCase{"SRGB600Threshold", CUPS_CSPACE_SRGB, 8, 3, 600, 15, 10, "threshold",
                               "lightest", Brindle::kFixedThresholdMethod, 0},
                    FormatCase{"OneBitBlack609", CUPS_CSPACE_K, 1, 1, 609, 15, 10, "Patterns",
                               "Darker", Brindle::kPatternMethod, 5},
                    // The screens have no darker curve: the normal one, with a warning; the
                    // raster at 204 dpi, a little wider than the label, is cut at its edge.
                    FormatCase{"Screen2WithDarkness204", CUPS_CSPACE_W, 8, 1, 204, 50, 20,
                               "Screen2", "Darkest", Brindle::kSecondScreenMethod, 3}),
    [](const auto& info) { return std::string(info.param.name); });

class FilterJob : public testing::Test {
 protected:
  // A copy of the driver's PPD with some lines replaced and its insertions
  // set as `vellum setprejob` and its kin set them.
  std::string QueuePPD(const std::vector<std::pair<std::string, std::string>>& replacements,
                       const std::vector<std::array<std::string, 3>>& insertions = {}) {
    std::ifstream in(std::string(VELLUM_SOURCE_DIR) + "/ppd/tec.ppd");
    std::string ppd{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    for (const auto& [from, to] : replacements) ppd.replace(ppd.find(from), from.size(), to);
    std::ofstream(dir_ / "queue.ppd", std::ios::binary) << ppd;
    for (const auto& [keyword, type, value] : insertions)
      Corvane::Vellum::Commands::SetInsertion(dir_.path(), "queue", keyword, type, value);
    return (dir_ / "queue.ppd").string();
  }
  // The label of a 203 dpi grey page with the queue's default dots.
  static std::string DefaultLabel(const RasterPage& page, const LabelJob::LabelGeometry& geometry,
                                  const LabelJob::IssueOptions& issue = {},
                                  const std::string& pre = "", const std::string& post = "") {
    return LabelBytes(ExpectedCanvas(page, geometry, 8, Brindle::kFixedThresholdMethod, 3),
                      geometry, 8, issue, pre, post);
  }

  TempDir dir_;
  const RasterPage page_ = PicturePage(LabelHeader(30, 12, 203));
  const std::string raster_ = WriteRaster({page_});
};

TEST_F(FilterJob, EveryPageIsALabelIssuedWithTheCopiesAndItsInsertions) {
  std::ofstream(dir_ / "post-label.tpcl", std::ios::binary) << std::string("{PL;\0\xff|}", 8);
  const std::string ppd =
      QueuePPD({}, {{"PreJob", "string", "\\e{PJ;start|}\\n"},
                    {"PostJob", "string", "{PJ;end\\x21|}"},
                    {"PreLabel", "string", "\\\"q\\\"\\t"},
                    {"PostLabel", "file", (dir_ / "post-label.tpcl").string()}});
  const RasterPage other = PicturePage(LabelHeader(50, 25, 203));
  const ProcessResult result = RunFilter(WriteRaster({page_, other, page_}), "", "12", ppd);
  ASSERT_EQ(result.status, 0) << result.err;
  const std::string post("{PL;\0\xff|}", 8);
  EXPECT_EQ(result.out,
            "\x1b{PJ;start|}\n" + DefaultLabel(page_, Geometry(30, 12), {12}, "\"q\"\t", post) +
                DefaultLabel(other, Geometry(50, 25), {12}, "\"q\"\t", post) +
                DefaultLabel(page_, Geometry(30, 12), {12}, "\"q\"\t", post) + "{PJ;end!|}");
  EXPECT_NE(result.err.find("PAGE: 3 12\n"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("INFO: 3 labels sent\n"), std::string::npos) << result.err;
  // The same stream uncompressed, from a file named on the command line.
  std::ofstream(dir_ / "job.ras", std::ios::binary)
      << WriteRaster({page_, other, page_}, CUPS_RASTER_WRITE);
  const ProcessResult fromFile =
      RunBuilt(RASTERTOVELLUM_BINARY, {"7", "u", "t", "12", "", (dir_ / "job.ras").string()},
               {{"PPD", ppd}});
  EXPECT_EQ(fromFile.out, result.out) << fromFile.err;
}

TEST_F(FilterJob, OptionsComeFromThePPDThenTheJobThenThePageHeader) {
  const std::string ppd =
      QueuePPD({{"*DefaultTECMediaTracking: Gap", "*DefaultTECMediaTracking: Mark"},
                {"*DefaultTECLabelGap: 3mm", "*DefaultTECLabelGap: 2mm"},
                {"*DefaultTECCut: False", "*DefaultTECCut: True"}});
  EXPECT_EQ(RunFilter(raster_, "", "1", ppd).out,
            DefaultLabel(page_, Geometry(30, 12, 20), {1, LabelJob::Sensor::kReflective, true}));
  const std::string job =
      "TECMediaTracking=Continuous TECLabelGap=0.5mm TECStrip=True TECRibbon=yes";
  EXPECT_EQ(
      RunFilter(raster_, job, "1", ppd).out,
      DefaultLabel(page_, Geometry(30, 12, 5), {1, LabelJob::Sensor::kNone, true, true, true}));
  // The fields the PPD's choices set: Patterns, Lighter, Gap, 10 mm, no cut.
  RasterPage page = page_;
  for (int field = 0; field < 5; ++field)
    page.header.cupsInteger[field] = std::array{5u, 2u, 2u, 101u, 1u}[field];
  const LabelJob::LabelGeometry geometry = Geometry(30, 12, 100);
  EXPECT_EQ(RunFilter(WriteRaster({page}), job, "1", ppd).out,
            LabelBytes(ExpectedCanvas(page, geometry, 8, Brindle::kPatternMethod, 1), geometry, 8,
                       {1, LabelJob::Sensor::kTransmissive, false, true, true}));
  const ProcessResult unknown = RunFilter(raster_, "Darkness=Pitch");
  EXPECT_EQ(unknown.status, 0);
  EXPECT_NE(
      unknown.err.find("WARNING: Darkness=Pitch is not a choice of this driver; it is ignored\n"),
      std::string::npos)
      << unknown.err;
}

TEST_F(FilterJob, APPDBeingRewrittenIsReadOnceTheRewriteIsDone) {
  const std::string ppd = QueuePPD({}, {{"PreJob", "string", "old"}});
  // Held as `vellum setprejob` holds it while it truncates and rewrites.
  const int fd = open(ppd.c_str(), O_RDWR);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  std::atomic<bool> done = false;
  ProcessResult result;
  std::thread job([&] {
    result = RunFilter(raster_, "", "1", ppd);
    done = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(done) << "the filter read the PPD while it was locked";
  // The rewrite, through the locked descriptor: another open file would wait.
  std::string text(1 << 16, '\0');
  text.resize(static_cast<std::size_t>(pread(fd, text.data(), text.size(), 0)));
  text = Corvane::Vellum::Commands::ReplaceInsertion(text, "PreJob",
                                                     "*TECPreJobInsertion String: \"new\"");
  ASSERT_EQ(ftruncate(fd, 0), 0);
  ASSERT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  flock(fd, LOCK_UN);
  close(fd);
  job.join();
  EXPECT_TRUE(result.out.starts_with("new{D")) << result.err;
}

// A page that cannot be printed ends the job after the whole labels before
// it and the post-job insertion, with the reason after "ERROR:" in the job's
// log.
TEST_F(FilterJob, ABadPageLeavesTheWholeLabelsBeforeIt) {
  const std::string ppd =
      QueuePPD({}, {{"PreJob", "string", "<job>"}, {"PostJob", "string", "</job>"}});
  const std::string first = "<job>" + DefaultLabel(page_, Geometry(30, 12)) + "</job>";
  const std::string two = WriteRaster({page_, page_}, CUPS_RASTER_WRITE);
  const auto second = [&](const cups_page_header2_t& header) {
    return WriteRaster({page_, MakePage(header, [](unsigned, unsigned) { return 7; })});
  };
  const std::string rows = std::to_string(page_.header.cupsHeight);
  for (const auto& [raster, error] :
       {std::pair{two.substr(0, two.size() - 100), "Page 2: The page ends after " +
                                                       std::to_string(page_.header.cupsHeight - 1) +
                                                       " of its " + rows + " rows"},
        std::pair{two.substr(0, two.size() / 2 + 100),
                  std::string("Page 2: The page header is cut short")},
        std::pair{second(LabelHeader(30, 12, 203, CUPS_CSPACE_CMYK, 8, 4)),
                  std::string("Page 2: The raster has colour space 6 with 8 bits per colour, 32 "
                              "per pixel, in order 0; the driver takes 8-bit grey (as its PPD "
                              "asks), 1-bit grey or black, 8-bit black and chunky 8-bit RGB")},
        std::pair{second(LabelHeader(30, 12, 150)),
                  std::string("Page 2: The page's resolution is 150 x 150 dpi; the printer prints "
                              "203, 300 or 600 dpi, the same across and along the label")}}) {
    const ProcessResult result = RunFilter(raster, "", "1", ppd);
    EXPECT_EQ(result.status, 1) << error;
    EXPECT_EQ(result.out, first) << error;
    EXPECT_EQ(result.err.substr(result.err.rfind("ERROR: ")), "ERROR: " + error + "\n");
  }
  // libcups reads a compressed stream ahead, header and all, so a second
  // header cut short there cannot be told from the end: one label is the job.
  const ProcessResult ahead =
      RunFilter(WriteRaster({page_, page_}).substr(0, raster_.size() + 100), "", "1", ppd);
  EXPECT_EQ(ahead.status, 0) << ahead.err;
  EXPECT_EQ(ahead.out, first);
}

// What the job needs from outside is read before anything is sent: when it
// cannot be had, nothing reaches the printer and the log says why.
TEST_F(FilterJob, AJobThatCannotStartSendsNothing) {
  const std::string missingFile = QueuePPD({}, {{"PreLabel", "file", "/nonexistent/label.tpcl"}});
  const std::vector<std::string> job = {"7", "user", "title", "1", ""};
  const struct {
    std::vector<std::string> arguments;
    std::string ppd, input, error;
  } kCases[] = {
      {job, "", "%PDF-1.7\n", "The input is not a CUPS raster stream"},
      {{"7", "user"}, "", raster_, "Usage: rastertovellum job-id user title copies options [file]"},
      {{"7", "user", "title", "10000", ""},
       "",
       raster_,
       "The number of copies is \"10000\"; it must be 1 to 9999"},
      {{"7", "user", "title", "1", "", "/nonexistent.ras"},
       "",
       "",
       "Unable to open the raster file /nonexistent.ras: No such file or directory"},
      {job, "/nonexistent/queue.ppd", raster_,
       "Unable to read the PPD file /nonexistent/queue.ppd: No such file or directory"},
      {job, missingFile, raster_,
       "Unable to read the pre-label insertion file /nonexistent/label.tpcl: No such file or "
       "directory"},
  };
  for (const auto& c : kCases) {
    const ProcessResult result =
        RunBuilt(RASTERTOVELLUM_BINARY, c.arguments, {{"PPD", c.ppd}}, c.input);
    EXPECT_EQ(result.status, 1) << c.error;
    EXPECT_EQ(result.out, "") << c.error;
    EXPECT_EQ(result.err, "ERROR: " + c.error + "\n");
  }
}

}  // namespace
}  // namespace Vellum::Testing
