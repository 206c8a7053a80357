// CUPS raster streams made in the tests with libcupsimage, as a rasterizer
// (cups-filters' pdftoraster, imagetoraster) makes them for a queue.
#pragma once

#include <cups/raster.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace Vellum::Testing {

struct RasterPage {
  cups_page_header2_t header{};
  std::vector<unsigned char> rows;  // cupsHeight rows of cupsBytesPerLine bytes
};

// A header for a label `widthMm` x `lengthMm` at `dpi`, in the given colour
// space with `bits` per colour and `channels` colours per pixel (chunky), the
// page size in points as the PPD gives it, the pixel size as rasterizers
// compute it from that.
inline cups_page_header2_t LabelHeader(double widthMm, double lengthMm, unsigned dpi,
                                       cups_cspace_t space = CUPS_CSPACE_W, unsigned bits = 8,
                                       unsigned channels = 1) {
  cups_page_header2_t header{};
  const double width = widthMm * 72 / 25.4, length = lengthMm * 72 / 25.4;
  header.cupsPageSize[0] = static_cast<float>(width);
  header.cupsPageSize[1] = static_cast<float>(length);
  header.PageSize[0] = static_cast<unsigned>(std::lround(width));
  header.PageSize[1] = static_cast<unsigned>(std::lround(length));
  header.HWResolution[0] = header.HWResolution[1] = dpi;
  header.cupsWidth = static_cast<unsigned>(width * dpi / 72);
  header.cupsHeight = static_cast<unsigned>(length * dpi / 72);
  header.cupsColorSpace = space;
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsBitsPerColor = bits;
  header.cupsBitsPerPixel = bits * channels;
  header.cupsBytesPerLine = (header.cupsWidth * header.cupsBitsPerPixel + 7) / 8;
  header.NumCopies = 1;
  return header;
}

// A page whose byte i of row y is byteAt(i, y).
inline RasterPage MakePage(const cups_page_header2_t& header,
                           const std::function<unsigned char(unsigned, unsigned)>& byteAt) {
  RasterPage page{header, {}};
  page.rows.reserve(static_cast<std::size_t>(header.cupsBytesPerLine) * header.cupsHeight);
  for (unsigned y = 0; y < header.cupsHeight; ++y)
    for (unsigned i = 0; i < header.cupsBytesPerLine; ++i) page.rows.push_back(byteAt(i, y));
  return page;
}

// The pages as one raster stream; CUPS_RASTER_WRITE_COMPRESSED is what
// cups-filters writes, CUPS_RASTER_WRITE the uncompressed form.
inline std::string WriteRaster(const std::vector<RasterPage>& pages,
                               cups_mode_t mode = CUPS_RASTER_WRITE_COMPRESSED) {
  std::string stream;
  const auto append = [](void* context, unsigned char* bytes, size_t length) -> ssize_t {
    static_cast<std::string*>(context)->append(reinterpret_cast<char*>(bytes), length);
    return static_cast<ssize_t>(length);
  };
  cups_raster_t* raster = cupsRasterOpenIO(append, &stream, mode);
  for (const RasterPage& page : pages) {
    cups_page_header2_t header = page.header;
    cupsRasterWriteHeader2(raster, &header);
    std::vector<unsigned char> rows = page.rows;
    cupsRasterWritePixels(raster, rows.data(), static_cast<unsigned>(rows.size()));
  }
  cupsRasterClose(raster);
  return stream;
}

}  // namespace Vellum::Testing
