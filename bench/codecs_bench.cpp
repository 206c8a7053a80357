// Our codecs and TIFF reader next to zlib and libtiff on the same data:
// a one-bit label, a grey photograph and English-like text. Each pair of
// benchmarks records its throughput, and a table of ratios (ours / theirs) is
// printed when the program ends.
#include <benchmark/benchmark.h>
#include <tiffio.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/sample_data.h"
#include "graphics/codecs/vector_codec.h"
#include "graphics/image.h"
#include "graphics/tiff_reader.h"
#include "graphics/tiff_writer.h"
#include "libtiff_memory.h"

namespace {

using Bytes = std::vector<unsigned char>;

// ---- payloads ---------------------------------------------------------------

struct Payload {
  const char* name;
  std::uint32_t bits, width, height;  // the raster it stands for (text: 8 x size x 1)
  Bytes bytes;
};

const std::vector<Payload>& Payloads() {
  static const std::vector<Payload> payloads = [] {
    std::vector<Payload> p;
    p.push_back({"label", 1, 2500, 7000, Vellum::Testing::LabelBitmap(2500, 7000)});
    p.push_back({"photo", 8, 2000, 2000, Vellum::Testing::PhotoGrey(2000, 2000)});
    p.push_back({"text", 8, 10'000'000, 1, Vellum::Testing::EnglishText(10'000'000)});
    return p;
  }();
  return payloads;
}

// ---- the ratio table --------------------------------------------------------

class Summary {
 public:
  void Record(const std::string& row, bool ours, double megabytesPerSecond) {
    auto& entry = rows_[row];
    (ours ? entry.first : entry.second) = megabytesPerSecond;
  }
  ~Summary() {
    if (rows_.empty()) return;
    std::printf("\n%-34s %12s %12s %8s\n", "case (MB/s of raw data)", "ours", "reference", "ratio");
    for (const auto& [row, figures] : rows_) {
      const auto [ours, theirs] = figures;
      std::printf("%-34s %12.0f %12.0f %8.2f\n", row.c_str(), ours, theirs,
                  theirs > 0 ? ours / theirs : 0.0);
    }
  }

 private:
  std::map<std::string, std::pair<double, double>> rows_;
};

Summary summary;

// CPU time of this thread: the machine may be shared, and waiting for a
// core should not count against either side.
double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Runs `body` for the benchmark's iterations and records MB/s of `bytes`.
template <typename Body>
void Measure(benchmark::State& state, const std::string& row, bool ours, std::size_t bytes,
             Body body) {
  const double start = ThreadSeconds();
  for (auto _ : state) body();
  const double seconds = ThreadSeconds() - start;
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  if (seconds > 0)
    summary.Record(row, ours, static_cast<double>(state.iterations()) * bytes / seconds / 1e6);
}

// ---- helpers ----------------------------------------------------------------

Bytes ZlibRaw(const Bytes& input, int level) {
  z_stream stream{};
  deflateInit2(&stream, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  Bytes out(deflateBound(&stream, input.size()));
  stream.next_in = const_cast<unsigned char*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

// Our codecs run from a vector into a vector with room reserved, as the TIFF
// reader runs them.
template <typename Codec>
void RunOurs(Codec& codec, bool decode, const Bytes& input, Bytes& output) {
  output.clear();
  if (decode) {
    Ashgrove::DecompressVector(codec, input, output);
  } else {
    Ashgrove::CompressVector(codec, input, output);
  }
}

std::string TempPath(const std::string& name) {
  return "/tmp/vellum-bench-" + std::to_string(getpid()) + "-" + name;
}

// libtiff writing the payload as one strip of an image, with `compression`.
void LibtiffWrite(const std::string& path, const Payload& p, int compression,
                  std::uint32_t rowsPerStrip = 0) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  const std::uint32_t width =
      p.bits == 1 ? p.width : static_cast<std::uint32_t>(p.bytes.size() / p.height);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, p.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, p.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rowsPerStrip ? rowsPerStrip : p.height);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 203.0);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 203.0);
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  const std::size_t stripBytes =
      rowsPerStrip ? p.bytes.size() / p.height * rowsPerStrip : p.bytes.size();
  for (std::size_t at = 0, strip = 0; at < p.bytes.size(); at += stripBytes, ++strip) {
    TIFFWriteEncodedStrip(tiff, static_cast<std::uint32_t>(strip),
                          const_cast<unsigned char*>(p.bytes.data() + at),
                          static_cast<tmsize_t>(std::min(stripBytes, p.bytes.size() - at)));
  }
  TIFFClose(tiff);
}

