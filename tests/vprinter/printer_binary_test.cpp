// vellum-printer as users meet it: the real binary on a loopback port, driven
// by the real vellum binary and by raw sockets.
#include <gtest/gtest.h>
#include <png.h>
#include <signal.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "cli/vellum_binary.h"
#include "graphics/image.h"
#include "graphics/tiff_tools.h"
#include "support/virtual_printer.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

const std::string kPrinter = VELLUM_PRINTER_BINARY;

// Thousands of small files are made here; on this kind of machine's shared
// disk making a file costs far more than the printer's own work, so scratch
// directories go to memory where there is a memory file system.
const bool kScratchInMemory = [] {
  return std::filesystem::is_directory("/dev/shm") && setenv("TMPDIR", "/dev/shm", 1) == 0;
}();
const fs::path kSamples = fs::path(VELLUM_SOURCE_DIR) / "samples";

// A 10 x 5 mm label with a 16 x 2 dot raw graphic, issued once.
const std::string kSmallJob =
    "{D0050,0100,0040|}\n{C|}\n{SG;0000,0000,16,2,1,\xff\x0f\xf0\x01|}\n"
    "{XS;I,0001,0002C3000|}\n";

std::string Vellum(const VirtualPrinter& printer, std::vector<std::string> arguments,
                   const std::string& input = "") {
  arguments.insert(arguments.begin(), {"-n", printer.NetworkName()});
  const ProcessResult result = RunVellum(arguments, kNoCupsServer, input);
  EXPECT_EQ(result.status, 0) << result.err;
  return result.out;
}

std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

Brindle::Image ReadTIFF(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  Brindle::Image image(1, 1, 0, 0);
  image.ReadFromTIFF(in);
  return image;
}

// The PNG's pixels as one byte per dot, 1 for black.
std::vector<unsigned char> PNGDots(const fs::path& path, std::uint32_t& width,
                                   std::uint32_t& height) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return {};
  image.format = PNG_FORMAT_GRAY;
  std::vector<unsigned char> grey(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, grey.data(), 0, nullptr)) return {};
  width = image.width;
  height = image.height;
  for (unsigned char& dot : grey) dot = dot < 128 ? 1 : 0;
  return grey;
}

// The bitmap's dots, one byte each.
std::vector<unsigned char> Dots(const Brindle::Image& image) {
  std::vector<unsigned char> dots;
  for (std::uint64_t y = 0; y < image.Height(); ++y) {
    for (std::uint64_t x = 0; x < image.Width(); ++x) {
      dots.push_back((image.Data()[y * image.BytesPerRow() + x / 8] >> (7 - x % 8)) & 1);
    }
  }
  return dots;
}

