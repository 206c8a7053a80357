#include "labeljob/choice_words.h"

#include <algorithm>
#include <cctype>

namespace Corvane::LabelJob {

namespace {

bool SameWord(std::string_view a, std::string_view b) {
  return std::ranges::equal(
      a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

bool AllDigits(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c) != 0; });
}

}  // namespace

std::optional<std::int32_t> MethodNamed(std::string_view word) {
  for (const MethodWord& entry : kMethodWords)
    if (SameWord(entry.word, word)) return entry.method;
  return std::nullopt;
}

std::optional<std::uint32_t> CurveNamed(std::string_view word) {
  for (std::size_t curve = 0; curve < kCurveWords.size(); ++curve)
    if (SameWord(kCurveWords[curve], word)) return static_cast<std::uint32_t>(curve);
  return std::nullopt;
}

bool TakesToneCurve(std::int32_t method) {
  return method == Brindle::kFixedThresholdMethod || method == Brindle::kPatternMethod;
}

std::optional<std::uint32_t> ParseMillimetres(std::string_view text) {
  if (text.ends_with("mm")) text.remove_suffix(2);
  const std::size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const std::string_view fraction =
      point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
  if (whole.size() + fraction.size() == 0 || whole.size() > 7 || !AllDigits(whole) ||
      !AllDigits(fraction)) {
    return std::nullopt;
  }
  std::uint32_t tenths = 0;
  for (const char digit : whole) tenths = tenths * 10 + static_cast<unsigned>(digit - '0');
  tenths *= 10;
  if (!fraction.empty()) tenths += static_cast<unsigned>(fraction[0] - '0');
  if (fraction.size() > 1 && fraction[1] >= '5') ++tenths;
  return tenths;
}

}  // namespace Corvane::LabelJob
