// The driver in a real print system: a private cupsd with a queue made from
// our PPD, Debian's filters and socket backend, rastertovellum, and the
// virtual printer at the end of the wire; and Debian's cupsfilter running
// the same chain without a scheduler. The documents are a PNG and a PDF; the
// labels' dots must be where the documents are black.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <tuple>

#include "graphics/tiff_tools.h"
#include "support/cups_server.h"
#include "support/picture_files.h"
#include "support/process.h"
#include "support/virtual_printer.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

const std::string kPPD = std::string(VELLUM_SOURCE_DIR) + "/ppd/tec.ppd";

std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A 50 x 25 mm label at 8 dots/mm is 400 x 200 dots (and 24 rows of gap).
// The share of dots in each quarter of it, top left, top right, bottom left,
// bottom right, leaving out 8 dots at every edge of a quarter for the
// rasterizer's rounding.
std::array<double, 4> QuarterInk(const fs::path& tiff) {
  const std::vector<unsigned char> rows = LibtiffPixels(tiff);
  std::array<double, 4> ink{};
  for (unsigned quarter = 0; quarter < 4; ++quarter) {
    unsigned dots = 0, all = 0;
    for (unsigned y = quarter / 2 * 100 + 8; y < quarter / 2 * 100 + 92; ++y)
      for (unsigned x = quarter % 2 * 200 + 8; x < quarter % 2 * 200 + 192; ++x, ++all)
        dots += (rows.at(y * 50 + x / 8) >> (7 - x % 8)) & 1;
    ink[quarter] = double(dots) / all;
  }
  return ink;
}

// Black where `quarter` of the label is (0 top left .. 3 bottom right), white
// elsewhere: the ink the label shows.
void ExpectInkIn(unsigned quarter, const std::array<double, 4>& ink) {
  for (unsigned q = 0; q < 4; ++q)
    EXPECT_TRUE(q == quarter ? ink[q] > 0.97 : ink[q] < 0.03) << "quarter " << q << ": " << ink[q];
}

void RunOrFail(const std::vector<std::string>& command, const Environment& environment) {
  const ProcessResult result = RunProcess(command, environment);
  ASSERT_EQ(result.status, 0) << command[0] << ": " << result.out << result.err;
}

TEST(DriverThroughCups, APNGBecomesALabelAndTheInsertionsShowUp) {
  if (geteuid() != 0) GTEST_SKIP() << "cupsd runs filters as lp only when started by root";
  TempDir dir;
  VirtualPrinter printer(VELLUM_PRINTER_BINARY, dir / "labels");
  CupsServer cups(CupsServer::SocketBackend::kDebian, {RASTERTOVELLUM_BINARY});
  const std::string queue = "vellum-driver-" + std::to_string(getpid());
  cups.AddQueue(queue, "socket://127.0.0.1:" + std::to_string(printer.Port()), kPPD);
  // The label's shape, 2 : 1, black in its bottom left quarter.
  Samples picture{200, 100, 1, 8, {}};
  for (unsigned i = 0; i < 200 * 100; ++i)
    picture.values.push_back(i % 200 < 100 && i / 200 >= 50 ? 0 : 255);
  const Bytes png = WritePNG(picture, {PNG_COLOR_TYPE_GRAY});
  std::ofstream(dir / "picture.png", std::ios::binary)
      .write(reinterpret_cast<const char*>(png.data()), png.size());
  const std::vector<std::string> lp = {"/usr/bin/lp",
                                       "-d",
                                       queue,
                                       "-o",
                                       "PageSize=25x50mmRotated.Fullbleed",
                                       (dir / "picture.png").string()};

  RunOrFail(lp, cups.ClientEnvironment());
  ASSERT_TRUE(printer.WaitForLabels(1, 60)) << printer.Log() << cups.ErrorLog();
  const std::string first = Slurp(dir / "labels" / "label-000001.prn");
  // 50 x 25 mm with the PPD's 3 mm gap, issued once with the gap sensor.
  EXPECT_TRUE(first.starts_with("{D0280,0500,0250|}\n{C|}\n{SG;")) << first.substr(0, 40);
  EXPECT_NE(first.find("{XS;I,0001,0002C"), std::string::npos);
  ExpectInkIn(2, QuarterInk(dir / "labels" / "label-000001.tif"));

  // The insertion commands edit the queue's PPD under /etc/cups/ppd/; this
  // scheduler keeps it in its own directory, so a link joins the two.
  const SystemPPD link(queue);
  fs::create_symlink(fs::path(cups.PPDDirectory()) / (queue + ".ppd"), link.Path());
  std::ofstream(dir / "post-label.tpcl", std::ios::binary) << "{XX;post-label|}\n";
  fs::permissions(dir.path(), fs::perms(0755));
  for (const auto& [command, type, value] :
       {std::tuple{"setprejob", "string", std::string("{XX;pre-job\\x21|}\\n")},
        std::tuple{"setprelabel", "string", std::string("{XX;pre-label|}\\n")},
        std::tuple{"setpostlabel", "file", (dir / "post-label.tpcl").string()},
        std::tuple{"setpostjob", "string", std::string("{XX;post-job|}\\n")}})
    RunOrFail({VELLUM_BINARY, "-p", queue, command, type, value}, cups.ClientEnvironment());
  std::vector<std::string> twice = lp;
  twice.insert(twice.begin() + 1, {"-n", "2", "-o", "TECCut=True"});
  RunOrFail(twice, cups.ClientEnvironment());
  ASSERT_TRUE(printer.WaitForLog("{XX;post-job|}", 1, 60)) << printer.Log() << cups.ErrorLog();
  // One label issued twice: the printer makes the copies.
  ASSERT_TRUE(printer.WaitForLabels(3, 10)) << printer.Log();
  const std::string second = Slurp(dir / "labels" / "label-000002.prn");
  EXPECT_TRUE(second.starts_with("{XX;pre-job!|}\n{XX;pre-label|}\n{D0280,0500,0250|}\n"))
      << second.substr(0, 60);
  EXPECT_NE(second.find("{XS;I,0002,001"), std::string::npos);
  EXPECT_NE(printer.Log().find("{XX;post-label|}"), std::string::npos) << printer.Log();
  ExpectInkIn(2, QuarterInk(dir / "labels" / "label-000003.tif"));
}

