#include "render/render_command.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
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
using vellum_test::LibtiffPixels;
using vellum_test::ReadFile;
using vellum_test::TempDir;

const std::string kLabel = "{D0508,0760,0468|}\n";  // 76.0 x 50.8 mm

// A graphics command in the short form: type 1 data as it stands, type 3 with
// the 2-byte count our encoder writes in front of the lines.
std::string Graphic(const std::string& x, const std::string& y, const Brindle::Bitmap& bitmap,
                    int type) {
  std::ostringstream data;
  Brindle::WriteBitmap(bitmap, data, type == 3 ? Brindle::kTOPIXFormat : Brindle::kRawFormat);
  return "{SG;" + x + "," + y + "," + std::to_string(bitmap.Width()) + "," +
         std::to_string(bitmap.Height()) + "," + std::to_string(type) + "," + data.str() + "|}\n";
}

// The long form: "{SG0;" and a 4-byte size plus a spare byte before the data.
std::string LongGraphic(const std::string& x, const std::string& y, const Brindle::Bitmap& bitmap,
                        int type, bool zeroSize = false) {
  std::ostringstream data;
  Brindle::WriteBitmap(bitmap, data, type == 3 ? Brindle::kTOPIXFormat : Brindle::kRawFormat);
  std::string bytes = data.str();
  if (type == 3 && !zeroSize) bytes.erase(0, 2);  // the long size replaces TOPIX's own
  const std::uint32_t size = zeroSize ? 0 : static_cast<std::uint32_t>(bytes.size());
  const char header[5] = {static_cast<char>(size >> 24), static_cast<char>(size >> 16),
                          static_cast<char>(size >> 8), static_cast<char>(size), 'x'};
  return "{SG0;" + x + "," + y + "," + std::to_string(bitmap.Width()) + "," +
         std::to_string(bitmap.Height()) + "," + std::to_string(type) + "," +
         std::string(header, 5) + bytes + "|}\n";
}

Brindle::Bitmap Filled(std::uint64_t width, std::uint64_t height, unsigned char byte) {
  Brindle::Bitmap bitmap(width, height);
  for (auto& b : bitmap.Data()) b = byte;
  return bitmap;
}

class RenderTest : public ::testing::Test {
 protected:
  // Renders `job` with the extra arguments and returns the canvas read back
  // from the TIFF (our writer's fixed layout: the strip starts at 186).
  Brindle::Bitmap Render(const std::string& job, Arguments extra = {}) {
    std::ofstream(dir_ / "job.prn", std::ios::binary) << job;
    extra.insert(extra.end(), {"-o", (dir_ / "out.tif").string(), (dir_ / "job.prn").string()});
    Commands::Render(extra);
    const Bytes file = ReadFile(dir_ / "out.tif");
    EXPECT_GE(file.size(), 186u);
    const std::uint32_t width = Word(file, 10 + 12 * 1 + 8);
    const std::uint32_t height = Word(file, 10 + 12 * 2 + 8);
    return Brindle::Bitmap(Bytes(file.begin() + 186, file.end()), width, height);
  }

  // The exception's type name and message, or "none".
  std::string Failure(const std::string& job, Arguments extra = {}) {
    try {
      Render(job, std::move(extra));
    } catch (const InvalidFormatException& e) {
      return std::string("format: ") + e.what();
    } catch (const IOException& e) {
      return std::string("io: ") + e.what();
    } catch (const UnimplementedException& e) {
      return std::string("unimplemented: ") + e.what();
    } catch (const InvalidArgumentException& e) {
      return std::string("argument: ") + e.what();
    } catch (const std::invalid_argument&) {
      return "std::invalid_argument";
    } catch (const std::out_of_range&) {
      return "std::out_of_range";
    }
    return "none";
  }

  static std::uint32_t Word(const Bytes& file, std::size_t offset) {
    std::uint32_t value = 0;
    if (offset + 4 <= file.size()) std::memcpy(&value, file.data() + offset, 4);
    return value;
  }

