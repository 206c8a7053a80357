// Pictures to labels, timed in one run: each case measures the whole
// conversion next to a reference on the same input and sizes, and prints
// both rates and their ratio. Run: build/bench/vellum_picture_bench
// (VELLUM_BENCH_FILTER=TEXT runs only the cases whose names hold TEXT).
//
// The picture cases: a picture file held in memory becomes a whole job
// (decode, lay out, halftone, TOPIX graphics, issue command) for a
// 100 x 150 mm label, against BitmapFromImage alone on the decoded picture
// at the same size -- megapixels are the label's dots on both sides, so the
// ratio is the one of the times. "input" is the rate of reading the input
// alone (the picture libraries' decoding, the raster reader); "w/o input" the
// ratio of our side without it, timed on its own for the pictures. The goal
// is a ratio of at most 2 from the decoded picture to the job.
//
// The filter cases: rastertovellum's pages per second (see FilterCases).
// More groups of cases are added as one more function returning Cases,
// listed in main.
#include <malloc.h>
#include <png.h>
#include <time.h>

// clang-format off
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "driver/label_filter.h"
#include "graphics/bitmap_from_image.h"
#include "imagetool/picture_job.h"
#include "picture/picture.h"
#include "support/picture_files.h"
#include "support/raster_pages.h"

namespace {

using Bytes = std::vector<unsigned char>;

// One measured pair. `work` is the amount one run of either side handles,
// in `unit`; the rates are work per second of thread CPU time, the best of
// several runs, so a busy machine does not skew the comparison.
struct Case {
  std::string name;
  std::string unit;
  double work;
  std::function<void()> ours;
  std::string referenceName;
  std::function<void()> reference;
  double goal;  // the largest ratio (our time / the reference's) that meets it; 0: none
  // A part of our side that the reference does not do (reading the raster),
  // timed alone so the rest can be shown next to the reference too.
  std::function<void()> part = {};
  // Our side without reading its input, timed on its own (the picture cases:
  // the job made from the decoded picture). The goal is judged on it: the
  // picture libraries' decoding is shown apart, as it is not our work.
  std::function<void()> fromInput = {};
};

double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The best time of runs repeated for at least half a second (and 3 runs).
double BestSeconds(const std::function<void()>& run) {
  double best = 1e9, spent = 0;
  for (int runs = 0; runs < 3 || spent < 0.5; ++runs) {
    const double start = ThreadSeconds();
    run();
    const double seconds = ThreadSeconds() - start;
    best = std::min(best, seconds);
    spent += seconds;
  }
  return best;
}

// A photograph-like picture: smooth tones with grain, in `channels`.
Vellum::Testing::Samples Photograph(unsigned width, unsigned height, unsigned channels) {
  Vellum::Testing::Samples s{width, height, channels, 8, {}};
  s.values.reserve(std::size_t{width} * height * channels);
  std::uint32_t noise = 1;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      for (unsigned c = 0; c < channels; ++c) {
        noise = noise * 1664525u + 1013904223u;
        s.values.push_back(((x + y) * 255 / (width + height) + c * 30 + (noise >> 28)) % 256);
      }
    }
  }
  return s;
}

Bytes PNM(const Vellum::Testing::Samples& s) {
  std::string header = (s.channels == 1 ? "P5 " : "P6 ") + std::to_string(s.width) + " " +
                       std::to_string(s.height) + " 255\n";
  Bytes file(header.begin(), header.end());
  for (std::uint32_t v : s.values) file.push_back(static_cast<unsigned char>(v));
  return file;
}

