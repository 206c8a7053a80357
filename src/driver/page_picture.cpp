#include "driver/page_picture.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/exception.h"

namespace Corvane::Driver {
namespace {

constexpr unsigned kLongestLine = 1 << 20;

enum class Kind { kGrey, kBlack, kRGB };

bool IsGrey(unsigned space) { return space == CUPS_CSPACE_W || space == CUPS_CSPACE_SW; }
bool IsRGB(unsigned space) { return space == CUPS_CSPACE_RGB || space == CUPS_CSPACE_SRGB; }

// The header's enumerated fields hold whatever the stream said, values the
// enumerations do not name included, so they are read as the plain numbers
// they are stored as.
template <typename Enumeration>
unsigned Number(const Enumeration& field) {
  static_assert(sizeof(Enumeration) == sizeof(unsigned));
  unsigned number;
  std::memcpy(&number, &field, sizeof number);
  return number;
}

Kind KindOf(const cups_page_header2_t& header) {
  const unsigned space = Number(header.cupsColorSpace), bits = header.cupsBitsPerColor;
  const unsigned order = Number(header.cupsColorOrder);
  if ((IsGrey(space) || space == CUPS_CSPACE_K) && (bits == 1 || bits == 8) &&
      header.cupsBitsPerPixel == bits)
    return space == CUPS_CSPACE_K ? Kind::kBlack : Kind::kGrey;
  if (IsRGB(space) && bits == 8 && header.cupsBitsPerPixel == 24 && order == CUPS_ORDER_CHUNKED)
    return Kind::kRGB;
  throw UnimplementedException(
      "The raster has colour space " + std::to_string(space) + " with " + std::to_string(bits) +
      " bits per colour, " + std::to_string(header.cupsBitsPerPixel) + " per pixel, in order " +
      std::to_string(order) +
      "; the driver takes 8-bit grey (as its PPD asks), 1-bit grey or black, 8-bit black "
      "and chunky 8-bit RGB");
}

}  // namespace

void CheckPixelFormat(const cups_page_header2_t& header) {
  KindOf(header);
  const std::uint64_t expected =
      (static_cast<std::uint64_t>(header.cupsWidth) * header.cupsBitsPerPixel + 7) / 8;
  if (header.cupsBytesPerLine != expected || expected == 0) {
    throw InvalidFormatException("The page header gives " +
                                 std::to_string(header.cupsBytesPerLine) + " bytes per line for " +
                                 std::to_string(header.cupsWidth) + " pixels of " +
                                 std::to_string(header.cupsBitsPerPixel) + " bits");
  }
  if (expected > kLongestLine) {
    throw InvalidFormatException("The page is " + std::to_string(header.cupsWidth) +
                                 " pixels wide, too wide for a label");
  }
}

Brindle::Image ReadPagePicture(RasterInput& input, const cups_page_header2_t& header,
                               std::uint64_t width, std::uint64_t height) {
  CheckPixelFormat(header);
  const Kind kind = KindOf(header);
  const unsigned bits = header.cupsBitsPerColor;
  const std::uint64_t channels = kind == Kind::kRGB ? 3 : 1;
  const std::uint64_t keptWidth = std::min<std::uint64_t>(width, header.cupsWidth);
  const std::uint64_t keptHeight = std::min<std::uint64_t>(height, header.cupsHeight);
  const std::uint64_t keptBytes = (keptWidth * bits * channels + 7) / 8;
  // Brindle's images store luminance, 0 black (a one-bit Image: 1 white), as
  // CUPS's grey spaces do; its black space counts the other way.
  const bool invert = kind == Kind::kBlack;

  // Rows kept whole are read straight into the picture; others pass through
  // one row of room.
  std::vector<unsigned char> row(header.cupsBytesPerLine), data;
  for (unsigned y = 0; y < header.cupsHeight; ++y) {
    if (y >= keptHeight) {
      input.ReadRow(row.data());
      continue;
    }
    const std::size_t start = data.size();
    if (keptBytes == header.cupsBytesPerLine) {
      data.resize(start + keptBytes);
      input.ReadRow(data.data() + start);
    } else {
      input.ReadRow(row.data());
      data.insert(data.end(), row.begin(), row.begin() + static_cast<std::ptrdiff_t>(keptBytes));
    }
    if (invert)
      std::for_each(data.begin() + static_cast<std::ptrdiff_t>(start), data.end(),
                    [](unsigned char& byte) { byte = static_cast<unsigned char>(~byte); });
  }
  return Brindle::Image(bits, channels, keptWidth, keptHeight, std::move(data));
}

}  // namespace Corvane::Driver
