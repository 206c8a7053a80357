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
#include <iterator>
#include <sstream>

// clang-format off
#include "graphics/tiff_tools.h"
#include "cli/vellum_binary.h"
// clang-format on
#include "graphics/tiff_reader.h"
#include "imagetool/options.h"
#include "imagetool/picture_job.h"
#include "picture/picture.h"
#include "support/picture_files.h"

namespace Vellum::Testing {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

ProcessResult RunImage(const std::vector<std::string>& arguments, const std::string& input = "") {
  std::vector<std::string> line = VellumCommandLine({});
  line.back() = VELLUM_IMAGE_BINARY;
  line.insert(line.end(), arguments.begin(), arguments.end());
  return RunProcess(line, {}, input);
}

void Save(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// Levels that vary across the picture, in `bits` bits.
Samples Picture(unsigned width, unsigned height, unsigned channels, unsigned bits) {
  Samples s{width, height, channels, bits, {}};
  for (unsigned i = 0; i < width * height * channels; ++i) {
    const unsigned x = i / channels % width, y = i / channels / width, c = i % channels;
    s.values.push_back((x * 5 + y * 3 + c * 40) * (1u << bits) / (width * 5 + height * 3 + 120));
  }
  return s;
}

// The label render should draw: white, with the halftoned dots set one by
// one where the layout put them, clipped at the label's edges.
std::vector<unsigned char> Expected(const Corvane::ImageTool::PictureLabel& label) {
  Brindle::Bitmap canvas(label.canvas.Width(), label.canvas.Height());
  for (std::uint64_t y = 0; y < label.dots.Height(); ++y)
    for (std::uint64_t x = 0; x < label.dots.Width(); ++x)
      if (label.left + x < canvas.Width() && label.top + y < canvas.Height() &&
          label.dots.GetPixel(x, y) != 0)
        canvas.SetPixel(label.left + x, label.top + y, true);
  return canvas.Data();
}

struct FileCase {
  const char* name;  // its ending says the format
  unsigned width, height, channels, bits;
  const char* options;
};
void PrintTo(const FileCase& c, std::ostream* out) { *out << c.name; }

// The picture of the case in its format: PNG grey, RGB or RGBA (or a palette
// of 4-bit indices), JPEG, TIFF (fax-coded when one-bit, else LZW), raw PGM or
// PPM.
Bytes File(const FileCase& c) {
  const Samples s = Picture(c.width, c.height, c.channels, c.bits);
  const std::string name = c.name;
  if (name.ends_with(".jpg")) return WriteJPEG(s, 85);
  if (name.ends_with(".tif"))
    return c.bits == 1 ? WriteTIFF(s, {PHOTOMETRIC_MINISWHITE, COMPRESSION_CCITTFAX4})
                       : WriteTIFF(s, {c.channels == 3 ? unsigned{PHOTOMETRIC_RGB}
                                                       : unsigned{PHOTOMETRIC_MINISBLACK},
                                       COMPRESSION_LZW});
  if (name.ends_with(".png")) {
    std::vector<std::uint8_t> palette(c.bits == 4 ? 48 : 0);
    for (std::size_t i = 0; i < palette.size(); ++i) palette[i] = std::uint8_t(i * 16 + i % 3);
    const int type = c.bits == 4       ? PNG_COLOR_TYPE_PALETTE
                     : c.channels == 1 ? PNG_COLOR_TYPE_GRAY
                     : c.channels == 3 ? PNG_COLOR_TYPE_RGB
                                       : PNG_COLOR_TYPE_RGB_ALPHA;
    return WritePNG(s, {type, false, palette});
  }
  std::string pnm = (c.channels == 3 ? "P6 " : "P5 ") + std::to_string(c.width) + " " +
                    std::to_string(c.height) + " 255\n";
  for (std::uint32_t v : s.values) pnm += static_cast<char>(v);
  return Bytes(pnm.begin(), pnm.end());
}

class ImageBinaryFormats : public ::testing::TestWithParam<FileCase> {};

// The job on disk, rendered by `vellum render`, shows the dots the library
// halftones for the same picture and options, where its layout puts them.
TEST_P(ImageBinaryFormats, RenderShowsTheLibrarysDots) {
  const FileCase& c = GetParam();
  TempDir dir;
  const fs::path picture = dir / c.name;
  Save(picture, File(c));
  // 30.3 x 20.1 mm: odd dot counts at every resolution.
  std::vector<std::string> arguments = {"--width", "30.3", "--length", "20.1",
                                        "--gap",   "2.5",  "-o",       (dir / "job.prn").string()};
  std::istringstream words(c.options);
  arguments.insert(arguments.end(), std::istream_iterator<std::string>(words), {});
  arguments.push_back(picture.string());
  const ProcessResult made = RunImage(arguments);
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(made.out + made.err, "");

  const auto options = Corvane::ImageTool::ParseCommandLine(arguments).job;
  const ProcessResult rendered =
      RunVellum({"render", "-r", std::to_string(options.dotsPerInch), "-o",
                 (dir / "label.tif").string(), (dir / "job.prn").string()});
  ASSERT_EQ(rendered.status, 0) << rendered.err;
  std::ifstream tiff(dir / "label.tif", std::ios::binary);
  EXPECT_EQ(Brindle::ImageIO::ReadFromTIFFFormat(tiff).Data(),
            Expected(Corvane::ImageTool::LayOutPicture(
                Corvane::Picture::LoadPictureFile(picture.string()), options)));
}

// Each method and each curve once (the screens take the normal curve only),
// and across them each resolution, kind of picture and file format, rotation
// and placement.
INSTANTIATE_TEST_SUITE_P(
    Files, ImageBinaryFormats,
    ::testing::Values(
        FileCase{"grey.png", 97, 61, 1, 8, "--method screen1"},
        FileCase{"photo.jpg", 160, 120, 3, 8, "--resolution 300 --method screen2 --rotate 90"},
        FileCase{"fax.tif", 75, 50, 1, 1, "--resolution 600 --method screen32 --stretch"},
        FileCase{"pixel.pgm", 1, 1, 1, 8, "--method threshold --curve lightest --rotate 270"},
        FileCase{"thin.ppm", 3, 211, 3, 8,
                 "--resolution 300 --method threshold --curve light --area 1.7,0.9,21.1,15"},
        FileCase{"rgba16.png", 90, 70, 4, 16, "--resolution 600 --method threshold --curve darker"},
        FileCase{"rgb.tif", 50, 40, 3, 8, "--method patterns --curve lighter --rotate 180"},
        FileCase{"palette.png", 64, 64, 1, 4,
                 "--resolution 300 --method patterns --curve dark --area 2,2,20,12 --stretch"},
        FileCase{"grey.jpg", 41, 23, 1, 8, "--resolution 600 --method patterns --curve darkest"}),
    [](const auto& info) {
      std::string name = info.param.name;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

TEST(ImageBinary, StandardInputToStandardOutput) {
  const Bytes png = WritePNG(Picture(40, 40, 1, 8), {PNG_COLOR_TYPE_GRAY});
  const ProcessResult result = RunImage({"--width", "20", "--length", "20", "--no-issue", "-"},
                                        std::string(png.begin(), png.end()));
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.rfind("{D0200,0200,0200|}\n{C|}\n{SG;", 0), 0u);
  EXPECT_EQ(result.out.find("{XS"), std::string::npos);
  EXPECT_EQ(RunImage({"--help"}).out.rfind("Usage: vellum-image --width MM --length MM", 0), 0u);
}

// A failure names its cause, leaves an existing output file as it was and no
// new or temporary file behind; a success replaces the file whole, with the
// permissions a new file gets.
TEST(ImageBinary, OutputFileIsReplacedWholeOrNotAtAll) {
  TempDir dir;
  const Bytes png = WritePNG(Picture(40, 40, 3, 8), {PNG_COLOR_TYPE_RGB});
  Save(dir / "broken.png", Bytes(png.begin(), png.begin() + 100));
  Save(dir / "fine.png", png);
  std::ofstream(dir / "job.prn") << "old job";
  const std::string fine = (dir / "fine.png").string(), broken = (dir / "broken.png").string();
  const std::string output = (dir / "job.prn").string();
  for (const auto& [arguments, message] : std::initializer_list<std::pair<Words, std::string>>{
           {{"--width", "50", "--length", "30", "-o", output, broken},
            "vellum-image: " + broken + ": not a readable PNG picture ("},
           {{"--width", "999", "--length", "999", "--resolution", "600", "-o", output, fine},
            "vellum-image: The label is too large at this resolution"},
           {{"--width", "50", "--length", "30", "--copies", "0", "-o", output, fine},
            "vellum-image: The value of --copies must be from 1 to 9999: 0\nTry 'vellum-image "
            "--help'.\n"},
           {{"--width", "50", "--length", "30", "-o", (dir / "no/job.prn").string(), fine},
            "vellum-image: Unable to write " + (dir / "no/job.prn").string()}}) {
    const ProcessResult result = RunImage(arguments);
    EXPECT_EQ(result.status, 1) << message;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind(message, 0), 0u) << result.err;
  }
  EXPECT_EQ(ReadFile((dir / "job.prn").string()), "old job");
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 3);

  const mode_t mask = umask(0);
  umask(mask);
  ASSERT_EQ(chmod((dir / "job.prn").c_str(), 0600), 0);
  ASSERT_EQ(RunImage({"--width", "50", "--length", "30", "-o", output, fine}).status, 0);
  EXPECT_TRUE(ReadFile((dir / "job.prn").string()).ends_with("{XS;I,0001,0002C3000|}\n"));
  struct stat status {};
  ASSERT_EQ(stat((dir / "job.prn").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 3);
}

}  // namespace
}  // namespace Vellum::Testing