  TempDir dir_;
};

TEST_F(RenderTest, CanvasSizeAtEachResolution) {
  struct Case {
    Arguments arguments;
    std::uint64_t width, height;
  };
  const Case kCases[] = {
      {{}, 608, 406},
      {{"-r", "203"}, 608, 406},
      {{"-r", "200dpi"}, 608, 406},
      {{"-r", "300"}, 912, 609},
      {{"-r", "305dpi"}, 912, 609},
      {{"-r", "600"}, 1824, 1219},
      {{"-r", "609dpi"}, 1824, 1219},
  };
  for (const auto& c : kCases) {
    const Brindle::Bitmap canvas = Render(kLabel, c.arguments);
    EXPECT_EQ(canvas.Width(), c.width) << c.width;
    EXPECT_EQ(canvas.Height(), c.height) << c.width;
    EXPECT_EQ(canvas.DataSize(), canvas.BytesPerRow() * c.height);
  }
  EXPECT_EQ(Render("{D1500,1000,1470,1000|}\r\n").Width(), 800u);  // CR LF, fourth number
}

TEST_F(RenderTest, ArgumentErrors) {
  struct Case {
    Arguments arguments;
    const char* message;
  };
  const Case kCases[] = {
      {{"-r", "12dpmm"}, "Invalid value for argument \"12dpmm\": Invalid resolution"},
      {{"-r", "300dpcm"}, "Invalid value for argument \"300dpcm\": Invalid resolution"},
      {{"-r", "abc"}, "Invalid value for argument \"abc\": Invalid resolution"},
      {{"-r", "204"}, "Invalid value for argument \"204\": Invalid resolution"},
      {{"-r", "203", "-r", "203"}, "Multiple resolution arguments specified"},
      {{"-r"}, "Expected resolution after '-r'"},
      {{"-o"}, "Expected filename after '-o'"},
      {{"-o", "elsewhere.tif"}, "There can be only one output filename"},
      {{"another.prn"}, "Multiple input files specified"},
  };
  for (const auto& c : kCases) {
    // The arguments come before the fixture's own "-o out.tif job.prn", so
    // "-o" and "-r" at the end of this list swallow the fixture's "-o".
    Arguments arguments = c.arguments;
    if (arguments.back() == "-o" || arguments.back() == "-r") {
      try {
        Commands::Render(arguments);
        ADD_FAILURE() << c.message;
      } catch (const InvalidArgumentException& e) {
        EXPECT_STREQ(e.what(), c.message);
      }
    } else {
      EXPECT_EQ(Failure(kLabel, arguments), std::string("argument: ") + c.message);
    }
  }
  // Arguments are checked before any file is touched.
  EXPECT_THROW(Commands::Render({"-o", (dir_ / "a.tif").string(), "-o", "b.tif"}),
               InvalidArgumentException);
  EXPECT_FALSE(std::filesystem::exists(dir_ / "a.tif"));
}

TEST_F(RenderTest, FileErrors) {
  try {
    Commands::Render({(dir_ / "missing.prn").string()});
    ADD_FAILURE();
  } catch (const IOException& e) {
    EXPECT_STREQ(e.what(), "Unable to read from input file");
  }
  std::ofstream(dir_ / "job.prn") << kLabel;
  try {
    Commands::Render({"-o", (dir_ / "no" / "such.tif").string(), (dir_ / "job.prn").string()});
    ADD_FAILURE();
  } catch (const IOException& e) {
    EXPECT_STREQ(e.what(), "Unable to read from output file");
  }
  if (std::filesystem::exists("/dev/full")) {  // a device that is always full
    try {
      Commands::Render({"-o", "/dev/full", (dir_ / "job.prn").string()});
      ADD_FAILURE();
    } catch (const IOException& e) {
      EXPECT_STREQ(e.what(), "Unable to write to output");
    }
  }
}

