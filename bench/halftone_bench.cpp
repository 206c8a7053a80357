// Halftoning speed: megapixels per second of the screen halftoners and of
// bitmap-from-image on a 2000 x 3000 grey picture, each printed beside the
// floor -- one pass that reads every grey byte once and writes the packed
// one-bit rows (a fixed threshold of 128, nothing else).
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "bench_pictures.h"
#include "graphics/bitmap_from_image.h"
#include "graphics/halftoning.h"
#include "graphics/image.h"
#include "threshold_floor.h"

namespace {

using Brindle::HalftoneParameters;

using Vellum::Bench::GreyPicture;
constexpr std::uint64_t kWidth = Vellum::Bench::kGreyWidth;
constexpr std::uint64_t kHeight = Vellum::Bench::kGreyHeight;
constexpr std::uint64_t kBytesPerRow = kWidth / 8;

// The floor, as vellum_raster_bench measures it (threshold_floor.h).
void PlainPass(const unsigned char* source, unsigned char* destination) {
  Vellum::Bench::ThresholdFloor(source, kWidth, kHeight, destination);
}

double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The floor in megapixels per second: the best of a few plain passes, timed
// in CPU time as the benchmark's own rates are, so a busy machine does not
// skew the comparison.
double FloorMegapixelsPerSecond() {
  static const double floor = [] {
    std::vector<unsigned char> out(kBytesPerRow * kHeight);
    double best = 0;
    for (int run = 0; run < 10; ++run) {
      const double start = ThreadSeconds();
      PlainPass(GreyPicture().Data().data(), out.data());
      benchmark::DoNotOptimize(out.data());
      best = std::max(best, kWidth * kHeight / (ThreadSeconds() - start) / 1e6);
    }
    return best;
  }();
  return floor;
}

void Report(benchmark::State& state, std::uint64_t pixels) {
  state.counters["MP/s"] = benchmark::Counter(static_cast<double>(pixels) / 1e6,
                                              benchmark::Counter::kIsIterationInvariantRate);
  state.counters["floor_MP/s"] = FloorMegapixelsPerSecond();
}

HalftoneParameters Parameters(std::vector<unsigned char>& destination) {
  HalftoneParameters p;
  p.source = GreyPicture().Data().data();
  p.sourceBytesPerRow = kWidth;
  p.destination = destination.data();
  p.destinationBytesPerRow = kBytesPerRow;
  p.destinationHeight = kHeight;
  p.mapping = Brindle::RotationMapping(0);
  p.mappingParameters = {kWidth, kHeight, kWidth, kHeight};
  return p;
}

void BM_PlainPass(benchmark::State& state) {
  std::vector<unsigned char> out(kBytesPerRow * kHeight);
  for (auto _ : state) {
    PlainPass(GreyPicture().Data().data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, kWidth * kHeight);
}
BENCHMARK(BM_PlainPass)->Unit(benchmark::kMillisecond);

template <std::uint64_t (*Halftone)(const HalftoneParameters&)>
void BM_Halftone(benchmark::State& state) {
  std::vector<unsigned char> out(kBytesPerRow * kHeight);
  const HalftoneParameters p = Parameters(out);
  for (auto _ : state) {
    benchmark::DoNotOptimize(Halftone(p));
    benchmark::ClobberMemory();
  }
  Report(state, kWidth * kHeight);
}
BENCHMARK(BM_Halftone<Brindle::HalftoneGreyFirstScreen>)
    ->Name("HalftoneGrey/first")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Halftone<Brindle::HalftoneGrey32Screen>)
    ->Name("HalftoneGrey/32")
    ->Unit(benchmark::kMillisecond);
// Mapped through the rotation-0 mapping function, called once per pixel.
BENCHMARK(BM_Halftone<Brindle::HalftoneMappedGreyFirstScreen>)
    ->Name("HalftoneMappedGrey/first")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Halftone<Brindle::HalftoneMappedGrey32Screen>)
    ->Name("HalftoneMappedGrey/32")
    ->Unit(benchmark::kMillisecond);

// Bitmap-from-image at 24 dots/mm: the picture placed on 83.4 x 125.0 mm,
// 2001 x 3000 dots, so every pixel goes through the scaling (and, for
// rotation 1, the quarter turn) -- argument: rotation, method.
void BM_BitmapFromImage(benchmark::State& state) {
  const auto rotation = static_cast<std::int32_t>(state.range(0));
  const auto method = static_cast<std::int32_t>(state.range(1));
  const Brindle::LabelRectangle rectangle = rotation % 2 == 0
                                                ? Brindle::LabelRectangle{0, 0, 834, 1250}
                                                : Brindle::LabelRectangle{0, 0, 1250, 834};
  std::uint64_t pixels = 0;
  for (auto _ : state) {
    const Brindle::Bitmap bitmap =
        Brindle::BitmapFromImage(GreyPicture(), rectangle, 24.0, rotation, method, 3);
    pixels = bitmap.Width() * bitmap.Height();
    benchmark::DoNotOptimize(bitmap.Data().data());
  }
  Report(state, pixels);
}
BENCHMARK(BM_BitmapFromImage)
    ->ArgNames({"rotation", "method"})
    ->Args({0, Brindle::kFirstScreenMethod})
    ->Args({0, Brindle::kThirtyTwoScreenMethod})
    ->Args({1, Brindle::kFirstScreenMethod})
    ->Args({0, Brindle::kFixedThresholdMethod})
    ->Args({0, Brindle::kPatternMethod})
    ->Unit(benchmark::kMillisecond);

}  // namespace
