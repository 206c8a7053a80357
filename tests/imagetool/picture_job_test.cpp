// Pictures laid out on labels: where they go, and the layouts that cannot
// print. (image_binary_test renders the jobs back.)
#include "imagetool/picture_job.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>

namespace Corvane::ImageTool {
namespace {

// A grey picture; its greys do not matter here.
Brindle::Image Grey(unsigned width, unsigned height) { return Brindle::Image(8, 1, width, height); }

TEST(PictureJob, PictureIsFittedAndCentred) {
  const struct {
    unsigned width, height;  // picture pixels
    std::int32_t turns;
    std::optional<Area> area;
    bool stretch;
    std::uint64_t left, top, dotsWide, dotsHigh;  // at 8 dots/mm on a 50 x 30 mm label
  } kCases[] = {
      {300, 200, 0, {}, false, 20, 0, 360, 240},  // as high as the label, centred across
      {200, 300, 1, {}, false, 20, 0, 360, 240},  // turned: the same
      {500, 100, 0, {}, false, 0, 80, 400, 80},   // as wide as the label, centred down
      {300, 200, 0, {}, true, 0, 0, 400, 240},    // stretched over the label
      {100, 100, 0, Area{100, 50, 200, 100}, false, 120, 40, 80, 80},
      {100, 100, 2, Area{100, 50, 200, 100}, true, 80, 40, 160, 80},
  };
  for (const auto& c : kCases) {
    PictureJobOptions options;
    options.geometry = {500, 300, 30};
    options.quarterTurns = c.turns;
    options.area = c.area;
    options.stretch = c.stretch;
    const PictureLabel label = LayOutPicture(Grey(c.width, c.height), options);
    EXPECT_EQ(label.canvas.Height(), 264u);  // the pitch: the gap's rows are white
    EXPECT_EQ((std::array<std::uint64_t, 4>{label.left, label.top, label.dots.Width(),
                                            label.dots.Height()}),
              (std::array<std::uint64_t, 4>{c.left, c.top, c.dotsWide, c.dotsHigh}))
        << c.width << "x" << c.height;
  }
}

TEST(PictureJob, LayoutsThatCannotPrintAreRefused) {
  const struct {
    std::uint32_t curve;
    std::optional<Area> area;
    const char* message;
  } kCases[] = {
      {Brindle::kDarkCurve,
       {},
       "The screens print with the normal curve only; choose the threshold or patterns method for "
       "another curve"},
      {Brindle::kNormalCurve, Area{400, 0, 200, 100}, "The picture's area reaches past the label"},
      {Brindle::kNormalCurve, Area{0, 0, 0, 100}, "The picture's area is empty"},
      {Brindle::kNormalCurve, Area{0, 0, 1, 300},
       "The picture would be less than a dot wide or high on this label"},
  };
  for (const auto& c : kCases) {
    PictureJobOptions options;
    options.geometry = {500, 300, 30};
    options.curve = c.curve;
    options.area = c.area;
    try {
      (void)LayOutPicture(Grey(200, 100), options);
      ADD_FAILURE() << c.message;
    } catch (const LabelJob::LabelJobException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

}  // namespace
}  // namespace Corvane::ImageTool
