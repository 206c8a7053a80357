// Our Deflate decoder runs a table-driven fast loop and leaves anything out of
// the ordinary to an exact path. Here it is held to a plain decoder written
// straight from the format, one bit at a time, with the same messages: on
// zlib's streams at several levels and strategies, and on every kind of
// damage to them (flipped bits, cuts, garbage), the two must write the same
// bytes and stop with the same message.
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
        std::vector<std::uint8_t> literal(288), distance(32, 5);
        for (std::size_t i = 0; i < 288; ++i)
          literal[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
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

  bool Bit(std::uint32_t& bit) {
    if (position_ / 8 >= in_.size()) return false;
    bit = (in_[position_ / 8] >> (position_ % 8)) & 1;
    ++position_;
    return true;
  }
  bool Field(std::uint32_t count, std::uint32_t& value) {
    value = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      std::uint32_t bit = 0;
      if (!Bit(bit)) return false;
      value |= bit << i;
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
      std::uint32_t bit = 0;
      if (!Bit(bit))
        throw Failure("Unexpected end of stream encountered while reading Huffman code");
      code = code * 2 + bit;
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
    for (std::uint32_t i = 0; i < len; ++i) {
      std::uint32_t byte = 0;
      if (!Field(8, byte)) {
        throw Failure("Stream ended early, read " + std::to_string(i) + " of " +
                      std::to_string(len));
      }
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
      const char* repeatFailure = "Unable to read repeat count for code length table";
      std::uint8_t value = 0;
      std::uint32_t repeat = 0;
      if (symbol == 16) {
        if (lengths.empty()) throw Failure("No codes to repeat");
        value = lengths.back();
        repeat = 3 + Required(2, repeatFailure);
      } else if (symbol == 17) {
        repeat = 3 + Required(3, repeatFailure);
      } else {
        repeat = 11 + Required(7, repeatFailure);
      }
      if (lengths.size() + repeat > total)
        throw Failure("Repetition goes past the end of the table!");
      lengths.insert(lengths.end(), repeat, value);
    }
    Block(Code({lengths.begin(), lengths.begin() + hlit + 257}),
          Code({lengths.begin() + hlit + 257, lengths.end()}));
  }

  void Block(const Table& literals, const Table& distances) {
    static const std::uint16_t kLengthBase[] = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                                15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                                67, 83, 99, 115, 131, 163, 195, 227, 258};
    static const std::uint8_t kLengthExtra[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                                2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
    for (;;) {
      const std::uint32_t symbol = Symbol(literals);
      if (symbol < 256) {
        out_.push_back(static_cast<unsigned char>(symbol));
        continue;
      }
      if (symbol == 256) return;
      if (symbol > 285) throw Failure("Unknown length code");
      const std::uint32_t length =
          kLengthBase[symbol - 257] +
          Required(kLengthExtra[symbol - 257],
                   "Unexpected end of stream while reading extra length bits");
      const std::uint32_t code = Symbol(distances);
      if (code > 29) throw Failure("Unknown distance code");
      const std::uint32_t extra = code < 4 ? 0 : code / 2 - 1;
      const std::uint32_t base = code < 4 ? code + 1 : ((2 + code % 2) << extra) + 1;
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
// already (which must stay as they were).
std::pair<Outcome, Outcome> Ours(Ashgrove::DeflateCompression& codec, const Bytes& input) {
  Outcome stream;
  stream.output = Vellum::Testing::Decode(codec, input, &stream.failure);
  Outcome bytes;
  const Bytes before{'x', 'y'};
  Bytes out = before;
  try {
    codec.DecompressBytes(input.data(), input.size(), out);
  } catch (const std::exception& e) {
    bytes.failure = e.what();
  }
  EXPECT_TRUE(std::equal(before.begin(), before.end(), out.begin()));
  bytes.output.assign(out.begin() + 2, out.end());
  return {stream, bytes};
}

Bytes Zlib(const Bytes& input, int level, int strategy) {
  z_stream stream{};
  deflateInit2(&stream, level, Z_DEFLATED, -15, 8, strategy);
  Bytes out(deflateBound(&stream, input.size()));
  stream.next_in = const_cast<unsigned char*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

struct Stream {
  std::string name;
  Bytes packed;
};

std::vector<Stream> Streams() {
  const std::pair<const char*, Bytes> payloads[] = {
      {"text", Vellum::Testing::EnglishText(60'000)},
      {"label", Vellum::Testing::LabelBitmap(400, 300)},
      {"photo", Vellum::Testing::PhotoGrey(160, 120)},
  };
  std::vector<Stream> streams;
  for (const auto& [name, bytes] : payloads) {
    for (int level : {1, 6, 9}) {
      streams.push_back({std::string(name) + " level " + std::to_string(level),
                         Zlib(bytes, level, Z_DEFAULT_STRATEGY)});
    }
    streams.push_back({std::string(name) + " fixed codes", Zlib(bytes, 6, Z_FIXED)});
    streams.push_back({std::string(name) + " stored", Zlib(bytes, 0, Z_DEFAULT_STRATEGY)});
  }
  return streams;
}

TEST(DeflateEquivalence, ZlibStreamsDecodeAlike) {
  Ashgrove::DeflateCompression codec;
  for (const Stream& s : Streams()) {
    SCOPED_TRACE(s.name);
    const Outcome plain = Plain(s.packed);
    ASSERT_EQ(plain.failure, "");
    const auto [stream, bytes] = Ours(codec, s.packed);
    EXPECT_EQ(stream, plain);
    EXPECT_EQ(bytes, plain);
  }
}

TEST(DeflateEquivalence, DamagedStreamsFailAlike) {
  Ashgrove::DeflateCompression codec;
  std::mt19937 random(5);
  std::map<std::string, int> messages;  // what the damage led to, to see it spread
  for (const Stream& s : Streams()) {
    for (int trial = 0; trial < 60; ++trial) {
      Bytes damaged = s.packed;
      const std::size_t at = random() % damaged.size();
      switch (trial % 3) {
        case 0:  // a flipped bit
          damaged[at] ^= static_cast<unsigned char>(1u << (random() % 8));
          break;
        case 1:  // cut short
          damaged.resize(at);
          break;
        default:  // a run of garbage
          for (std::size_t i = at; i < std::min(damaged.size(), at + 16); ++i)
            damaged[i] = static_cast<unsigned char>(random());
      }
      SCOPED_TRACE(s.name + ", trial " + std::to_string(trial));
      const Outcome plain = Plain(damaged);
      const auto [stream, bytes] = Ours(codec, damaged);
      EXPECT_EQ(stream.failure, plain.failure);
      EXPECT_EQ(stream.output, plain.output);
      EXPECT_EQ(bytes.failure, plain.failure);
      EXPECT_EQ(bytes.output, plain.output);
      ++messages[plain.failure];
    }
  }
  // The damage reached more than one kind of defect.
  EXPECT_GE(messages.size(), 4u);
}

}  // namespace
