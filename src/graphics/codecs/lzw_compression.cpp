#include "graphics/codecs/lzw_compression.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iostream>
#include <memory>
#include <vector>

#include "graphics/codecs/byte_block.h"
#include "graphics/codecs/byte_sink.h"
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
LZWCompression::~LZWCompression() = default;

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

namespace {

// The history's first size; it grows while a Clear is long in coming.
constexpr std::size_t kHistoryStart = 1 << 15;
constexpr std::size_t kSlack = 16;

// Every string in the table is a run of the output produced since the last
// Clear: a new entry is the previous code's string followed by the first
// byte written for the current code, and those bytes stand next to each
// other in the output. So the table holds (offset, length) pairs into that
// history, and writing a string is one copy out of it. The history is
// handed to the stream in blocks but kept until the next Clear.
class History {
 public:
  // The history starts with the 256 single bytes, so that a literal code is
  // a copy like any other; they are never written out.
  static constexpr std::size_t kLiterals = 256;

  // `bytes` is the storage, kept by the decoder from call to call (it may
  // be replaced by a larger one here); it starts with the 256 literals,
  // which nothing overwrites.
  History(ByteSink output, ByteBlock& bytes) : output_(output), bytes_(bytes) {}

  static void WriteLiterals(ByteBlock& bytes) {
    for (std::size_t i = 0; i < kLiterals; ++i) bytes[i] = static_cast<unsigned char>(i);
  }

  std::size_t Size() const { return used_; }

  void AppendByte(unsigned char byte) {
    Reserve(1);
    bytes_[used_++] = byte;
  }

  // Repeats `length` bytes from `offset`, which lie wholly before the end.
  void AppendCopy(std::size_t offset, std::size_t length) {
    Reserve(length);
    unsigned char* to = bytes_.data() + used_;
    const unsigned char* from = bytes_.data() + offset;
    if (length <= kSlack && to - from >= static_cast<std::ptrdiff_t>(kSlack)) {
      std::memcpy(to, from, kSlack);  // a fixed-size copy into the slack is cheaper
    } else {
      std::memcpy(to, from, length);
    }
    used_ += length;
  }

  unsigned char At(std::size_t offset) const { return bytes_[offset]; }

  // For the decoding loop that writes directly: the storage, and how many
  // bytes may be used before the next Reserve().
  unsigned char* Data() { return bytes_.data(); }
  std::size_t Room() const { return bytes_.size() - kSlack; }
  void SetSize(std::size_t used) { used_ = used; }

  // Writes what the stream has not seen yet.
  void Flush() {
    output_.Write(bytes_.data() + flushed_, used_ - flushed_);
    flushed_ = used_;
  }

  // At Clear: nothing before this point will be referred to again.
  void Restart() {
    Flush();
    used_ = kLiterals;
    flushed_ = kLiterals;
  }

 private:
  void Reserve(std::size_t length) {
    if (used_ + length + kSlack <= bytes_.size()) return;
    Flush();
    ByteBlock larger(std::max(bytes_.size() * 2, used_ + length + kSlack));
    std::memcpy(larger.data(), bytes_.data(), used_);
    bytes_ = std::move(larger);
  }

  ByteSink output_;
  ByteBlock& bytes_;
  std::size_t used_ = kLiterals;
  std::size_t flushed_ = kLiterals;
};

struct Entry {
  std::uint32_t offset;
  std::uint32_t length;
};

// The code width and the next free code, which move together.
struct Codes {
  std::uint32_t width = LZWCompression::kMinCodeWidth;
  std::uint32_t next = LZWCompression::kFirstFreeCode;
};

// The one table update: the new entry is the previous string (`start`,
// `length` in the history) plus the byte that now follows it, and the codes
// widen one code early when `earlyChange` is 1. The caller has checked that
// the table has room.
[[gnu::always_inline]] inline void AddEntry(Entry* table, Codes& codes, std::uint32_t earlyChange,
                                            std::size_t start, std::uint32_t length) {
  table[codes.next] = {static_cast<std::uint32_t>(start), length + 1};
  ++codes.next;
  if (((codes.next + earlyChange) >> codes.width) != 0) ++codes.width;
}

// Decodes one strip: a fast loop for plain codes, and the exact path, one
// code at a time with every check and message, for everything else.
class Decoder {
 public:
  Decoder(StreamBitReader& reader, History& history, Entry* table, std::uint32_t earlyChange)
      : reader_(reader), history_(history), table_(table), earlyChange_(earlyChange) {}