std::vector<Case> PictureCases() {
  using namespace Vellum::Testing;
  std::vector<Case> cases;
  for (unsigned dpi : {203u, 600u}) {
    const unsigned dotsPerMillimetre = dpi == 203 ? 8 : 24;
    // 100 x 150 mm, the picture as many pixels as the label has dots.
    const unsigned width = 100 * dotsPerMillimetre, height = 150 * dotsPerMillimetre;
    const Samples grey = Photograph(width, height, 1);
    const Samples rgb = Photograph(width, height, 3);
    struct File {
      const char* name;
      Bytes bytes;
    };
    std::vector<File> files;
    files.push_back({"PNG grey", WritePNG(grey, {0})});
    files.push_back({"PNG RGB", WritePNG(rgb, {2})});
    files.push_back({"JPEG RGB", WriteJPEG(rgb, 90)});
    files.push_back({"TIFF grey", WriteTIFF(grey, {1})});
    files.push_back({"PGM", PNM(grey)});
    files.push_back({"PPM", PNM(rgb)});
    for (File& file : files) {
      const auto bytes = std::make_shared<Bytes>(std::move(file.bytes));
      const auto decoded =
          std::make_shared<Brindle::Image>(Corvane::Picture::LoadPicture(*bytes, file.name));
      for (std::int32_t method : {Brindle::kFirstScreenMethod, Brindle::kPatternMethod}) {
        Corvane::ImageTool::PictureJobOptions options;
        options.geometry = {1000, 1500, 30};
        options.dotsPerInch = dpi;
        options.method = method;
        cases.push_back({std::string(file.name) + ", " +
                             (method == Brindle::kPatternMethod ? "patterns" : "screen1") + ", " +
                             std::to_string(dpi) + " dpi",
                         "Mpx/s", width * double(height) / 1e6,
                         [bytes, options, name = file.name] {
                           const Brindle::Image picture =
                               Corvane::Picture::LoadPicture(*bytes, name);
                           const auto label = Corvane::ImageTool::LayOutPicture(picture, options);
                           if (Corvane::ImageTool::PictureJobBytes(label, options).size() < 10)
                             std::abort();
                         },
                         "BitmapFromImage",
                         [decoded, method, dotsPerMillimetre] {
                           const Brindle::Bitmap dots = Brindle::BitmapFromImage(
                               *decoded, {0, 0, 1000, 1500}, dotsPerMillimetre, 0, method,
                               Brindle::kNormalCurve);
                           if (dots.Width() == 0) std::abort();
                         },
                         2.0,
                         [bytes, name = file.name] {
                           if (Corvane::Picture::LoadPicture(*bytes, name).Width() == 0)
                             std::abort();
                         },
                         [decoded, options] {
                           const auto label = Corvane::ImageTool::LayOutPicture(*decoded, options);
                           if (Corvane::ImageTool::PictureJobBytes(label, options).size() < 10)
                             std::abort();
                         }});
      }
    }
  }
  return cases;
}

// A raster reader over bytes in memory, as the filter reads its input.
Corvane::Driver::RasterInput RasterFrom(const std::string& bytes) {
  auto offset = std::make_shared<std::size_t>(0);
  return Corvane::Driver::RasterInput(
      [&bytes, offset](unsigned char* buffer, std::size_t length) -> std::ptrdiff_t {
        const std::size_t count = std::min(length, bytes.size() - *offset);
        std::memcpy(buffer, bytes.data() + *offset, count);
        *offset += count;
        return static_cast<std::ptrdiff_t>(count);
      });
}