// ---- Deflate ----------------------------------------------------------------

void DeflateDecode(benchmark::State& state, std::size_t payload, int level, bool ours) {
  const Payload& p = Payloads()[payload];
  const Bytes compressed = ZlibRaw(p.bytes, level);
  const std::string row =
      std::string("deflate decode ") + p.name + " level " + std::to_string(level);
  Bytes output;
  output.reserve(p.bytes.size());
  if (ours) {
    Ashgrove::DeflateCompression codec;
    Measure(state, row, true, p.bytes.size(), [&] { RunOurs(codec, true, compressed, output); });
    if (output != p.bytes) state.SkipWithError("our output differs");
  } else {
    output.resize(p.bytes.size());
    Measure(state, row, false, p.bytes.size(),
            [&] { Vellum::Bench::ZlibInflateRaw(compressed, output); });
  }
}

// ---- LZW --------------------------------------------------------------------

void LzwDecode(benchmark::State& state, std::size_t payload, bool ours) {
  const Payload& p = Payloads()[payload];
  const std::string row = std::string("lzw decode ") + p.name;
  const std::string path = TempPath(std::string("lzw-") + p.name + ".tif");
  LibtiffWrite(path, p, COMPRESSION_LZW);
  if (ours) {
    // The strip libtiff wrote, decoded by us.
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    Bytes strip(static_cast<std::size_t>(TIFFRawStripSize(tiff, 0)));
    TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    Ashgrove::LZWCompression codec(1);
    Bytes output;
    output.reserve(p.bytes.size());
    Measure(state, row, true, p.bytes.size(), [&] { RunOurs(codec, true, strip, output); });
    if (output != p.bytes) state.SkipWithError("our output differs");
  } else {
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    Bytes output(p.bytes.size());
    Measure(state, row, false, p.bytes.size(), [&] {
      TIFFReadEncodedStrip(tiff, 0, output.data(), static_cast<tmsize_t>(output.size()));
    });
    TIFFClose(tiff);
  }
  std::remove(path.c_str());
}

void LzwEncode(benchmark::State& state, std::size_t payload, bool ours) {
  const Payload& p = Payloads()[payload];
  const std::string row = std::string("lzw encode ") + p.name;
  if (ours) {
    Ashgrove::LZWCompression codec(1);
    Bytes output;
    output.reserve(p.bytes.size());
    Measure(state, row, true, p.bytes.size(), [&] { RunOurs(codec, false, p.bytes, output); });
  } else {
    // Into memory too, as ours: libtiff writing one LZW strip through its
    // client I/O into a byte vector.
    Bytes output;
    output.reserve(p.bytes.size());
    Measure(state, row, false, p.bytes.size(), [&] {
      Vellum::Bench::LibtiffLzwStrip(output, static_cast<std::uint32_t>(p.bytes.size() / p.height),
                                     p.height, 8, p.bytes);
    });
  }
}

// ---- whole TIFF files -------------------------------------------------------

