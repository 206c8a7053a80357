// Our Deflate decoder runs a table-driven fast loop and leaves anything out of
// the ordinary to an exact path. It is held to zlib, whose raw streams (window
// bits -15, no header) it must restore byte for byte, and to a plain decoder
// written here straight from the format, one bit at a time: on hand-made
// defects and on every kind of damage to zlib's streams (flipped bits, cuts,
// garbage), the two must write the same bytes and stop with the same message.
#include <gtest/gtest.h>
#include <zlib.h>

#include <map>
#include <random>
#include <stdexcept>
#include <string>

#include "graphics/codecs/codec_runner.h"
#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/sample_data.h"

namespace {

using Vellum::Testing::Bytes;

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The format read bit by bit; Huffman codes looked up by slot (2^n - 2 + c
// for the code c of n bits), exactly as described for the decoder.
class PlainInflate {
 public:
  PlainInflate(const Bytes& input, Bytes& output) : in_(input), out_(output) {}

  void Run() {
    for (;;) {
      std::uint32_t final = 0;
      if (!Field(1, final)) return;
      const std::uint32_t type = Required(2, "Unable to read block type");
      if (type == 0) {
        Stored();
      } else if (type == 1) {
        std::vector<std::uint8_t> literal(288, 8), distance(32, 5);
        std::fill(literal.begin() + 144, literal.begin() + 256, 9);
        std::fill(literal.begin() + 256, literal.begin() + 280, 7);
        Block(Code(literal), Code(distance));
      } else if (type == 2) {
        Dynamic();
      } else {
        throw Failure("Encountered reserved block");
      }
      if (final) return;
    }
  }

 private:
  struct Table {
    std::uint32_t longest = 0;
    std::map<std::uint64_t, std::uint32_t> slots;
  };

  bool Field(std::uint32_t count, std::uint32_t& value) {
    value = 0;
    for (std::uint32_t i = 0; i < count; ++i, ++position_) {
      if (position_ / 8 >= in_.size()) return false;
      value |= ((in_[position_ / 8] >> (position_ % 8)) & 1u) << i;
    }
    return true;
  }
  std::uint32_t Required(std::uint32_t count, const char* message) {
    std::uint32_t value = 0;
    if (!Field(count, value)) throw Failure(message);
    return value;
  }

  static Table Code(const std::vector<std::uint8_t>& lengths) {
    Table t;
    for (auto length : lengths) t.longest = std::max<std::uint32_t>(t.longest, length);
    std::uint32_t count[34] = {}, next[34] = {};
    for (auto length : lengths)
      if (length >= 1 && length <= 33) ++count[length];
    for (int n = 2; n <= 33; ++n) next[n] = ((next[n - 1] + count[n - 1]) & 0x7FFFFFFF) * 2;
    for (std::uint32_t symbol = 0; symbol < lengths.size() && symbol < 289; ++symbol) {
      const std::uint32_t n = lengths[symbol];
      if (n == 0 || n > 33) continue;
      const std::uint64_t slot = (std::uint64_t{1} << n) - 2 + next[n]++;
      if (slot >= (std::uint64_t{2} << t.longest) - 2)
        throw Failure("Code too large for this table");
      if (!t.slots.emplace(slot, symbol).second) throw Failure("Duplicate code!");
    }
    return t;
  }

  std::uint32_t Symbol(const Table& t) {
    std::uint64_t code = 0;
    for (std::uint32_t length = 1;; ++length) {
      code =
          code * 2 + Required(1, "Unexpected end of stream encountered while reading Huffman code");
      if (length > t.longest) throw Failure("Code too large for this table");
      const auto found = t.slots.find((std::uint64_t{1} << length) - 2 + code);
      if (found != t.slots.end()) return found->second;
    }
  }

  void Stored() {
    position_ = (position_ + 7) / 8 * 8;
    std::uint32_t len = 0, nlen = 0;
    if (!Field(16, len) || !Field(16, nlen))
      throw Failure("Unexpected end of stream reading uncompressed data lengths");
    if ((len ^ 0xFFFF) != nlen) throw Failure("Error reading length of uncompressed data");
    for (std::uint32_t i = 0, byte = 0; i < len; ++i) {
      if (!Field(8, byte))
        throw Failure("Stream ended early, read " + std::to_string(i) + " of " +
                      std::to_string(len));
      out_.push_back(static_cast<unsigned char>(byte));
    }
  }

  void Dynamic() {
    static const std::uint8_t kOrder[] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                          11, 4,  12, 3, 13, 2, 14, 1, 15};
    const std::uint32_t hlit = Required(5, "Unable to read number of literal codes");
    const std::uint32_t hdist = Required(5, "Unable to read number of distance codes");
    const std::uint32_t hclen = Required(4, "Unable to read number of code length codes");
    std::vector<std::uint8_t> codeLengths(19, 0);
    for (std::uint32_t i = 0; i < hclen + 4; ++i)
      codeLengths[kOrder[i]] = static_cast<std::uint8_t>(Required(3, "Unable to read code length"));
    const Table lengthsCode = Code(codeLengths);
    const std::uint32_t total = hlit + 257 + hdist + 1;
    std::vector<std::uint8_t> lengths;
    while (lengths.size() < total) {
      const std::uint32_t symbol = Symbol(lengthsCode);
      if (symbol < 16) {
        lengths.push_back(static_cast<std::uint8_t>(symbol));
        continue;
      }
      if (symbol == 16 && lengths.empty()) throw Failure("No codes to repeat");
      const std::uint8_t value = symbol == 16 ? lengths.back() : 0;
      const std::uint32_t extra[] = {2, 3, 7}, least[] = {3, 3, 11};
      const std::uint32_t repeat =
          least[symbol - 16] +
          Required(extra[symbol - 16], "Unable to read repeat count for code length table");
      if (lengths.size() + repeat > total)
        throw Failure("Repetition goes past the end of the table!");
      lengths.insert(lengths.end(), repeat, value);
    }
    Block(Code({lengths.begin(), lengths.begin() + hlit + 257}),
          Code({lengths.begin() + hlit + 257, lengths.end()}));
  }

  void Block(const Table& literals, const Table& distances) {
    for (;;) {
      const std::uint32_t symbol = Symbol(literals);
      if (symbol < 256) {
        out_.push_back(static_cast<unsigned char>(symbol));
        continue;
      }
      if (symbol == 256) return;
      if (symbol > 285) throw Failure("Unknown length code");
      // Lengths 3-10 have no extra bits, then 4 codes per extra bit; 285 is 258.
      const std::uint32_t code = symbol - 257;
      const std::uint32_t lengthExtra = code < 8 || code == 28 ? 0 : code / 4 - 1;
      const std::uint32_t lengthBase = code == 28 ? 258
                                       : code < 8 ? code + 3
                                                  : ((4 + code % 4) << lengthExtra) + 3;
      const std::uint32_t length =
          lengthBase +
          Required(lengthExtra, "Unexpected end of stream while reading extra length bits");
      const std::uint32_t distanceCode = Symbol(distances);
      if (distanceCode > 29) throw Failure("Unknown distance code");
      const std::uint32_t extra = distanceCode < 4 ? 0 : distanceCode / 2 - 1;
      const std::uint32_t base =
          distanceCode < 4 ? distanceCode + 1 : ((2 + distanceCode % 2) << extra) + 1;
      const std::uint32_t distance =
          base + Required(extra, "Unexpected end of stream while reading extra distance bits");
      if (distance > std::min<std::size_t>(out_.size(), 32768))
        throw Failure("Backwards distance exceeds available bytes");
      for (std::uint32_t i = 0; i < length; ++i) out_.push_back(out_[out_.size() - distance]);
    }
  }

  const Bytes& in_;
  Bytes& out_;
  std::size_t position_ = 0;  // in bits
};

struct Outcome {
  Bytes output;
  std::string failure;
  bool operator==(const Outcome&) const = default;
};

Outcome Plain(const Bytes& input) {
  Outcome o;
  try {
    PlainInflate(input, o.output).Run();
  } catch (const Failure& e) {
    o.failure = e.what();
  }
  return o;
}

// Ours from a stream, and from bytes in place onto a vector holding bytes
// already (which must stay as they were); both must come out alike.
Outcome Ours(Ashgrove::DeflateCompression& codec, const Bytes& input) {
  Outcome stream;
  stream.output = Vellum::Testing::Decode(codec, input, &stream.failure);
  Outcome bytes;
  Bytes out{'x', 'y'};
  try {
    codec.DecompressBytes(input.data(), input.size(), out);
  } catch (const std::exception& e) {
    bytes.failure = e.what();
  }
  EXPECT_EQ(out[0] + out[1], 'x' + 'y');
  bytes.output.assign(out.begin() + 2, out.end());
  EXPECT_EQ(bytes, stream);
  return stream;
}

Bytes Zlib(const Bytes& input, int level, int strategy) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, level, Z_DEFLATED, -15, 8, strategy), Z_OK);
  Bytes out(deflateBound(&stream, input.size()));
  stream.next_in = const_cast<unsigned char*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

