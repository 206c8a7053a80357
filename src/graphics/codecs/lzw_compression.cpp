#include "graphics/codecs/lzw_compression.h"

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "graphics/codecs/exception.h"
#include "graphics/codecs/stream_bit_writer.h"

namespace Ashgrove {

namespace {

constexpr std::size_t kInputBlock = 1 << 16;

// The encoder's string table: (prefix code, next byte) -> code, open
// addressing. A slot packs the 20-bit key above the 12-bit code; assigned
// codes start at 258, so 0 always means an empty slot.
class EncoderTable {
 public:
  static constexpr std::uint32_t kSlots = 1 << 13;

  void Clear() { slots_.fill(0); }

  // Returns the code for the key, or 0 after remembering the slot where
  // Insert() will put it.
  std::uint32_t Find(std::uint32_t key) {
    std::uint32_t slot = (key * 2654435761u) >> (32 - 13);
    for (;;) {
      const std::uint32_t entry = slots_[slot];
      if (entry == 0) {
        free_ = slot;
        return 0;
      }
      if ((entry >> 12) == key) return entry & 0xFFF;
      slot = (slot + 1) & (kSlots - 1);
    }
  }

  void Insert(std::uint32_t key, std::uint32_t code) { slots_[free_] = (key << 12) | code; }

 private:
  std::array<std::uint32_t, kSlots> slots_{};
  std::uint32_t free_ = 0;
};

}  // namespace

LZWCompression::LZWCompression(std::uint32_t earlyChange) : earlyChange_(earlyChange) {}

void LZWCompression::Compress(std::istream& input, std::ostream& output) {
  auto table = std::make_unique<EncoderTable>();
  std::vector<char> block(kInputBlock);
  StreamBitWriter writer(output);

  // Early change stops one code short, so that the decoder, which adds each
  // entry one code later than we do, never needs a 13-bit code.
  const std::uint32_t lastCode = earlyChange_ ? kTableSize - 2 : kTableSize - 1;
  std::uint32_t width = kMinCodeWidth;
  std::uint32_t nextCode = kFirstFreeCode;

  // Called after each code we emit: the decoder adds an entry when it reads
  // the following code, so our count runs one ahead of its count, and the
  // width test sees our next free code where the decoder sees its own + 1.
  auto afterEmit = [&] {
    ++nextCode;
    if (nextCode > lastCode) {
      writer.Write(kClearCode, width);
      table->Clear();
      width = kMinCodeWidth;
      nextCode = kFirstFreeCode;
      return;
    }
    if (((nextCode - 1 + earlyChange_) >> width) != 0) ++width;
  };

  writer.Write(kClearCode, width);
  std::int32_t prefix = -1;  // the code of the string matched so far, -1 before the first byte
  for (;;) {
    input.read(block.data(), static_cast<std::streamsize>(block.size()));
    const auto got = static_cast<std::size_t>(input.gcount());
    if (got == 0) break;
    const auto* bytes = reinterpret_cast<const unsigned char*>(block.data());
    std::size_t i = 0;
    if (prefix < 0) prefix = bytes[i++];
    for (; i < got; ++i) {
      const std::uint32_t byte = bytes[i];
      const std::uint32_t key = (static_cast<std::uint32_t>(prefix) << 8) | byte;
      const std::uint32_t found = table->Find(key);
      if (found != 0) {
        prefix = static_cast<std::int32_t>(found);
        continue;
      }
      writer.Write(static_cast<std::uint32_t>(prefix), width);
      if (nextCode >= kTableSize) throw CompressionException("LZW table is full!");
      table->Insert(key, nextCode);
      afterEmit();
      prefix = static_cast<std::int32_t>(byte);
    }
    if (got < block.size()) break;
  }
  if (prefix >= 0) {
    writer.Write(static_cast<std::uint32_t>(prefix), width);
    // No entry follows the last code, but the decoder still adds one when it
    // reads it, and End of Information must come at the width it then expects.
    afterEmit();
  }
  writer.Write(kEndOfInformation, width);
  writer.Flush();
}

}  // namespace Ashgrove
