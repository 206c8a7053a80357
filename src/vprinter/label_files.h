// The files of one printed label in the output directory:
// label-NNNNNN.tif (one bit per dot, resolution tag in dots per inch),
// label-NNNNNN.png (the same picture, for a browser) and label-NNNNNN.prn
// (the raw bytes of the job that issued it). Each file is written under a
// temporary name and renamed when complete; the .prn comes last, so once it
// is there the label's other files are too.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "graphics/bitmap.h"
#include "vprinter/job_record.h"

namespace Corvane::VirtualPrinter {

// One label to print: a copy of an issued job or a fed blank label.
struct LabelJob {
  std::uint64_t number = 0;
  std::uint64_t connection = 0;
  std::string description;                              // "label 1 of 2", "fed blank label"
  std::shared_ptr<const Brindle::Bitmap> image;         // none: no preview is made
  std::shared_ptr<const JobRecord> record;              // the job's bytes; none: not kept
  std::shared_ptr<const std::vector<std::string>> log;  // the job's log lines
};

struct OutputOptions {
  std::filesystem::path directory = ".";
  unsigned dotsPerInch = 203;
  bool tiff = true;
  bool png = true;
};

class LabelFiles {
 public:
  explicit LabelFiles(OutputOptions options);

  // Creates the directory if needed, removes temporary files that an earlier
  // run left when it was killed, and returns the number after the highest
  // label already there (1 in an empty directory), so nothing is overwritten.
  std::uint64_t Prepare() const;

  // Writes the label's files and returns their names. Throws
  // Corvane::IOException when one cannot be written; the files written before
  // it stay, complete.
  std::vector<std::string> Write(const LabelJob& job) const;

  static std::string BaseName(std::uint64_t number);
  [[nodiscard]] const OutputOptions& Options() const { return options_; }

 private:
  OutputOptions options_;
};

// A one-bit bitmap as a PNG file: grey, one bit per pixel, a printed dot
// black, with the resolution in its pHYs chunk. Throws Corvane::IOException
// when libpng fails.
std::string EncodePNG(const Brindle::Bitmap& bitmap, unsigned dotsPerInch);

}  // namespace Corvane::VirtualPrinter
