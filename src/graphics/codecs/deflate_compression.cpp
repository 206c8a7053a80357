#include "graphics/codecs/deflate_compression.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "graphics/codecs/deflate_stream_bit_reader.h"
#include "graphics/codecs/deflate_symbols.h"
#include "graphics/codecs/exception.h"
#include "graphics/codecs/huffman_table.h"
#include "graphics/codecs/rolling_output_buffer.h"

namespace Ashgrove {

namespace {

constexpr std::size_t kSliceSize = 4096;

// Ends the zlib stream on every way out of Compress.
struct DeflateStream {
  z_stream stream{};
  bool open = false;
  ~DeflateStream() {
    if (open) deflateEnd(&stream);
  }
};

}  // namespace

void DeflateCompression::Compress(std::istream& input, std::ostream& output) {
  std::vector<unsigned char> in(kSliceSize, 0);
  std::vector<unsigned char> out(kSliceSize, 0);
  DeflateStream zs;
  // Window bits -15 selects raw Deflate: TIFF readers that expect a zlib
  // header will refuse these strips, and that is the format we keep.
  if (deflateInit2_(&zs.stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY, zlibVersion(),
                    static_cast<int>(sizeof(z_stream))) != Z_OK) {
    throw CompressionException("Unknown stream exception occurred");
  }
  zs.open = true;

  for (;;) {
    // End of file is noted before the read, so the last pass always reads
    // nothing and only finishes the stream. A stream that failed without
    // reaching its end is finished the same way rather than read forever.
    const int flush = (input.eof() || input.fail()) ? Z_FINISH : Z_NO_FLUSH;
    input.read(reinterpret_cast<char*>(in.data()), static_cast<std::streamsize>(kSliceSize));
    zs.stream.next_in = in.data();
    zs.stream.avail_in = static_cast<uInt>(input.gcount());
    do {
      zs.stream.next_out = out.data();
      zs.stream.avail_out = static_cast<uInt>(kSliceSize);
      if (deflate(&zs.stream, flush) == Z_STREAM_ERROR) {
        throw CompressionException("Unknown stream exception occurred");
      }
      output.write(reinterpret_cast<const char*>(out.data()),
                   static_cast<std::streamsize>(kSliceSize - zs.stream.avail_out));
    } while (zs.stream.avail_out == 0);
    if (flush == Z_FINISH) break;
  }
}

}  // namespace Ashgrove

