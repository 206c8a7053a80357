// Render figures: TOPIX throughput next to a byte XOR pass over the same band,
// a large job end to end with its peak memory next to the canvas, and the
// TIFF writer's compressed sizes next to libtiff and zlib on the same image.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench_pictures.h"
#include "graphics/bitmap.h"
#include "graphics/tiff_writer.h"
#include "render/render_command.h"
#include "render/topix_codec.h"

namespace {

using Brindle::Bitmap;

std::vector<unsigned char> TOPIXLines(const Bitmap& bitmap) {
  std::stringstream out;
  Brindle::WriteBitmap(bitmap, out, Brindle::kTOPIXFormat);
  const std::string block = out.str();
  return {block.begin() + 2, block.end()};
}

const Bitmap& Band() {
  static const Bitmap band = Vellum::Bench::LabelLike(832, 480, 7);  // 104 mm at 8 dots/mm
  return band;
}

// The reference for TOPIX: each row XOR the row above, byte by byte, over
// the same band into a fresh buffer of its size, as the codec makes its
// output anew.
void BM_XorPass(benchmark::State& state) {
  const std::vector<unsigned char>& source = Band().Data();
  const std::size_t length = Band().BytesPerRow();
  for (auto _ : state) {
    auto target = std::make_unique_for_overwrite<unsigned char[]>(source.size());
    for (std::size_t i = 0; i < length; ++i) target[i] = source[i];
    for (std::size_t i = length; i < source.size(); ++i) target[i] = source[i] ^ source[i - length];
    benchmark::DoNotOptimize(target.get());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.size()));
}
BENCHMARK(BM_XorPass);

void BM_TOPIXDecode(benchmark::State& state) {
  const std::vector<unsigned char> lines = TOPIXLines(Band());
  for (auto _ : state) {
    Bitmap decoded = Brindle::BitmapFromData(lines, Band().Width(), 0, Brindle::kTOPIXFormat);
    benchmark::DoNotOptimize(decoded.Data().data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Band().DataSize()));
  state.counters["topix_bytes"] = static_cast<double>(lines.size());
  state.counters["bitmap_bytes"] = static_cast<double>(Band().DataSize());
}
BENCHMARK(BM_TOPIXDecode);

void BM_TOPIXEncode(benchmark::State& state) {
  for (auto _ : state) {
    std::stringstream out;
    Brindle::WriteBitmap(Band(), out, Brindle::kTOPIXFormat);
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Band().DataSize()));
}
BENCHMARK(BM_TOPIXEncode);

// 104 x 300 mm at 24 dots/mm (2496 x 7200 dots) with 50 TOPIX graphics of
// 1200 x 280 dots in two columns.
// The job file lives in the temporary directory for the program's run.
struct TemporaryFile {
  std::filesystem::path path;
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }
};

const std::filesystem::path& LargeJob() {
  static const TemporaryFile job{[] {
    auto file = std::filesystem::temp_directory_path() /
                ("vellum-bench-" + std::to_string(getpid()) + ".prn");
    std::ofstream out(file, std::ios::binary);
    out << "{D3030,1040,3000|}\n{C|}\n";
    for (int i = 0; i < 50; ++i) {
      const Bitmap graphic = Vellum::Bench::LabelLike(1200, 280, static_cast<unsigned>(i));
      std::stringstream data;
      Brindle::WriteBitmap(graphic, data, Brindle::kTOPIXFormat);
      // Positions in 0.1 mm; at 24 dots/mm 10 tenths are 24 dots.
      const int x = (i % 2) * 1240 * 10 / 24;
      const int y = (i / 2) * 284 * 10 / 24;
      char head[64];
      std::snprintf(head, sizeof head, "{SG;%04d,%04d,1200,0280,3,", x, y);
      out << head << data.str() << "|}\n";
    }
    out << "{XS;I,0001,0002C3000|}\n";
    return file;
  }()};
  return job.path;
}

void BM_RenderLargeJob(benchmark::State& state) {
  const std::string job = LargeJob().string();
  for (auto _ : state) {
    Corvane::Vellum::Commands::Render({"-r", "600", "-o", "/dev/null", job});
  }
  state.counters["job_bytes"] = static_cast<double>(std::filesystem::file_size(LargeJob()));
  state.counters["canvas_bytes"] = 312.0 * 7200.0;
}
BENCHMARK(BM_RenderLargeJob)->Unit(benchmark::kMillisecond);

// A "Vm...:" figure of /proc/self/status, in bytes.
double StatusBytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, field.size(), field) == 0)
      return std::stod(line.substr(field.size())) * 1024;
  }
  return 0;
}

