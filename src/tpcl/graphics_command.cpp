#include "tpcl/graphics_command.h"

#include <string>

namespace Corvane::TPCL {

std::uint64_t GraphicsNumber(const std::string& field) { return std::stoul(field); }

bool IsTypeModifier(const std::string& field) { return field.size() > 1 && field[0] == 'M'; }

unsigned long GraphicsType(const std::string& field) { return std::stoul(field, nullptr, 16); }

ShortFormSize ShortFormPayloadSize(unsigned long type, std::uint64_t width, std::uint64_t height) {
  if (type == kTOPIXGraphics) return {ShortFormSize::Kind::kTwoByteCount};
  if (type == kRawGraphics) {
    return {ShortFormSize::Kind::kFixed, static_cast<std::uint32_t>((width + 7) / 8 * height)};
  }
  if (type == kEmptyGraphics) return {ShortFormSize::Kind::kFixed, 0};
  return {ShortFormSize::Kind::kUnsupported};
}

std::uint64_t PlacementDots(unsigned dotsPerMillimetre, const std::string& field,
                            std::uint64_t value) {
  if (!field.empty() && field.back() == 'D') value = Dots(dotsPerMillimetre, value);
  return Dots(dotsPerMillimetre, value);
}

}  // namespace Corvane::TPCL
