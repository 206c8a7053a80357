#include "render/render_command.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <limits>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/exception.h"
#include "graphics/bitmap.h"
#include "render/label_canvas.h"
#include "tpcl/graphics_command.h"

namespace Corvane::Vellum::Commands {

namespace {

struct Options {
  std::string output;
  unsigned resolution = 0;  // dots per millimetre; 0 until "-r" is seen
  std::string input;
};

// The "-r" value: a number, optionally followed at once by a unit. The inner
// reasons are invalid-argument failures that the caller folds into one.
unsigned ParseResolution(const std::string& value) {
  std::size_t end = 0;
  const unsigned long number = std::stoul(value, &end, 10);
  const std::string unit = value.substr(end);
  if (unit.empty() || unit == "dpi") {
    if (number == 200 || number == 203) return 8;
    if (number == 300 || number == 305) return 12;
    if (number == 600 || number == 609) return 24;
    throw InvalidArgumentException("Unsupported resolution");
  }
  // Reserved for resolutions given in dots per millimetre; none is served yet.
  if (unit == "dpmm") throw InvalidArgumentException("Unsupported resolution");
  throw InvalidArgumentException("Unknown unit of measurement");
}

Options ParseArguments(const Arguments& arguments) {
  Options options;
  bool resolutionSeen = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "-o") {
      if (i + 1 == arguments.size()) throw InvalidArgumentException("Expected filename after '-o'");
      if (!options.output.empty()) {
        throw InvalidArgumentException("There can be only one output filename");
      }
      options.output = arguments[++i];
    } else if (argument == "-r") {
      if (i + 1 == arguments.size()) {
        throw InvalidArgumentException("Expected resolution after '-r'");
      }
      if (resolutionSeen) throw InvalidArgumentException("Multiple resolution arguments specified");
      resolutionSeen = true;
      const std::string& value = arguments[++i];
      try {
        options.resolution = ParseResolution(value);
      } catch (const InvalidArgumentException&) {
        throw InvalidArgumentException(value, "Invalid resolution");
      } catch (const std::invalid_argument&) {
        throw InvalidArgumentException(value, "Invalid resolution");
      }
    } else {
      if (!options.input.empty()) throw InvalidArgumentException("Multiple input files specified");
      options.input = argument;
    }
  }
  if (options.resolution == 0) options.resolution = 8;
  return options;
}

void SkipLine(std::istream& in) { in.ignore(std::numeric_limits<std::streamsize>::max(), '\n'); }

// The longest line the label-size pattern can match is 26 bytes; anything
// longer is certainly something else.
constexpr std::size_t kLongestLabelSizeLine = 32;

// Reads one line (without its line feed) the way std::getline does, but keeps
// at most `limit` bytes of it: a longer line is consumed without being stored
// and comes back as `tooLong`, so a job that never ends a line (cat /dev/zero)
// is read in bounded memory. False when the input ends before any byte.
bool ReadShortLine(std::istream& in, std::string& line, std::size_t limit, bool& tooLong) {
  line.clear();
  tooLong = false;
  for (;;) {
    const int c = in.get();
    if (c == std::char_traits<char>::eof()) return !line.empty();
    if (c == '\n') return true;
    if (line.size() == limit) {
      tooLong = true;
      in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      return true;
    }
    line.push_back(static_cast<char>(c));
  }
}

// Finds the label-size command and makes the canvas from it. Only whole lines
// that match are taken; everything before, graphics included, is skipped.
Brindle::Bitmap ReadLabelSize(std::istream& in, unsigned resolution) {
  static const std::regex kLabelSize("^\\{D(\\d{4,5}),(\\d{4}),(\\d{4,5})(,(\\d{4}))?\\|\\}\r?");
  std::string line;
  std::smatch match;
  bool tooLong = false;
  while (ReadShortLine(in, line, kLongestLabelSizeLine, tooLong)) {
    // Cheap test first: lines of graphics data can be long and are never it.
    if (tooLong || line.compare(0, 2, "{D") != 0) continue;
    if (!std::regex_match(line, match, kLabelSize)) continue;
    const int pitch = std::stoi(match[1].str());
    const int width = std::stoi(match[2].str());
    return LabelCanvas(resolution, static_cast<std::uint64_t>(pitch),
                       static_cast<std::uint64_t>(width));
  }
  throw InvalidFormatException("End of file reached before label size command found");
}

// One comma-terminated field of a graphics command: one to six characters.
std::string ReadField(std::istream& in) {
  std::string field;
  for (;;) {
    const int c = in.get();
    if (c == std::char_traits<char>::eof()) throw IOException("Unexpected end of file");
    if (c == ',') break;
    if (field.size() == TPCL::kGraphicsFieldMaxLength) throw IOException("Unexpected end of file");
    field.push_back(static_cast<char>(c));
  }
  if (field.empty()) throw InvalidFormatException("Unexpected value");
  return field;
}

// Reads `count` big-endian bytes; false when the input ends first.
bool ReadBigEndian(std::istream& in, int count, std::uint32_t& value) {
  value = 0;
  for (int i = 0; i < count; ++i) {
    const int c = in.get();
    if (c == std::char_traits<char>::eof()) return false;
    value = (value << 8) | static_cast<unsigned char>(c);
  }
  return true;
}

