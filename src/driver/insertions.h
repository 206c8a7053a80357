// The TPCL that a queue's PPD file asks to be sent before and after each job
// and each label: the lines that `vellum setprejob`, `setpostjob`,
// `setprelabel` and `setpostlabel` edit.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Corvane::Driver {

// The bytes of the four insertions, ready to be sent; empty when the PPD has
// no such line or an empty value.
struct Insertions {
  std::string preJob;
  std::string postJob;
  std::string preLabel;
  std::string postLabel;
};

// The largest file an insertion may name; a longer one (or a device that never
// ends) is refused rather than read into memory.
inline constexpr std::size_t kLargestInsertionFile = 16 << 20;

// Reads the four insertion lines of the PPD text. A String value has its
// backslash escapes decoded, as `vellum tpcl` decodes them; a File value names
// a file (its escapes decoded too) whose bytes are the insertion. Throws
// Corvane::IOException "Unable to read the <which> insertion file <path>:
// <reason>" for a file that cannot be read, is not a regular file (a pipe or
// a device might never end) or is larger than kLargestInsertionFile;
// UnknownEscapeException "The <which> insertion holds an unknown escape \q";
// and what Vellum::Commands::FindInsertion throws for a malformed line.
Insertions ReadInsertions(std::string_view ppd);

}  // namespace Corvane::Driver
