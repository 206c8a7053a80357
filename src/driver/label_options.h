// How the driver prints a label: the queue's choices for halftoning, darkness,
// media tracking, gap, cut, strip and ribbon, by the names the PPD gives them.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "graphics/tone_curves.h"
#include "labeljob/label_job.h"

namespace Corvane::Driver {

struct LabelOptions {
  std::int32_t method = Brindle::kFixedThresholdMethod;
  std::uint32_t curve = Brindle::kNormalCurve;
  std::uint32_t gap = 30;  // tenths of a millimetre between labels
  LabelJob::IssueOptions issue;
};

// The PPD keywords of the options, with the choices each takes (words in any
// case):
//   TECHalftone       the methods of LabelJob::kMethodWords
//   Darkness          the curves of LabelJob::kCurveWords
//   TECMediaTracking  Gap (transmissive sensor), Mark (reflective), Continuous (none)
//   TECLabelGap       a length in millimetres (LabelJob::ParseMillimetres), up to 100 mm
//   TECCut, TECStrip, TECRibbon  True or False (also yes/no, on/off)
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
//                  (LabelJob::kMethodWords's order)
//   cupsInteger[1] darkness: the tone curve + 1 (1 Lightest .. 7 Darkest)
//   cupsInteger[2] media tracking: 1 continuous, 2 gap, 3 mark
//   cupsInteger[3] gap: tenths of a millimetre + 1
//   cupsInteger[4..6] cut, strip, ribbon: 1 off, 2 on
// Throws Corvane::InvalidFormatException naming the field for a value outside
// these.
LabelOptions ApplyPageHeader(LabelOptions base, const cups_page_header2_t& header);

}  // namespace Corvane::Driver