TEST(Deflate, ZlibStreamsDecodeToTheirInputAtEveryLevelAndStrategy) {
  const std::pair<const char*, Bytes> payloads[] = {
      {"empty", {}},
      {"one byte", {0x41}},
      {"text, window rolls over", Vellum::Testing::EnglishText(100'000)},
      {"label bitmap", Vellum::Testing::LabelBitmap(640, 400)},
      {"photo", Vellum::Testing::PhotoGrey(200, 120)},
      {"random", Vellum::Testing::RandomBytes(20'000, 11)},
  };
  Ashgrove::DeflateCompression ours;
  for (const auto& [name, bytes] : payloads) {
    for (int strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED}) {
      for (int level = 0; level <= 9; ++level) {
        SCOPED_TRACE(std::string(name) + ", strategy " + std::to_string(strategy) + ", level " +
                     std::to_string(level));
        ASSERT_EQ(Ours(ours, Zlib(bytes, level, strategy)), (Outcome{bytes, ""}));
      }
    }
  }
}

// Packs Deflate fields least significant bit first; Huffman codes go in most
// significant bit first (`msbFirst`).
struct BitPacker {
  BitPacker& Bits(std::uint32_t value, int count, bool msbFirst = false) {
    for (int i = 0; i < count; ++i, used = (used + 1) % 8) {
      if (used == 0) bytes.push_back(0);
      bytes.back() |=
          static_cast<unsigned char>(((value >> (msbFirst ? count - 1 - i : i)) & 1) << used);
    }
    return *this;
  }
  Bytes bytes;
  int used = 0;
};

// A final fixed block (BTYPE 01): the literal 'A' (8-bit code 0x71), then
// length code 257 (a match of 3, code 0000001) and a 5-bit distance code.
Bytes AThenMatch(std::uint32_t code) {
  return BitPacker().Bits(3, 3).Bits(0x71, 8, true).Bits(1, 7, true).Bits(code, 5, true).bytes;
}

// A final dynamic block (BTYPE 10) with HLIT, HDIST and HCLEN all 0: only
// code length codes 16, 17, 18 and 0 get lengths, these.
BitPacker Dynamic(std::uint32_t l16, std::uint32_t l17, std::uint32_t l18, std::uint32_t l0) {
  return BitPacker().Bits(5, 3).Bits(0, 14).Bits(l16, 3).Bits(l17, 3).Bits(l18, 3).Bits(l0, 3);
}

TEST(Deflate, MalformedStreamsFailWithTheirMessage) {
  const struct {
    const char* name;
    Bytes stream;
    std::string message;
    std::string partial;  // the output written before the failure
  } cases[] = {
      {"no bytes at all", Bytes{}, "", ""},
      {"NLEN not the complement of LEN", Bytes{0x01, 10, 0, 0, 0},
       "Error reading length of uncompressed data", ""},
      {"short stored block", Bytes{0x01, 10, 0, 0xF5, 0xFF, 'a', 'b', 'c', 'd'},
       "Stream ended early, read 4 of 10", "abcd"},
      {"stored lengths cut off", Bytes{0x01, 10, 0, 0xF5},
       "Unexpected end of stream reading uncompressed data lengths", ""},
      {"reserved block type", Bytes{0x07}, "Encountered reserved block", ""},
      {"distance beyond the output", AThenMatch(1), "Backwards distance exceeds available bytes",
       "A"},
      // Length code 286 exists in the fixed code (11000110) but means nothing.
      {"length code 286", BitPacker().Bits(3, 3).Bits(0xC6, 8, true).bytes, "Unknown length code",
       ""},
      {"distance code 30", AThenMatch(30), "Unknown distance code", "A"},
      {"cut inside a Huffman code", Bytes{0x03},
       "Unexpected end of stream encountered while reading Huffman code", ""},
      {"cut inside extra distance bits", AThenMatch(29),
       "Unexpected end of stream while reading extra distance bits", "A"},
      {"repeat with nothing before it", Dynamic(1, 0, 0, 1).Bits(1, 1).Bits(0, 2).bytes,
       "No codes to repeat", ""},
      {"repeat past the table", Dynamic(0, 0, 1, 1).Bits(0xFFFFFF, 24).bytes,
       "Repetition goes past the end of the table!", ""},
      {"over-full code length code", Dynamic(1, 1, 1, 0).bytes, "Code too large for this table",
       ""},
      {"bits that match no code", Dynamic(0, 0, 0, 1).Bits(3, 2).bytes,
       "Code too large for this table", ""},
  };
  Ashgrove::DeflateCompression ours;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome expected{Bytes(c.partial.begin(), c.partial.end()), c.message};
    EXPECT_EQ(Ours(ours, c.stream), expected);
    EXPECT_EQ(Plain(c.stream), expected);
  }
}

TEST(Deflate, DamagedStreamsFailAsThePlainDecoderFails) {
  std::vector<Bytes> streams;
  for (const Bytes& bytes :
       {Vellum::Testing::EnglishText(60'000), Vellum::Testing::LabelBitmap(400, 300),
        Vellum::Testing::PhotoGrey(160, 120)}) {
    for (int level : {0, 1, 6, 9}) streams.push_back(Zlib(bytes, level, Z_DEFAULT_STRATEGY));
    streams.push_back(Zlib(bytes, 6, Z_FIXED));
  }
  Ashgrove::DeflateCompression codec;
  std::mt19937 random(5);
  std::map<std::string, int> messages;  // what the damage led to, to see it spread
  for (std::size_t s = 0; s < streams.size(); ++s) {
    for (int trial = 0; trial < 60; ++trial) {
      Bytes damaged = streams[s];
      const std::size_t at = random() % damaged.size();
      if (trial % 3 == 0) {  // a flipped bit
        damaged[at] ^= static_cast<unsigned char>(1u << (random() % 8));
      } else if (trial % 3 == 1) {  // cut short
        damaged.resize(at);
      } else {  // a run of garbage
        for (std::size_t i = at; i < std::min(damaged.size(), at + 16); ++i)
          damaged[i] = static_cast<unsigned char>(random());
      }
      SCOPED_TRACE("stream " + std::to_string(s) + ", trial " + std::to_string(trial));
      const Outcome plain = Plain(damaged);
      EXPECT_EQ(Ours(codec, damaged), plain);
      ++messages[plain.failure];
    }
  }
  EXPECT_GE(messages.size(), 4u);  // the damage reached more than one kind of defect
}

}  // namespace
