// Fuzzes the LZW decoder on arbitrary strips, and checks that whatever the
// input, our encoder's output decodes back to it.
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "graphics/codecs/exception.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/vector_codec.h"

namespace {

std::vector<unsigned char> Run(bool encode, std::uint32_t earlyChange,
                               const std::vector<unsigned char>& input) {
  std::vector<unsigned char> output;
  Ashgrove::LZWCompression codec(earlyChange);
  if (encode) {
    Ashgrove::CompressVector(codec, input, output);
  } else {
    Ashgrove::DecompressVector(codec, input, output);
  }
  return output;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The decoder's warning for data after End of Information is expected here.
  static std::ostringstream silenced;
  static const bool quiet = (std::cerr.rdbuf(silenced.rdbuf()), true);
  (void)quiet;
  silenced.str({});
  if (size == 0) return 0;
  const std::uint32_t earlyChange = data[0] & 1;
  const std::vector<unsigned char> input(data + 1, data + size);
  try {
    Run(false, earlyChange, input);
  } catch (const Ashgrove::Exception&) {
  } catch (const std::out_of_range&) {
  }
  if (Run(false, earlyChange, Run(true, earlyChange, input)) != input) abort();
  return 0;
}
