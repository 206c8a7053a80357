// The raster library against its references, like for like, in one run: every
// pair reads the same input into the same kind of destination of the same
// size, both sides take turns in each repetition, and times are CPU time of
// this thread. Prints one line per case with ours, the reference, the speed
// ratio (reference time / our time) as the median of the repetitions with
// the lowest and highest beside it, and the goal.
//
//   build/bench/vellum_raster_bench            every case
//   build/bench/vellum_raster_bench TOPIX      the cases whose work names it
//
// The one-read-per-process case runs this program again for every read
// (--read-once ours|libtiff FILE), so each read meets a fresh process's heap.
#include <libdeflate.h>
#include <tiffio.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench_pictures.h"
#include "graphics/bitmap.h"
#include "graphics/bitmap_from_image.h"
#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/sample_data.h"
#include "graphics/codecs/vector_codec.h"
#include "graphics/halftoning.h"
#include "graphics/image.h"
#include "graphics/tiff_reader.h"
#include "libtiff_memory.h"
#include "pair_timer.h"
#include "render/topix_codec.h"
#include "threshold_floor.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Vellum::Bench::Ratio;
using Vellum::Bench::Timings;

constexpr int kRepetitions = 7;
constexpr double kSlice = 0.04;  // CPU seconds per side and repetition
constexpr int kProcessReads = 15;

std::string filter;

bool Wanted(const std::string& work) {
  return filter.empty() || work.find(filter) != std::string::npos;
}

// ---- the table ---------------------------------------------------------------

void PrintHeader() {
  std::printf("%-44s %-22s %11s %11s %6s %13s %6s\n", "work", "case", "ours", "reference", "ratio",
              "(low-high)", "goal");
}

std::string Time(double seconds) {
  char text[32];
  if (seconds >= 1e-3) {
    std::snprintf(text, sizeof text, "%.3f ms", seconds * 1e3);
  } else {
    std::snprintf(text, sizeof text, "%.3f us", seconds * 1e6);
  }
  return text;
}

void PrintRow(const std::string& work, const std::string& detail, double ours, double reference,
              const Ratio& r, double goal) {
  char spread[32];
  std::snprintf(spread, sizeof spread, "(%.2f-%.2f)", r.lowest, r.highest);
  std::printf("%-44s %-22s %11s %11s %6.2f %13s %5s%.2f %s\n", work.c_str(), detail.c_str(),
              Time(ours).c_str(), Time(reference).c_str(), r.median, spread, ">=", goal,
              r.median >= goal ? "met" : "MISSED");
  std::fflush(stdout);
}

void Row(const std::string& work, const std::string& detail, const Timings& t, double goal) {
  PrintRow(work, detail, Vellum::Bench::Median(t.ours), Vellum::Bench::Median(t.reference),
           Vellum::Bench::RatioOf(t), goal);
}

void Pair(const std::string& work, const std::string& detail, const std::function<void()>& ours,
          const std::function<void()>& reference, double goal) {
  Row(work, detail, Vellum::Bench::TimePair(ours, reference, kRepetitions, kSlice), goal);
}

// ---- payloads ------------------------------------------------------------------

struct Picture {
  const char* name;
  std::uint32_t bits, width, height;
  Bytes bytes;
  std::size_t RowBytes() const { return (std::size_t{bits} * width + 7) / 8; }
};

const Picture& Label() {
  static const Picture p{"label", 1, 2500, 7000, Vellum::Testing::LabelBitmap(2500, 7000)};
  return p;
}
// A label strip only 64 dots wide: one-row strips of it carry almost no
// data, so what a strip costs beyond its data shows.
const Picture& NarrowLabel() {
  static const Picture p{"narrow", 1, 64, 7000, Vellum::Testing::LabelBitmap(64, 7000)};
  return p;
}
const Picture& Photo() {
  static const Picture p{"photo", 8, 2000, 2000, Vellum::Testing::PhotoGrey(2000, 2000)};
  return p;
}

