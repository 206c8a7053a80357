// render inside the process: where graphics land on the canvas and how bad
// jobs fail. The user's view (streams, exit status) is in the binary's tests.
#include "render/render_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "core/exception.h"
#include "graphics/bitmap.h"
#include "graphics/tiff_tools.h"
#include "render/topix_codec.h"

namespace Corvane::Vellum::Commands {
namespace {

using Bytes = std::vector<unsigned char>;
using namespace std::string_literals;
using ::Vellum::Testing::ReadFile;

// 76.0 x 50.8 mm: 608 x 406 dots at 8 dots/mm, 76 bytes a row.
const std::string kLabel = "{D0508,0760,0468|}\n";

Brindle::Bitmap Filled(std::uint64_t width, std::uint64_t height, unsigned char byte) {
  return Brindle::Bitmap(Bytes((width + 7) / 8 * height, byte), width, height);
}

// A graphics command at "X,Y" in the short form: raw data as it stands, TOPIX
// data with the 2-byte count our encoder writes.
std::string Graphic(const std::string& at, const Brindle::Bitmap& bitmap, int type) {
  std::ostringstream data;
  Brindle::WriteBitmap(bitmap, data, type == 3 ? Brindle::kTOPIXFormat : Brindle::kRawFormat);
  return "{SG;" + at + "," + std::to_string(bitmap.Width()) + "," +
         std::to_string(bitmap.Height()) + "," + std::to_string(type) + "," + data.str() + "|}\n";
}

long Inked(const Brindle::Bitmap& canvas) {
  return std::count_if(canvas.Data().begin(), canvas.Data().end(), [](auto b) { return b != 0; });
}

class RenderTest : public ::testing::Test {
 protected:
  // Renders `job` into out.tif, unless the arguments name another output, and
  // returns the canvas as libtiff reads it back.
  Brindle::Bitmap Render(const std::string& job, Arguments arguments = {}) {
    std::ofstream(dir_ / "job.prn", std::ios::binary) << job;
    if (std::find(arguments.begin(), arguments.end(), "-o") == arguments.end()) {
      arguments.insert(arguments.begin(), {"-o", (dir_ / "out.tif").string()});
    }
    arguments.insert(arguments.begin(), (dir_ / "job.prn").string());
    Commands::Render(arguments);
    auto tags = ::Vellum::Testing::TiffTags(dir_ / "out.tif");
    return Brindle::Bitmap(::Vellum::Testing::LibtiffPixels(dir_ / "out.tif"),
                           std::stoul(tags[256]), std::stoul(tags[257]));
  }

  // The canvas size, or the message of the failure.
  std::string Outcome(const std::string& job, const Arguments& arguments) {
    try {
      const Brindle::Bitmap canvas = Render(job, arguments);
      return std::to_string(canvas.Width()) + "x" + std::to_string(canvas.Height());
    } catch (const Exception& e) {
      return e.what();
    } catch (const std::invalid_argument&) {
      return "std::invalid_argument";
    } catch (const std::out_of_range&) {
      return "std::out_of_range";
    }
  }

