// A picture printed on the virtual printer: vellum-image's job, sent by
// `vellum rawtpcl`, comes out as labels whose pictures are the library's
// label, once per copy.
#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>
#include <fstream>

// clang-format off
// First, so that its own ReadFile is the one its helpers see.
#include "graphics/tiff_tools.h"
#include "cli/vellum_binary.h"
// clang-format on
#include "graphics/tiff_reader.h"
#include "imagetool/options.h"
#include "imagetool/picture_job.h"
#include "picture/picture.h"
#include "support/picture_files.h"
#include "support/virtual_printer.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

TEST(ImagePrinter, PictureJobPrintsItsCopiesOnTheVirtualPrinter) {
  TempDir dir;
  Samples picture{150, 100, 3, 8, {}};
  for (unsigned i = 0; i < 150 * 100 * 3; ++i) picture.values.push_back((i * 7 / 3) % 256);
  const Bytes png = WritePNG(picture, {PNG_COLOR_TYPE_RGB});
  std::ofstream(dir / "picture.png", std::ios::binary)
      .write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
  const std::vector<std::string> arguments = {"--width",
                                              "50",
                                              "--length",
                                              "30",
                                              "--gap",
                                              "3",
                                              "--resolution",
                                              "300",
                                              "--copies",
                                              "2",
                                              "--cut",
                                              "-o",
                                              (dir / "job.prn").string(),
                                              (dir / "picture.png").string()};
  std::vector<std::string> line = VellumCommandLine({});
  line.back() = VELLUM_IMAGE_BINARY;
  line.insert(line.end(), arguments.begin(), arguments.end());
  const ProcessResult made = RunProcess(line);
  ASSERT_EQ(made.status, 0) << made.err;

  VirtualPrinter printer(VELLUM_PRINTER_BINARY, dir / "labels", {"--resolution", "300"});
  const ProcessResult sent = RunProcess(VellumCommandLine({"-n", printer.NetworkName(), "rawtpcl"}),
                                        kNoCupsServer, ReadFile((dir / "job.prn").string()));
  ASSERT_EQ(sent.status, 0) << sent.err;
  ASSERT_TRUE(printer.WaitForLabels(2)) << printer.Log();

  const auto options = Corvane::ImageTool::ParseCommandLine(arguments).job;
  const auto label = Corvane::ImageTool::LayOutPicture(
      Corvane::Picture::LoadPictureFile((dir / "picture.png").string()), options);
  for (const char* name : {"label-000001.tif", "label-000002.tif"}) {
    std::ifstream tiff(dir / "labels" / name, std::ios::binary);
    EXPECT_EQ(Brindle::ImageIO::ReadFromTIFFFormat(tiff).Data(), label.canvas.Data()) << name;
  }
  EXPECT_NE(printer.Log().find("issue: 2 labels"), std::string::npos) << printer.Log();
}

}  // namespace
}  // namespace Vellum::Testing
