#include "driver/ppd_choices.h"

#include <cups/cups.h>

#include "core/exception.h"

// libcups marks its whole PPD interface deprecated in favour of IPP
// attributes, yet a CUPS driver with a PPD file reads its choices through it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <cups/ppd.h>

namespace Corvane::Driver {

Choices PPDDefaultChoices(const std::string& path) {
  ppd_file_t* ppd = ppdOpenFile(path.c_str());
  if (ppd == nullptr) {
    int line = 0;
    const ppd_status_t status = ppdLastError(&line);
    std::string reason = ppdErrorString(status);
    if (status != PPD_FILE_OPEN_ERROR) reason += " on line " + std::to_string(line);
    throw IOException("Unable to read the PPD file " + path + ": " + reason);
  }
  Choices choices;
  for (const ppd_option_t* option = ppdFirstOption(ppd); option != nullptr;
       option = ppdNextOption(ppd))
    choices[option->keyword] = option->defchoice;
  ppdClose(ppd);
  return choices;
}

Choices JobChoices(const std::string& options) {
  cups_option_t* parsed = nullptr;
  const int count = cupsParseOptions(options.c_str(), 0, &parsed);
  Choices choices;
  for (int i = 0; i < count; ++i) choices[parsed[i].name] = parsed[i].value;
  cupsFreeOptions(count, parsed);
  return choices;
}

}  // namespace Corvane::Driver

#pragma GCC diagnostic pop
