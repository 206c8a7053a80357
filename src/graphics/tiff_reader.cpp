#include "graphics/tiff_reader.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>

#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/jpeg_compression.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/tiff_prediction.h"
#include "graphics/codecs/vector_codec.h"
#include "graphics/exception.h"

namespace Brindle {

namespace {

// Tags, by their TIFF names.
constexpr std::uint16_t kImageWidth = 256;
constexpr std::uint16_t kImageLength = 257;
constexpr std::uint16_t kBitsPerSample = 258;
constexpr std::uint16_t kCompression = 259;
constexpr std::uint16_t kPhotometricInterpretation = 262;
constexpr std::uint16_t kStripOffsets = 273;
constexpr std::uint16_t kSamplesPerPixel = 277;
constexpr std::uint16_t kRowsPerStrip = 278;
constexpr std::uint16_t kStripByteCounts = 279;
constexpr std::uint16_t kXResolution = 282;
constexpr std::uint16_t kYResolution = 283;
constexpr std::uint16_t kResolutionUnit = 296;
constexpr std::uint16_t kPredictor = 317;

// Field types.
constexpr std::uint16_t kByte = 1;
constexpr std::uint16_t kShort = 3;
constexpr std::uint16_t kLong = 4;
constexpr std::uint16_t kRational = 5;

struct Entry {
  std::uint16_t type;
  std::uint32_t count;
  std::uint32_t value;
};

// The stream with the file's byte order. Seeks beyond the end are pinned to
// the end, so that what follows fails as a short read, the way a file does;
// the vector stream buffer would otherwise let reads run past its data.
class FieldReader {
 public:
  explicit FieldReader(std::istream& input) : input_(input) {
    input_.seekg(0, std::ios_base::end);
    const auto end = input_.tellg();
    size_ = end < 0 ? 0 : static_cast<std::uint64_t>(end);
    input_.seekg(0, std::ios_base::beg);
  }

  void SetBigEndian(bool bigEndian) { bigEndian_ = bigEndian; }
  std::uint64_t Size() const { return size_; }

  void Seek(std::uint64_t offset) {
    input_.clear();
    input_.seekg(static_cast<std::streamoff>(std::min(offset, size_)), std::ios_base::beg);
  }

  std::uint8_t Read8() {
    unsigned char byte[1];
    ReadExactly(byte, 1);
    return byte[0];
  }
  std::uint16_t Read16() {
    unsigned char b[2];
    ReadExactly(b, 2);
    return static_cast<std::uint16_t>(bigEndian_ ? b[0] << 8 | b[1] : b[1] << 8 | b[0]);
  }
  std::uint32_t Read32() {
    unsigned char b[4];
    ReadExactly(b, 4);
    return bigEndian_ ? std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 |
                            std::uint32_t{b[2]} << 8 | b[3]
                      : std::uint32_t{b[3]} << 24 | std::uint32_t{b[2]} << 16 |
                            std::uint32_t{b[1]} << 8 | b[0];
  }

 private:
  void ReadExactly(unsigned char* to, std::streamsize count) {
    input_.read(reinterpret_cast<char*>(to), count);
    if (input_.gcount() != count) throw ImageException("Read error reading from TIFF");
  }

  std::istream& input_;
  std::uint64_t size_ = 0;
  bool bigEndian_ = false;
};

class DirectoryParser {
 public:
  explicit DirectoryParser(std::istream& input) : reader_(input) {}

  void ReadHeaderAndDirectories() {
    const std::uint8_t first = reader_.Read8();
    const std::uint8_t second = reader_.Read8();
    if (first == 'I' && second == 'I') {
      reader_.SetBigEndian(false);
    } else if (first == 'M' && second == 'M') {
      reader_.SetBigEndian(true);
    } else {
      throw ImageException("Not a valid TIFF file");
    }
    if (reader_.Read16() != 42) throw ImageException("Unknown TIFF version");
    for (std::uint32_t offset = reader_.Read32(); offset != 0;) offset = ReadDirectory(offset);
  }

