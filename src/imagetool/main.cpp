// vellum-image: a picture becomes a TPCL print job. See options.cpp for the
// command line and picture_job.h for what it makes.
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "core/atomic_file.h"
#include "imagetool/options.h"
#include "imagetool/picture_job.h"
#include "picture/picture.h"

int main(int argc, char** argv) {
  using namespace Corvane::ImageTool;
  CommandLine line;
  try {
    line = ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const OptionException& e) {
    std::cerr << "vellum-image: " << e.what() << "\nTry 'vellum-image --help'.\n";
    return 1;
  }
  if (line.help) {
    std::cout << Usage();
    return 0;
  }
  if (line.version) {
    std::cout << VELLUM_VERSION << "\n";
    return 0;
  }
  try {
    // Wrong options are told before a large picture is read.
    CheckOptions(line.job);
    const Brindle::Image picture = Corvane::Picture::LoadPictureFile(line.picture);
    const PictureLabel label = LayOutPicture(picture, line.job);
    // The whole job is made before any of it is written, so a failure leaves
    // no part of a job behind.
    const std::vector<unsigned char> job = PictureJobBytes(label, line.job);
    const std::string_view bytes(reinterpret_cast<const char*>(job.data()), job.size());
    if (line.output.empty()) {
      Corvane::WriteAll(STDOUT_FILENO, bytes, "standard output");
    } else {
      Corvane::WriteFileAtomically(line.output, bytes);
    }
  } catch (const std::bad_alloc&) {
    std::cerr << "vellum-image: " << line.picture << ": not enough memory for this picture\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "vellum-image: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
