#include "graphics/codecs/lzw_compression.h"

#include <array>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include "graphics/codecs/exception.h"
#include "graphics/codecs/stream_bit_reader.h"
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

namespace Ashgrove {

namespace {

constexpr std::size_t kOutputBlock = 1 << 18;

// Decoded output collected in blocks; whatever is held reaches the stream on
// Flush, which also runs when decoding fails, so that the bytes decoded
// before the failure are still delivered.
class OutputBlock {
 public:
  explicit OutputBlock(std::ostream& output) : output_(output), bytes_(kOutputBlock) {}

  unsigned char* Reserve(std::size_t count) {
    if (used_ + count > bytes_.size()) {
      Flush();
      if (count > bytes_.size()) bytes_.resize(count);
    }
    unsigned char* at = bytes_.data() + used_;
    used_ += count;
    return at;
  }

  void Flush() {
    output_.write(reinterpret_cast<const char*>(bytes_.data()), static_cast<std::streamsize>(used_));
    used_ = 0;
  }

 private:
  std::ostream& output_;
  std::vector<unsigned char> bytes_;
  std::size_t used_ = 0;
};

// The decoder's string table. Every string lives whole in one arena, so that
// writing a code's string is a single copy; the arena is emptied at each
// Clear, which bounds it by the strings of 4096 codes.
class DecoderTable {
 public:
  DecoderTable() {
    for (std::uint32_t code = 0; code < 256; ++code) single_[code] = static_cast<unsigned char>(code);
    Reset();
  }

  void Reset() { arena_.clear(); }

  std::size_t Length(std::uint32_t code) const { return code < 256 ? 1 : entries_[code].length; }
  const unsigned char* Data(std::uint32_t code) const {
    return code < 256 ? &single_[code] : arena_.data() + entries_[code].offset;
  }

  // Stores string(prefix) + byte as `code`.
  void Add(std::uint32_t code, std::uint32_t prefix, unsigned char byte) {
    const std::size_t length = Length(prefix);
    const std::size_t offset = arena_.size();
    arena_.resize(offset + length + 1);
    // Data() is read after the resize, which may move the arena.
    std::memcpy(arena_.data() + offset, Data(prefix), length);
    arena_[offset + length] = byte;
    entries_[code] = {offset, length + 1};
  }

 private:
  struct Entry {
    std::size_t offset;
    std::size_t length;
  };
  std::array<unsigned char, 256> single_{};
  std::array<Entry, LZWCompression::kTableSize> entries_{};
  std::vector<unsigned char> arena_;
};

}  // namespace

void LZWCompression::Decompress(std::istream& input, std::ostream& output) {
  StreamBitReader reader(input);
  OutputBlock out(output);
  auto table = std::make_unique<DecoderTable>();
  std::uint32_t width = kMinCodeWidth;
  std::uint32_t nextCode = kFirstFreeCode;
  // No previous string before the first Clear: a stream that starts with
  // anything but Clear is inconsistent.
  std::uint32_t previous = kTableSize;

  auto emit = [&](std::uint32_t code) {
    const std::size_t length = table->Length(code);
    std::memcpy(out.Reserve(length), table->Data(code), length);
  };
  auto add = [&](std::uint32_t prefix, unsigned char byte) {
    if (nextCode > kTableSize - 1) throw DecompressionException("LZW table is full!");
    table->Add(nextCode, prefix, byte);
    ++nextCode;
    if (((nextCode + earlyChange_) >> width) != 0) ++width;
  };

  try {
    for (;;) {
      std::uint32_t code = 0;
      if (!reader.ReadCode(width, code)) throw DecompressionException("Unexpected end of stream");
      if (code == kClearCode) {
        width = kMinCodeWidth;
        nextCode = kFirstFreeCode;
        table->Reset();
        do {
          if (!reader.ReadCode(width, code)) throw DecompressionException("Unexpected end of LZW stream");
        } while (code == kClearCode);
        if (code == kEndOfInformation) break;
        if (code >= nextCode) throw DecompressionException("Invalid code in stream");
        emit(code);
        previous = code;
        continue;
      }
      if (code == kEndOfInformation) break;
      if (code > nextCode) throw DecompressionException("LZW code is invalid");
      if (previous >= nextCode) throw DecompressionException("Internal inconsistency in LZW decompression");
      if (code < nextCode) {
        emit(code);
        add(previous, *table->Data(code));
      } else {
        // The code being defined right now: previous string + its own first byte.
        add(previous, *table->Data(previous));
        emit(code);
      }
      previous = code;
    }
  } catch (...) {
    out.Flush();
    throw;
  }
  out.Flush();
  if (reader.MoreBytesFollow()) std::cerr << "Warning, not all data read" << std::endl;
}

}  // namespace Ashgrove
