// The pages of a CUPS raster stream, read with libcupsimage's raster API.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace Corvane::Driver {

// Reads a raster stream page by page: NextPage gives each page's header, then
// the page's rows are read one by one (cupsHeight rows of cupsBytesPerLine
// bytes). The bytes come from a read function, so that a descriptor and a
// buffer in memory take the same road. Not copyable; closes the raster when
// destroyed.
class RasterInput {
 public:
  // Fills up to `length` bytes of `buffer`; returns the count, 0 at the end
  // of the input, or -1 on a read error.
  using ReadFunction = std::function<std::ptrdiff_t(unsigned char* buffer, std::size_t length)>;

  // Reads the stream's synchronisation word. Throws Corvane::InvalidFormatException
  // "The input is not a CUPS raster stream" when it is missing or unknown.
  explicit RasterInput(ReadFunction read);
  // Reads descriptor `fd` (not closed here), restarting reads cut short by
  // signals.
  static RasterInput FromDescriptor(int fd);
  ~RasterInput();
  RasterInput(const RasterInput&) = delete;
  RasterInput& operator=(const RasterInput&) = delete;
  RasterInput(RasterInput&& other) noexcept;
  RasterInput& operator=(RasterInput&&) = delete;

  // The next page's header; false at the end of the input. A header that
  // cannot be read throws InvalidFormatException: "The page header is not
  // valid" while the input goes on (libcups refuses zero sizes, lines that do
  // not hold whole pixels and depths beyond 16 bits per colour), "The page
  // header is cut short" when the input ends inside it. libcups answers both
  // as it answers the end of the input, and reads compressed streams ahead,
  // so a header cut short whose bytes it had already read counts as the end.
  // The rest of the previous page, if its rows were not all read, is skipped
  // first.
  bool NextPage(cups_page_header2_t& header);

  // Reads the next row of the current page into `row`, which holds
  // cupsBytesPerLine bytes. Throws Corvane::IOException "The page ends after
  // <n> of its <height> rows" when the input ends or fails first.
  void ReadRow(unsigned char* row);

 private:
  static ssize_t Read(void* context, unsigned char* buffer, std::size_t length);

  // Where the read function keeps its state, fixed in memory for libcups.
  struct Source {
    ReadFunction read;
    bool ended = false;       // the read function has reported the end or an error
    std::uint64_t bytes = 0;  // bytes it has delivered
  };
  std::unique_ptr<Source> source_;
  cups_raster_t* raster_ = nullptr;
  cups_page_header2_t header_{};
  unsigned rowsRead_ = 0;
  bool inPage_ = false;
};

}  // namespace Corvane::Driver