  ::Vellum::Testing::TempDir dir_;
};

using At = std::vector<std::pair<std::size_t, int>>;  // canvas bytes: offset, value

TEST_F(RenderTest, GraphicsLandInWholeBytes) {
  const Brindle::Bitmap a5 = Filled(8, 2, 0xA5);
  const Brindle::Bitmap dot = Filled(8, 1, 0x81);
  const Brindle::Bitmap ten(Bytes{0xC0, 0x40, 0x80, 0xC0}, 10, 2);
  const At kTen = {{0, 0xC0}, {1, 0x40}, {76, 0x80}, {77, 0xC0}};
  const std::string lines = "\x80\x80\xC0\xC0\x40\x80\x80\xC0\x40\x80";  // `ten` in TOPIX
  struct Case {
    std::string job;
    At bytes;
    long inked;  // bytes that are not white
  };
  const Case kCases[] = {
      {kLabel + Graphic("4,0", a5, 1), {{0, 0xA5}, {76, 0xA5}}, 2},  // dot 3 rounds down
      {kLabel + Graphic("5,0", a5, 3), {{1, 0xA5}, {77, 0xA5}}, 2},  // dot 4 rounds up
      {kLabel + Graphic("15,30", a5, 3), {{24 * 76 + 2, 0xA5}}, 2},  // dot 12 up, row 24
      // D coordinates are scaled twice: 8 dots, then 6; 16, then 12.
      {kLabel + Graphic("10D,20D", a5, 1), {{12 * 76 + 1, 0xA5}, {13 * 76 + 1, 0xA5}}, 2},
      // 24 dots wide at dot 592 keeps two bytes; from row 400 it keeps 6 rows.
      {kLabel + Graphic("740,500", Filled(24, 10, 0xFF), 3), {{405 * 76 + 75, 0xFF}}, 12},
      {kLabel + Graphic("9999,0", a5, 1), {}, 0},
      // White bytes overwrite what lies below.
      {kLabel + Graphic("0,0", Filled(16, 4, 0xFF), 1) + Graphic("0,0", Filled(8, 2, 0), 3),
       {{0, 0}, {76, 0}, {1, 0xFF}, {152, 0xFF}},
       6},
      {kLabel + Graphic("0,0", ten, 1), kTen, 4},
      {kLabel + Graphic("0,0", ten, 3), kTen, 4},
      // The long form: a 4-byte size and a spare byte, then raw data or TOPIX
      // lines; with size 0 the TOPIX data brings its own count.
      {kLabel + "{SG0;0,0,10,2,1,\0\0\0\4x\xC0\x40\x80\xC0|}\n"s, kTen, 4},
      {kLabel + "{SG0;0,0,10,2,3,\0\0\0\x0Ax"s + lines + "|}\n", kTen, 4},
      {kLabel + "{SG0;0,0,10,2,3,\0\0\0\0x\0\x0A"s + lines + "|}\n", kTen, 4},
      {kLabel + "{SG;0,0,10,2,M5,1,\xC0\x40\x80\xC0|}\n", kTen, 4},
      // Only what lies between the label size and the end of the job counts.
      {"{C|}\n" + Graphic("0,0", dot, 1) + "{AX;+000,+000,+00|}\n" + kLabel +
           "{PC000;0100,0200,1,1,A,00,B|}\n" + Graphic("80,0", dot, 3) +
           "garbage {SG line\n{XS;I,0001,0002C3000|}\n" + Graphic("160,0", dot, 1) + "{SG;broken",
       {{8, 0x81}},
       1},
  };
  for (const auto& c : kCases) {
    const Brindle::Bitmap canvas = Render(c.job);
    SCOPED_TRACE("case " + std::to_string(&c - kCases));
    for (const auto& [at, value] : c.bytes) EXPECT_EQ(canvas.Data().at(at), value);
    EXPECT_EQ(Inked(canvas), c.inked);
  }
}

TEST_F(RenderTest, ArgumentsAndJobsGiveACanvasOrAMessage) {
  struct Case {
    Arguments arguments;
    std::string job;
    const char* outcome;
  };
  const Case kCases[] = {
      {{}, kLabel, "608x406"},
      {{"-r", "200dpi"}, kLabel, "608x406"},
      {{"-r", "305"}, kLabel, "912x609"},
      {{"-r", "600"}, kLabel, "1824x1219"},
      {{}, "{D1500,1000,1470,1000|}\r\n", "800x1200"},  // CR LF, the optional fourth number
      {{"-r", "204"}, kLabel, "Invalid value for argument \"204\": Invalid resolution"},
      {{"-r", "abc"}, kLabel, "Invalid value for argument \"abc\": Invalid resolution"},
      {{"-r", "203", "-r", "203"}, kLabel, "Multiple resolution arguments specified"},
      {{"-r"}, kLabel, "Expected resolution after '-r'"},
      {{"-o"}, kLabel, "Expected filename after '-o'"},
      {{"-o", "a.tif", "-o", "b.tif"}, kLabel, "There can be only one output filename"},
      {{"a.prn", "b.prn"}, kLabel, "Multiple input files specified"},
      {{"-o", "/no/such/dir/a.tif"}, kLabel, "Unable to read from output file"},
      {{"-o", "/dev/full"}, kLabel, "Unable to write to output"},
      {{}, "x" + kLabel, "End of file reached before label size command found"},
      {{}, kLabel + "{SG", "Unexpected end of input"},
      {{}, kLabel + "{SG:0,0,8,1,1,\xFF|}\n", "Syntax error"},
      {{}, kLabel + "{SG;1234567,0,8,1,1,\xFF|}\n", "Unexpected end of file"},
      {{}, kLabel + "{SG;123456,0,8,1,1,\xFF|}\n", "608x406"},
      {{}, kLabel + "{SG;,0,8,1,1,\xFF|}\n", "Unexpected value"},
      {{}, kLabel + "{SG;0,0,x,1,1,\xFF|}\n", "std::invalid_argument"},
      {{}, kLabel + "{SG;0,0,8,1,3,\x00"s, "Unable to read TOPIX data size"},
      {{}, kLabel + "{SG;0,0,16,2,1,\xFF\xFF\xFF", "Unable to read expected amount of data"},
      // Declares almost 4 GiB and holds nothing: fails as the bytes run out.
      {{}, kLabel + "{SG0;0,0,8,1,3,\xFF\xFF\xFF\xF0x", "Unable to read expected amount of data"},
      {{}, kLabel + "{SG;0,0,8,1,1,\xFF}\n", "Graphics data does not match format"},
      {{}, kLabel + "{SG;0,0,8,1,M1,2A,\xFF|}\n", "Graphics format unsupported (2A)"},
      {{}, kLabel + "{SG;0,0,8,1,0A,|}\n", "Graphics format unsupported (0A)"},
      {{}, kLabel + "{SG0;0,0,8,1,7,\x00\x00\x00\x01x\xFF|}\n"s, "Graphics format unsupported (7)"},
      {{}, kLabel + "{SG;0,0,8,1,3,\x00\x04\x80\x80\x40\xFF|}\n"s, "std::out_of_range"},
  };
  for (const auto& c : kCases) EXPECT_EQ(Outcome(c.job, c.arguments), c.outcome) << c.job;
}

using BundledSamples = RenderTest;

// The committed samples are what make_samples draws today, and they render.
TEST_F(BundledSamples, AreCurrentAndRender) {
  // Under a cross build the program runs through the emulator ctest names.
  const char* emulator = std::getenv("VELLUM_EMULATOR");
  const std::string prefix = emulator != nullptr ? std::string(emulator) + " " : "";
  const std::string maker = prefix + "'" VELLUM_MAKE_SAMPLES "' '" + dir_.path().string() + "'";
  ASSERT_EQ(::Vellum::Testing::RunCommand(maker).status, 0);
  for (const auto& [name, size] :
       {std::pair{"shipping_label.prn", "800x1224"}, std::pair{"small_label.prn", "400x264"}}) {
    const Bytes sample = ReadFile(std::filesystem::path(VELLUM_SOURCE_DIR) / "samples" / name);
    EXPECT_EQ(sample, ReadFile(dir_ / name)) << name;
    EXPECT_EQ(Outcome({sample.begin(), sample.end()}, {}), size);
    EXPECT_GT(Inked(Render({sample.begin(), sample.end()})), 1000) << name;
  }
}

}  // namespace
}  // namespace Corvane::Vellum::Commands
