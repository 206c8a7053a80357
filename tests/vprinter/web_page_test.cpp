// The virtual printer's web page: fetched over HTTP, and looked at in headless
// Chromium, whose screenshot must show the printed label.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <png.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "graphics/tiff_tools.h"
#include "support/process.h"
#include "support/virtual_printer.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

// The whole response to "GET path" on 127.0.0.1:port, headers included.
std::string Get(std::uint16_t port, const std::string& path) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string response;
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    const std::string request = "GET " + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
    if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) ==
        static_cast<ssize_t>(request.size())) {
      char buffer[65536];
      for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;) response.append(buffer, n);
    }
  }
  close(fd);
  return response;
}

// Pixels of the screenshot darker than mid-grey.
long DarkPixels(const fs::path& screenshot) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, screenshot.c_str())) return -1;
  image.format = PNG_FORMAT_GRAY;
  std::vector<unsigned char> grey(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, grey.data(), 0, nullptr)) return -1;
  long dark = 0;
  for (const unsigned char g : grey) dark += g < 96;
  return dark;
}

// Takes a screenshot of the page with headless Chromium; false when the
// browser could not start or made no picture.
bool Screenshot(const fs::path& work, std::uint16_t port, const fs::path& file) {
  const fs::path profile = work / ("profile-" + file.stem().string());
  fs::create_directories(profile);
  const ProcessResult browser = RunProcess(
      {"/usr/bin/timeout", "120", "/usr/bin/chromium", "--headless", "--no-sandbox",
       "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
       "--disable-component-update", "--disable-sync", "--user-data-dir=" + profile.string(),
       "--window-size=900,1400", "--screenshot=" + file.string(),
       "http://127.0.0.1:" + std::to_string(port) + "/"});
  return browser.status == 0 && fs::exists(file);
}

class WebPageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!VELLUM_PRINTER_WEB) GTEST_SKIP() << "vellum-printer was built without its web page";
    printer_ = std::make_unique<VirtualPrinter>(VELLUM_PRINTER_BINARY, dir_ / "labels",
                                                std::vector<std::string>{"--http", "0"});
  }

  void PrintSample() {
    std::ifstream in(std::string(VELLUM_SOURCE_DIR) + "/samples/shipping_label.prn",
                     std::ios::binary);
    std::stringstream job;
    job << in.rdbuf();
    SendTo(printer_->Port(), job.str());
    ASSERT_TRUE(printer_->WaitForLabels(1)) << printer_->Log();
  }

  TempDir dir_;
  std::unique_ptr<VirtualPrinter> printer_;
};

TEST_F(WebPageTest, ListsLabelsWithTheirPicturesAndLogs) {
  EXPECT_NE(Get(printer_->HttpPort(), "/").find("No label printed yet."), std::string::npos);
  PrintSample();
  const std::string page = Get(printer_->HttpPort(), "/");
  for (const char* piece :
       {"200 OK", "<img src=\"/labels/label-000001.png\"",
        "{D1530,1000,1500|}: label size 100.0 x 153.0 mm",
        "{XS;I,0001,0002C3000|}: issue: 1 label, label-000001", "http-equiv=\"refresh\""}) {
    EXPECT_NE(page.find(piece), std::string::npos) << piece << " in\n" << page;
  }
  std::ifstream png(dir_ / "labels" / "label-000001.png", std::ios::binary);
  std::stringstream bytes;
  bytes << png.rdbuf();
  const std::string served = Get(printer_->HttpPort(), "/labels/label-000001.png");
  EXPECT_TRUE(served.ends_with("\r\n\r\n" + bytes.str()));
  EXPECT_NE(Get(printer_->HttpPort(), "/labels/../printer-state.txt").find("404"),
            std::string::npos);
}

TEST_F(WebPageTest, ChromiumShowsTheLabel) {
  const fs::path before = dir_ / "before.png", after = dir_ / "after.png";
  if (!Screenshot(dir_.path(), printer_->HttpPort(), before)) {
    GTEST_SKIP() << "headless Chromium (/usr/bin/chromium, package chromium) could not start "
                    "or took no screenshot";
  }
  PrintSample();
  ASSERT_TRUE(Screenshot(dir_.path(), printer_->HttpPort(), after));
  // The label's frames, bar code and large type are thousands of black
  // pixels that a page of text alone does not have.
  const long empty = DarkPixels(before), shown = DarkPixels(after);
  EXPECT_GE(empty, 0);
  EXPECT_GT(shown, empty + 20000) << "dark pixels before " << empty << ", after " << shown;
}

}  // namespace
}  // namespace Vellum::Testing