[[noreturn]] void Unsupported(const std::string& type) {
  throw UnimplementedException("Graphics format unsupported (" + type + ")");
}

// Reads exactly `size` bytes. The size comes from the job and may be far
// larger than what follows, so the buffer grows only as bytes really arrive.
std::vector<unsigned char> ReadData(std::istream& in, std::uint32_t size) {
  constexpr std::size_t kChunk = 1 << 20;
  std::vector<unsigned char> data;
  while (data.size() < size) {
    const std::size_t have = data.size();
    const std::size_t want = std::min<std::size_t>(kChunk, size - have);
    data.resize(have + want);
    in.read(reinterpret_cast<char*>(data.data() + have), static_cast<std::streamsize>(want));
    if (static_cast<std::size_t>(in.gcount()) != want) {
      throw IOException("Unable to read expected amount of data");
    }
  }
  return data;
}

// A graphics command, after "{SG": [0];X,Y,width,height,type,[size]data|}
// The form with 0 carries a 4-byte size and a spare byte before the data;
// otherwise TOPIX data carries a 2-byte size and raw data has none.
void ReadGraphic(std::istream& in, Brindle::Bitmap& canvas, unsigned resolution) {
  int c = in.peek();
  if (c == std::char_traits<char>::eof()) throw IOException("Unexpected end of input");
  const bool longForm = c == '0';
  if (longForm) in.get();
  c = in.get();
  if (c == std::char_traits<char>::eof()) throw IOException("Unexpected end of input");
  if (c != ';') throw InvalidFormatException("Syntax error");

  const std::string xField = ReadField(in);
  const std::uint64_t x = TPCL::GraphicsNumber(xField);
  const std::string yField = ReadField(in);
  const std::uint64_t y = TPCL::GraphicsNumber(yField);
  const std::uint64_t width = TPCL::GraphicsNumber(ReadField(in));
  const std::uint64_t height = TPCL::GraphicsNumber(ReadField(in));
  std::string typeField = ReadField(in);
  if (TPCL::IsTypeModifier(typeField)) typeField = ReadField(in);
  const unsigned long type = TPCL::GraphicsType(typeField);

  std::uint32_t size = 0;
  if (longForm) {
    std::uint32_t spare;
    if (!ReadBigEndian(in, 4, size) || !ReadBigEndian(in, 1, spare)) {
      throw IOException("Unexpected end of file");
    }
  }
  if (size == 0) {
    const TPCL::ShortFormSize rule = TPCL::ShortFormPayloadSize(type, width, height);
    if (rule.kind == TPCL::ShortFormSize::Kind::kTwoByteCount) {
      if (!ReadBigEndian(in, 2, size)) throw IOException("Unable to read TOPIX data size");
    } else if (rule.kind == TPCL::ShortFormSize::Kind::kFixed) {
      size = rule.bytes;
    } else {
      Unsupported(typeField);
    }
  }

  std::vector<unsigned char> data = ReadData(in, size);
  if (in.get() != '|') throw InvalidFormatException("Graphics data does not match format");
  SkipLine(in);

  DrawGraphic(canvas, type, typeField, std::move(data), width, height,
              TPCL::PlacementDots(resolution, xField, x),
              TPCL::PlacementDots(resolution, yField, y));
}

Brindle::Bitmap ReadJob(std::istream& in, unsigned resolution) {
  Brindle::Bitmap canvas = ReadLabelSize(in, resolution);
  for (;;) {
    const int c = in.get();
    if (c == std::char_traits<char>::eof()) break;
    if (c != '{') {
      SkipLine(in);
      continue;
    }
    char pair[2];
    if (!in.read(pair, 2)) throw IOException("Unexpected end of file");
    if (pair[0] == 'X' && pair[1] == 'S') {  // end of job
      SkipLine(in);
      break;
    }
    if (pair[0] == 'S' && pair[1] == 'G') {
      ReadGraphic(in, canvas, resolution);
    } else {
      SkipLine(in);
    }
  }
  return canvas;
}

}  // namespace

void Render(const Arguments& arguments) {
  const Options options = ParseArguments(arguments);
  std::ifstream inputFile;
  if (!options.input.empty()) {
    inputFile.open(options.input, std::ios::binary);
    if (!inputFile) throw IOException("Unable to read from input file");
  }
  std::ofstream outputFile;
  if (!options.output.empty()) {
    outputFile.open(options.output, std::ios::binary | std::ios::trunc);
    // The message has always said "read"; scripts match on it.
    if (!outputFile) throw IOException("Unable to read from output file");
  }
  std::istream& in = options.input.empty() ? std::cin : inputFile;
  std::ostream& out = options.output.empty() ? std::cout : outputFile;
  const Brindle::Bitmap canvas = ReadJob(in, options.resolution);
  canvas.Write(out, 0);
  out.flush();
  // The writer leaves stream errors to its caller; a label that did not reach
  // the disk (or a closed pipe) must not pass for a rendered one.
  if (!out) throw IOException("Unable to write to output");
}

}  // namespace Corvane::Vellum::Commands
