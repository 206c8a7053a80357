// A picture laid out on a label and turned into a TPCL print job: where the
// picture goes, how its grey becomes dots, and what the job asks the printer
// to do with the label.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <vector>

#include "graphics/bitmap.h"
#include "graphics/bitmap_from_image.h"
#include "graphics/image.h"
#include "labeljob/label_job.h"

namespace Corvane::ImageTool {

// A rectangle on the label, in tenths of a millimetre from its top left corner.
struct Area {
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

struct PictureJobOptions {
  LabelJob::LabelGeometry geometry;
  unsigned dotsPerInch = 203;
  std::int32_t method = Brindle::kFirstScreenMethod;
  std::uint32_t curve = Brindle::kNormalCurve;
  std::int32_t quarterTurns = 0;  // clockwise
  // Where the picture goes; the whole label (width by length) when absent.
  std::optional<Area> area;
  // Fill the area, changing the picture's proportions; otherwise the picture
  // is as large as fits the area with its proportions kept, centred in it.
  bool stretch = false;
  bool issue = true;  // end with the issue command
  LabelJob::IssueOptions issueOptions;
};

// The label's dots: the canvas that the job carries, and the bitmap that the
// halftoning made of the picture with its place on the canvas in dots.
struct PictureLabel {
  Brindle::Bitmap canvas;
  Brindle::Bitmap dots;
  std::uint64_t left = 0;
  std::uint64_t top = 0;
};

// Checks that the options make a job: the label (LabelJob::CheckCanvas), the
// area inside the label, and a screen method only with the normal curve
// (the screens have no tone curve). Throws LabelJob::LabelJobException.
void CheckOptions(const PictureJobOptions& options);

// Scales, turns and halftones the picture (Brindle::BitmapFromImage) to its
// place and draws it on a white label. Throws LabelJob::LabelJobException
// when the options are wrong (CheckOptions) or the picture would be less than
// a dot in either direction, and Brindle exceptions for a picture the
// halftoning does not take.
[[nodiscard]] PictureLabel LayOutPicture(const Brindle::Image& picture,
                                         const PictureJobOptions& options);

// Label size, clear, graphics and (unless options.issue is false) the issue
// command.
void WritePictureJob(std::ostream& output, const PictureLabel& label,
                     const PictureJobOptions& options);

// The same job as bytes in memory, made in room reserved for it up front:
// a job is about as large as its canvas, and growing a buffer step by step
// would copy it several times over.
[[nodiscard]] std::vector<unsigned char> PictureJobBytes(const PictureLabel& label,
                                                         const PictureJobOptions& options);

// Copies `dots` onto `canvas` with its top left corner at dot (left, top),
// bit for bit (no rounding to whole bytes), clipped at the canvas's edges.
// Dots already on the canvas stay (the bits are ORed in).
void DrawAt(Brindle::Bitmap& canvas, const Brindle::Bitmap& dots, std::uint64_t left,
            std::uint64_t top);

}  // namespace Corvane::ImageTool