// Peak memory of one render, measured in a child process so the figure is the
// render's own: free heap memory is handed back first and the peak resident
// size reset (clear_refs 5), then the peak is read after the render.
void BM_RenderLargeJobPeakMemory(benchmark::State& state) {
  const std::string job = LargeJob().string();
  double extra = 0;
  for (auto _ : state) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) {
      state.SkipWithError("pipe failed");
      break;
    }
    const pid_t child = fork();
    if (child == 0) {
      close(pipeEnds[0]);
      malloc_trim(0);
      std::ofstream("/proc/self/clear_refs") << "5";
      const double before = StatusBytes("VmRSS:");
      Corvane::Vellum::Commands::Render({"-r", "600", "-o", "/dev/null", job});
      const double grown = StatusBytes("VmHWM:") - before;
      (void)!write(pipeEnds[1], &grown, sizeof grown);
      _exit(0);
    }
    close(pipeEnds[1]);
    double grown = 0;
    (void)!read(pipeEnds[0], &grown, sizeof grown);
    close(pipeEnds[0]);
    waitpid(child, nullptr, 0);
    extra = grown;
  }
  state.counters["peak_extra_bytes"] = extra;
  state.counters["canvas_bytes"] = 312.0 * 7200.0;
  state.counters["peak_per_canvas"] = extra / (312.0 * 7200.0);
}
BENCHMARK(BM_RenderLargeJobPeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

// The large job's canvas, for the compression comparisons.
const Bitmap& Canvas() {
  static const Bitmap canvas = [] {
    Bitmap label(2496, 7200);
    for (int i = 0; i < 50; ++i) {
      Bitmap graphic = Vellum::Bench::LabelLike(1200, 280, static_cast<unsigned>(i));
      graphic.SetPosition(static_cast<std::uint64_t>((i % 2) * 1240),
                          static_cast<std::uint64_t>((i / 2) * 284));
      label.Draw(graphic);
    }
    return label;
  }();
  return canvas;
}

std::size_t OurStripSize(std::uint16_t compression) {
  std::ostringstream out;
  Brindle::ImageIO::WriteToTIFFFormat(Canvas(), out, compression);
  return out.str().size() - 186;
}

void BM_TiffWriterLZW(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(OurStripSize(5));
  state.counters["strip_bytes"] = static_cast<double>(OurStripSize(5));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Canvas().DataSize()));
}
BENCHMARK(BM_TiffWriterLZW)->Unit(benchmark::kMillisecond);

// libtiff writing the same one-bit image as one LZW strip.
std::size_t LibtiffLZWStripSize() {
  const std::string path = (std::filesystem::temp_directory_path() /
                            ("vellum-bench-" + std::to_string(getpid()) + ".tif"))
                               .string();
  TIFFSetWarningHandler(nullptr);
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  if (tiff == nullptr) return 0;
  const Bitmap& canvas = Canvas();
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(canvas.Width()));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(canvas.Height()));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(canvas.Height()));
  TIFFWriteEncodedStrip(tiff, 0, const_cast<unsigned char*>(canvas.Data().data()),
                        static_cast<tmsize_t>(canvas.DataSize()));
  TIFFClose(tiff);
  // The strip's size as libtiff itself reports it on reading the file back.
  std::size_t size = 0;
  if (TIFF* back = TIFFOpen(path.c_str(), "r")) {
    uint64_t* counts = nullptr;
    if (TIFFGetField(back, TIFFTAG_STRIPBYTECOUNTS, &counts) && counts != nullptr) size = counts[0];
    TIFFClose(back);
  }
  std::filesystem::remove(path);
  return size;
}

void BM_LibtiffLZW(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(LibtiffLZWStripSize());
  const double theirs = static_cast<double>(LibtiffLZWStripSize());
  state.counters["strip_bytes"] = theirs;
  state.counters["ours_per_libtiff"] = static_cast<double>(OurStripSize(5)) / theirs;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Canvas().DataSize()));
}
BENCHMARK(BM_LibtiffLZW)->Unit(benchmark::kMillisecond);

void BM_TiffWriterDeflate(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(OurStripSize(8));
  state.counters["strip_bytes"] = static_cast<double>(OurStripSize(8));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Canvas().DataSize()));
}
BENCHMARK(BM_TiffWriterDeflate)->Unit(benchmark::kMillisecond);

std::size_t ZlibLevel9Size() {
  const std::vector<unsigned char>& data = Canvas().Data();
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::vector<unsigned char> out(size);
  compress2(out.data(), &size, data.data(), static_cast<uLong>(data.size()), 9);
  return size;
}

void BM_ZlibLevel9(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ZlibLevel9Size());
  const double theirs = static_cast<double>(ZlibLevel9Size());
  state.counters["strip_bytes"] = theirs;
  state.counters["ours_per_zlib"] = static_cast<double>(OurStripSize(8)) / theirs;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Canvas().DataSize()));
}
BENCHMARK(BM_ZlibLevel9)->Unit(benchmark::kMillisecond);

}  // namespace