Bytes Zlib(const unsigned char* data, std::size_t size, int windowBits, int level = 6) {
  z_stream stream{};
  deflateInit2(&stream, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
  Bytes out(deflateBound(&stream, size));
  stream.next_in = const_cast<unsigned char*>(data);
  stream.avail_in = static_cast<uInt>(size);
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

enum class Kind { kNone, kLzw, kDeflateZlib, kDeflateRaw };

// A TIFF of the picture, `rowsPerStrip` rows a strip, written by libtiff.
// Deflate strips are compressed here (zlib, level 6) and written raw, with
// the zlib wrapper for libtiff's file and without it for ours, so that both
// readers get the same Deflate data; our reader takes raw Deflate only.
void WriteTiff(const std::string& path, const Picture& p, Kind kind, std::uint32_t rowsPerStrip) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, p.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, p.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, p.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION,
               kind == Kind::kNone  ? COMPRESSION_NONE
               : kind == Kind::kLzw ? COMPRESSION_LZW
                                    : COMPRESSION_ADOBE_DEFLATE);
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 203.0);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 203.0);
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  const std::size_t stripBytes = p.RowBytes() * rowsPerStrip;
  for (std::size_t at = 0, strip = 0; at < p.bytes.size(); at += stripBytes, ++strip) {
    const std::size_t size = std::min(stripBytes, p.bytes.size() - at);
    auto* data = const_cast<unsigned char*>(p.bytes.data() + at);
    const auto index = static_cast<std::uint32_t>(strip);
    if (kind == Kind::kNone || kind == Kind::kLzw) {
      TIFFWriteEncodedStrip(tiff, index, data, static_cast<tmsize_t>(size));
    } else {
      Bytes packed = Zlib(data, size, kind == Kind::kDeflateZlib ? 15 : -15);
      TIFFWriteRawStrip(tiff, index, packed.data(), static_cast<tmsize_t>(packed.size()));
    }
  }
  TIFFClose(tiff);
}

// ---- the two TIFF readers ---------------------------------------------------------

std::size_t ReadOurs(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const Brindle::Image image = Brindle::ImageIO::ReadFromTIFFFormat(in);
  return image.DataSize();
}

using Vellum::Bench::ReadLibtiff;

// ---- files ------------------------------------------------------------------------

struct Files {
  std::filesystem::path directory;
  ~Files() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }
  std::string Path(const Picture& p, const char* kind, std::uint32_t rows) const {
    return (directory / (std::string(p.name) + "-" + kind + "-" + std::to_string(rows) + ".tif"))
        .string();
  }
};

Files& TiffFiles() {
  static Files files{std::filesystem::temp_directory_path() /
                     ("vellum-raster-bench-" + std::to_string(getpid()))};
  return files;
}

// Writes (once) and names the file of a picture, kind and strip height; the
// names end in "ours" or "libtiff" only for Deflate, where the files differ.
std::string File(const Picture& p, Kind kind, std::uint32_t rows) {
  const char* name = kind == Kind::kNone          ? "none"
                     : kind == Kind::kLzw         ? "lzw"
                     : kind == Kind::kDeflateZlib ? "deflate-libtiff"
                                                  : "deflate-ours";
  const std::string path = TiffFiles().Path(p, name, rows);
  if (!std::filesystem::exists(path)) {
    std::filesystem::create_directories(TiffFiles().directory);
    WriteTiff(path, p, kind, rows);
  }
  return path;
}

Kind LibtiffKind(Kind kind) { return kind == Kind::kDeflateRaw ? Kind::kDeflateZlib : kind; }

void TiffRead(const std::string& work, const Picture& p, Kind kind, std::uint32_t rows,
              double goal) {
  const std::string ours = File(p, kind, rows);
  const std::string theirs = File(p, LibtiffKind(kind), rows);
  if (ReadOurs(ours) != p.bytes.size() || ReadLibtiff(theirs) != p.bytes.size()) {
    std::printf("%s: a reader lost bytes\n", work.c_str());
    return;
  }
  Pair(
      work, p.name, [&] { ReadOurs(ours); }, [&] { ReadLibtiff(theirs); }, goal);
}

