// The CUPS filter's speed: pages per second through the whole of
// rastertovellum's work -- libcupsimage reading a compressed raster page as
// cups-filters writes it, the halftoning, TOPIX and the label job -- for one
// 100 x 150 mm label of 8-bit grey at 203 and 600 dpi, with the threshold the
// queue uses by default and with the 32 x 32 screen. Beside each: the
// halftoning alone of the same pixels (bitmap-from-image, one pixel per dot,
// the best of a few runs in thread CPU time, as the benchmark's own figures
// are) and the ratio of the whole filter's time to it.
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <ostream>
#include <streambuf>
#include <string>

#include "driver/label_filter.h"
#include "driver/raster_pages.h"
#include "graphics/bitmap_from_image.h"

namespace {

using Corvane::Driver::Halftone;

// Throws the job away, as fast as a stream can.
class Discard : public std::streambuf {
 protected:
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
};

// A label-like page: a photograph-like ramp with noise, and black text-like
// bars on white.
const Vellum::Testing::RasterPage& Page(unsigned dpi) {
  static std::map<unsigned, Vellum::Testing::RasterPage> pages;
  auto found = pages.find(dpi);
  if (found != pages.end()) return found->second;
  std::uint32_t noise = 1;
  const auto header = Vellum::Testing::LabelHeader(100, 150, dpi);
  return pages[dpi] = Vellum::Testing::MakePage(header, [&](unsigned x, unsigned y) {
           noise = noise * 1664525U + 1013904223U;
           if (y < header.cupsHeight / 3)
             return static_cast<unsigned char>((x + y) / 20 + (noise >> 29));
           return static_cast<unsigned char>((x / 7 + y / 40) % 3 == 0 ? 0 : 255);
         });
}

const std::string& Raster(unsigned dpi) {
  static std::map<unsigned, std::string> streams;
  auto found = streams.find(dpi);
  if (found != streams.end()) return found->second;
  return streams[dpi] = Vellum::Testing::WriteRaster({Page(dpi)});
}

double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The halftoning of the page alone, in seconds: the best of five runs.
double HalftoningSeconds(unsigned dpi, Halftone halftone) {
  const auto& page = Page(dpi);
  const Brindle::Image picture(8, 1, page.header.cupsWidth, page.header.cupsHeight, page.rows);
  double best = 1e9;
  for (int run = 0; run < 5; ++run) {
    const double start = ThreadSeconds();
    benchmark::DoNotOptimize(
        Brindle::BitmapFromImage(picture, {0, 0, picture.Width(), picture.Height()}, 10.0, 0,
                                 Corvane::Driver::DitherMethod(halftone), 3));
    best = std::min(best, ThreadSeconds() - start);
  }
  return best;
}

void FilterPage(benchmark::State& state) {
  const unsigned dpi = static_cast<unsigned>(state.range(0));
  const std::string& raster = Raster(dpi);
  Corvane::Driver::JobSettings settings;
  settings.options.halftone = static_cast<Halftone>(state.range(1));
  Discard discard;
  std::ostream out(&discard), messages(&discard);
  for (auto _ : state) {
    std::size_t offset = 0;
    Corvane::Driver::RasterInput input([&](unsigned char* buffer, std::size_t length) {
      const std::size_t count = std::min(length, raster.size() - offset);
      std::memcpy(buffer, raster.data() + offset, count);
      offset += count;
      return static_cast<std::ptrdiff_t>(count);
    });
    benchmark::DoNotOptimize(Corvane::Driver::WriteJob(input, settings, out, messages));
  }
  state.counters["pages/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  const double halftoning = HalftoningSeconds(dpi, settings.options.halftone);
  state.counters["halftoning_pages/s"] = 1 / halftoning;
  state.counters["x_halftoning"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * halftoning,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.SetLabel(std::to_string(Page(dpi).header.cupsWidth) + " x " +
                 std::to_string(Page(dpi).header.cupsHeight) + " dots, " +
                 std::to_string(raster.size() / 1024) + " KiB of raster");
}

constexpr int kThreshold = static_cast<int>(Halftone::kThreshold);
constexpr int kScreen32 = static_cast<int>(Halftone::kScreen32);

}  // namespace

BENCHMARK(FilterPage)
    ->ArgNames({"dpi", "halftone"})
    ->Args({203, kThreshold})
    ->Args({609, kThreshold})
    ->Args({203, kScreen32})
    ->Args({609, kScreen32})
    ->Unit(benchmark::kMillisecond);