// A PDF of the label's size, black in its top right quarter (PDF counts
// upwards from the bottom left corner), with its cross-reference table.
std::string LabelPDF() {
  const std::string fill = "70.87 35.43 70.87 35.44 re f";
  const std::vector<std::string> objects = {
      "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 141.73 70.87] /Contents 4 0 R >>",
      "<< /Length " + std::to_string(fill.size()) + " >>\nstream\n" + fill + "\nendstream"};
  std::string pdf = "%PDF-1.4\n", offsets;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    char entry[24];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", pdf.size());
    offsets += entry;
    pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const std::size_t xref = pdf.size();
  return pdf + "xref\n0 5\n0000000000 65535 f \n" + offsets +
         "trailer\n<< /Size 5 /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
}

TEST(DriverThroughCupsfilter, APDFBecomesOneLabelIssuedWithItsCopies) {
  TempDir dir;
  // cupsfilter finds filters in the ServerBin of the configuration it is
  // given; with -e it runs the PPD's own filter last, to the printer's format.
  FillFilterDirectory((dir / "bin" / "filter").string(), {RASTERTOVELLUM_BINARY});
  std::ofstream(dir / "cups-files.conf") << "ServerBin " << (dir / "bin").string() << "\n";
  std::ofstream(dir / "label.pdf") << LabelPDF();
  const ProcessResult result = RunProcess(
      {"/usr/sbin/cupsfilter", "-c", (dir / "cups-files.conf").string(), "-p", kPPD, "-e", "-m",
       "printer/labels", "-n", "3", "-o", "PageSize=25x50mmRotated.Fullbleed", "-o",
       "TECHalftone=Screen32", (dir / "label.pdf").string()});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("gstoraster"), std::string::npos) << result.err;
  EXPECT_TRUE(result.out.starts_with("{D0280,0500,0250|}\n{C|}\n{SG;")) << result.out.substr(0, 40);
  const std::regex issue(R"(\{XS;I,(\d{4}),)");
  EXPECT_EQ(std::distance(std::sregex_iterator(result.out.begin(), result.out.end(), issue), {}),
            1);
  EXPECT_NE(result.out.find("{XS;I,0003,"), std::string::npos);
  std::ofstream(dir / "job.prn", std::ios::binary) << result.out;
  const ProcessResult render = RunBuilt(
      VELLUM_BINARY,
      {"render", "-r", "203", "-o", (dir / "job.tif").string(), (dir / "job.prn").string()});
  ASSERT_EQ(render.status, 0) << render.err;
  ExpectInkIn(1, QuarterInk(dir / "job.tif"));
}

}  // namespace
}  // namespace Vellum::Testing