// The cost one more strip adds: a picture of 8-byte rows read in 7000
// strips of one row and in one strip, the difference spread over the extra
// strips. Shown as our cost and libtiff's; the ratio is theirs over ours.
void StripCost(const char* detail, Kind kind) {
  const Picture& p = NarrowLabel();
  const std::string oursMany = File(p, kind, 1), oursOne = File(p, kind, p.height);
  const std::string theirsMany = File(p, LibtiffKind(kind), 1);
  const std::string theirsOne = File(p, LibtiffKind(kind), p.height);
  const Timings many = Vellum::Bench::TimePair(
      [&] { ReadOurs(oursMany); }, [&] { ReadLibtiff(theirsMany); }, kRepetitions, kSlice);
  const Timings one = Vellum::Bench::TimePair(
      [&] { ReadOurs(oursOne); }, [&] { ReadLibtiff(theirsOne); }, kRepetitions, kSlice);
  Timings cost;
  const double extra = p.height - 1;
  for (std::size_t i = 0; i < many.ours.size(); ++i) {
    cost.ours.push_back((many.ours[i] - one.ours[i]) / extra);
    cost.reference.push_back((many.reference[i] - one.reference[i]) / extra);
  }
  Row("Fixed cost per strip (1-row strips)", std::string(detail) + ", 64 x 7000", cost, 0.5);
}

// ---- one read per process -----------------------------------------------------------

int ReadOnce(const std::string& side, const std::string& path) {
  const double start = Vellum::Bench::ThreadSeconds();
  const std::size_t bytes = side == "ours" ? ReadOurs(path) : ReadLibtiff(path);
  const double seconds = Vellum::Bench::ThreadSeconds() - start;
  std::printf("%.9f %zu\n", seconds, bytes);
  return 0;
}

double ReadInFreshProcess(const std::string& side, const std::string& path) {
  char self[4096];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return 0;
  self[length] = '\0';
  const std::string command = "'" + std::string(self) + "' --read-once " + side + " '" + path + "'";
  FILE* child = popen(command.c_str(), "r");
  if (child == nullptr) return 0;
  double seconds = 0;
  std::size_t bytes = 0;
  if (std::fscanf(child, "%lf %zu", &seconds, &bytes) != 2) seconds = 0;
  pclose(child);
  return seconds;
}

void TiffReadPerProcess(const std::string& work, double goal) {
  const Picture& p = Label();
  const std::string path = File(p, Kind::kLzw, 16);
  Timings t;
  for (int i = 0; i < kProcessReads; ++i) {
    t.ours.push_back(ReadInFreshProcess("ours", path));
    t.reference.push_back(ReadInFreshProcess("libtiff", path));
  }
  Row(work, "label, 15 processes", t, goal);
}

// ---- codecs -------------------------------------------------------------------------

// Our Deflate decoder onto a vector reserved to the output size, against
// `reference` decoding the same raw stream into a buffer of that size.
template <typename Reference>
void DeflatePair(const std::string& work, const char* name, const Bytes& payload, double goal,
                 Reference reference) {
  const Bytes packed = Zlib(payload.data(), payload.size(), -15);
  Ashgrove::DeflateCompression codec;
  Bytes ours;
  ours.reserve(payload.size() + Ashgrove::DeflateCompression::kOutputSlack);
  Bytes theirs(payload.size());
  Pair(
      work, name,
      [&] {
        ours.clear();
        codec.DecompressBytes(packed.data(), packed.size(), ours);
      },
      [&] { reference(packed, theirs); }, goal);
  if (ours != payload || theirs != payload) std::printf("%s: output differs\n", name);
}

void RawDeflate(const std::string& work, const char* name, const Bytes& payload, double goal) {
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  DeflatePair(work, name, payload, goal, [decompressor](const Bytes& packed, Bytes& out) {
    std::size_t got = 0;
    libdeflate_deflate_decompress(decompressor, packed.data(), packed.size(), out.data(),
                                  out.size(), &got);
  });
  libdeflate_free_decompressor(decompressor);
}

