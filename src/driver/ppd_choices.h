// The choices a job arrives with: the defaults of the queue's PPD file and the
// options of the job itself, both by PPD keyword.
#pragma once

#include <map>
#include <string>

namespace Corvane::Driver {

using Choices = std::map<std::string, std::string>;

// The default choice of every option of the PPD file at `path`, read with
// libcups's PPD reader. Throws Corvane::IOException "Unable to read the PPD
// file <path>: <reason>" (with the line for a syntax error).
Choices PPDDefaultChoices(const std::string& path);

// The job's options as CUPS hands them to a filter ("name=value name2=value2",
// quoting as lp allows), parsed by libcups.
Choices JobChoices(const std::string& options);

}  // namespace Corvane::Driver
