#include "graphics/codecs/deflate_compression.h"

#include <zlib.h>

#include <vector>

#include "graphics/codecs/exception.h"

namespace Ashgrove {

namespace {

constexpr std::size_t kSliceSize = 4096;

// Ends the zlib stream on every way out of Compress.
struct DeflateStream {
  z_stream stream{};
  bool open = false;
  ~DeflateStream() {
    if (open) deflateEnd(&stream);
  }
};

}  // namespace

void DeflateCompression::Compress(std::istream& input, std::ostream& output) {
  std::vector<unsigned char> in(kSliceSize, 0);
  std::vector<unsigned char> out(kSliceSize, 0);
  DeflateStream zs;
  // Window bits -15 selects raw Deflate: TIFF readers that expect a zlib
  // header will refuse these strips, and that is the format we keep.
  if (deflateInit2_(&zs.stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY, zlibVersion(),
                    static_cast<int>(sizeof(z_stream))) != Z_OK) {
    throw CompressionException("Unknown stream exception occurred");
  }
  zs.open = true;

  for (;;) {
    // End of file is noted before the read, so the last pass always reads
    // nothing and only finishes the stream. A stream that failed without
    // reaching its end is finished the same way rather than read forever.
    const int flush = (input.eof() || input.fail()) ? Z_FINISH : Z_NO_FLUSH;
    input.read(reinterpret_cast<char*>(in.data()), static_cast<std::streamsize>(kSliceSize));
    zs.stream.next_in = in.data();
    zs.stream.avail_in = static_cast<uInt>(input.gcount());
    do {
      zs.stream.next_out = out.data();
      zs.stream.avail_out = static_cast<uInt>(kSliceSize);
      if (deflate(&zs.stream, flush) == Z_STREAM_ERROR) {
        throw CompressionException("Unknown stream exception occurred");
      }
      output.write(reinterpret_cast<const char*>(out.data()),
                   static_cast<std::streamsize>(kSliceSize - zs.stream.avail_out));
    } while (zs.stream.avail_out == 0);
    if (flush == Z_FINISH) break;
  }
}

}  // namespace Ashgrove
