// Feeds arbitrary bytes to the TPCL stream reader twice, once whole and once
// cut into pieces whose sizes come from the input, with small limits so that
// every refusal is reached. Both readings must report the same; a difference,
// a crash or a sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tpcl/stream_reader.h"

namespace {

class Transcript : public Corvane::TPCL::StreamListener {
 public:
  void OnCommand(std::string_view body, std::uint64_t end) override {
    text += "C" + std::string(body) + "@" + std::to_string(end);
  }
  void OnGraphics(Corvane::TPCL::GraphicsCommand& g, std::uint64_t end) override {
    text += "G" + std::to_string(g.size) + ":" + std::to_string(g.payload.size()) + "@" +
            std::to_string(end);
  }
  void OnError(const std::string& message, std::uint64_t end) override {
    text += "E" + message + "@" + std::to_string(end);
  }
  std::string text;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Corvane::TPCL::StreamLimits limits;
  limits.maxCommandBytes = 64;
  limits.maxPayloadBytes = 256;
  const std::size_t piece = data[0] % 7 + 1;
  const std::span<const unsigned char> stream(data + 1, size - 1);

  Corvane::TPCL::StreamReader whole(limits), pieces(limits);
  Transcript a, b;
  whole.Feed(stream, a);
  whole.Finish(a);
  for (std::size_t i = 0; i < stream.size(); i += piece) {
    pieces.Feed(stream.subspan(i, std::min(piece, stream.size() - i)), b);
  }
  pieces.Finish(b);
  if (a.text != b.text) std::abort();
  return 0;
}