// The CUPS filter's cases: one 100 x 150 mm page of 8-bit grey raster,
// compressed as cups-filters writes it, through rastertovellum's whole work
// (libcupsimage's reader, halftoning one pixel per dot, TOPIX, the label
// job), in pages per second against BitmapFromImage alone on the same
// pixels; reading the raster is the part shown apart. No goal is set.
std::vector<Case> FilterCases() {
  std::vector<Case> cases;
  for (unsigned dpi : {203u, 609u}) {
    std::uint32_t noise = 1;
    const cups_page_header2_t header = Vellum::Testing::LabelHeader(100, 150, dpi);
    // The top third a photograph, the rest black bars on white, as labels go.
    const auto raster = std::make_shared<std::string>(Vellum::Testing::WriteRaster(
        {Vellum::Testing::MakePage(header, [&](unsigned x, unsigned y) {
          noise = noise * 1664525u + 1013904223u;
          if (y < header.cupsHeight / 3)
            return static_cast<unsigned char>((x + y) / 20 + (noise >> 29));
          return static_cast<unsigned char>((x / 7 + y / 40) % 3 == 0 ? 0 : 255);
        })}));
    const auto picture =
        std::make_shared<Brindle::Image>(8, 1, header.cupsWidth, header.cupsHeight);
    // The same pixels for the reference, read back from the raster.
    {
      auto input = RasterFrom(*raster);
      cups_page_header2_t page;
      input.NextPage(page);
      for (unsigned y = 0; y < page.cupsHeight; ++y)
        input.ReadRow(picture->Data().data() + std::size_t{y} * page.cupsBytesPerLine);
    }
    for (std::int32_t method : {Brindle::kFixedThresholdMethod, Brindle::kFirstScreenMethod}) {
      Corvane::Driver::JobSettings settings;
      settings.options.method = method;
      cases.push_back({std::string("filter, ") +
                           (method == Brindle::kFixedThresholdMethod ? "threshold" : "screen1") +
                           ", " + (dpi == 203 ? "203" : "600") + " dpi",
                       "pages/s", 1.0,
                       [raster, settings] {
                         auto input = RasterFrom(*raster);
                         std::ostringstream job, messages;
                         if (Corvane::Driver::WriteJob(input, settings, job, messages) != 1)
                           std::abort();
                       },
                       "BitmapFromImage",
                       [picture, method] {
                         const Brindle::Bitmap dots = Brindle::BitmapFromImage(
                             *picture, {0, 0, picture->Width(), picture->Height()}, 10.0, 0, method,
                             Brindle::kNormalCurve);
                         if (dots.Width() == 0) std::abort();
                       },
                       0.0,
                       [raster] {
                         auto input = RasterFrom(*raster);
                         cups_page_header2_t page;
                         input.NextPage(page);
                         std::vector<unsigned char> row(page.cupsBytesPerLine);
                         for (unsigned y = 0; y < page.cupsHeight; ++y) input.ReadRow(row.data());
                       }});
    }
  }
  return cases;
}

}  // namespace

int main() {
  // Freed memory stays with the process, so that both sides of a case reuse
  // what they touched before instead of asking the kernel for fresh pages at
  // every run: on the virtual machines this is measured on, a fresh page costs
  // microseconds in the hypervisor, and the whole job makes a few more large
  // buffers (canvas, job bytes) than the halftoning alone makes, which would
  // measure the page clearing and not the work.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  const char* filter = std::getenv("VELLUM_BENCH_FILTER");
  std::vector<Case> cases = PictureCases();
  for (Case& c : FilterCases()) cases.push_back(std::move(c));
  std::printf("%-34s %9s %9s %9s %7s %10s  %s\n", "case", "ours", "reference", "input", "ratio",
              "w/o input", "goal");
  for (const Case& c : cases) {
    if (filter != nullptr && c.name.find(filter) == std::string::npos) continue;
    const double ours = BestSeconds(c.ours);
    const double reference = BestSeconds(c.reference);
    const double part = c.part ? BestSeconds(c.part) : 0;
    const double fromInput = c.fromInput ? BestSeconds(c.fromInput) : ours - part;
    const double input = c.fromInput ? ours - fromInput : part;
    const double ratio = fromInput / reference;
    std::printf("%-34s %9.1f %9.1f %9.1f %7.2f %10.2f  %s (%s; reference %s)\n", c.name.c_str(),
                c.work / ours, c.work / reference, input > 0 ? c.work / input : 0.0,
                ours / reference, ratio,
                c.goal <= 0       ? "-"
                : ratio <= c.goal ? "met"
                                  : "missed",
                c.unit.c_str(), c.referenceName.c_str());
    std::fflush(stdout);
  }
  return 0;
}
