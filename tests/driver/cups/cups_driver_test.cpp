// The driver in a real print system: a private cupsd with a queue made from
// our PPD, Debian's filters and socket backend, rastertovellum, and the
// virtual printer at the end of the wire; and Debian's cupsfilter running the
// same chain without a scheduler.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "graphics/tiff_tools.h"
#include "support/cups_server.h"
#include "support/process.h"
#include "support/virtual_printer.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

const std::string kPPD = std::string(VELLUM_SOURCE_DIR) + "/ppd/tec.ppd";

std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// A grey picture as a PGM file, which cups-filters rasterizes for any queue.
fs::path WritePicture(const fs::path& path) {
  std::ofstream out(path, std::ios::binary);
  out << "P5\n400 200\n255\n";
  for (int y = 0; y < 200; ++y)
    for (int x = 0; x < 400; ++x)
      out.put(static_cast<char>((x / 50 + y / 50) % 2 == 0 ? 0 : x * 255 / 400));
  return path;
}

std::size_t Dots(const fs::path& tiff) {
  std::size_t dots = 0;
  for (unsigned char byte : LibtiffPixels(tiff))
    dots += static_cast<std::size_t>(__builtin_popcount(byte));
  return dots;
}

// Runs a command with `environment` and fails the test unless it succeeds.
void RunOrFail(const std::vector<std::string>& command, const Environment& environment) {
  const ProcessResult result = RunProcess(command, environment);
  ASSERT_EQ(result.status, 0) << command[0] << ": " << result.out << result.err;
}

TEST(DriverThroughCups, APictureBecomesALabelAndTheInsertionsShowUp) {
  if (geteuid() != 0) GTEST_SKIP() << "cupsd runs filters as lp only when started by root";
  TempDir dir;
  VirtualPrinter printer(VELLUM_PRINTER_BINARY, dir / "labels");
  CupsServer cups(CupsServer::SocketBackend::kDebian, {RASTERTOVELLUM_BINARY});
  const std::string queue = "vellum-driver-" + std::to_string(getpid());
  cups.AddQueue(queue, "socket://127.0.0.1:" + std::to_string(printer.Port()), kPPD);
  const fs::path picture = WritePicture(dir / "picture.pgm");

  RunOrFail(
      {"/usr/bin/lp", "-d", queue, "-o", "PageSize=25x50mmRotated.Fullbleed", picture.string()},
      cups.ClientEnvironment());
  ASSERT_TRUE(printer.WaitForLabels(1, 60)) << printer.Log() << cups.ErrorLog();
  const std::string first = Slurp(dir / "labels" / "label-000001.prn");
  // 50 x 25 mm with the PPD's 3 mm gap, issued once with the gap sensor.
  EXPECT_TRUE(first.starts_with("{D0280,0500,0250|}\n{C|}\n{SG;")) << first.substr(0, 40);
  EXPECT_NE(first.find("{XS;I,0001,"), std::string::npos);
  EXPECT_GT(Dots(dir / "labels" / "label-000001.tif"), 1000u);

  // The insertion commands edit the queue's PPD under /etc/cups/ppd/; this
  // scheduler keeps it in its own directory, so a link joins the two.
  const fs::path link = fs::path("/etc/cups/ppd") / (queue + ".ppd");
  const bool createdDirectory = fs::create_directories(link.parent_path());
  const struct Cleanup {
    std::function<void()> run;
    ~Cleanup() { run(); }
  } cleanup{[&] {
    fs::remove(link);
    if (createdDirectory) fs::remove_all(link.parent_path());
  }};
  fs::create_symlink(fs::path(cups.PPDDirectory()) / (queue + ".ppd"), link);
  std::ofstream(dir / "post-label.tpcl", std::ios::binary) << "{XX;post-label|}\n";
  fs::permissions(dir.path(), fs::perms(0755));
  const struct {
    const char* command;
    const char* type;
    std::string value;
  } insertions[] = {{"setprejob", "string", "{XX;pre-job\\x21|}\\n"},
                    {"setprelabel", "string", "{XX;pre-label|}\\n"},
                    {"setpostlabel", "file", (dir / "post-label.tpcl").string()},
                    {"setpostjob", "string", "{XX;post-job|}\\n"}};
  for (const auto& insertion : insertions) {
    RunOrFail({VELLUM_BINARY, "-p", queue, insertion.command, insertion.type, insertion.value},
              cups.ClientEnvironment());
  }
  RunOrFail({"/usr/bin/lp", "-d", queue, "-n", "2", "-o", "PageSize=25x50mmRotated.Fullbleed", "-o",
             "TECCut=True", picture.string()},
            cups.ClientEnvironment());
  ASSERT_TRUE(printer.WaitForLog("{XX;post-job|}", 1, 60)) << printer.Log() << cups.ErrorLog();
  ASSERT_TRUE(printer.WaitForLabels(3, 10)) << printer.Log();
  const std::string second = Slurp(dir / "labels" / "label-000002.prn");
  EXPECT_TRUE(second.starts_with("{XX;pre-job!|}\n{XX;pre-label|}\n{D0280,0500,0250|}\n"))
      << second.substr(0, 60);
  EXPECT_NE(second.find("{XS;I,0002,001"), std::string::npos);
  EXPECT_NE(printer.Log().find("{XX;post-label|}"), std::string::npos) << printer.Log();
}

TEST(DriverThroughCupsfilter, CupsfilterRunsThePictureThroughTheDriver) {
  TempDir dir;
  // cupsfilter finds filters in the ServerBin of the configuration it is
  // given: Debian's filters, and ours beside them. With -e it runs the PPD's
  // own filter last, to the printer's format.
  fs::create_directories(dir / "bin" / "filter");
  for (const auto& entry : fs::directory_iterator("/usr/lib/cups/filter"))
    fs::create_symlink(entry.path(), dir / "bin" / "filter" / entry.path().filename());
  fs::copy_file(RASTERTOVELLUM_BINARY, dir / "bin" / "filter" / "rastertovellum");
  std::ofstream(dir / "cups-files.conf") << "ServerBin " << (dir / "bin").string() << "\n";
  const fs::path picture = WritePicture(dir / "picture.pgm");
  const ProcessResult result = RunProcess(
      {"/usr/sbin/cupsfilter", "-c", (dir / "cups-files.conf").string(), "-p", kPPD, "-e", "-m",
       "printer/labels", "-n", "3", "-o", "PageSize=50x100mmRotated.Fullbleed", "-o",
       "Resolution=300dpi", "-o", "TECHalftone=Screen32", picture.string()});
  ASSERT_EQ(result.status, 0) << result.err;
  // 100 x 50 mm, three copies; the job renders to a label with dots.
  EXPECT_TRUE(result.out.starts_with("{D0530,1000,0500|}\n{C|}\n{SG;")) << result.out.substr(0, 40);
  EXPECT_NE(result.out.find("{XS;I,0003,"), std::string::npos);
  std::ofstream(dir / "job.prn", std::ios::binary) << result.out;
  const ProcessResult render = RunProcess({VELLUM_BINARY, "render", "-r", "300", "-o",
                                           (dir / "job.tif").string(), (dir / "job.prn").string()});
  ASSERT_EQ(render.status, 0) << render.err;
  EXPECT_GT(Dots(dir / "job.tif"), 10000u);
}

}  // namespace
}  // namespace Vellum::Testing
