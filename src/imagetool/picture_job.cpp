#include "imagetool/picture_job.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "graphics/streams/vector_stream_buffer.h"
#include "labeljob/choice_words.h"
#include "tpcl/graphics_command.h"

namespace Corvane::ImageTool {

namespace {

using LabelJob::LabelJobException;

Area WholeLabel(const PictureJobOptions& options) {
  return {0, 0, options.geometry.width, options.geometry.length};
}

// The picture's size in tenths inside the area: the area itself when
// stretched, else as large as fits with the turned picture's proportions.
struct Size {
  std::uint64_t width;
  std::uint64_t height;
};
Size FittedSize(const Area& area, std::uint64_t pictureWidth, std::uint64_t pictureHeight,
                bool stretch) {
  if (stretch) return {area.width, area.height};
  if (std::uint64_t{area.width} * pictureHeight <= std::uint64_t{area.height} * pictureWidth) {
    return {area.width, std::uint64_t{area.width} * pictureHeight / pictureWidth};
  }
  return {std::uint64_t{area.height} * pictureWidth / pictureHeight, area.height};
}

}  // namespace

void CheckOptions(const PictureJobOptions& options) {
  LabelJob::CheckCanvas(options.geometry, LabelJob::DotsPerMillimetre(options.dotsPerInch));
  if (options.area) {
    const Area& a = *options.area;
    if (a.width == 0 || a.height == 0) throw LabelJobException("The picture's area is empty");
    if (std::uint64_t{a.x} + a.width > options.geometry.width ||
        std::uint64_t{a.y} + a.height > options.geometry.length) {
      throw LabelJobException("The picture's area reaches past the label");
    }
  }
  if (!LabelJob::TakesToneCurve(options.method) && options.curve != Brindle::kNormalCurve) {
    throw LabelJobException(
        "The screens print with the normal curve only; choose the threshold or patterns method "
        "for another curve");
  }
  if (options.quarterTurns < 0 || options.quarterTurns > 3) {
    throw LabelJobException("The rotation must be 0, 90, 180 or 270 degrees");
  }
}

PictureLabel LayOutPicture(const Brindle::Image& picture, const PictureJobOptions& options) {
  CheckOptions(options);
  const unsigned dotsPerMillimetre = LabelJob::DotsPerMillimetre(options.dotsPerInch);
  const Area area = options.area.value_or(WholeLabel(options));
  const bool turned = options.quarterTurns % 2 == 1;
  const std::uint64_t pictureWidth = turned ? picture.Height() : picture.Width();
  const std::uint64_t pictureHeight = turned ? picture.Width() : picture.Height();
  if (pictureWidth == 0 || pictureHeight == 0) throw LabelJobException("The picture has no pixels");
  const Size size = FittedSize(area, pictureWidth, pictureHeight, options.stretch);
  const std::uint64_t width = TPCL::Dots(dotsPerMillimetre, size.width);
  const std::uint64_t height = TPCL::Dots(dotsPerMillimetre, size.height);
  if (width == 0 || height == 0) {
    throw LabelJobException("The picture would be less than a dot wide or high on this label");
  }

  PictureLabel label{
      LabelJob::LabelCanvas(options.geometry, dotsPerMillimetre),
      Brindle::BitmapFromImage(picture, {0, 0, size.width, size.height}, dotsPerMillimetre,
                               options.quarterTurns, options.method, options.curve)};
  // Centred in the area's dots: the area's edges are where render would put
  // its corners, and the picture splits what is left over between the sides.
  const std::uint64_t areaLeft = TPCL::Dots(dotsPerMillimetre, area.x);
  const std::uint64_t areaTop = TPCL::Dots(dotsPerMillimetre, area.y);
  const std::uint64_t areaWidth =
      TPCL::Dots(dotsPerMillimetre, std::uint64_t{area.x} + area.width) - areaLeft;
  const std::uint64_t areaHeight =
      TPCL::Dots(dotsPerMillimetre, std::uint64_t{area.y} + area.height) - areaTop;
  label.left = areaLeft + (areaWidth - std::min(areaWidth, label.dots.Width())) / 2;
  label.top = areaTop + (areaHeight - std::min(areaHeight, label.dots.Height())) / 2;
  DrawAt(label.canvas, label.dots, label.left, label.top);
  return label;
}

void WritePictureJob(std::ostream& output, const PictureLabel& label,
                     const PictureJobOptions& options) {
  const unsigned dotsPerMillimetre = LabelJob::DotsPerMillimetre(options.dotsPerInch);
  LabelJob::WriteLabelSize(output, options.geometry);
  LabelJob::WriteClearImageBuffer(output);
  LabelJob::WriteGraphics(output, label.canvas, dotsPerMillimetre);
  if (options.issue) LabelJob::WriteIssue(output, options.issueOptions);
}

std::vector<unsigned char> PictureJobBytes(const PictureLabel& label,
                                           const PictureJobOptions& options) {
  // TOPIX takes at most 73 bytes more for a row of 512 (a seventh), and each
  // graphics command and the other commands some dozens.
  const std::uint64_t canvas = label.canvas.DataSize();
  std::vector<unsigned char> job;
  job.reserve(canvas + canvas / 7 + 4096);
  Corvane::OutputVectorStreamBuffer buffer(job);
  std::ostream output(&buffer);
  WritePictureJob(output, label, options);
  return job;
}

void DrawAt(Brindle::Bitmap& canvas, const Brindle::Bitmap& dots, std::uint64_t left,
            std::uint64_t top) {
  if (left >= canvas.Width() || top >= canvas.Height()) return;
  const std::uint64_t width = std::min(dots.Width(), canvas.Width() - left);
  const std::uint64_t height = std::min(dots.Height(), canvas.Height() - top);
  const std::uint64_t sourceRow = dots.BytesPerRow();
  const std::uint64_t targetRow = canvas.BytesPerRow();
  const unsigned shift = left % 8;
  const std::uint64_t sourceBytes = (width + 7) / 8;
  // The last source byte may carry dots past `width` (clipped off at the
  // canvas's right edge); they are masked away.
  const unsigned tail = static_cast<unsigned>(width % 8);
  const auto lastMask = static_cast<unsigned char>(tail == 0 ? 0xFF : 0xFF << (8 - tail));
  unsigned char* target = canvas.Data().data();
  const unsigned char* source = dots.Data().data();
  for (std::uint64_t y = 0; y < height; ++y) {
    const unsigned char* in = source + y * sourceRow;
    unsigned char* out = target + (top + y) * targetRow + left / 8;
    if (shift == 0) {
      // On whole bytes (a picture fitted to the label's width, say): a plain
      // OR of the rows, eight bytes a step.
      std::uint64_t i = 0;
      for (; i + 9 <= sourceBytes; i += 8) {
        std::uint64_t a, b;
        std::memcpy(&a, out + i, 8);
        std::memcpy(&b, in + i, 8);
        a |= b;
        std::memcpy(out + i, &a, 8);
      }
      for (; i + 1 < sourceBytes; ++i) out[i] |= in[i];
      if (sourceBytes != 0) out[sourceBytes - 1] |= in[sourceBytes - 1] & lastMask;
      continue;
    }
    for (std::uint64_t i = 0; i < sourceBytes; ++i) {
      unsigned byte = in[i];
      if (i + 1 == sourceBytes) byte &= lastMask;
      out[i] |= static_cast<unsigned char>(byte >> shift);
      if (shift != 0 && ((byte << (8 - shift)) & 0xFF) != 0) {
        out[i + 1] |= static_cast<unsigned char>(byte << (8 - shift));
      }
    }
  }
}

}  // namespace Corvane::ImageTool
