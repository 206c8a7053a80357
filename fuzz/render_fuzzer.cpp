// Feeds arbitrary bytes to the render command as the job on standard input,
// with standard output thrown away. The outcomes the command reports, and the
// standard failures its job format names (a field that is not a number, a
// range failure in TOPIX data or a broken graphic geometry), end a run
// normally; anything else, or any sanitizer report, is a finding.
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <vector>

#include "core/exception.h"
#include "graphics/exception.h"
#include "graphics/streams/vector_stream_buffer.h"
#include "render/render_command.h"

namespace {

class NullBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return c; }
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> job(data, data + size);
  Corvane::InputVectorStreamBuffer input(job);
  NullBuffer output;
  std::streambuf* oldIn = std::cin.rdbuf(&input);
  std::streambuf* oldOut = std::cout.rdbuf(&output);
  std::cin.clear();
  std::cout.clear();
  try {
    Corvane::Vellum::Commands::Render({});
  } catch (const Corvane::Exception&) {
  } catch (const Brindle::Exception&) {
  } catch (const std::invalid_argument&) {
  } catch (const std::out_of_range&) {
  }
  std::cin.rdbuf(oldIn);
  std::cout.rdbuf(oldOut);
  return 0;
}