  // A field that must be there with count 1; its value as read from the entry.
  bool Single(std::uint16_t tag, std::uint32_t& value) const {
    const auto found = entries_.find(tag);
    if (found == entries_.end() || found->second.count != 1) return false;
    value = found->second.value;
    return true;
  }

  // An array field's values; false when the tag is missing.
  bool Array(std::uint16_t tag, std::vector<std::uint32_t>& values) {
    values.clear();
    const auto found = entries_.find(tag);
    if (found == entries_.end()) return false;
    const Entry& entry = found->second;
    if (entry.count == 1 && entry.type != kRational) {
      values.push_back(entry.value);
      return true;
    }
    reader_.Seek(entry.value);
    const std::uint64_t count =
        entry.type == kRational ? std::uint64_t{entry.count} * 2 : entry.count;
    // No reservation from the declared count: the values are only taken as
    // far as the file really holds them.
    for (std::uint64_t i = 0; i < count; ++i) {
      switch (entry.type) {
        case kByte:
          values.push_back(reader_.Read8());
          break;
        case kShort:
          values.push_back(reader_.Read16());
          break;
        case kLong:
        case kRational:
          values.push_back(reader_.Read32());
          break;
        default:
          throw ImageException("Cannot read fields of this type");
      }
    }
    return true;
  }

 private:
  // Reads one directory into the map and returns the next one's offset.
  std::uint32_t ReadDirectory(std::uint32_t offset) {
    if (directories_.count(offset) != 0)
      throw ImageException("TIFF directory chain loops back on itself");
    reader_.Seek(offset);
    const std::uint16_t count = reader_.Read16();
    // Directories that share bytes would let a small file make us read the
    // same entries over and over; a well-formed file never has them.
    const std::uint64_t end = std::uint64_t{offset} + 2 + 12 * std::uint64_t{count} + 4;
    const auto after = directories_.lower_bound(offset);
    if ((after != directories_.end() && after->first < end) ||
        (after != directories_.begin() && std::prev(after)->second > offset)) {
      throw ImageException("TIFF directories overlap");
    }
    directories_.emplace(offset, end);
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint16_t tag = reader_.Read16();
      Entry entry{};
      entry.type = reader_.Read16();
      entry.count = reader_.Read32();
      if (entry.count > 1) {
        // An offset whatever the type, even where the values would have fit
        // in the field itself; files from this system's writers never do that.
        entry.value = reader_.Read32();
      } else if (entry.type == kByte) {
        entry.value = reader_.Read8();
        reader_.Read8(), reader_.Read8(), reader_.Read8();
      } else if (entry.type == kShort) {
        entry.value = reader_.Read16();
        reader_.Read16();
      } else {
        entry.value = reader_.Read32();
      }
      // The first directory's value stands when a later one repeats the tag.
      entries_.emplace(tag, entry);
    }
    return reader_.Read32();
  }

