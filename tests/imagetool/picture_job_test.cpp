// Pictures through every method and curve at every resolution, checked by
// rendering the job back: render must draw exactly the dots the halftoning
// made, where the layout put them, and nothing else.
#include "imagetool/picture_job.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "graphics/tiff_reader.h"
#include "graphics/tiff_tools.h"
#include "render/render_command.h"

namespace Corvane::ImageTool {
namespace {

using Bytes = std::vector<unsigned char>;

Brindle::Image Gradient(unsigned width, unsigned height) {
  Bytes grey;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      grey.push_back(static_cast<unsigned char>((x + y) * 255 / std::max(1u, width + height - 2)));
    }
  }
  return Brindle::Image(8, 1, width, height, std::move(grey));
}

// Soft colour blobs with a little grain, as a photograph has.
Brindle::Image Photograph(unsigned width, unsigned height) {
  std::mt19937 random(7);
  Bytes rgb;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      for (unsigned c = 0; c < 3; ++c) {
        const double wave = std::sin(x * 0.07 + c) * std::cos(y * 0.05 - c) * 100 + 128;
        rgb.push_back(
            static_cast<unsigned char>(std::clamp(wave + int(random() % 21) - 10, 0.0, 255.0)));
      }
    }
  }
  return Brindle::Image(8, 3, width, height, std::move(rgb));
}

// Rings of black and white, one bit a pixel (1 = white, as a plain Image).
Brindle::Image OneBitArt(unsigned width, unsigned height) {
  Brindle::Image art(1, 1, width, height);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const unsigned ring =
          static_cast<unsigned>(std::hypot(x - width / 2.0, y - height / 2.0)) / 4;
      if (ring % 2 == 0) art.Data()[y * art.BytesPerRow() + x / 8] |= 0x80 >> (x % 8);
    }
  }
  return art;
}

// The label render draws for the job, as its TIFF's rows.
Bytes Rendered(const std::string& job, unsigned dotsPerInch) {
  ::Vellum::Testing::TempDir dir;
  std::ofstream(dir / "job.prn", std::ios::binary) << job;
  Vellum::Commands::Render({"-r", std::to_string(dotsPerInch), "-o", (dir / "label.tif").string(),
                            (dir / "job.prn").string()});
  std::ifstream tiff(dir / "label.tif", std::ios::binary);
  return Brindle::ImageIO::ReadFromTIFFFormat(tiff).Data();
}

// A white label with the dots set one by one at (left, top), clipped.
Bytes Expected(const PictureLabel& label) {
  Brindle::Bitmap canvas(label.canvas.Width(), label.canvas.Height());
  for (std::uint64_t y = 0; y < label.dots.Height(); ++y) {
    for (std::uint64_t x = 0; x < label.dots.Width(); ++x) {
      if (label.left + x < canvas.Width() && label.top + y < canvas.Height() &&
          label.dots.GetPixel(x, y) != 0) {
        canvas.SetPixel(label.left + x, label.top + y, true);
      }
    }
  }
  return canvas.Data();
}

struct Picture {
  const char* name;
  Brindle::Image image;
};

struct Dots {
  const char* name;
  std::int32_t method;
  std::uint32_t curve;
};

std::vector<Dots> EveryMethodAndCurve() {
  std::vector<Dots> all = {{"screen1", Brindle::kFirstScreenMethod, Brindle::kNormalCurve},
                           {"screen2", Brindle::kSecondScreenMethod, Brindle::kNormalCurve},
                           {"screen32", Brindle::kThirtyTwoScreenMethod, Brindle::kNormalCurve}};
  for (std::uint32_t curve = Brindle::kLightestCurve; curve <= Brindle::kDarkestCurve; ++curve) {
    all.push_back({"threshold", Brindle::kFixedThresholdMethod, curve});
    all.push_back({"patterns", Brindle::kPatternMethod, curve});
  }
  return all;
}

TEST(PictureJob, EveryPictureMethodCurveAndResolutionRendersAsMade) {
  const Picture pictures[] = {
      {"gradient", Gradient(97, 61)},        {"photograph", Photograph(160, 120)},
      {"one-bit art", OneBitArt(75, 50)},    {"one pixel", Gradient(1, 1)},
      {"tall and thin", Photograph(3, 211)},
  };
  unsigned turn = 0;
  for (const Picture& picture : pictures) {
    for (unsigned dpi : {203u, 300u, 600u}) {
      for (const Dots& dots : EveryMethodAndCurve()) {
        PictureJobOptions options;
        options.geometry = {303, 201, 25};  // 30.3 x 20.1 mm: odd dot counts
        options.dotsPerInch = dpi;
        options.method = dots.method;
        options.curve = dots.curve;
        options.quarterTurns = static_cast<std::int32_t>(turn++ % 4);
        if (turn % 5 == 0) options.area = Area{17, 9, 211, 150};
        options.stretch = turn % 7 == 0;
        const PictureLabel label = LayOutPicture(picture.image, options);
        std::ostringstream job;
        WritePictureJob(job, label, options);
        ASSERT_EQ(Rendered(job.str(), dpi), Expected(label))
            << picture.name << " at " << dpi << " dpi, " << dots.name << " curve " << dots.curve
            << ", " << options.quarterTurns * 90 << " degrees";
      }
    }
  }
}

