// The filter's work: a CUPS raster job in, a TPCL job out, one label per page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "core/exception.h"
#include "driver/insertions.h"
#include "driver/label_options.h"
#include "driver/raster_input.h"

namespace Corvane::Driver {

// A page that could not become a label: "Page <n>: <reason>".
CORVANE_MESSAGE_EXCEPTION(PageException, Exception);

struct JobSettings {
  Insertions insertions;
  LabelOptions options;      // the job's; a page header may override them
  std::uint32_t copies = 1;  // each label is issued this many times, 1..9999
};

// Writes the job to `out`: the pre-job insertion; per page, the pre-label
// insertion, the label size, clearing the image buffer, the page's dots as
// TOPIX graphics, the issue command with the copies and the post-label
// insertion; then the post-job insertion. Progress goes to `messages` as CUPS
// reads a filter's standard error: "INFO:", "WARNING:", "DEBUG:" and "PAGE:"
// lines.
//
// Each label is made whole in memory and written in one piece, only once its
// page has been read to the end, so a page that fails leaves every label
// before it whole and issued, and nothing of its own. Then the post-job
// insertion is written and PageException is thrown. A failed write to `out`
// throws Corvane::IOException "Unable to write the job". Returns the number
// of labels written.
std::size_t WriteJob(RasterInput& input, const JobSettings& settings, std::ostream& out,
                     std::ostream& messages);

}  // namespace Corvane::Driver
