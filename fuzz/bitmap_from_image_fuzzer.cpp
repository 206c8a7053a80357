// A TIFF file through the TIFF reader and on into bitmap-from-image, as a
// picture on its way to a label: the first byte picks the method, the
// curve and the rotation, the second the size on the label; the rest is the
// file. Refusals of either library end a run normally; anything else, or a
// sanitizer report, is a finding.
#include <cstdint>
#include <iostream>
#include <istream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "graphics/bitmap_from_image.h"
#include "graphics/codecs/exception.h"
#include "graphics/exception.h"
#include "graphics/streams/vector_stream_buffer.h"
#include "graphics/tiff_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::ostringstream silenced;
  static const bool quiet = (std::cerr.rdbuf(silenced.rdbuf()), true);
  (void)quiet;
  silenced.str({});
  if (size < 2) return 0;
  const std::int32_t method = data[0] % 7;  // 0, 1, 6: patterns; 2-4: screens; 5: threshold
  const std::uint32_t curve = (data[0] >> 3) % 8;
  const std::int32_t rotation = data[0] >> 6;
  // Up to 25.5 x 12.7 mm, so that a run stays small at 24 dots/mm.
  const std::uint64_t across = data[1];
  const Brindle::LabelRectangle rectangle{3, 5, 3 + across, 5 + across / 2};
  const std::vector<unsigned char> file(data + 2, data + size);
  Corvane::InputVectorStreamBuffer buffer(file);
  std::istream in(&buffer);
  try {
    const Brindle::Image image = Brindle::ImageIO::ReadFromTIFFFormat(in);
    if (image.Width() > 4096 || image.Height() > 4096) return 0;
    const Brindle::Bitmap bitmap =
        Brindle::BitmapFromImage(image, rectangle, data[1] % 2 ? 24.0 : 8.0, rotation, method,
                                 method >= 2 && method <= 4 ? 3 : curve);
    (void)bitmap;
  } catch (const Brindle::Exception&) {
  } catch (const Ashgrove::Exception&) {
  } catch (const std::out_of_range&) {
  }
  return 0;
}
