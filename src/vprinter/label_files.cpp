#include "vprinter/label_files.h"

#include <png.h>

#include <cmath>
#include <cstdio>
#include <regex>
#include <sstream>

#include "core/atomic_file.h"
#include "core/exception.h"
#include "vprinter/printer_state.h"

namespace Corvane::VirtualPrinter {

namespace {

void AppendToString(png_structp png, png_bytep data, png_size_t length) {
  static_cast<std::string*>(png_get_io_ptr(png))
      ->append(reinterpret_cast<const char*>(data), length);
}

void Flush(png_structp) {}

// libpng reports failures by jumping back here; nothing in this function
// needs destroying on that path, so the jump skips no destructor.
bool WriteRows(png_structp png, png_infop info, const Brindle::Bitmap& bitmap, unsigned dotsPerInch,
               unsigned char* row, std::string* file) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_write_fn(png, file, AppendToString, Flush);
  // Labels are mostly white: a light compression costs little and shrinks them well.
  png_set_compression_level(png, 3);
  png_set_IHDR(png, info, static_cast<png_uint_32>(bitmap.Width()),
               static_cast<png_uint_32>(bitmap.Height()), 1, PNG_COLOR_TYPE_GRAY,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const auto perMetre = static_cast<png_uint_32>(std::lround(dotsPerInch / 0.0254));
  png_set_pHYs(png, info, perMetre, perMetre, PNG_RESOLUTION_METER);
  png_write_info(png, info);
  const std::uint64_t rowBytes = bitmap.BytesPerRow();
  const unsigned char* source = bitmap.Data().data();
  for (std::uint64_t y = 0; y < bitmap.Height(); ++y, source += rowBytes) {
    // In a grey PNG 0 is black; in the bitmap 1 is a printed dot.
    for (std::uint64_t i = 0; i < rowBytes; ++i) row[i] = static_cast<unsigned char>(~source[i]);
    png_write_row(png, row);
  }
  png_write_end(png, nullptr);
  return true;
}

}  // namespace

std::string EncodePNG(const Brindle::Bitmap& bitmap, unsigned dotsPerInch) {
  std::string file;
  std::vector<unsigned char> row(bitmap.BytesPerRow() + 1);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  const bool written =
      info != nullptr && WriteRows(png, info, bitmap, dotsPerInch, row.data(), &file);
  png_destroy_write_struct(&png, info ? &info : nullptr);
  if (!written) throw IOException("Unable to encode a PNG file");
  return file;
}

LabelFiles::LabelFiles(OutputOptions options) : options_(std::move(options)) {}

std::string LabelFiles::BaseName(std::uint64_t number) {
  char name[32];
  std::snprintf(name, sizeof name, "label-%06llu", static_cast<unsigned long long>(number));
  return name;
}

std::uint64_t LabelFiles::Prepare() const {
  std::filesystem::create_directories(options_.directory);
  static const std::regex kLabel("label-(\\d+)\\.(tif|png|prn)");
  std::uint64_t highest = 0;
  for (const auto& entry : std::filesystem::directory_iterator(options_.directory)) {
    const std::string name = entry.path().filename().string();
    std::smatch match;
    if (name.size() > 5 && name.front() == '.' && name.ends_with(".part")) {
      std::error_code ignored;
      std::filesystem::remove(entry.path(), ignored);
    } else if (std::regex_match(name, match, kLabel) && match[1].length() < 19) {
      highest = std::max<std::uint64_t>(highest, std::stoull(match[1].str()));
    }
  }
  return highest + 1;
}

std::vector<std::string> LabelFiles::Write(const LabelJob& job) const {
  const std::string base = BaseName(job.number);
  std::vector<std::string> written;
  const auto write = [&](const std::string& name, std::string_view contents) {
    WriteFileAtomically(options_.directory / name, contents, Durability::kUnsynced);
    written.push_back(name);
  };
  if (job.image && options_.tiff) {
    // The picture carries its resolution (the session sets it), so the TIFF
    // file's resolution tag is the printer's.
    std::ostringstream tiff;
    job.image->Write(tiff, 0);
    write(base + ".tif", tiff.str());
  }
  if (job.image && options_.png) write(base + ".png", EncodePNG(*job.image, options_.dotsPerInch));
  if (job.record) {
    job.record->PublishAs(options_.directory / (base + ".prn"));
    written.push_back(base + ".prn");
  }
  return written;
}

}  // namespace Corvane::VirtualPrinter