  // Decodes up to End of Information; throws DecompressionException on a
  // malformed stream, with what was decoded before it in the history.
  void Run() {
    for (;;) {
      DecodeFast();
      const std::uint32_t code = ReadCode("Unexpected end of stream");
      if (code == LZWCompression::kClearCode) {
        if (!Restart()) return;
        continue;
      }
      if (code == LZWCompression::kEndOfInformation) return;
      if (code > codes_.next) throw DecompressionException("LZW code is invalid");
      if (previous_ >= codes_.next)
        throw DecompressionException("Internal inconsistency in LZW decompression");
      const std::size_t start = previousStart_;
      const std::uint32_t length = previousLength_;
      if (code < codes_.next) {
        Emit(code);
      } else {
        EmitDefining();
      }
      Add(start, length);
      previous_ = code;
    }
  }

 private:
  std::uint32_t ReadCode(const char* failure) {
    std::uint32_t code = 0;
    if (!reader_.ReadCode(codes_.width, code)) throw DecompressionException(failure);
    return code;
  }

  // After Clear: the table and history start over, and the first string is
  // a literal. Returns false at End of Information.
  bool Restart() {
    codes_ = Codes{};
    history_.Restart();
    std::uint32_t code = 0;
    do {
      code = ReadCode("Unexpected end of LZW stream");
    } while (code == LZWCompression::kClearCode);
    if (code == LZWCompression::kEndOfInformation) return false;
    if (code >= codes_.next) throw DecompressionException("Invalid code in stream");
    Emit(code);
    previous_ = code;
    return true;
  }

  // Writes the string of a code already in the table.
  void Emit(std::uint32_t code) {
    previousStart_ = history_.Size();
    if (code < 256) {
      history_.AppendByte(static_cast<unsigned char>(code));
      previousLength_ = 1;
    } else {
      history_.AppendCopy(table_[code].offset, table_[code].length);
      previousLength_ = table_[code].length;
    }
  }

  // Writes the string of the code being defined right now: the previous
  // string and its own first byte, which the copy of the previous string
  // starts with.
  void EmitDefining() {
    const std::size_t start = previousStart_;
    const std::uint32_t length = previousLength_;
    previousStart_ = history_.Size();
    history_.AppendCopy(start, length);
    history_.AppendByte(history_.At(start));
    previousLength_ = length + 1;
  }

  void Add(std::size_t start, std::uint32_t length) {
    if (codes_.next > LZWCompression::kTableSize - 1)
      throw DecompressionException("LZW table is full!");
    AddEntry(table_, codes_, earlyChange_, start, length);
  }

  // Plain codes while input and room last, with the bit state, the codes
  // and the previous string in registers. Clear, End of Information,
  // anything invalid and the input's last bytes are left to the exact path.
  void DecodeFast();

