// Feeds arbitrary bytes to one connection of the virtual printer, in pieces
// whose size comes from the input, with small limits so that every refusal is
// reached, then closes it. Labels are dropped as they come, which removes
// their job records. A crash, a hang,
// an exception out of the session or a sanitizer report is a finding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <sstream>

#include "vprinter/session.h"

namespace {

class Discard : public Corvane::VirtualPrinter::LabelSink {
 public:
  void Submit(Corvane::VirtualPrinter::LabelJob) override {}
  std::uint64_t Remaining() const override { return 3; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Corvane::VirtualPrinter;
  if (size == 0) return 0;
  // The settings commands write a state file, and jobs are recorded in
  // files: one scratch directory per run.
  static const std::filesystem::path directory = [] {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "vprinter-fuzz-XXXXXX").string();
    return std::filesystem::path(mkdtemp(pattern.data()));
  }();
  static PrinterState state(directory, 0);
  static Discard sink;
  std::ostringstream text;
  EventLog log(text, (data[0] & 0x80) != 0);
  SessionOptions options;
  options.maxLabelBytes = 1 << 20;
  options.recordDirectory = directory;
  options.maxJobBytes = 1 << 16;
  options.limits.maxCommandBytes = 256;
  options.limits.maxPayloadBytes = 1 << 16;
  options.draw = (data[0] & 0x40) == 0;
  Session session(1, state, sink, log, options);
  const std::size_t piece = data[0] % 13 + 1;
  // As the server reads: room for more than arrives, then what did.
  for (std::size_t i = 1; i < size; i += piece) {
    const std::size_t count = std::min(piece, size - i);
    const std::span<unsigned char> space = session.ReceiveSpace(count + 5);
    std::copy(data + i, data + i + count, space.begin());
    session.Received(count);
  }
  session.Close("end of input");
  return 0;
}