void TiffRead(benchmark::State& state, std::size_t payload, int compression, bool ours) {
  const Payload& p = Payloads()[payload];
  if (p.height == 1) return;  // text is no image
  const char* kind = compression == 1 ? "none" : compression == 5 ? "lzw" : "deflate";
  const std::string row = std::string("tiff read ") + p.name + " " + kind;
  const std::string path = TempPath(std::string("read-") + p.name + "-" + kind + ".tif");
  if (ours) {
    // Our writer's file: for Deflate that is raw Deflate, which only we read.
    Brindle::Image image(p.bits, 1, p.width, p.height, p.bytes);
    {
      std::ofstream out(path, std::ios::binary);
      Brindle::ImageIO::WriteToTIFFFormat(image, out, static_cast<std::uint16_t>(compression));
    }
    Measure(state, row, true, p.bytes.size(), [&] {
      std::ifstream in(path, std::ios::binary);
      benchmark::DoNotOptimize(Brindle::ImageIO::ReadFromTIFFFormat(in));
    });
  } else {
    // libtiff's own file of the same image (Deflate with its zlib header).
    LibtiffWrite(path, p, compression == 8 ? COMPRESSION_ADOBE_DEFLATE : compression);
    Measure(state, row, false, p.bytes.size(),
            [&] { benchmark::DoNotOptimize(Vellum::Bench::ReadLibtiff(path)); });
  }
  std::remove(path.c_str());
}

// Many small strips, as scanners and tiffcp's defaults write them: the same
// libtiff-written LZW file (16 rows per strip) read by both.
void TiffReadStrips(benchmark::State& state, std::size_t payload, bool ours) {
  const Payload& p = Payloads()[payload];
  const std::string row = std::string("tiff read ") + p.name + " lzw, 16 rows/strip";
  const std::string path = TempPath(std::string("strips-") + p.name + ".tif");
  LibtiffWrite(path, p, COMPRESSION_LZW, 16);
  if (ours) {
    Measure(state, row, true, p.bytes.size(), [&] {
      std::ifstream in(path, std::ios::binary);
      benchmark::DoNotOptimize(Brindle::ImageIO::ReadFromTIFFFormat(in));
    });
  } else {
    Measure(state, row, false, p.bytes.size(),
            [&] { benchmark::DoNotOptimize(Vellum::Bench::ReadLibtiff(path)); });
  }
  std::remove(path.c_str());
}

void Register() {
  TIFFSetWarningHandler(nullptr);
  const char* const names[] = {"label", "photo", "text"};
  for (std::size_t i = 0; i < 3; ++i) {
    for (int level : {6, 9})
      for (bool ours : {true, false})
        benchmark::RegisterBenchmark((std::string("DeflateDecode/") + names[i] + "/level" +
                                      std::to_string(level) + (ours ? "/ours" : "/zlib"))
                                         .c_str(),
                                     [=](benchmark::State& s) { DeflateDecode(s, i, level, ours); })
            ->Unit(benchmark::kMillisecond);
    for (bool ours : {true, false}) {
      benchmark::RegisterBenchmark(
          (std::string("LZWDecode/") + names[i] + (ours ? "/ours" : "/libtiff")).c_str(),
          [=](benchmark::State& s) { LzwDecode(s, i, ours); })
          ->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(
          (std::string("LZWEncode/") + names[i] + (ours ? "/ours" : "/libtiff")).c_str(),
          [=](benchmark::State& s) { LzwEncode(s, i, ours); })
          ->Unit(benchmark::kMillisecond);
    }
    if (i == 2) continue;
    for (bool ours : {true, false})
      benchmark::RegisterBenchmark(
          (std::string("TIFFRead/") + names[i] + "/lzw-strips" + (ours ? "/ours" : "/libtiff"))
              .c_str(),
          [=](benchmark::State& s) { TiffReadStrips(s, i, ours); })
          ->Unit(benchmark::kMillisecond);
    for (int compression : {1, 5, 8})
      for (bool ours : {true, false})
        benchmark::RegisterBenchmark(
            (std::string("TIFFRead/") + names[i] + "/c" + std::to_string(compression) +
             (ours ? "/ours" : "/libtiff"))
                .c_str(),
            [=](benchmark::State& s) { TiffRead(s, i, compression, ours); })
            ->Unit(benchmark::kMillisecond);
  }
}

const bool registered = (Register(), true);

}  // namespace
