// vellum-image as users meet it: the real binary on picture files written by
// libpng, libtiff and libjpeg-turbo, its jobs drawn by the real `vellum
// render`, and the mistakes users make.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

// clang-format off
// First, so that its own ReadFile is the one its helpers see.
#include "graphics/tiff_tools.h"
#include "cli/vellum_binary.h"
// clang-format on
#include "graphics/tiff_reader.h"
#include "imagetool/options.h"
#include "imagetool/picture_job.h"
#include "picture/picture.h"
#include "picture/picture_files.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;

ProcessResult RunImage(const std::vector<std::string>& arguments, const std::string& input = "") {
  std::vector<std::string> line = VellumCommandLine({});
  line.back() = VELLUM_IMAGE_BINARY;
  line.insert(line.end(), arguments.begin(), arguments.end());
  return RunProcess(line, {}, input);
}

Bytes Cut(Bytes bytes, std::size_t keep) {
  bytes.resize(keep);
  return bytes;
}

void Save(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// Levels that vary across the picture, in `bits` bits.
Samples Picture(unsigned width, unsigned height, unsigned channels, unsigned bits) {
  Samples s{width, height, channels, bits, {}};
  const std::uint32_t levels = 1u << bits;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      for (unsigned c = 0; c < channels; ++c) {
        s.values.push_back(static_cast<std::uint32_t>((x * 5 + y * 3 + c * 40) * levels /
                                                      (width * 5 + height * 3 + 120)));
      }
    }
  }
  return s;
}

struct FileCase {
  const char* name;
  std::function<Bytes()> write;
  std::vector<std::string> options;
};

void PrintTo(const FileCase& c, std::ostream* out) { *out << c.name; }

class ImageBinaryFormats : public ::testing::TestWithParam<FileCase> {};

// The job on disk, rendered by `vellum render`, is the label the library lays
// out for the same picture and options.
TEST_P(ImageBinaryFormats, RenderShowsTheLibrarysLabel) {
  const FileCase& c = GetParam();
  TempDir dir;
  const fs::path picture = dir / c.name;
  Save(picture, c.write());
  std::vector<std::string> arguments = {"--width", "40", "--length", "25.5",
                                        "--gap",   "3",  "-o",       (dir / "job.prn").string()};
  arguments.insert(arguments.end(), c.options.begin(), c.options.end());
  arguments.push_back(picture.string());
  const ProcessResult made = RunImage(arguments);
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(made.out, "");
  EXPECT_EQ(made.err, "");

  const std::string resolution =
      std::to_string(Corvane::ImageTool::ParseCommandLine(arguments).job.dotsPerInch);
  const ProcessResult rendered = RunVellum(
      {"render", "-r", resolution, "-o", (dir / "label.tif").string(), (dir / "job.prn").string()});
  ASSERT_EQ(rendered.status, 0) << rendered.err;

  // The same layout in this process, from the same command line.
  const Corvane::ImageTool::PictureJobOptions options =
      Corvane::ImageTool::ParseCommandLine(arguments).job;
  const auto label = Corvane::ImageTool::LayOutPicture(
      Corvane::Picture::LoadPictureFile(picture.string()), options);
  std::ifstream tiff(dir / "label.tif", std::ios::binary);
  EXPECT_EQ(Brindle::ImageIO::ReadFromTIFFFormat(tiff).Data(), label.canvas.Data());
}

