// Rewrites an arbitrary PPD text with an arbitrary insertion value. The input
// is: one byte choosing the keyword and the type, the value up to the first
// NUL byte, then the PPD text. The refusals the commands report end a run
// normally; a rewrite that changes the number of lines, anything else, or any
// sanitizer report is a finding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/exception.h"
#include "ppd/ppd_insertion.h"

namespace {

std::size_t Lines(std::string_view text) {
  return std::count(text.begin(), text.end(), '\n') +
         (text.empty() || text.ends_with('\n') ? 0 : 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Corvane::Vellum::Commands;
  static const char* const kKeywords[] = {"PreJob", "PostJob", "PreLabel", "PostLabel"};
  static const char* const kTypes[] = {"string", "file", "String"};
  if (size == 0) return 0;
  const std::string keyword = kKeywords[data[0] % 4];
  const std::string type = kTypes[(data[0] >> 2) % 3];
  const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t nul = rest.find('\0');
  const std::string value(rest.substr(0, nul));
  const std::string_view ppd = nul == std::string_view::npos ? "" : rest.substr(nul + 1);
  try {
    const Insertion insertion = MakeInsertion(keyword, type, value);
    const std::string rewritten = ReplaceInsertion(ppd, keyword, insertion.line);
    if (Lines(rewritten) != Lines(ppd) || !rewritten.ends_with('\n')) std::abort();
  } catch (const Corvane::Exception&) {
  }
  return 0;
}
