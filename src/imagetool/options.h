// The command line of vellum-image.
#pragma once

#include <string>
#include <vector>

#include "core/exception.h"
#include "imagetool/picture_job.h"

namespace Corvane::ImageTool {

// A command line that cannot be used; the message names the option.
CORVANE_MESSAGE_EXCEPTION(OptionException, Exception);

struct CommandLine {
  PictureJobOptions job;
  std::string picture;  // "-" is standard input
  std::string output;   // empty: standard output
  bool help = false;
  bool version = false;
};

// Reads the arguments after the program name. Options take their value as
// the next argument or after "=" (--width=50); "--" ends the options. Lengths
// are millimetres, rounded to the nearest tenth. Throws OptionException for
// an unknown option, a missing, repeated or bad value, or a missing
// --width, --length or picture (unless --help or --version is given).
CommandLine ParseCommandLine(const std::vector<std::string>& arguments);

// The text of --help.
std::string Usage();

}  // namespace Corvane::ImageTool
