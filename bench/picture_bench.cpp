// Pictures to labels, timed in one run: each case measures the whole
// conversion next to a reference on the same input and sizes, and prints
// both rates and their ratio. Run: build/bench/vellum_picture_bench
// (VELLUM_BENCH_FILTER=TEXT runs only the cases whose names hold TEXT).
//
// The picture cases: a picture file held in memory becomes a whole job
// (decode, lay out, halftone, TOPIX graphics, issue command) for a
// 100 x 150 mm label, against BitmapFromImage alone on the decoded picture
// at the same size -- megapixels are the label's dots on both sides, so the
// ratio is the one of the times. The goal is a ratio of at most 2.
//
// More groups of cases (a CUPS filter's pages per second, say) are added as
// one more function returning Cases, listed in main.
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
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "imagetool/picture_job.h"
#include "picture/picture.h"
#include "picture/picture_files.h"

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
  double goal;  // the largest ratio (our time / the reference's) that meets it
  // A part of our side that the reference does not do (decoding the file),
  // timed alone so the rest can be shown next to the reference too.
  std::function<void()> part = {};
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
                           std::ostringstream job;
                           Corvane::ImageTool::WritePictureJob(job, label, options);
                           if (job.view().size() < 10) std::abort();
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
                         }});
      }
    }
  }
  return cases;
}

}  // namespace

int main() {
  const char* filter = std::getenv("VELLUM_BENCH_FILTER");
  std::vector<Case> cases = PictureCases();
  std::printf("%-34s %9s %9s %9s %7s %9s  %s\n", "case", "ours", "reference", "decoding", "ratio",
              "w/o dec.", "goal");
  for (const Case& c : cases) {
    if (filter != nullptr && c.name.find(filter) == std::string::npos) continue;
    const double ours = BestSeconds(c.ours);
    const double reference = BestSeconds(c.reference);
    const double part = c.part ? BestSeconds(c.part) : 0;
    const double ratio = ours / reference;
    std::printf("%-34s %9.1f %9.1f %9.1f %7.2f %9.2f  %s (%s; reference %s)\n", c.name.c_str(),
                c.work / ours, c.work / reference, part > 0 ? c.work / part : 0.0, ratio,
                (ours - part) / reference, ratio <= c.goal ? "met" : "missed", c.unit.c_str(),
                c.referenceName.c_str());
    std::fflush(stdout);
  }
  return 0;
}