TEST_F(RenderTest, JobErrors) {
  const std::string topix = Graphic("0", "0", Filled(8, 2, 0xFF), 3);
  struct Case {
    const char* name;
    std::string job;
    const char* outcome;
  };
  const Case kCases[] = {
      {"no label size", topix, "format: End of file reached before label size command found"},
      {"label size not alone", "x{D0508,0760,0468|}\n",
       "format: End of file reached before label size command found"},
      {"brace at the end", kLabel + "{S", "io: Unexpected end of file"},
      {"nothing after SG", kLabel + "{SG", "io: Unexpected end of input"},
      {"nothing after SG0", kLabel + "{SG0", "io: Unexpected end of input"},
      {"no semicolon", kLabel + "{SG:0,0,8,1,1,\xFF|}\n", "format: Syntax error"},
      {"fields end", kLabel + "{SG;0,0,8", "io: Unexpected end of file"},
      {"field too long", kLabel + "{SG;1234567,0,8,1,1,\xFF|}\n", "io: Unexpected end of file"},
      {"six digits are fine", kLabel + "{SG;123456,0,8,1,1,\xFF|}\n", "none"},
      {"empty field", kLabel + "{SG;,0,8,1,1,\xFF|}\n", "format: Unexpected value"},
      {"not a number", kLabel + "{SG;0,0,x,1,1,\xFF|}\n", "std::invalid_argument"},
      {"type not hex", kLabel + "{SG;0,0,8,1,G,\xFF|}\n", "std::invalid_argument"},
      {"TOPIX size cut", kLabel + "{SG;0,0,8,1,3,", "io: Unable to read TOPIX data size"},
      {"TOPIX size cut after one byte", kLabel + "{SG;0,0,8,1,3,\x00"s,
       "io: Unable to read TOPIX data size"},
      {"data cut", kLabel + "{SG;0,0,16,2,1,\xFF\xFF\xFF",
       "io: Unable to read expected amount of data"},
      {"long size cut", kLabel + "{SG0;0,0,8,1,3,\x00\x00"s, "io: Unexpected end of file"},
      {"spare byte missing", kLabel + "{SG0;0,0,8,1,3,\x00\x00\x00\x01"s,
       "io: Unexpected end of file"},
      {"huge declared size", kLabel + "{SG0;0,0,8,1,3,\xFF\xFF\xFF\xF0xsome bytes|}\n",
       "io: Unable to read expected amount of data"},
      {"no bar after data", kLabel + "{SG;0,0,8,1,1,\xFF}\n",
       "format: Graphics data does not match format"},
      {"data ends before bar", kLabel + "{SG;0,0,8,1,1,\xFF",
       "format: Graphics data does not match format"},
      {"unknown type", kLabel + "{SG;0,0,8,1,2,\xFF|}\n",
       "unimplemented: Graphics format unsupported (2)"},
      {"unknown type after M", kLabel + "{SG;0,0,8,1,M1,2A,\xFF|}\n",
       "unimplemented: Graphics format unsupported (2A)"},
      {"type 0A", kLabel + "{SG;0,0,8,1,0A,|}\n",
       "unimplemented: Graphics format unsupported (0A)"},
      {"long form, unknown type", kLabel + "{SG0;0,0,8,1,7,\x00\x00\x00\x01x\xFF|}\n"s,
       "unimplemented: Graphics format unsupported (7)"},
      {"TOPIX past the row", kLabel + "{SG;0,0,8,1,3,\x00\x04\x80\x80\x40\xFF|}\n"s,
       "std::out_of_range"},
      {"TOPIX line cut", kLabel + "{SG;0,0,8,1,3,\x00\x02\x80\x80|}\n"s, "std::out_of_range"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Failure(c.job), c.outcome) << c.name;
  }
}

