// rastertovellum as CUPS runs it: the command line, the queue's PPD file and
// the job's streams.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Corvane::Driver {

// Runs the filter with CUPS's arguments (after the program name): job-id,
// user, title, copies, options and, optionally, the raster file (standard
// input without it). `ppd` is the queue's PPD file (CUPS's PPD variable),
// null or empty for none: its defaults are the options' defaults, which the
// job's options override, and its insertion lines are sent around the job and
// each label. The TPCL job goes to `out`, CUPS's message lines to `messages`.
// Returns 0 when every page became a label; otherwise 1, after an "ERROR:"
// line that says why. Everything the job needs from outside (the PPD, the
// insertion files, the options) is read before anything is written to `out`,
// so a missing insertion file fails the job with nothing sent. The PPD is
// read under a shared flock, which keeps out the exclusive one that `vellum
// setprejob` and its kin hold while they rewrite the file in place.
int RunFilter(const std::vector<std::string>& arguments, const char* ppd, int input,
              std::ostream& out, std::ostream& messages);

}  // namespace Corvane::Driver
