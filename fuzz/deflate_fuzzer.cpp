// Differential fuzzing of our Deflate decoder against zlib's raw inflate:
// where both finish they must agree byte for byte, and neither may decode
// something the other contradicts.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/exception.h"
#include "graphics/codecs/vector_codec.h"

namespace {

struct ZlibResult {
  std::vector<unsigned char> output;
  int status;  // Z_STREAM_END, Z_BUF_ERROR (ran out of input) or an error
  const char* message;
};

ZlibResult ZlibInflate(const std::vector<unsigned char>& input) {
  ZlibResult result{{}, Z_OK, nullptr};
  z_stream stream{};
  if (inflateInit2(&stream, -15) != Z_OK) abort();
  stream.next_in = const_cast<unsigned char*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  unsigned char chunk[1 << 16];
  for (;;) {
    stream.next_out = chunk;
    stream.avail_out = sizeof chunk;
    const int status = inflate(&stream, Z_NO_FLUSH);
    result.output.insert(result.output.end(), chunk, chunk + (sizeof chunk - stream.avail_out));
    if (status == Z_OK) continue;
    result.status = status;
    result.message = stream.msg;
    break;
  }
  inflateEnd(&stream);
  return result;
}

// zlib refuses some streams that our decoder accepts on purpose: code sets
// that are incomplete or lack an end-of-block code, and the unused symbols
// 286-287 and 30-31 in a dynamic header.
bool ZlibIsStricterHere(const char* message) {
  if (message == nullptr) return false;
  static const char* const kStricter[] = {
      "invalid code lengths set", "invalid literal/lengths set", "invalid distances set",
      "too many length or distance symbols", "missing end-of-block code"};
  for (const char* m : kStricter)
    if (std::strcmp(message, m) == 0) return true;
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> input(data, data + size);
  std::vector<unsigned char> ours;
  bool oursFinished = true;
  try {
    Ashgrove::DeflateCompression decoder;
    Ashgrove::DecompressVector(decoder, input, ours);
  } catch (const Ashgrove::Exception&) {
    oursFinished = false;
  } catch (const std::out_of_range&) {
    oursFinished = false;
  }
  const ZlibResult zlib = ZlibInflate(input);
  const bool zlibFinished = zlib.status == Z_STREAM_END;
  // Whatever both produced must be the same bytes as far as both got.
  const std::size_t common = std::min(ours.size(), zlib.output.size());
  // (An empty output may have no storage at all, and memcmp takes none.)
  if (common > 0 && std::memcmp(ours.data(), zlib.output.data(), common) != 0) abort();
  if (zlibFinished && !oursFinished) abort();
  if (zlibFinished && oursFinished && ours != zlib.output) abort();
  // We finished where zlib did not: either the input ended at a block
  // boundary without a final block (zlib wants more input), or zlib is
  // stricter about the code sets.
  if (oursFinished && !zlibFinished && zlib.status != Z_BUF_ERROR &&
      !ZlibIsStricterHere(zlib.message))
    abort();
  return 0;
}