  StreamBitReader& reader_;
  History& history_;
  Entry* const table_;
  const std::uint32_t earlyChange_;
  Codes codes_;
  // No previous string before the first Clear: a stream that starts with
  // anything but Clear is inconsistent.
  std::uint32_t previous_ = LZWCompression::kTableSize;
  std::size_t previousStart_ = 0;
  std::uint32_t previousLength_ = 0;
};

void Decoder::DecodeFast() {
  if (previous_ >= codes_.next) return;
  constexpr std::uint32_t kTableSize = LZWCompression::kTableSize;
  auto raw = reader_.Export();
  std::uint64_t bits = raw.accumulator;
  std::uint32_t count = raw.count;
  const unsigned char* in = raw.next;
  const unsigned char* const inEnd = raw.end;
  unsigned char* const out = history_.Data();
  std::size_t used = history_.Size();
  const std::size_t room = history_.Room();
  const std::uint32_t early = earlyChange_;
  Entry* const table = table_;
  Codes codes = codes_;
  std::size_t previousStart = previousStart_;
  std::uint32_t previousLength = previousLength_;
  std::uint32_t previous = previous_;
  while (used + kTableSize + kSlack <= room) {
    if (count < 16) {
      if (inEnd - in >= 8) {
        std::uint64_t word;
        std::memcpy(&word, in, 8);
        if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
        const std::uint32_t take = (63 - count) >> 3;
        bits = (bits << (8 * take)) | (word >> (64 - 8 * take));
        count += 8 * take;
        in += take;
      } else {
        // The input's last bytes, one by one: small strips end here
        // often, and their last codes need not leave this loop.
        while (count <= 56 && in < inEnd) {
          bits = (bits << 8) | *in++;
          count += 8;
        }
        if (count < codes.width) break;
      }
    }
    const std::uint32_t code =
        static_cast<std::uint32_t>(bits >> (count - codes.width)) & ((1u << codes.width) - 1);
    if (code == LZWCompression::kClearCode || code == LZWCompression::kEndOfInformation) break;
    if (code > codes.next || codes.next > kTableSize - 1) break;
    count -= codes.width;
    const std::size_t start = used;
    const Entry entry = code < codes.next
                            ? table[code]
                            : Entry{static_cast<std::uint32_t>(previousStart), previousLength};
    const unsigned char* from = out + entry.offset;
    unsigned char* to = out + used;
    if (entry.length <= kSlack && to - from >= static_cast<std::ptrdiff_t>(kSlack)) {
      std::memcpy(to, from, kSlack);
    } else {
      std::memmove(to, from, entry.length);
    }
    used += entry.length;
    // The code being defined right now ends with its own first byte.
    if (code == codes.next) out[used++] = out[entry.offset];
    AddEntry(table, codes, early, previousStart, previousLength);
    previousStart = start;
    previousLength = static_cast<std::uint32_t>(used - start);
    previous = code;
  }
  reader_.Import({bits, count, in, inEnd});
  history_.SetSize(used);
  codes_ = codes;
  previousStart_ = previousStart;
  previousLength_ = previousLength;
  previous_ = previous;
}

}  // namespace

// The decoder's buffers, kept from one call to the next. The literals at
// the start of the history and the table's first 256 entries never change;
// codes from 258 on are always written before they are read.
struct LZWCompression::Work {
  Work() {
    History::WriteLiterals(history);
    for (std::uint32_t code = 0; code < 256; ++code) table[code] = {code, 1};
  }
  ByteBlock history{kHistoryStart + kSlack};
  std::unique_ptr<Entry[]> table = std::make_unique_for_overwrite<Entry[]>(kTableSize);
};

LZWCompression::Work& LZWCompression::DecoderWork() {
  if (!work_) work_ = std::make_unique<Work>();
  return *work_;
}

void LZWCompression::Decompress(std::istream& input, std::ostream& output) {
  StreamBitReader reader(input);
  Decode(reader, ByteSink(output));
}

void LZWCompression::DecompressBytes(const unsigned char* data, std::size_t size,
                                     std::vector<unsigned char>& output) {
  StreamBitReader reader(data, size);
  Decode(reader, ByteSink(output));
}

void LZWCompression::Decode(StreamBitReader& reader, ByteSink output) {
  Work& work = DecoderWork();
  History history(output, work.history);
  try {
    Decoder(reader, history, work.table.get(), earlyChange_).Run();
  } catch (...) {
    history.Flush();
    throw;
  }
  history.Flush();
  if (reader.MoreBytesFollow()) std::cerr << "Warning, not all data read" << std::endl;
}

}  // namespace Ashgrove
