#include "imagetool/options.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <optional>
#include <set>

#include "labeljob/choice_words.h"

namespace Corvane::ImageTool {

namespace {

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::uint32_t Millimetres(const std::string& option, const std::string& value,
                          std::uint32_t maximum) {
  const std::optional<std::uint32_t> tenths = LabelJob::ParseMillimetres(value);
  if (!tenths) {
    throw OptionException("The value of " + option + " must be a length in millimetres: " + value);
  }
  if (*tenths > maximum) {
    throw OptionException("The value of " + option + " must be at most " +
                          std::to_string(maximum / 10) + "." + std::to_string(maximum % 10) +
                          " mm: " + value);
  }
  return *tenths;
}

std::uint32_t Number(const std::string& option, const std::string& value, std::uint32_t low,
                     std::uint32_t high) {
  if (value.empty() || value.size() > 9 ||
      !std::ranges::all_of(value, [](unsigned char c) { return std::isdigit(c) != 0; })) {
    throw OptionException("The value of " + option + " must be a number: " + value);
  }
  const auto number = static_cast<std::uint32_t>(std::stoul(value));
  if (number < low || number > high) {
    throw OptionException("The value of " + option + " must be from " + std::to_string(low) +
                          " to " + std::to_string(high) + ": " + value);
  }
  return number;
}

// The meaning found for a word of a choice, or OptionException listing the
// choice's words in lower case.
template <typename T, typename Table, typename WordOf>
T Chosen(const std::string& option, const std::string& value, const std::optional<T>& meaning,
         const Table& table, WordOf wordOf) {
  if (meaning) return *meaning;
  std::string list;
  for (const auto& entry : table) list += (list.empty() ? "" : ", ") + Lower(wordOf(entry));
  throw OptionException("The value of " + option + " must be one of " + list + ": " + value);
}

// One of the words of a table, in any case.
template <typename T>
T Word(const std::string& option, const std::string& value,
       const std::vector<std::pair<std::string, T>>& words) {
  std::optional<T> meaning;
  for (const auto& [word, m] : words)
    if (Lower(value) == word) meaning = m;
  return Chosen(option, value, meaning, words, [](const auto& entry) { return entry.first; });
}

std::int32_t Method(const std::string& option, const std::string& value) {
  return Chosen(option, value, LabelJob::MethodNamed(value), LabelJob::kMethodWords,
                [](const LabelJob::MethodWord& entry) { return std::string(entry.word); });
}

std::uint32_t Curve(const std::string& option, const std::string& value) {
  return Chosen(option, value, LabelJob::CurveNamed(value), LabelJob::kCurveWords,
                [](std::string_view word) { return std::string(word); });
}

unsigned Resolution(const std::string& option, const std::string& value) {
  std::optional<unsigned> dotsPerInch;
  for (const LabelJob::Resolution& r : LabelJob::kResolutions)
    if (value == std::to_string(r.dotsPerInch)) dotsPerInch = r.dotsPerInch;
  return Chosen(option, value, dotsPerInch, LabelJob::kResolutions,
                [](const LabelJob::Resolution& r) { return std::to_string(r.dotsPerInch); });
}

const std::vector<std::pair<std::string, std::int32_t>> kRotations = {
    {"0", 0}, {"90", 1}, {"180", 2}, {"270", 3}};
const std::vector<std::pair<std::string, LabelJob::Sensor>> kSensors = {
    {"none", LabelJob::Sensor::kNone},
    {"transmissive", LabelJob::Sensor::kTransmissive},
    {"reflective", LabelJob::Sensor::kReflective},
};

// X,Y,WIDTH,HEIGHT in millimetres.
Area AreaValue(const std::string& option, const std::string& value) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t comma; (comma = value.find(',', start)) != std::string::npos;
       start = comma + 1) {
    parts.push_back(value.substr(start, comma - start));
  }
  parts.push_back(value.substr(start));
  if (parts.size() != 4) {
    throw OptionException("The value of " + option +
                          " must be X,Y,WIDTH,HEIGHT in millimetres: " + value);
  }
  constexpr std::uint32_t kMax = 99999;
  return {Millimetres(option, parts[0], kMax), Millimetres(option, parts[1], kMax),
          Millimetres(option, parts[2], kMax), Millimetres(option, parts[3], kMax)};
}

}  // namespace

