// How the driver prints a label: the queue's choices for halftoning, darkness,
// media tracking, gap, cut, strip and ribbon, by the names the PPD gives them.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "labeljob/label_job.h"

namespace Corvane::Driver {

// The halftoning methods of the bitmap-from-image operation, as the PPD's
// TECHalftone choices name them.
enum class Halftone { kScreen1, kScreen2, kScreen32, kThreshold, kPatterns };

struct LabelOptions {
  Halftone halftone = Halftone::kThreshold;
  std::uint32_t curve = 3;  // tone curve: 0 Lightest .. 3 Normal .. 6 Darkest
  std::uint32_t gap = 30;   // tenths of a millimetre between labels
  LabelJob::IssueOptions issue;
};

// The PPD keywords of the options, with the choices each takes:
//   TECHalftone       Threshold, Screen1, Screen2, Screen32, Patterns
//   Darkness          Lightest, Lighter, Light, Normal, Dark, Darker, Darkest
//   TECMediaTracking  Gap (transmissive sensor), Mark (reflective), Continuous (none)
//   TECLabelGap       a length in millimetres with at most one decimal: 3mm, 2.5mm
//   TECCut, TECStrip, TECRibbon  True or False (also yes/no, on/off, any case)
inline const char* const kOptionKeywords[] = {"TECHalftone", "Darkness", "TECMediaTracking",
                                              "TECLabelGap", "TECCut",   "TECStrip",
                                              "TECRibbon"};

// The options for the choices given by keyword, applied in turn on `base`.
// Keywords of other options are ignored. A choice that the option does not
// take leaves the option as it was and adds a sentence to `warnings`.
LabelOptions ApplyChoices(LabelOptions base, const std::map<std::string, std::string>& choices,
                          std::vector<std::string>& warnings);

// The page header's word on the options, which wins over the job's: each
// choice of the PPD sets one cupsInteger field (setpagedevice code that the
// rasterizer runs), and a field left 0 leaves the option as it is.
//   cupsInteger[0] halftoning: 1 Screen1, 2 Screen2, 3 Screen32, 4 Threshold, 5 Patterns
//   cupsInteger[1] darkness: the tone curve + 1 (1 Lightest .. 7 Darkest)
//   cupsInteger[2] media tracking: 1 continuous, 2 gap, 3 mark
//   cupsInteger[3] gap: tenths of a millimetre + 1
//   cupsInteger[4..6] cut, strip, ribbon: 1 off, 2 on
// Throws Corvane::InvalidFormatException naming the field for a value outside
// these.
LabelOptions ApplyPageHeader(LabelOptions base, const cups_page_header2_t& header);

// The method code of Brindle::BitmapFromImage for a halftoning choice.
std::int32_t DitherMethod(Halftone halftone);

// The screens dither with the normal tone curve only.
inline bool TakesToneCurve(Halftone halftone) {
  return halftone == Halftone::kThreshold || halftone == Halftone::kPatterns;
}

}  // namespace Corvane::Driver