  FieldReader reader_;
  std::map<std::uint16_t, Entry> entries_;
  std::map<std::uint64_t, std::uint64_t> directories_;  // start -> end of each directory read
};

double Resolution(DirectoryParser& parser, std::uint16_t tag, const char* failure) {
  std::vector<std::uint32_t> rational;
  if (!parser.Array(tag, rational) || rational.size() != 2) throw ImageException(failure);
  return static_cast<double>(rational[0]) / static_cast<double>(rational[1]);
}

std::uint64_t RowLength(const TIFFFileInfo& info) {
  const std::uint64_t samples = std::uint64_t{info.samplesPerPixel} * info.width;
  switch (info.bitsPerSample.front()) {
    case 1:
      return (samples + 7) / 8;
    case 2:
      return (samples + 3) / 4;
    case 4:
      return (samples + 1) / 2;
    case 8:
      return samples;
    case 16:
      return 2 * samples;
    default:
      throw ImageException("Unsupported bit-depth for this TIFF file");
  }
}

std::vector<unsigned char> Run(Ashgrove::IDecompressor& codec,
                               const std::vector<unsigned char>& input, std::size_t expected) {
  std::vector<unsigned char> output;
  output.reserve(expected);
  Ashgrove::DecompressVector(codec, input, output);
  return output;
}

std::uint64_t StreamSize(std::istream& input) {
  input.clear();
  input.seekg(0, std::ios_base::end);
  const auto end = input.tellg();
  return end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

// Reads strip `index` as stored from a stream of `size` bytes, refusing
// counts the stream cannot hold before anything is allocated for them.
std::vector<unsigned char> RawStrip(std::istream& input, const TIFFFileInfo& info,
                                    std::size_t index, std::uint64_t size) {
  const std::uint64_t offset = info.stripOffsets[index];
  const std::uint64_t count = info.stripByteCounts[index];
  if (offset > size || count > size - offset)
    throw ImageException("Unable to read required number of bytes");
  std::vector<unsigned char> bytes(count);
  input.clear();
  input.seekg(static_cast<std::streamoff>(offset), std::ios_base::beg);
  input.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
  if (static_cast<std::uint64_t>(input.gcount()) != count) {
    throw ImageException("Unable to read required number of bytes");
  }
  return bytes;
}

}  // namespace

TIFFFileInfo::TIFFFileInfo(std::istream& input) {
  DirectoryParser parser(input);
  parser.ReadHeaderAndDirectories();
  if (!parser.Single(kPredictor, predictor)) predictor = 1;
  if (!parser.Single(kCompression, compression))
    throw ImageException("Cannot determine compression of this TIFF");
  if (!parser.Single(kImageWidth, width) || !parser.Single(kImageLength, height)) {
    throw ImageException("TIFF dimensions are invalid");
  }
  if (!parser.Single(kSamplesPerPixel, samplesPerPixel)) {
    throw ImageException("File does not specify number of samples per pixel");
  }
  if (!parser.Array(kBitsPerSample, bitsPerSample)) {
    throw ImageException("Cannot find information about bits per sample");
  }
  if (bitsPerSample.empty() || bitsPerSample.size() != samplesPerPixel) {
    throw ImageException(
        "Number of bits per sample fields does not match number of samples per pixel");
  }
  if (std::adjacent_find(bitsPerSample.begin(), bitsPerSample.end(), std::not_equal_to<>()) !=
      bitsPerSample.end()) {
    throw ImageException("Variably-sized bit-depths are not supported");
  }
  if (!parser.Single(kPhotometricInterpretation, photometricInterpretation)) {
    throw ImageException("TIFF file does not contain a photometric interpretation");
  }
  if (!parser.Array(kStripOffsets, stripOffsets))
    throw ImageException("Unable to get strip offsets");
  if (!parser.Array(kStripByteCounts, stripByteCounts))
    throw ImageException("Unable to get strip byte counts");
  if (!parser.Single(kRowsPerStrip, rowsPerStrip))
    throw ImageException("Could not find strip information");
  if (stripOffsets.size() != stripByteCounts.size()) {
    throw ImageException("Strip offsets and strip byte counts are different sizes");
  }
  horizontalResolution =
      Resolution(parser, kXResolution,
                 "This TIFF file does not contain the required x-resolution information");
  verticalResolution =
      Resolution(parser, kYResolution,
                 "This TIFF file does not contain the required y-resolution information");
  std::uint32_t unit = 0;
  if (!parser.Single(kResolutionUnit, unit)) {
    throw ImageException("This TIFF file does not contain the resolution unit of measurement");
  }
  // A unitless file is taken as dots per inch on purpose.
  if (unit == 3) {
    horizontalResolution *= 2.54;
    verticalResolution *= 2.54;
  } else if (unit != 1 && unit != 2) {
    throw ImageException("Unknown unit of measurement used in TIFF file");
  }
}

namespace ImageIO {

namespace {

// One strip decoded and checked to hold whole rows.
std::vector<unsigned char> DecodedStrip(std::istream& input, const TIFFFileInfo& info,
                                        std::size_t index, std::uint64_t size) {
  const std::uint64_t rowLength = RowLength(info);
  std::vector<unsigned char> raw = RawStrip(input, info, index, size);
  std::vector<unsigned char> decoded;
  // A hint only: never more than the strip could expand to.
  const std::size_t expected = static_cast<std::size_t>(std::min<std::uint64_t>(
      rowLength * std::uint64_t{info.rowsPerStrip}, std::uint64_t{raw.size()} * 1032));
  switch (info.compression) {
    case 1:
      // Uncompressed strips never go through the predictor; kept as it is.
      decoded = std::move(raw);
      break;
    case 5: {
      Ashgrove::LZWCompression codec(1);
      decoded = Run(codec, raw, expected);
      break;
    }
    case 7: {
      Ashgrove::JPEGCompression codec;
      decoded = Run(codec, raw, 0);
      break;
    }
    case 8: {
      Ashgrove::DeflateCompression codec;
      decoded = Run(codec, raw, expected);
      break;
    }
    default:
      throw ImageException("Unknown TIFF compression method used");
  }
  if (info.compression != 1) {
    if (info.predictor == 2) {
      Ashgrove::TIFFPrediction predictor(info.samplesPerPixel, info.bitsPerSample.front(),
                                         info.width);
      decoded = Run(predictor, decoded, decoded.size());
    } else if (info.predictor != 1) {
      throw ImageException("Unknown prediction method used in TIFF");
    }
  }
  // A zero row length can hold no data at all.
  if (!decoded.empty() && (rowLength == 0 || decoded.size() % rowLength != 0)) {
    throw ImageException("Data in this TIFF file is not stored correctly");
  }
  return decoded;
}

}  // namespace

void ReadStripFromTIFFFormat(std::istream& input, const TIFFFileInfo& info, std::size_t index,
                             const RowCallback& deliver) {
  const std::vector<unsigned char> decoded = DecodedStrip(input, info, index, StreamSize(input));
  if (decoded.empty()) return;
  const std::size_t rowLength = static_cast<std::size_t>(RowLength(info));
  for (std::size_t at = 0; at < decoded.size(); at += rowLength)
    deliver(decoded.data() + at, rowLength);
}

std::vector<unsigned char> ReadStripDataFromTIFFFormat(std::istream& input,
                                                       const TIFFFileInfo& info, bool decode) {
  // Rows go out in strip order and are concatenated, so whole strips can be
  // appended at once; the first one is taken over without a copy.
  std::vector<unsigned char> data;
  const std::uint64_t size = StreamSize(input);
  if (decode && info.stripOffsets.size() > 1) {
    // Room for the whole image, but never more than the file could expand to.
    const std::uint64_t image = RowLength(info) * std::uint64_t{info.height};
    data.reserve(static_cast<std::size_t>(std::min(image, size * 1032)));
  }
  for (std::size_t i = 0; i < info.stripOffsets.size(); ++i) {
    std::vector<unsigned char> strip =
        decode ? DecodedStrip(input, info, i, size) : RawStrip(input, info, i, size);
    if (data.empty()) {
      data = std::move(strip);
    } else {
      data.insert(data.end(), strip.begin(), strip.end());
    }
  }
  return data;
}

std::vector<unsigned char> ReadStripDataFromTIFFFormat(std::istream& input, bool decode,
                                                       TIFFFileInfo* infoOut) {
  const TIFFFileInfo info(input);
  if (infoOut != nullptr) *infoOut = info;
  return ReadStripDataFromTIFFFormat(input, info, decode);
}

Image ReadFromTIFFFormat(std::istream& input, TIFFFileInfo* infoOut) {
  const TIFFFileInfo info(input);
  if (infoOut != nullptr) *infoOut = info;
  std::vector<unsigned char> data = ReadStripDataFromTIFFFormat(input, info, true);
  Image image(info.bitsPerSample.front(), info.samplesPerPixel, info.width, info.height,
              std::move(data));
  // Whole dots per inch, fraction dropped; a resolution no image can hold
  // (a zero denominator, say) is refused rather than converted.
  const auto whole = [](double value) {
    if (!(value >= 0) || value >= 18446744073709551616.0) {
      throw ImageException("TIFF resolution is out of range");
    }
    return static_cast<std::uint64_t>(value);
  };
  image.SetResolution(whole(info.horizontalResolution), whole(info.verticalResolution));
  return image;
}

}  // namespace ImageIO

}  // namespace Brindle
