#include "driver/raster_input.h"

#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "core/exception.h"

namespace Corvane::Driver {

RasterInput::RasterInput(ReadFunction read)
    : source_(std::make_unique<Source>(Source{std::move(read)})) {
  raster_ = cupsRasterOpenIO(&RasterInput::Read, source_.get(), CUPS_RASTER_READ);
  if (raster_ == nullptr) throw InvalidFormatException("The input is not a CUPS raster stream");
}

RasterInput RasterInput::FromDescriptor(int fd) {
  return RasterInput([fd](unsigned char* buffer, std::size_t length) -> std::ptrdiff_t {
    for (;;) {
      const ssize_t count = read(fd, buffer, length);
      if (count >= 0 || errno != EINTR) return count;
    }
  });
}

RasterInput::RasterInput(RasterInput&& other) noexcept
    : source_(std::move(other.source_)),
      raster_(std::exchange(other.raster_, nullptr)),
      header_(other.header_),
      rowsRead_(other.rowsRead_),
      inPage_(other.inPage_) {}

RasterInput::~RasterInput() {
  if (raster_ != nullptr) cupsRasterClose(raster_);
}

ssize_t RasterInput::Read(void* context, unsigned char* buffer, std::size_t length) {
  Source& source = *static_cast<Source*>(context);
  const std::ptrdiff_t count = source.read(buffer, length);
  if (count <= 0) source.ended = true;
  if (count > 0) source.bytes += static_cast<std::uint64_t>(count);
  return count;
}

bool RasterInput::NextPage(cups_page_header2_t& header) {
  if (inPage_) {
    std::vector<unsigned char> row(header_.cupsBytesPerLine);
    while (rowsRead_ < header_.cupsHeight) ReadRow(row.data());
  }
  inPage_ = false;
  const std::uint64_t before = source_->bytes;
  if (cupsRasterReadHeader2(raster_, &header_) == 0) {
    // libcups answers the end of the input and a broken header alike; only
    // the read function knows whether the input had ended, and whether the
    // last bytes came for this header.
    if (!source_->ended) throw InvalidFormatException("The page header is not valid");
    if (source_->bytes != before) throw InvalidFormatException("The page header is cut short");
    return false;
  }
  header = header_;
  rowsRead_ = 0;
  inPage_ = true;
  return true;
}

void RasterInput::ReadRow(unsigned char* row) {
  if (!inPage_ || rowsRead_ == header_.cupsHeight ||
      cupsRasterReadPixels(raster_, row, header_.cupsBytesPerLine) != header_.cupsBytesPerLine) {
    inPage_ = false;
    throw IOException("The page ends after " + std::to_string(rowsRead_) + " of its " +
                      std::to_string(header_.cupsHeight) + " rows");
  }
  ++rowsRead_;
}

}  // namespace Corvane::Driver