TEST_F(RenderTest, PlacementRoundsToWholeBytes) {
  struct Case {
    std::string x, y;
    std::uint64_t byte, row;  // where the graphic's first byte lands at 8 dots/mm
  };
  const Case kCases[] = {
      {"0", "0", 0, 0},    {"3", "0", 0, 0},     // dot 2: byte 0
      {"5", "0", 1, 0},    {"4", "0", 0, 0},     // dot 4 rounds up, dot 3 down
      {"20", "10", 2, 8},  {"15", "30", 2, 24},  // dot 12 rounds up to byte 2
      {"10D", "0", 1, 0},  {"0", "20D", 0, 12},  // D: 8 dots, then 6; 16, then 12
      {"123", "0", 12, 0},                       // dot 98: byte 12
  };
  for (const auto& c : kCases) {
    const Brindle::Bitmap graphic = Filled(8, 2, 0xA5);
    for (int type : {1, 3}) {
      const Brindle::Bitmap canvas = Render(kLabel + Graphic(c.x, c.y, graphic, type));
      const std::uint64_t at = c.row * canvas.BytesPerRow() + c.byte;
      EXPECT_EQ(canvas.Data().at(at), 0xA5) << c.x << "," << c.y << " type " << type;
      EXPECT_EQ(canvas.Data().at(at + canvas.BytesPerRow()), 0xA5);
      EXPECT_EQ(std::count(canvas.Data().begin(), canvas.Data().end(), 0xA5), 2);
    }
  }
}

TEST_F(RenderTest, ClippingAndOverwriting) {
  // 608 x 406 dots, 76 bytes per row. A 24-dot-wide graphic at dot 592
  // (X = 740) keeps its first two bytes; one at row 400 keeps 6 rows.
  const Brindle::Bitmap canvas =
      Render(kLabel + Graphic("740", "500", Filled(24, 10, 0xFF), 3) +
             Graphic("0", "0", Filled(16, 4, 0xFF), 1) + Graphic("0", "0", Filled(8, 2, 0x00), 3) +
             Graphic("9999", "0", Filled(8, 1, 0xFF), 1));
  EXPECT_EQ(canvas.Height(), 406u);
  EXPECT_EQ(std::count(canvas.Data().begin(), canvas.Data().end(), 0xFF), 2 * 6 + 2 * 4 - 2);
  EXPECT_EQ(canvas.Data()[400 * 76 + 74], 0xFF);
  EXPECT_EQ(canvas.Data()[405 * 76 + 75], 0xFF);
  // The later white graphic replaced the top-left byte of the first two rows.
  EXPECT_EQ(canvas.Data()[0], 0x00);
  EXPECT_EQ(canvas.Data()[76], 0x00);
  EXPECT_EQ(canvas.Data()[1], 0xFF);
  EXPECT_EQ(canvas.Data()[2 * 76], 0xFF);
}

TEST_F(RenderTest, FormsOfTheGraphicsCommand) {
  Brindle::Bitmap graphic(10, 2);  // 10 dots wide: 4 bytes of raw data
  graphic.Data() = {0xC0, 0x40, 0x80, 0xC0};
  struct Case {
    const char* name;
    std::string command;
  };
  const Case kCases[] = {
      {"raw", Graphic("0", "0", graphic, 1)},
      {"TOPIX", Graphic("0", "0", graphic, 3)},
      {"long raw", LongGraphic("0", "0", graphic, 1)},
      {"long TOPIX", LongGraphic("0", "0", graphic, 3)},
      {"long, size 0", LongGraphic("0", "0", graphic, 3, true)},
      {"M type", "{SG;0,0,10,2,M5,1,\xC0\x40\x80\xC0|}\n"},
  };
  for (const auto& c : kCases) {
    const Brindle::Bitmap canvas = Render(kLabel + c.command);
    EXPECT_EQ(canvas.GetRow(0)[0], 0xC0) << c.name;
    EXPECT_EQ(canvas.GetRow(0)[1], 0x40) << c.name;
    EXPECT_EQ(canvas.GetRow(1)[0], 0x80) << c.name;
    EXPECT_EQ(canvas.GetRow(1)[1], 0xC0) << c.name;
  }
}