void ZlibDeflate(const std::string& work, const char* name, const Bytes& payload, double goal) {
  DeflatePair(work, name, payload, goal, Vellum::Bench::ZlibInflateRaw);
}

// libtiff writing one LZW strip of the picture into memory.
void LibtiffLzwInMemory(const Picture& p, Bytes& out) {
  Vellum::Bench::LibtiffLzwStrip(out, p.width, p.height, p.bits, p.bytes);
}

void LzwEncode(const std::string& work, const Picture& p, double goal) {
  Ashgrove::LZWCompression codec(1);
  Bytes ours, theirs;
  ours.reserve(p.bytes.size());
  theirs.reserve(p.bytes.size());
  Pair(
      work, p.name,
      [&] {
        ours.clear();
        Ashgrove::CompressVector(codec, p.bytes, ours);
      },
      [&] { LibtiffLzwInMemory(p, theirs); }, goal);
}

void LzwDecode(const std::string& work, const Picture& p, double goal) {
  Bytes file;
  LibtiffLzwInMemory(p, file);
  Vellum::Bench::MemoryTiff memory(file);
  TIFF* tiff = memory.Open("r");
  Bytes strip(static_cast<std::size_t>(TIFFRawStripSize(tiff, 0)));
  TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
  Ashgrove::LZWCompression codec(1);
  Bytes ours, theirs(p.bytes.size());
  ours.reserve(p.bytes.size());
  Pair(
      work, p.name,
      [&] {
        ours.clear();
        codec.DecompressBytes(strip.data(), strip.size(), ours);
      },
      [&] { TIFFReadEncodedStrip(tiff, 0, theirs.data(), static_cast<tmsize_t>(theirs.size())); },
      goal);
  TIFFClose(tiff);
}

// ---- halftoning -------------------------------------------------------------------------

using Vellum::Bench::GreyPicture;
using Vellum::Bench::kGreyHeight;
using Vellum::Bench::kGreyWidth;

// The floor: one pass over the same grey pixels into the same packed rows,
// a fixed threshold and nothing else.
std::function<void()> Floor(Bytes& out) {
  out.assign(kGreyWidth / 8 * kGreyHeight, 0);
  return [&out] {
    Vellum::Bench::ThresholdFloor(GreyPicture().Data().data(), kGreyWidth, kGreyHeight, out.data());
  };
}

void Halftoner(const std::string& work, const char* name,
               std::uint64_t (*halftone)(const Brindle::HalftoneParameters&), std::int32_t rotation,
               double goal) {
  Bytes floorOut, out(kGreyWidth / 8 * kGreyHeight);
  Brindle::HalftoneParameters p;
  p.source = GreyPicture().Data().data();
  p.sourceBytesPerRow = kGreyWidth;
  p.destination = out.data();
  p.destinationBytesPerRow = kGreyWidth / 8;
  p.destinationHeight = kGreyHeight;
  p.mapping = Brindle::RotationMapping(rotation);
  p.mappingParameters = {kGreyWidth, kGreyHeight, kGreyWidth, kGreyHeight};
  if (rotation % 2 == 1) {
    // The picture turned a quarter: 3000 x 2000 dots, as many as the floor's.
    p.destinationBytesPerRow = kGreyHeight / 8;
    p.destinationHeight = kGreyWidth;
    p.mappingParameters = {kGreyWidth, kGreyHeight, kGreyHeight, kGreyWidth};
  }
  Pair(
      work, name, [&] { halftone(p); }, Floor(floorOut), goal);
}

