// The TPCL of one printed picture: the label size, clearing the printer's
// image buffer, the label's dots as TOPIX bitmap graphics and the issue
// command. Every program of ours that turns pictures into labels writes its
// jobs through these, so `vellum render` and a printer see the same commands
// from all of them.
//
// Lengths are tenths of a millimetre, as TPCL counts them. Failures are
// LabelJobException with a message that names the value and its limits; the
// stream functions check everything before they write a byte.
#pragma once

#include <array>
#include <cstdint>
#include <ostream>

#include "core/exception.h"
#include "graphics/bitmap.h"

namespace Corvane::LabelJob {

// A value that cannot go into a label job.
CORVANE_MESSAGE_EXCEPTION(LabelJobException, Exception);

enum class Sensor { kNone, kTransmissive, kReflective };

struct LabelGeometry {       // tenths of a millimetre
  std::uint32_t width = 0;   // print width, 1..9999
  std::uint32_t length = 0;  // label length, at least 1 (pitch = length + gap)
  std::uint32_t gap = 0;     // pitch up to 99999

  [[nodiscard]] std::uint32_t Pitch() const { return length + gap; }
};

struct IssueOptions {
  std::uint32_t copies = 1;  // 1..9999
  Sensor sensor = Sensor::kTransmissive;
  bool cut = false, strip = false, ribbon = false;
};

struct Resolution {
  unsigned dotsPerInch;        // as people name it
  unsigned dotsPerMillimetre;  // the print head's own measure
};

// The print heads: 8, 12 and 24 dots per millimetre, which are 203.2, 304.8
// and 609.6 dots per inch and go by 203, 300 and 600 dpi.
inline constexpr std::array<Resolution, 3> kResolutions = {{{203, 8}, {300, 12}, {600, 24}}};

// 203, 300, 600 dpi -> 8, 12, 24 dots per millimetre; anything else throws
// LabelJobException.
[[nodiscard]] unsigned DotsPerMillimetre(unsigned dotsPerInch);

// Throws LabelJobException unless the geometry fits the label-size command:
// width 1..9999, length at least 1, pitch (length + gap) up to 99999.
void CheckGeometry(const LabelGeometry& geometry);

// The most dots a label canvas may have: 32 MiB of bitmap, some 170 x 650 mm
// at 600 dpi. The label-size command reaches labels a hundred times larger,
// whose canvas and halftoning would take many gigabytes.
inline constexpr std::uint64_t kMaxCanvasDots = std::uint64_t{1} << 28;

// Throws LabelJobException unless LabelCanvas can make the label's canvas:
// the geometry as CheckGeometry checks it, a resolution of 8, 12 or 24 dots
// per millimetre, and "The label is too large at this resolution (W x H dots;
// at most 268 million)" past kMaxCanvasDots.
void CheckCanvas(const LabelGeometry& geometry, unsigned dotsPerMillimetre);

// A white one-bit canvas of the label at that resolution, sized as `vellum
// render` sizes it for the label-size command WriteLabelSize writes: print
// width by pitch (the gap's rows stay white), dots = dots/mm x tenths / 10.
// Checks first as CheckCanvas does.
[[nodiscard]] Brindle::Bitmap LabelCanvas(const LabelGeometry& geometry,
                                          unsigned dotsPerMillimetre);

// {Dpitch,width,length|} and a line feed: pitch and length four or five
// digits, width four. Checks the geometry first.
void WriteLabelSize(std::ostream& output, const LabelGeometry& geometry);

// {C|} and a line feed: the printer's image buffer is cleared.
void WriteClearImageBuffer(std::ostream& output);

// The canvas as TOPIX graphics commands, {SG;x,y,width,height,3,<count><lines>|}
// each followed by a line feed, placed so that `vellum render` (and a printer)
// draws exactly the canvas's dots on a label canvas of the same size:
// - columns of at most 4096 dots (TOPIX's widest row), each starting on a
//   whole byte of the canvas;
// - bands of rows whose TOPIX lines fit the two-byte count (at most 65535
//   bytes), each starting on a row that a Y in tenths of a millimetre reaches
//   exactly at this resolution;
// - rows without a dot are left out wherever that saves bytes (the printer's
//   buffer was cleared), so an all-white canvas writes nothing.
// The canvas's padding bits must be 0. Throws LabelJobException for a
// resolution other than 8, 12 or 24 dots/mm or a canvas taller than a Y
// field can reach.
void WriteGraphics(std::ostream& output, const Brindle::Bitmap& canvas, unsigned dotsPerMillimetre);

// {XS;I,copies,<cut><sensor><mode>3<ribbon>00|} and a line feed: the fields
// `vellum feedlabel` sends, after the copies in four digits. The cut is the
// issue command's three-digit cut interval (000 never, 001 after every
// label); the sensor 0 none, 1 reflective, 2 transmissive; the mode C
// (batch) or D (strip); 3 the speed feedlabel uses; the ribbon 0 or 1; the
// last two are no tag rotation and no status reply. Throws LabelJobException
// for copies outside 1..9999.
void WriteIssue(std::ostream& output, const IssueOptions& options);

}  // namespace Corvane::LabelJob
