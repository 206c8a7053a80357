// Fuzzes the TIFF reader over a vector stream, the way strips and files held
// in memory are read. Refusals are exceptions of the two libraries (or the
// standard range error the codecs name); anything else is a bug.
#include <cstdint>
#include <iostream>
#include <istream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "graphics/codecs/exception.h"
#include "graphics/exception.h"
#include "graphics/image.h"
#include "graphics/streams/vector_stream_buffer.h"
#include "graphics/tiff_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::ostringstream silenced;
  static const bool quiet = (std::cerr.rdbuf(silenced.rdbuf()), true);
  (void)quiet;
  silenced.str({});
  const std::vector<unsigned char> file(data, data + size);
  Corvane::InputVectorStreamBuffer buffer(file);
  std::istream in(&buffer);
  try {
    Brindle::Image image = Brindle::ImageIO::ReadFromTIFFFormat(in);
    (void)image;
  } catch (const Brindle::Exception&) {
  } catch (const Ashgrove::Exception&) {
  } catch (const std::out_of_range&) {
  }
  return 0;
}