// At 24 dots/mm the picture lands on 2001 x 3000 dots, so every pixel goes
// through the scaling; the floor's time is taken per pixel of its own size.
void FromImage(const std::string& work, const char* name, std::int32_t rotation,
               std::int32_t method, double goal) {
  Bytes floorOut;
  const auto floor = Floor(floorOut);
  const Brindle::LabelRectangle rectangle = rotation % 2 == 0
                                                ? Brindle::LabelRectangle{0, 0, 834, 1250}
                                                : Brindle::LabelRectangle{0, 0, 1250, 834};
  const double ourPixels = 2001.0 * 3000.0;
  const double floorPixels = static_cast<double>(kGreyWidth * kGreyHeight);
  Timings t = Vellum::Bench::TimePair(
      [&] {
        const Brindle::Bitmap bitmap =
            Brindle::BitmapFromImage(GreyPicture(), rectangle, 24.0, rotation, method, 3);
        if (bitmap.Width() * bitmap.Height() != 2001 * 3000) std::abort();
      },
      floor, kRepetitions, kSlice);
  // Both per megapixel.
  for (double& s : t.ours) s = s / ourPixels * 1e6;
  for (double& s : t.reference) s = s / floorPixels * 1e6;
  Row(work, std::string(name) + " (per MP)", t, goal);
}

// ---- TOPIX ----------------------------------------------------------------------------------

// Glyph-like strokes and blocks, as text on a 104 x 300 mm label at 8 dots/mm:
// most rows differ from the row above in a few bytes, some repeat it.
const Brindle::Bitmap& TopixLabel() {
  static const Brindle::Bitmap bitmap = Vellum::Bench::LabelLike(832, 2400, 7);
  return bitmap;
}

// The reference: each row XOR the row above, byte by byte, into a fresh
// buffer of the bitmap's size (our codec, too, makes its output anew).
void XorPass(const Brindle::Bitmap& bitmap) {
  const std::vector<unsigned char>& data = bitmap.Data();
  const std::size_t length = bitmap.BytesPerRow();
  auto out = std::make_unique_for_overwrite<unsigned char[]>(data.size());
  for (std::size_t i = 0; i < length; ++i) out[i] = data[i];
  for (std::size_t i = length; i < data.size(); ++i) out[i] = data[i] ^ data[i - length];
  volatile unsigned char sink = out[data.size() / 2];
  (void)sink;
}

void TopixEncode(const std::string& work, double goal) {
  const Brindle::Bitmap& bitmap = TopixLabel();
  Pair(
      work, "832 x 2400 label",
      [&] {
        std::stringstream out;
        Brindle::WriteBitmap(bitmap, out, Brindle::kTOPIXFormat);
      },
      [&] { XorPass(bitmap); }, goal);
}

void TopixDecode(const std::string& work, double goal) {
  const Brindle::Bitmap& bitmap = TopixLabel();
  std::stringstream block;
  Brindle::WriteBitmap(bitmap, block, Brindle::kTOPIXFormat);
  const std::string text = block.str();
  const Bytes lines(text.begin() + 2, text.end());
  if (Brindle::BitmapFromData(lines, bitmap.Width(), 0, Brindle::kTOPIXFormat).Data() !=
      bitmap.Data()) {
    std::printf("TOPIX round trip differs\n");
  }
  // With the height, as a caller who knows its graphic gives it, and
  // without (0), when the bitmap grows row by row.
  for (const std::uint64_t height : {bitmap.Height(), std::uint64_t{0}}) {
    Pair(
        work, height != 0 ? "832 x 2400, height given" : "832 x 2400, height 0",
        [&] {
          const Brindle::Bitmap decoded =
              Brindle::BitmapFromData(lines, bitmap.Width(), height, Brindle::kTOPIXFormat);
          if (decoded.Height() != bitmap.Height()) std::abort();
        },
        [&] { XorPass(bitmap); }, goal);
  }
}

// ---- the cases, in the order of the speed issue's table
// ---------------------------------------------------------------------