TEST(PictureJob, PictureIsFittedAndCentred) {
  struct Case {
    unsigned width, height;  // picture pixels
    std::int32_t turns;
    std::optional<Area> area;
    bool stretch;
    std::uint64_t left, top, dotsWide, dotsHigh;  // at 8 dots/mm on a 50 x 30 mm label
  } const kCases[] = {
      {300, 200, 0, {}, false, 20, 0, 360, 240},  // as high as the label, centred across
      {200, 300, 1, {}, false, 20, 0, 360, 240},  // turned: the same
      {500, 100, 0, {}, false, 0, 80, 400, 80},   // as wide as the label, centred down
      {300, 200, 0, {}, true, 0, 0, 400, 240},    // stretched over the label
      {100, 100, 0, Area{100, 50, 200, 100}, false, 120, 40, 80, 80},
      {100, 100, 2, Area{100, 50, 200, 100}, true, 80, 40, 160, 80},
  };
  for (const Case& c : kCases) {
    PictureJobOptions options;
    options.geometry = {500, 300, 30};
    options.quarterTurns = c.turns;
    options.area = c.area;
    options.stretch = c.stretch;
    const PictureLabel label = LayOutPicture(Gradient(c.width, c.height), options);
    EXPECT_EQ(label.canvas.Width(), 400u);
    EXPECT_EQ(label.canvas.Height(), 264u);  // the pitch: the gap's rows are white
    EXPECT_EQ(label.left, c.left) << c.width << "x" << c.height;
    EXPECT_EQ(label.top, c.top) << c.width << "x" << c.height;
    EXPECT_EQ(label.dots.Width(), c.dotsWide) << c.width << "x" << c.height;
    EXPECT_EQ(label.dots.Height(), c.dotsHigh) << c.width << "x" << c.height;
  }
}

TEST(PictureJob, JobCommandsInOrder) {
  PictureJobOptions options;
  options.geometry = {500, 300, 30};
  options.issueOptions.copies = 3;
  options.issueOptions.cut = true;
  const PictureLabel label = LayOutPicture(Gradient(40, 40), options);
  std::ostringstream job;
  WritePictureJob(job, label, options);
  const std::string text = job.str();
  EXPECT_EQ(text.rfind("{D0330,0500,0300|}\n{C|}\n{SG;", 0), 0u);
  EXPECT_TRUE(text.ends_with("|}\n{XS;I,0003,0012C3000|}\n"));

  options.issue = false;
  std::ostringstream combined;
  WritePictureJob(combined, label, options);
  EXPECT_EQ(combined.str(),
            text.substr(0, text.size() - std::string("{XS;I,0003,0012C3000|}\n").size()));
}

TEST(PictureJob, LayoutsThatCannotPrintAreRefused) {
  struct Case {
    const char* name;
    std::function<void(PictureJobOptions&)> change;
    const char* message;
  } const kCases[] = {
      {"screen with a curve", [](auto& o) { o.curve = Brindle::kDarkCurve; },
       "The screens print with the normal curve only; choose the threshold or patterns method for "
       "another curve"},
      {"area past the label",
       [](auto& o) {
         o.area = Area{400, 0, 200, 100};
       },
       "The picture's area reaches past the label"},
      {"empty area",
       [](auto& o) {
         o.area = Area{0, 0, 0, 100};
       },
       "The picture's area is empty"},
      {"less than a dot",
       [](auto& o) {
         o.area = Area{0, 0, 1, 300};
       },
       "The picture would be less than a dot wide or high on this label"},
      {"no label", [](auto& o) { o.geometry.length = 0; }, "Label length must be at least 0.1 mm"},
  };
  for (const Case& c : kCases) {
    PictureJobOptions options;
    options.geometry = {500, 300, 30};
    c.change(options);
    try {
      (void)LayOutPicture(Gradient(200, 100), options);
      ADD_FAILURE() << c.name;
    } catch (const LabelJob::LabelJobException& e) {
      EXPECT_STREQ(e.what(), c.message) << c.name;
    }
  }
}

}  // namespace
}  // namespace Corvane::ImageTool