TEST_F(RenderTest, OnlyTheLabelBetweenSizeAndEndOfJobCounts) {
  const Brindle::Bitmap dot = Filled(8, 1, 0x81);
  const std::string job = "{C|}\n" + Graphic("0", "0", dot, 1) + "{AX;+000,+000,+00|}\n" + kLabel +
                          "{PC000;0100,0200,1,1,A,00,B|}\n" + Graphic("80", "0", dot, 3) +
                          "garbage {SG line\n{XS;I,0001,0002C3000|}\n" +
                          Graphic("160", "0", dot, 1) + "{SG;broken";
  const Brindle::Bitmap canvas = Render(job);
  EXPECT_EQ(std::count(canvas.Data().begin(), canvas.Data().end(), 0x81), 1);
  EXPECT_EQ(canvas.Data()[8], 0x81);
}

TEST_F(RenderTest, LibtiffReadsTheLabel) {
  const std::string job = kLabel + Graphic("100", "100", Filled(64, 40, 0x3C), 3) +
                          Graphic("300", "50", Filled(17, 9, 0xE7), 1);
  const Brindle::Bitmap canvas = Render(job, {"-r", "300"});
  EXPECT_EQ(LibtiffPixels(dir_ / "out.tif"), canvas.Data());
  auto tags = vellum_test::TiffTags(dir_ / "out.tif");
  EXPECT_EQ(tags[256], "912");
  EXPECT_EQ(tags[262], "0");
}

TEST_F(RenderTest, StandardInputToStandardOutput) {
  std::istringstream in(kLabel + Graphic("0", "0", Filled(8, 1, 0x42), 3));
  std::ostringstream out;
  auto* oldIn = std::cin.rdbuf(in.rdbuf());
  auto* oldOut = std::cout.rdbuf(out.rdbuf());
  try {
    Commands::Render({});
  } catch (...) {
    std::cin.rdbuf(oldIn);
    std::cout.rdbuf(oldOut);
    throw;
  }
  std::cin.rdbuf(oldIn);
  std::cout.rdbuf(oldOut);
  EXPECT_EQ(out.str().size(), 186u + 76u * 406u);
  EXPECT_EQ(static_cast<unsigned char>(out.str()[186]), 0x42);
}

}  // namespace
}  // namespace Corvane::Vellum::Commands

namespace Corvane::Vellum::Commands {
namespace {

std::filesystem::path FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : ".";
}

// The committed samples are what make_samples draws today, and they render.
TEST(BundledSamples, AreCurrentAndRender) {
  const auto source = FromEnvironment("VELLUM_SOURCE_DIR");
  const std::filesystem::path maker = VELLUM_MAKE_SAMPLES;
  vellum_test::TempDir dir;
  // Under a cross build the program runs through the emulator ctest names.
  const char* emulator = std::getenv("VELLUM_EMULATOR");
  const std::string prefix = emulator != nullptr ? std::string(emulator) + " " : "";
  ASSERT_EQ(vellum_test::RunCommand(prefix + "'" + maker.string() + "' '" + dir.path().string() + "'")
                .status,
            0);
  struct Case {
    const char* name;
    std::uint64_t width, height;
  };
  for (const Case& c : {Case{"shipping_label.prn", 800, 1224}, Case{"small_label.prn", 400, 264}}) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(vellum_test::ReadFile(source / "samples" / c.name),
              vellum_test::ReadFile(dir / c.name));
    const auto output = dir / "out.tif";
    Render({"-o", output.string(), (source / "samples" / c.name).string()});
    const auto tags = vellum_test::TiffTags(output);
    EXPECT_EQ(tags.at(256), std::to_string(c.width));
    EXPECT_EQ(tags.at(257), std::to_string(c.height));
    const auto pixels = vellum_test::LibtiffPixels(output);
    EXPECT_GT(std::count_if(pixels.begin(), pixels.end(), [](unsigned char b) { return b != 0; }),
              1000);
  }
}

}  // namespace
}  // namespace Corvane::Vellum::Commands