TEST(VirtualPrinterBinary, AnswersEveryPrinterCommandOfVellum) {
  TempDir dir;
  const fs::path out = dir / "labels";
  VirtualPrinter printer(kPrinter, out, {"--status", "11"});
  EXPECT_EQ(Vellum(printer, {"getstatus"}), "Status code: 11\nRemaining count: 0\n");
  // The status changes while the printer runs through its status file.
  for (const auto& [written, shown] : {std::pair{"06", "6"}, {"2\n", "2"}, {"00", "0"}}) {
    std::ofstream(out / "status") << written;
    EXPECT_EQ(Vellum(printer, {"getstatus"}),
              std::string("Status code: ") + shown + "\nRemaining count: 0\n");
  }

  Vellum(printer, {"setfineadjustments", "1.5", "-2", "0.3"});
  Vellum(printer, {"setipv4", "192.168.10.5/24", "192.168.10.1"});
  Vellum(printer, {"setport", "0"});
  // Each command is its own connection: the log says when the last one is done.
  ASSERT_TRUE(printer.WaitForLog("raw port switched off")) << printer.Log();
  std::string state = Slurp(out / "printer-state.txt");
  for (const char* line :
       {"feed-adjustment: +1.5 mm", "cut-adjustment: -2.0 mm", "backfeed-adjustment: +0.3 mm",
        "ip-address: 192.168.10.5", "subnet-mask: 255.255.255.0", "gateway: 192.168.10.1",
        "raw-port: off"}) {
    EXPECT_NE(state.find(line), std::string::npos) << line << " in\n" << state;
  }
  Vellum(printer, {"setport", "9101"});
  ASSERT_TRUE(printer.WaitForLog("raw port set to 9101")) << printer.Log();
  EXPECT_NE(Slurp(out / "printer-state.txt").find("raw-port: 9101"), std::string::npos);

  Vellum(printer, {"feedlabel", "cut", "transmissive"});
  Vellum(printer, {"tpcl", "{ZZ;1|}\\n"});
  Vellum(printer, {"rawtpcl"}, Slurp(kSamples / "small_label.prn"));
  Vellum(printer, {"rawtpcl", kSmallJob});
  ASSERT_TRUE(printer.WaitForLabels(3)) << printer.Log();
  EXPECT_EQ(Slurp(out / "label-000001.prn"), "{T;21C30|}");
  EXPECT_EQ(Slurp(out / "label-000002.prn"), Slurp(kSamples / "small_label.prn"));
  EXPECT_EQ(Slurp(out / "label-000003.prn"), kSmallJob);
  const std::string log = printer.Log();
  for (const char* line :
       {"{ZZ;1|}: unknown command, skipped", "{T;21C30|}: feed: blank label label-000001",
        "{WS|}: status request: answered status 06, remaining 0",
        "label-000003 printed (label 1 of 1): label-000003.tif, label-000003.png, "
        "label-000003.prn"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << " in\n" << log;
  }
  EXPECT_EQ(printer.Stop(SIGTERM), 0);
}

TEST(VirtualPrinterBinary, PreviewsAreRendersDotForDot) {
  for (const char* dpi : {"203", "300", "600"}) {
    TempDir dir;
    VirtualPrinter printer(kPrinter, dir / "labels", {"--resolution", dpi});
    for (const char* sample : {"small_label.prn", "shipping_label.prn"}) {
      SendTo(printer.Port(), Slurp(kSamples / sample));
    }
    ASSERT_TRUE(printer.WaitForLabels(2)) << printer.Log();
    for (int label = 1; label <= 2; ++label) {
      const std::string sample = label == 1 ? "small_label.prn" : "shipping_label.prn";
      const fs::path rendered = dir / "render.tif";
      const ProcessResult render =
          RunVellum({"render", "-r", dpi, "-o", rendered.string(), (kSamples / sample).string()});
      ASSERT_EQ(render.status, 0) << render.err;
      const fs::path tiff = dir / "labels" / ("label-00000" + std::to_string(label) + ".tif");
      const Brindle::Image ours = ReadTIFF(tiff), theirs = ReadTIFF(rendered);
      EXPECT_EQ(ours.Width(), theirs.Width()) << sample << " at " << dpi;
      EXPECT_EQ(ours.Height(), theirs.Height()) << sample << " at " << dpi;
      EXPECT_TRUE(Dots(ours) == Dots(theirs)) << sample << " at " << dpi;
      EXPECT_EQ(ours.HorizontalResolution(), std::stoul(dpi));
      std::uint32_t width = 0, height = 0;
      const std::vector<unsigned char> png =
          PNGDots(fs::path(tiff).replace_extension(".png"), width, height);
      EXPECT_EQ(width, ours.Width());
      EXPECT_EQ(height, ours.Height());
      EXPECT_TRUE(png == Dots(ours)) << sample << " at " << dpi;
    }
  }
}

TEST(VirtualPrinterBinary, HostileInputIsRefusedAndServingGoesOn) {
  TempDir dir;
  VirtualPrinter printer(kPrinter, dir / "labels",
                         {"--max-payload-mb", "1", "--max-label-mb", "1"});
  const std::string shipping = Slurp(kSamples / "shipping_label.prn");
  const std::string huge = std::string("{SG0;0,0,8,8,3,\x00\x20\x00\x00\x00", 20);
  const std::string hostile[] = {
      std::string(5000, '\xff'),
      "{D99999,9999,99999|}{XS;I,0001,0002C3000|}",
      "{D0050,0100,0040|}" + huge + std::string(1 << 21, 'x') + "|}",
      "{SG;12345678,{SG;,{SG;x,0,8,1,1,a|}{SG;0,0,8,1,5,ab|}{D0050|}{C",
      shipping.substr(0, shipping.size() / 2),
      std::string(200000, '{'),
  };
  for (const std::string& bytes : hostile) SendTo(printer.Port(), bytes);
  // Cut off in the middle of a graphic's data, abortively.
  SendTo(printer.Port(), shipping.substr(0, 300), true);
  SendTo(printer.Port(), shipping);
  ASSERT_TRUE(printer.WaitForLabels(1)) << printer.Log();
  ASSERT_TRUE(printer.WaitForLog("connection closed by the client", std::size(hostile) + 1) &&
              printer.WaitForLog("connection reset by the client"))
      << printer.Log();
  EXPECT_EQ(printer.Stop(SIGTERM), 0);
  EXPECT_EQ(CountFiles(dir / "labels", ".prn"), 1u);
  EXPECT_EQ(Slurp(dir / "labels" / "label-000001.prn"), shipping);
  const std::string log = printer.Log();
  for (const char* refusal :
       {"5000 bytes outside any command skipped",
        "over the limit of 1048576; label size not changed",
        "an issue before any label size; nothing printed",
        "a graphic of 2097152 bytes of data, over the limit of 1048576, was skipped",
        "a graphics command has a field longer than 6 characters",
        "a graphics command of type \"5\" gives no size for its data", "not a label size command",
        "the stream ended after", "a job that was never issued was dropped",
        "a command was cut short by the next \"{\"\n", "refused: the same again 199998 times"}) {
    EXPECT_NE(log.find(refusal), std::string::npos) << refusal << " in\n" << log.substr(0, 4000);
  }
}

TEST(VirtualPrinterBinary, ManyConnectionsAtOnceLoseNoLabel) {
  TempDir dir;
  VirtualPrinter printer(kPrinter, dir / "labels");
  constexpr int kConnections = 32, kLabels = 200;
  std::string stream;
  for (int i = 0; i < kLabels; ++i) stream += kSmallJob;
  std::vector<std::thread> clients;
  for (int i = 0; i < kConnections; ++i) {
    clients.emplace_back([&] { SendTo(printer.Port(), stream); });
  }
  for (std::thread& client : clients) client.join();
  const std::size_t total = kConnections * kLabels;
  ASSERT_TRUE(printer.WaitForLabels(total)) << CountFiles(dir / "labels", ".prn");
  EXPECT_EQ(printer.Stop(SIGTERM), 0);
  EXPECT_EQ(CountFiles(dir / "labels", ".tif"), total);
  EXPECT_EQ(CountFiles(dir / "labels", ".png"), total);
  // Every label is the same, so every file of a kind is the same, whole.
  const std::string tiff = Slurp(dir / "labels" / "label-000001.tif");
  const std::string png = Slurp(dir / "labels" / "label-000001.png");
  std::size_t whole = 0;
  for (std::size_t n = 1; n <= total; ++n) {
    char base[32];
    std::snprintf(base, sizeof base, "label-%06zu", n);
    whole += Slurp(dir / "labels" / (std::string(base) + ".tif")) == tiff &&
             Slurp(dir / "labels" / (std::string(base) + ".png")) == png &&
             Slurp(dir / "labels" / (std::string(base) + ".prn")) == kSmallJob;
  }
  EXPECT_EQ(whole, total);
}

TEST(VirtualPrinterBinary, StopsCleanlyAndRestartsWhereItLeftOff) {
  TempDir dir;
  const fs::path out = dir / "labels";
  {
    // Five copies that take 100 ms each to print: SIGTERM comes while they
    // wait, and every one is still written before the exit.
    VirtualPrinter printer(kPrinter, out, {"--print-time", "100"});
    std::string job = kSmallJob;
    job.replace(job.find("I,0001"), 6, "I,0005");
    SendTo(printer.Port(), job);
    Vellum(printer, {"setfineadjustments", "2", "0", "0"});
    ASSERT_TRUE(printer.WaitForLog("fine adjustments: feed +2.0 mm"));
    EXPECT_EQ(printer.Stop(SIGTERM), 0);
    EXPECT_EQ(CountFiles(out, ".prn"), 5u);
    EXPECT_NE(printer.Log().find("stopped by SIGTERM"), std::string::npos);
  }
  {
    // Killed outright in the middle of a job: nothing half-written is left.
    VirtualPrinter printer(kPrinter, out);
    SendTo(printer.Port(), kSmallJob + kSmallJob.substr(0, 30));
    ASSERT_TRUE(printer.WaitForLabels(6));
    EXPECT_EQ(printer.Stop(SIGKILL), 128 + SIGKILL);
  }
  VirtualPrinter printer(kPrinter, out);
  SendTo(printer.Port(), kSmallJob);
  ASSERT_TRUE(printer.WaitForLabels(7));
  EXPECT_TRUE(fs::exists(out / "label-000007.tif"));
  EXPECT_NE(Slurp(out / "printer-state.txt").find("feed-adjustment: +2.0 mm"), std::string::npos);
  for (const auto& entry : fs::directory_iterator(out)) {
    EXPECT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path();
  }
}

}  // namespace
}  // namespace Vellum::Testing