INSTANTIATE_TEST_SUITE_P(
    Files, ImageBinaryFormats,
    ::testing::Values(
        FileCase{
            "grey.png", [] { return WritePNG(Picture(120, 80, 1, 8), {PNG_COLOR_TYPE_GRAY}); }, {}},
        FileCase{"rgba16.png",
                 [] { return WritePNG(Picture(90, 70, 4, 16), {PNG_COLOR_TYPE_RGB_ALPHA}); },
                 {"--resolution", "300", "--method", "patterns", "--curve", "dark"}},
        FileCase{"palette.png",
                 [] {
                   std::vector<std::uint8_t> palette;
                   for (unsigned i = 0; i < 16; ++i)
                     palette.insert(palette.end(),
                                    {std::uint8_t(i * 16), std::uint8_t(255 - i * 16), 90});
                   return WritePNG(Picture(64, 64, 1, 4), {PNG_COLOR_TYPE_PALETTE, false, palette});
                 },
                 {"--rotate", "90"}},
        FileCase{"bilevel.png",
                 [] { return WritePNG(Picture(77, 33, 1, 1), {PNG_COLOR_TYPE_GRAY}); },
                 {"--resolution", "600"}},
        FileCase{"photo.jpg",
                 [] { return WriteJPEG(Picture(200, 150, 3, 8), 85); },
                 {"--resolution", "600", "--method", "threshold"}},
        FileCase{"grey.jpg", [] { return WriteJPEG(Picture(31, 97, 1, 8), 90); }, {}},
        FileCase{"rgb.tif",
                 [] {
                   return WriteTIFF(Picture(50, 40, 3, 8), {PHOTOMETRIC_RGB, COMPRESSION_LZW});
                 },
                 {"--resolution", "300"}},
        FileCase{"fax.tif",
                 [] {
                   return WriteTIFF(Picture(130, 45, 1, 1),
                                    {PHOTOMETRIC_MINISWHITE, COMPRESSION_CCITTFAX4});
                 },
                 {}},
        FileCase{"grey16.tif",
                 [] { return WriteTIFF(Picture(60, 60, 1, 16), {PHOTOMETRIC_MINISBLACK}); },
                 {"--method", "patterns"}},
        FileCase{"art.pbm",
                 [] {
                   std::string pbm = "P1\n9 5\n";
                   for (int i = 0; i < 45; ++i) pbm += (i % 3 == 0) ? "1 " : "0 ";
                   return Bytes(pbm.begin(), pbm.end());
                 },
                 {}},
        FileCase{"photo.ppm",
                 [] {
                   const Samples s = Picture(41, 23, 3, 8);
                   std::string ppm = "P6 41 23 255\n";
                   for (std::uint32_t v : s.values) ppm += static_cast<char>(v);
                   return Bytes(ppm.begin(), ppm.end());
                 },
                 {"--resolution", "600", "--rotate", "90"}}),
    [](const auto& info) {
      std::string name = info.param.name;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

TEST(ImageBinary, WritesToStandardOutputAndReadsStandardInput) {
  const Bytes png = WritePNG(Picture(40, 40, 1, 8), {PNG_COLOR_TYPE_GRAY});
  const ProcessResult result = RunImage({"--width", "20", "--length", "20", "--no-issue", "-"},
                                        std::string(png.begin(), png.end()));
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.rfind("{D0200,0200,0200|}\n{C|}\n{SG;", 0), 0u);
  EXPECT_EQ(result.out.find("{XS"), std::string::npos);
  EXPECT_TRUE(result.out.ends_with("|}\n"));
}

// A failure names the file, leaves an existing output file as it was and no
// new or temporary file behind.
TEST(ImageBinary, FailuresLeaveNoFileBehind) {
  TempDir dir;
  Save(dir / "broken.png", Cut(WritePNG(Picture(40, 40, 3, 8), {PNG_COLOR_TYPE_RGB}), 100));
  Save(dir / "notes.txt", Bytes{'h', 'i'});
  Save(dir / "fine.png", WritePNG(Picture(40, 40, 3, 8), {PNG_COLOR_TYPE_RGB}));
  std::ofstream(dir / "old.prn") << "old job";
  struct Case {
    std::vector<std::string> arguments;
    std::string output;
    std::string message;
  } const kCases[] = {
      {{(dir / "broken.png").string()},
       "old.prn",
       "vellum-image: " + (dir / "broken.png").string() + ": not a readable PNG picture ("},
      {{(dir / "notes.txt").string()},
       "new.prn",
       "vellum-image: " + (dir / "notes.txt").string() +
           ": not a PNG, JPEG, TIFF or netpbm (PNM) picture\n"},
      {{(dir / "missing.png").string()},
       "old.prn",
       "vellum-image: " + (dir / "missing.png").string() + ": No such file or directory\n"},
      {{"--method", "screen2", "--curve", "darker", (dir / "fine.png").string()},
       "old.prn",
       "vellum-image: The screens print with the normal curve only; choose the threshold or "
       "patterns method for another curve\n"},
      {{"--area", "0,0,60,10", (dir / "fine.png").string()},
       "old.prn",
       "vellum-image: The picture's area reaches past the label\n"},
      {{"--copies", "0", (dir / "fine.png").string()},
       "old.prn",
       "vellum-image: The value of --copies must be from 1 to 9999: 0\nTry 'vellum-image "
       "--help'.\n"},
      {{(dir / "fine.png").string()}, "no/such/dir/job.prn", "vellum-image: Unable to write "},
  };
  for (const Case& c : kCases) {
    std::vector<std::string> arguments = {"--width", "50", "--length",
                                          "30",      "-o", (dir / c.output).string()};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const ProcessResult result = RunImage(arguments);
    EXPECT_EQ(result.status, 1) << c.message;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind(c.message, 0), 0u) << result.err;
  }
  EXPECT_EQ(ReadFile((dir / "old.prn").string()), "old job");
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(dir.path()))
    left.push_back(entry.path().filename());
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<std::string>{"broken.png", "fine.png", "notes.txt", "old.prn"}));
}

TEST(ImageBinary, ReplacesTheOutputWholeWithUsualPermissions) {
  TempDir dir;
  Save(dir / "fine.png", WritePNG(Picture(40, 40, 3, 8), {PNG_COLOR_TYPE_RGB}));
  std::ofstream(dir / "job.prn") << "old job";
  const ProcessResult result = RunImage({"--width", "50", "--length", "30", "-o",
                                         (dir / "job.prn").string(), (dir / "fine.png").string()});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(ReadFile((dir / "job.prn").string()).ends_with("{XS;I,0001,0002C3000|}\n"));
  struct stat status {};
  ASSERT_EQ(stat((dir / "job.prn").c_str(), &status), 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
}

TEST(ImageBinary, HelpAndVersion) {
  const ProcessResult help = RunImage({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("Usage: vellum-image --width MM --length MM", 0), 0u);
  const ProcessResult version = RunImage({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "7.03\n");
}

}  // namespace
}  // namespace Vellum::Testing