void RunAll() {
  TIFFSetWarningHandler(nullptr);
  PrintHeader();
  const std::string none1 = "Whole TIFF read, one strip, uncompressed";
  if (Wanted(none1)) {
    TiffRead(none1, Label(), Kind::kNone, Label().height, 1.0);
    TiffRead(none1, Photo(), Kind::kNone, Photo().height, 1.0);
  }
  const std::string none16 = "Whole TIFF read, 16 rows/strip, uncompressed";
  if (Wanted(none16)) {
    TiffRead(none16, Label(), Kind::kNone, 16, 1.0);
    TiffRead(none16, Photo(), Kind::kNone, 16, 1.0);
  }
  const std::string deflate = "Whole TIFF read, Deflate (one strip)";
  if (Wanted(deflate)) {
    TiffRead(deflate, Label(), Kind::kDeflateRaw, Label().height, 1.0);
    TiffRead(deflate, Photo(), Kind::kDeflateRaw, Photo().height, 1.0);
  }
  const std::string once = "Whole TIFF read, LZW, 16 rows/strip, 1/proc";
  if (Wanted(once)) TiffReadPerProcess(once, 1.5);
  if (Wanted("Fixed cost per strip")) {
    StripCost("none", Kind::kNone);
    StripCost("LZW", Kind::kLzw);
    StripCost("Deflate", Kind::kDeflateRaw);
  }
  const std::string raw = "Raw Deflate decode (vs libdeflate)";
  if (Wanted(raw)) {
    RawDeflate(raw, "label", Label().bytes, 0.8);
    RawDeflate(raw, "photo", Photo().bytes, 0.8);
    RawDeflate(raw, "text", Vellum::Testing::EnglishText(10'000'000), 0.8);
  }
  const std::string grey = "Screen halftoners, 8-bit grey (vs floor)";
  if (Wanted(grey)) {
    Halftoner(grey, "first screen", Brindle::HalftoneGreyFirstScreen, 0, 0.35);
    Halftoner(grey, "second screen", Brindle::HalftoneGreySecondScreen, 0, 0.35);
    Halftoner(grey, "32 x 32 screen", Brindle::HalftoneGrey32Screen, 0, 0.35);
  }
  const std::string mapped = "Screen halftoners, rotation mapping";
  if (Wanted(mapped)) {
    Halftoner(mapped, "first, rotation 0", Brindle::HalftoneMappedGreyFirstScreen, 0, 0.25);
    Halftoner(mapped, "32 x 32, rotation 0", Brindle::HalftoneMappedGrey32Screen, 0, 0.25);
    Halftoner(mapped, "first, rotation 1", Brindle::HalftoneMappedGreyFirstScreen, 1, 0.25);
  }
  const std::string fromImage = "Bitmap from image, methods 2-5 (vs floor)";
  if (Wanted(fromImage)) {
    FromImage(fromImage, "method 2", 0, Brindle::kFirstScreenMethod, 0.3);
    FromImage(fromImage, "method 3", 0, Brindle::kSecondScreenMethod, 0.3);
    FromImage(fromImage, "method 4", 0, Brindle::kThirtyTwoScreenMethod, 0.3);
    FromImage(fromImage, "method 5", 0, Brindle::kFixedThresholdMethod, 0.3);
    FromImage(fromImage, "method 2, rotation 1", 1, Brindle::kFirstScreenMethod, 0.3);
  }
  if (Wanted("TOPIX encode (vs XOR pass)")) TopixEncode("TOPIX encode (vs XOR pass)", 0.6);
  if (Wanted("TOPIX decode (vs XOR pass)")) TopixDecode("TOPIX decode (vs XOR pass)", 1.5);
  if (Wanted("LZW encode (vs libtiff)")) LzwEncode("LZW encode (vs libtiff)", Label(), 1.0);
  // The figures the issue calls good, kept in view.
  const std::string zlib = "Raw Deflate decode (vs zlib)";
  if (Wanted(zlib)) {
    ZlibDeflate(zlib, "label", Label().bytes, 1.3);
    ZlibDeflate(zlib, "photo", Photo().bytes, 1.0);
  }
  const std::string lzw = "LZW decode (vs libtiff)";
  if (Wanted(lzw)) {
    LzwDecode(lzw, Label(), 1.5);
    LzwDecode(lzw, Photo(), 1.5);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--read-once") {
    TIFFSetWarningHandler(nullptr);
    return ReadOnce(argv[2], argv[3]);
  }
  if (argc > 1) filter = argv[1];
  RunAll();
  return 0;
}