std::string Usage() {
  return R"(Usage: vellum-image --width MM --length MM [options] PICTURE

Turns a picture (PNG, JPEG, TIFF or PNM; "-" for standard input) into a TPCL
print job for a TEC label printer, written to standard output or to -o FILE.

Label:
  --width MM              print width of the label (required)
  --length MM             length of the label (required)
  --gap MM                gap between labels (default 0)
  --resolution DPI        203, 300 or 600 (default 203)
Picture:
  --area X,Y,W,H          the picture's place on the label in mm from the top
                          left corner (default: the whole label)
  --stretch               fill the area; otherwise the picture keeps its
                          proportions, as large as fits, centred
  --rotate DEG            0, 90, 180 or 270, clockwise (default 0)
  --method NAME           screen1, screen2, screen32, threshold or patterns
                          (default screen1)
  --curve NAME            lightest, lighter, light, normal, dark, darker,
                          darkest (default normal; threshold and patterns)
Printing:
  --copies N              1 to 9999 (default 1)
  --sensor NAME           none, transmissive or reflective (default
                          transmissive)
  --cut                   cut after each label
  --strip                 strip mode (peel off each label)
  --ribbon                print with a ribbon (thermal transfer)
  --no-issue              leave out the issue command, to combine the job
                          with other TPCL
Output:
  -o, --output FILE       write the job to FILE, replacing it only once the
                          whole job is ready
  --help, --version
)";
}

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  CommandLine line;
  PictureJobOptions& job = line.job;
  bool width = false, length = false;
  using Setter = std::function<void(const std::string& option, const std::string& value)>;
  const std::map<std::string, Setter> withValue = {
      {"--width",
       [&](auto& n, auto& v) {
         job.geometry.width = Millimetres(n, v, 9999);
         width = true;
       }},
      {"--length",
       [&](auto& n, auto& v) {
         job.geometry.length = Millimetres(n, v, 99999);
         length = true;
       }},
      {"--gap", [&](auto& n, auto& v) { job.geometry.gap = Millimetres(n, v, 99999); }},
      {"--resolution", [&](auto& n, auto& v) { job.dotsPerInch = Resolution(n, v); }},
      {"--area", [&](auto& n, auto& v) { job.area = AreaValue(n, v); }},
      {"--rotate", [&](auto& n, auto& v) { job.quarterTurns = Word(n, v, kRotations); }},
      {"--method", [&](auto& n, auto& v) { job.method = Method(n, v); }},
      {"--curve", [&](auto& n, auto& v) { job.curve = Curve(n, v); }},
      {"--copies", [&](auto& n, auto& v) { job.issueOptions.copies = Number(n, v, 1, 9999); }},
      {"--sensor", [&](auto& n, auto& v) { job.issueOptions.sensor = Word(n, v, kSensors); }},
      {"--output",
       [&](auto& n, auto& v) {
         if (v.empty()) throw OptionException("The value of " + n + " must not be empty");
         line.output = v;
       }},
  };
  const std::map<std::string, std::function<void()>> flags = {
      {"--stretch", [&] { job.stretch = true; }},
      {"--cut", [&] { job.issueOptions.cut = true; }},
      {"--strip", [&] { job.issueOptions.strip = true; }},
      {"--ribbon", [&] { job.issueOptions.ribbon = true; }},
      {"--no-issue", [&] { job.issue = false; }},
      {"--help", [&] { line.help = true; }},
      {"-h", [&] { line.help = true; }},
      {"--version", [&] { line.version = true; }},
  };
  std::set<std::string> seen;
  std::vector<std::string> pictures;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string option = arguments[i];
    if (optionsEnded || option == "-" || !option.starts_with("-")) {
      pictures.push_back(option);
      continue;
    }
    if (option == "--") {
      optionsEnded = true;
      continue;
    }
    if (option == "-o") option = "--output";
    std::optional<std::string> value;
    if (const std::size_t equals = option.find('=');
        option.starts_with("--") && equals != std::string::npos) {
      value = option.substr(equals + 1);
      option.resize(equals);
    }
    if (const auto flag = flags.find(option); flag != flags.end() && !value) {
      flag->second();
    } else if (const auto setter = withValue.find(option); setter != withValue.end()) {
      if (!seen.insert(option).second) throw OptionException(option + " is given twice");
      if (!value) {
        if (i + 1 == arguments.size()) throw OptionException("Missing value after " + arguments[i]);
        value = arguments[++i];
      }
      setter->second(option, *value);
    } else {
      throw OptionException("Unknown option: " + arguments[i]);
    }
  }
  if (line.help || line.version) return line;
  if (pictures.size() > 1) throw OptionException("Only one picture at a time: " + pictures[1]);
  if (pictures.empty()) throw OptionException("No picture given");
  if (!width) throw OptionException("--width is required");
  if (!length) throw OptionException("--length is required");
  line.picture = pictures[0];
  return line;
}

}  // namespace Corvane::ImageTool
