#include "driver/label_options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string_view>

#include "core/exception.h"
#include "labeljob/choice_words.h"

namespace Corvane::Driver {
namespace {

using LabelJob::Sensor;

// Index + 1 = the page header's value.
constexpr std::array<std::pair<std::string_view, Sensor>, 3> kTracking = {{
    {"Continuous", Sensor::kNone},
    {"Gap", Sensor::kTransmissive},
    {"Mark", Sensor::kReflective},
}};

// The longest gap the PPD offers is 10 mm; a little more room for custom
// values, and the label-size command's pitch stays far from its limit.
constexpr std::uint32_t kLargestGap = 1000;

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

std::optional<bool> ParseBoolean(const std::string& choice) {
  const std::string lower = Lower(choice);
  if (lower == "true" || lower == "yes" || lower == "on") return true;
  if (lower == "false" || lower == "no" || lower == "off") return false;
  return std::nullopt;
}

template <typename Table>
auto Find(const Table& table, const std::string& choice)
    -> std::optional<decltype(table[0].second)> {
  for (const auto& [name, value] : table)
    if (name == choice) return value;
  return std::nullopt;
}

// Applies one choice; false when the option does not take it.
bool Apply(LabelOptions& options, const std::string& keyword, const std::string& choice) {
  if (keyword == "TECHalftone") {
    const auto method = LabelJob::MethodNamed(choice);
    if (method) options.method = *method;
    return method.has_value();
  }
  if (keyword == "Darkness") {
    const auto curve = LabelJob::CurveNamed(choice);
    if (curve) options.curve = *curve;
    return curve.has_value();
  }
  if (keyword == "TECMediaTracking") {
    const auto sensor = Find(kTracking, choice);
    if (sensor) options.issue.sensor = *sensor;
    return sensor.has_value();
  }
  if (keyword == "TECLabelGap") {
    const auto gap = LabelJob::ParseMillimetres(choice);
    if (!gap || *gap > kLargestGap) return false;
    options.gap = *gap;
    return true;
  }
  const std::optional<bool> on = ParseBoolean(choice);
  if (!on) return false;
  if (keyword == "TECCut") options.issue.cut = *on;
  if (keyword == "TECStrip") options.issue.strip = *on;
  if (keyword == "TECRibbon") options.issue.ribbon = *on;
  return true;
}

// A header field: 0 = not given, else 1..count.
unsigned HeaderChoice(const cups_page_header2_t& header, int field, unsigned count,
                      const char* what) {
  const unsigned value = header.cupsInteger[field];
  if (value > count) {
    throw InvalidFormatException("The page header's cupsInteger" + std::to_string(field) + " (" +
                                 what + ") is " + std::to_string(value) + "; it takes 0 to " +
                                 std::to_string(count));
  }
  return value;
}

void HeaderBoolean(const cups_page_header2_t& header, int field, const char* what, bool& option) {
  if (const unsigned value = HeaderChoice(header, field, 2, what)) option = value == 2;
}

}  // namespace

LabelOptions ApplyChoices(LabelOptions base, const std::map<std::string, std::string>& choices,
                          std::vector<std::string>& warnings) {
  for (const char* keyword : kOptionKeywords) {
    const auto choice = choices.find(keyword);
    if (choice == choices.end()) continue;
    if (!Apply(base, keyword, choice->second)) {
      warnings.push_back(std::string(keyword) + "=" + choice->second +
                         " is not a choice of this driver; it is ignored");
    }
  }
  return base;
}

LabelOptions ApplyPageHeader(LabelOptions base, const cups_page_header2_t& header) {
  if (const unsigned value = HeaderChoice(header, 0, LabelJob::kMethodWords.size(), "halftoning"))
    base.method = LabelJob::kMethodWords[value - 1].method;
  if (const unsigned value = HeaderChoice(header, 1, LabelJob::kCurveWords.size(), "darkness"))
    base.curve = value - 1;
  if (const unsigned value = HeaderChoice(header, 2, kTracking.size(), "media tracking"))
    base.issue.sensor = kTracking[value - 1].second;
  if (const unsigned value = HeaderChoice(header, 3, kLargestGap + 1, "gap")) base.gap = value - 1;
  HeaderBoolean(header, 4, "cut", base.issue.cut);
  HeaderBoolean(header, 5, "strip", base.issue.strip);
  HeaderBoolean(header, 6, "ribbon", base.issue.ribbon);
  return base;
}

}  // namespace Corvane::Driver
