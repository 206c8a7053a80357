// A job through real CUPS to the virtual printer: a private cupsd with
// Debian's socket backend and a raw queue pointing at the printer's port.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "graphics/tiff_tools.h"
#include "support/cups_server.h"
#include "support/process.h"
#include "support/virtual_printer.h"

namespace Vellum::Testing {
namespace {

std::string Slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(VirtualPrinterThroughCups, RawJobArrivesAsALabel) {
  TempDir dir;
  VirtualPrinter printer(VELLUM_PRINTER_BINARY, dir / "labels");
  CupsServer cups(CupsServer::SocketBackend::kDebian);
  cups.AddQueue("vprinter", "socket://127.0.0.1:" + std::to_string(printer.Port()));
  const std::string sample = std::string(VELLUM_SOURCE_DIR) + "/samples/shipping_label.prn";
  const ProcessResult lp =
      RunProcess({"/usr/bin/lp", "-d", "vprinter", "-o", "raw", sample}, cups.ClientEnvironment());
  ASSERT_EQ(lp.status, 0) << lp.err;
  ASSERT_TRUE(printer.WaitForLabels(1, 20)) << printer.Log() << cups.ErrorLog();
  EXPECT_EQ(Slurp(dir / "labels" / "label-000001.prn"), Slurp(sample));
  EXPECT_TRUE(std::filesystem::exists(dir / "labels" / "label-000001.tif"));
  EXPECT_TRUE(std::filesystem::exists(dir / "labels" / "label-000001.png"));
}

}  // namespace
}  // namespace Vellum::Testing