namespace Ashgrove {

namespace {

constexpr std::uint32_t kEndOfBlock = 256;
constexpr std::uint32_t kLastLengthCode = 285;
constexpr std::uint32_t kLastDistanceCode = 29;

using DeflateSymbols::kDistanceBase;
using DeflateSymbols::kDistanceExtra;
using DeflateSymbols::kLengthBase;
using DeflateSymbols::kLengthExtra;
// The order in which HCLEN code-length code lengths are stored.
constexpr std::uint8_t kCodeLengthOrder[] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                             11, 4,  12, 3, 13, 2, 14, 1, 15};

// Enough bits for one length/distance pair with its extra bits.
constexpr std::uint32_t kPairBits = 48;

// First-level lookup widths: most literal/length codes fit in 11 bits and
// most distance codes in 8; longer ones take a second-level table.
constexpr std::uint32_t kLiteralLookupBits = 11;
constexpr std::uint32_t kDistanceLookupBits = 8;

HuffmanTable LiteralTable(const std::vector<std::uint8_t>& lengths) {
  return HuffmanTable(lengths, HuffmanTable::Alphabet::kLiteralLength, kLiteralLookupBits);
}

HuffmanTable DistanceTable(const std::vector<std::uint8_t>& lengths) {
  return HuffmanTable(lengths, HuffmanTable::Alphabet::kDistance, kDistanceLookupBits);
}

const HuffmanTable& FixedLiteralTable() {
  static const HuffmanTable table = LiteralTable([] {
    std::vector<std::uint8_t> lengths(288);
    for (std::size_t i = 0; i < 288; ++i) lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
    return lengths;
  }());
  return table;
}

// All 32 five-bit codes: 30 and 31 exist in the fixed code and are then
// refused as unknown distance codes.
const HuffmanTable& FixedDistanceTable() {
  static const HuffmanTable table = DistanceTable(std::vector<std::uint8_t>(32, 5));
  return table;
}

std::uint32_t ReadField(DeflateStreamBitReader& reader, std::uint32_t count, const char* failure) {
  BitSequence bits;
  if (!reader.ReadBits(count, bits)) throw DecompressionException(failure);
  return bits.value;
}

// Extra bits in the hot loop: the accumulator usually holds them already.
std::uint32_t ReadExtra(DeflateStreamBitReader& reader, std::uint32_t count, const char* failure) {
  if (!reader.Fill(count)) throw DecompressionException(failure);
  const std::uint32_t value = reader.Peek(count);
  reader.Consume(count);
  return value;
}

// One table lookup: the first level, and the second when it points there.
// `bits` holds at least the table's longest code.
inline HuffmanTable::Entry Lookup(const HuffmanTable::Entry* entries, std::uint64_t bits,
                                  std::uint64_t mainMask, std::uint32_t mainBits) {
  HuffmanTable::Entry entry = entries[bits & mainMask];
  if (entry & HuffmanTable::kPointer) {
    const std::uint64_t subMask = (std::uint64_t{1} << HuffmanTable::PointerBits(entry)) - 1;
    entry = entries[HuffmanTable::PointerStart(entry) + ((bits >> mainBits) & subMask)];
  }
  return entry;
}

// Decodes pairs and literals while plenty of input and output room remain,
// keeping the bit reader and the output position in registers; one check of
// both per step. The lookups carry each code's length, base and extra bits
// decoded. Anything out of the ordinary (end of block, a code no table
// entry resolves, an undefined symbol, a distance reaching before the
// window) is left untouched for the exact path.
template <bool kBmi2>
[[gnu::always_inline]] inline void DecodeFastBody(DeflateStreamBitReader& reader,
                                                  RollingOutputBuffer& buffer,
                                                  const HuffmanTable& literals,
                                                  const HuffmanTable& distances) {
  using Table = HuffmanTable;
  auto raw = reader.Export();
  std::uint64_t bits = raw.accumulator;
  // Only the low six bits of `count` are kept exact: whole entries are
  // subtracted from it (their low byte is the bits used), which spares a
  // masking step per code.
  std::uint32_t count = raw.count;
  const unsigned char* in = raw.next;
  const unsigned char* const inEnd = raw.end;
  unsigned char* out = buffer.Next();
  const unsigned char* const windowStart = buffer.Begin();
  if (inEnd - in < 8 || out >= buffer.Limit()) return;
  // Room for one more step: a refill's eight bytes of input, and a full
  // match (plus slack) of output.
  const unsigned char* const inLimit = inEnd - 8;
  unsigned char* const outLimit = buffer.Limit();
  const Table::Entry* const literalEntries = literals.Entries();
  const Table::Entry* const distanceEntries = distances.Entries();
  // Both tables are built with these first-level widths (LiteralTable,
  // DistanceTable), which as constants leave the loop its registers.
  constexpr std::uint32_t literalBits = kLiteralLookupBits;
  constexpr std::uint32_t distanceBits = kDistanceLookupBits;
  constexpr std::uint64_t literalMask = (std::uint64_t{1} << literalBits) - 1;
  constexpr std::uint64_t distanceMask = (std::uint64_t{1} << distanceBits) - 1;

  const auto refill = [&] {
    std::uint64_t word;
    std::memcpy(&word, in, 8);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    bits |= word << (count & 63);
    in += 7 - ((count >> 3) & 7);
    count |= 56;
  };
  // One literal entry: its one or two bytes stored (two always written,
  // the output keeps slack), its bits dropped, the next code's entry
  // looked up.
  const auto literal = [&](Table::Entry& entry) {
    bits >>= Table::Shift(entry);
    count -= entry;
    const auto pair = static_cast<std::uint16_t>(entry >> 8);
    std::memcpy(out, &pair, 2);
    out += Table::LiteralCount(entry);
    entry = literalEntries[bits & literalMask];
  };
  refill();
  // The next code's entry is looked up as soon as its bits are in, so that
  // the lookup overlaps the work on the current one.
  Table::Entry entry = literalEntries[bits & literalMask];
  for (;;) {
    // Literals first, straight from the first level: a pointer to a second
    // level never has the literal flag. Up to four entries (one or two
    // literals each) per refill: a first-level entry takes at most 11 bits,
    // and a refill leaves the accumulator holding the next 64 input bits
    // (56 or more of them counted), so four entries and the lookup of the
    // next code's entry fit. The refill that follows only adds bits above
    // those.
    if (Table::IsLiteral(entry)) {
      literal(entry);
      if (Table::IsLiteral(entry)) {
        literal(entry);
        if (Table::IsLiteral(entry)) {
          literal(entry);
          if (Table::IsLiteral(entry)) literal(entry);
        }
      }
      if (in > inLimit || out >= outLimit) break;
      refill();
      continue;
    }
    // One test sends everything but a length to the rarer cases: a longer
    // code's second level, or what only the exact path handles.
    if (!(entry & Table::kBase)) {
      if (!(entry & Table::kPointer)) break;
      entry = Lookup(literalEntries, bits, literalMask, literalBits);
      if (Table::IsLiteral(entry)) {
        bits >>= Table::Shift(entry);
        count -= entry;
        *out++ = Table::LiteralByte(entry);
        if (in > inLimit || out >= outLimit) break;
        refill();
        entry = literalEntries[bits & literalMask];
        continue;
      }
      if (!(entry & Table::kBase)) break;
    }
    // A length, its extra bits, a distance code and its extra bits: at most
    // 15 + 5 + 15 + 13 = 48 bits, all in the accumulator. Nothing is kept
    // unless the whole pair turns out valid. Each entry's code and extra
    // bits are dropped in one shift, and the extra bits are taken from the
    // bits as they were, alongside.
    // An entry's extra bits, from the bits as they stood before its code.
    const auto extra = [](Table::Entry entry, std::uint64_t from) {
      std::uint64_t low;
#if defined(__x86_64__) && defined(__GNUC__)
      if constexpr (kBmi2) {
        // One instruction for the mask and the and; the compiler does not
        // find it by itself, and its intrinsic cannot be named here.
        asm("bzhi %2, %1, %0" : "=r"(low) : "r"(from), "r"(std::uint64_t{entry}));
      } else
#endif
      {
        low = from & ((std::uint64_t{1} << Table::Shift(entry)) - 1);
      }
      return static_cast<std::uint32_t>(low >> ((entry >> 8) & 63));
    };
    const std::uint32_t length = Table::Value(entry) + extra(entry, bits);
    const std::uint64_t pairBits = bits >> Table::Shift(entry);
    Table::Entry distanceEntry = distanceEntries[pairBits & distanceMask];
    if (!(distanceEntry & Table::kBase)) {
      if (!(distanceEntry & Table::kPointer)) break;
      distanceEntry = Lookup(distanceEntries, pairBits, distanceMask, distanceBits);
      if (!(distanceEntry & Table::kBase)) break;
    }
    const std::uint32_t distance = Table::Value(distanceEntry) + extra(distanceEntry, pairBits);
    if (distance > static_cast<std::size_t>(out - windowStart)) break;
    bits = pairBits >> Table::Shift(distanceEntry);
    count -= entry + distanceEntry;
    unsigned char* const target = out;
    out += length;
    // A pair uses at most 48 of the 64 bits, so the next lookup needs no
    // refill first (see above).
    entry = literalEntries[bits & literalMask];
    const bool more = in <= inLimit && out < outLimit;
    if (more) refill();
    CopyBackReference(target, distance, length);
    if (!more) break;
  }
  reader.Import({bits, count & 63, in, inEnd});
  buffer.SetNext(out);
}

// The loop is kept out of line (inlined into its caller it shares that
// function's registers and spills its own). On x86-64 processors with BMI2
// it runs as a second build of the same code, whose shifts by a register
// count take one instruction instead of several: most of this loop is such
// shifts. The choice is made once, from the processor's own report.
[[gnu::noinline]] void DecodeFastPlain(DeflateStreamBitReader& reader, RollingOutputBuffer& buffer,
                                       const HuffmanTable& literals,
                                       const HuffmanTable& distances) {
  DecodeFastBody<false>(reader, buffer, literals, distances);
}

#if defined(__x86_64__) && defined(__GNUC__)
[[gnu::noinline, gnu::target("bmi2")]] void DecodeFastBmi2(DeflateStreamBitReader& reader,
                                                           RollingOutputBuffer& buffer,
                                                           const HuffmanTable& literals,
                                                           const HuffmanTable& distances) {
  DecodeFastBody<true>(reader, buffer, literals, distances);
}

void DecodeFast(DeflateStreamBitReader& reader, RollingOutputBuffer& buffer,
                const HuffmanTable& literals, const HuffmanTable& distances) {
  static const bool bmi2 = __builtin_cpu_supports("bmi2");
  if (bmi2) {
    DecodeFastBmi2(reader, buffer, literals, distances);
  } else {
    DecodeFastPlain(reader, buffer, literals, distances);
  }
}
#else
void DecodeFast(DeflateStreamBitReader& reader, RollingOutputBuffer& buffer,
                const HuffmanTable& literals, const HuffmanTable& distances) {
  DecodeFastPlain(reader, buffer, literals, distances);
}
#endif

void DecodeBlock(DeflateStreamBitReader& reader, RollingOutputBuffer& out,
                 const HuffmanTable& literals, const HuffmanTable& distances) {
  for (;;) {
    DecodeFast(reader, out, literals, distances);
    // One symbol or pair the exact way, with every check and message.
    out.Reserve();
    reader.Fill(kPairBits);
    const std::uint32_t symbol = literals.Decode(reader);
    if (symbol < kEndOfBlock) {
      out.Append(static_cast<unsigned char>(symbol));
      continue;
    }
    if (symbol == kEndOfBlock) return;
    if (symbol > kLastLengthCode) throw DecompressionException("Unknown length code");
    const std::uint32_t lengthCode = symbol - 257;
    const std::uint32_t length =
        kLengthBase[lengthCode] +
        ReadExtra(reader, kLengthExtra[lengthCode],
                  "Unexpected end of stream while reading extra length bits");
    const std::uint32_t distanceCode = distances.Decode(reader);
    if (distanceCode > kLastDistanceCode) throw DecompressionException("Unknown distance code");
    const std::uint32_t distance =
        kDistanceBase[distanceCode] +
        ReadExtra(reader, kDistanceExtra[distanceCode],
                  "Unexpected end of stream while reading extra distance bits");
    out.Copy(distance, length);
  }
}

void CopyStoredBlock(DeflateStreamBitReader& reader, RollingOutputBuffer& out) {
  reader.SkipToByteBoundary();
  BitSequence len;
  BitSequence nlen;
  if (!reader.ReadBits(16, len) || !reader.ReadBits(16, nlen)) {
    throw DecompressionException("Unexpected end of stream reading uncompressed data lengths");
  }
  if ((len.value ^ 0xFFFFu) != nlen.value)
    throw DecompressionException("Error reading length of uncompressed data");
  unsigned char chunk[4096];
  std::uint32_t done = 0;
  while (done < len.value) {
    const std::size_t want = std::min<std::size_t>(sizeof chunk, len.value - done);
    const std::size_t got = reader.ReadAlignedBytes(chunk, want);
    out.Append(chunk, got);
    done += static_cast<std::uint32_t>(got);
    if (got < want) {
      throw DecompressionException("Stream ended early, read " + std::to_string(done) + " of " +
                                   std::to_string(len.value));
    }
  }
}

void DecodeDynamicBlock(DeflateStreamBitReader& reader, RollingOutputBuffer& out) {
  const std::uint32_t hlit = ReadField(reader, 5, "Unable to read number of literal codes");
  const std::uint32_t hdist = ReadField(reader, 5, "Unable to read number of distance codes");
  const std::uint32_t hclen = ReadField(reader, 4, "Unable to read number of code length codes");
  std::vector<std::uint8_t> codeLengthLengths(19, 0);
  for (std::uint32_t i = 0; i < hclen + 4; ++i) {
    codeLengthLengths[kCodeLengthOrder[i]] =
        static_cast<std::uint8_t>(ReadField(reader, 3, "Unable to read code length"));
  }
  const HuffmanTable codeLengths(codeLengthLengths);

  const std::uint32_t literalCount = hlit + 257;
  const std::uint32_t total = literalCount + hdist + 1;
  std::vector<std::uint8_t> lengths(total, 0);
  std::uint32_t i = 0;
  while (i < total) {
    const std::uint32_t symbol = codeLengths.Decode(reader);
    if (symbol < 16) {
      lengths[i++] = static_cast<std::uint8_t>(symbol);
      continue;
    }
    std::uint8_t value = 0;
    std::uint32_t repeat = 0;
    const char* const countFailure = "Unable to read repeat count for code length table";
    if (symbol == 16) {
      if (i == 0) throw DecompressionException("No codes to repeat");
      value = lengths[i - 1];
      repeat = 3 + ReadField(reader, 2, countFailure);
    } else if (symbol == 17) {
      repeat = 3 + ReadField(reader, 3, countFailure);
    } else {
      repeat = 11 + ReadField(reader, 7, countFailure);
    }
    if (i + repeat > total)
      throw DecompressionException("Repetition goes past the end of the table!");
    std::fill_n(lengths.begin() + i, repeat, value);
    i += repeat;
  }
  const HuffmanTable literals =
      LiteralTable(std::vector<std::uint8_t>(lengths.begin(), lengths.begin() + literalCount));
  const HuffmanTable distances =
      DistanceTable(std::vector<std::uint8_t>(lengths.begin() + literalCount, lengths.end()));
  DecodeBlock(reader, out, literals, distances);
}

}  // namespace

