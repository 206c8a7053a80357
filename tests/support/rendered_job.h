// What `vellum render` draws for a TPCL job: the proof that a job carries
// exactly the dots it was made from. Header only; a test that includes it
// links vellum_render.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "graphics/tiff_reader.h"
#include "graphics/tiff_tools.h"
#include "render/render_command.h"

namespace Vellum::Testing {

// The rows of the job's first label as render draws it at `dotsPerInch`, in
// a Bitmap's layout (a set bit is a dot).
inline std::vector<unsigned char> RenderedDots(const std::string& job, unsigned dotsPerInch) {
  TempDir dir;
  std::ofstream(dir / "job.prn", std::ios::binary) << job;
  ::Corvane::Vellum::Commands::Render({"-r", std::to_string(dotsPerInch), "-o",
                                       (dir / "label.tif").string(), (dir / "job.prn").string()});
  std::ifstream tiff(dir / "label.tif", std::ios::binary);
  return Brindle::ImageIO::ReadFromTIFFFormat(tiff).Data();
}

}  // namespace Vellum::Testing