namespace {

void DecodeBlocks(DeflateStreamBitReader& reader, RollingOutputBuffer& out) {
  try {
    for (;;) {
      BitSequence isFinal;
      // Input that ends where a block would start is a finished stream,
      // even when no final block was seen.
      if (!reader.ReadBits(1, isFinal)) break;
      const std::uint32_t type = ReadField(reader, 2, "Unable to read block type");
      switch (type) {
        case 0:
          CopyStoredBlock(reader, out);
          break;
        case 1:
          DecodeBlock(reader, out, FixedLiteralTable(), FixedDistanceTable());
          break;
        case 2:
          DecodeDynamicBlock(reader, out);
          break;
        default:
          throw DecompressionException("Encountered reserved block");
      }
      if (isFinal.value == 1) break;
    }
  } catch (...) {
    out.Flush();
    throw;
  }
  out.Flush();
}

}  // namespace

ByteBlock& DeflateCompression::Storage() {
  if (!storage_) storage_ = std::make_unique<ByteBlock>(RollingOutputBuffer::kStorageSize);
  return *storage_;
}

void DeflateCompression::Decompress(std::istream& input, std::ostream& output) {
  DeflateStreamBitReader reader(input);
  RollingOutputBuffer out(ByteSink(output), Storage());
  DecodeBlocks(reader, out);
}

static_assert(DeflateCompression::kOutputSlack == RollingOutputBuffer::kDirectSlack);

void DeflateCompression::DecompressBytes(const unsigned char* data, std::size_t size,
                                         std::vector<unsigned char>& output) {
  DeflateStreamBitReader reader(data, size);
  RollingOutputBuffer out(output);
  DecodeBlocks(reader, out);
}

}  // namespace Ashgrove
