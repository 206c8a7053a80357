#include "graphics/tiff_reader.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "graphics/codecs/byte_block.h"
#include "graphics/codecs/deflate_compression.h"
#include "graphics/codecs/jpeg_compression.h"
#include "graphics/codecs/lzw_compression.h"
#include "graphics/codecs/tiff_prediction.h"
#include "graphics/codecs/vector_codec.h"
#include "graphics/exception.h"
#include "graphics/tiff_tags.h"

namespace Brindle {

namespace {

using namespace TIFFTag;
using namespace TIFFType;

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

std::uint64_t StreamSize(std::istream& input) {
  input.clear();
  input.seekg(0, std::ios_base::end);
  const auto end = input.tellg();
  return end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

// Reads `count` bytes at `offset` into `to`; false when the stream holds fewer.
bool ReadAt(std::istream& input, std::uint64_t offset, unsigned char* to, std::uint64_t count) {
  input.clear();
  input.seekg(static_cast<std::streamoff>(offset), std::ios_base::beg);
  input.read(reinterpret_cast<char*>(to), static_cast<std::streamsize>(count));
  return static_cast<std::uint64_t>(input.gcount()) == count;
}

// The strips' bytes as stored, read from the stream once: one read of the
// stretch of the file from the first strip's start to the last one's end,
// where codecs then find each strip in place. Strips that lie outside the
// stream are left out of the read and fail only when their turn comes, so
// failures arrive in strip order as before.
class StripBytes {
 public:
  // Reads strips `from` up to (not including) `to`.
  StripBytes(std::istream& input, const TIFFFileInfo& info, std::size_t from, std::size_t to)
      : info_(info), size_(StreamSize(input)) {
    std::uint64_t first = size_;
    std::uint64_t last = 0;
    for (std::size_t i = from; i < to; ++i) {
      if (!Inside(i) || info.stripByteCounts[i] == 0) continue;
      stored_ += info.stripByteCounts[i];
      first = std::min<std::uint64_t>(first, info.stripOffsets[i]);
      last = std::max<std::uint64_t>(last,
                                     std::uint64_t{info.stripOffsets[i]} + info.stripByteCounts[i]);
    }
    if (last <= first) return;
    start_ = first;
    bytes_ = Ashgrove::ByteBlock(static_cast<std::size_t>(last - first));
    read_ = ReadAt(input, first, bytes_.data(), last - first);
  }

  // Strip `index` as stored; throws "Unable to read required number of
  // bytes" when the stream does not hold it.
  std::pair<const unsigned char*, std::size_t> Strip(std::size_t index) const {
    const std::size_t count = info_.stripByteCounts[index];
    if (!Inside(index) || (count != 0 && !read_))
      throw ImageException("Unable to read required number of bytes");
    if (count == 0) return {nullptr, 0};
    return {bytes_.data() + (info_.stripOffsets[index] - start_), count};
  }

  // The stream's size, and the bytes of the strips it holds.
  std::uint64_t StreamBytes() const { return size_; }
  std::uint64_t Stored() const { return stored_; }

  bool Inside(std::size_t index) const {
    const std::uint64_t offset = info_.stripOffsets[index];
    return offset <= size_ && info_.stripByteCounts[index] <= size_ - offset;
  }

  const TIFFFileInfo& info_;
  std::uint64_t size_;
  std::uint64_t start_ = 0;
  std::uint64_t stored_ = 0;
  Ashgrove::ByteBlock bytes_{0};
  bool read_ = false;
};

// Decodes strips one after another straight onto the end of a byte vector,
// with one codec (and its work buffers) for the whole file.
class StripDecoder {
 public:
  explicit StripDecoder(const TIFFFileInfo& info)
      : info_(info), rowLength_(Brindle::RowLength(info)) {}

  // Appends strip `bytes` decoded to `data`: decompressed, predictor undone
  // and checked to hold whole rows.
  void Append(const unsigned char* bytes, std::size_t count, std::vector<unsigned char>& data) {
    const std::size_t before = data.size();
    if (info_.compression == 1) {
      // Uncompressed strips never go through the predictor; kept as it is.
      data.insert(data.end(), bytes, bytes + count);
    } else {
      const bool predicted = info_.predictor == 2;
      std::vector<unsigned char>& target = predicted ? Scratch() : data;
      switch (info_.compression) {
        case 5:
          if (!lzw_) lzw_.emplace(1);
          lzw_->DecompressBytes(bytes, count, target);
          break;
        case 7: {
          Ashgrove::JPEGCompression codec;
          const std::vector<unsigned char> raw(bytes, bytes + count);
          Ashgrove::DecompressVector(codec, raw, target);
          break;
        }
        case 8:
          if (!deflate_) deflate_.emplace();
          deflate_->DecompressBytes(bytes, count, target);
          break;
        default:
          throw ImageException("Unknown TIFF compression method used");
      }
      if (predicted) {
        Ashgrove::TIFFPrediction predictor(info_.samplesPerPixel, info_.bitsPerSample.front(),
                                           info_.width);
        Ashgrove::DecompressVector(predictor, scratch_, data);
      } else if (info_.predictor != 1) {
        throw ImageException("Unknown prediction method used in TIFF");
      }
    }
    const std::size_t decoded = data.size() - before;
    // A zero row length can hold no data at all.
    if (decoded != 0 && (rowLength_ == 0 || decoded % rowLength_ != 0)) {
      throw ImageException("Data in this TIFF file is not stored correctly");
    }
  }

  std::uint64_t RowLength() const { return rowLength_; }

 private:
  std::vector<unsigned char>& Scratch() {
    scratch_.clear();
    return scratch_;
  }

  const TIFFFileInfo& info_;
  std::uint64_t rowLength_;
  std::optional<Ashgrove::LZWCompression> lzw_;
  std::optional<Ashgrove::DeflateCompression> deflate_;
  std::vector<unsigned char> scratch_;
};

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

void ReadStripFromTIFFFormat(std::istream& input, const TIFFFileInfo& info, std::size_t index,
                             const RowCallback& deliver) {
  StripDecoder decoder(info);
  const StripBytes strips(input, info, index, index + 1);
  const auto [bytes, count] = strips.Strip(index);
  std::vector<unsigned char> decoded;
  decoder.Append(bytes, count, decoded);
  const std::size_t rowLength = static_cast<std::size_t>(decoder.RowLength());
  for (std::size_t at = 0; at < decoded.size(); at += rowLength)
    deliver(decoded.data() + at, rowLength);
}

namespace {

// Strips stored one after the other, all inside the stream, in strip order:
// as stored they are already the image's bytes. Their total, or nothing.
std::optional<std::uint64_t> ContiguousStrips(const TIFFFileInfo& info, std::uint64_t size) {
  std::uint64_t end = info.stripOffsets.front();
  for (std::size_t i = 0; i < info.stripOffsets.size(); ++i) {
    if (info.stripOffsets[i] != end) return std::nullopt;
    end += info.stripByteCounts[i];
  }
  if (end > size) return std::nullopt;
  return end - info.stripOffsets.front();
}

// Uncompressed strips, or strips as stored, that lie one after the other:
// one read straight into the image's bytes, with the checks of the strips
// made in the same order as the strip-by-strip path makes them.
std::vector<unsigned char> ReadContiguous(std::istream& input, const TIFFFileInfo& info,
                                          bool decode, std::uint64_t total) {
  if (decode) {
    const std::uint64_t rowLength = RowLength(info);
    for (const std::uint32_t count : info.stripByteCounts) {
      if (count != 0 && (rowLength == 0 || count % rowLength != 0))
        throw ImageException("Data in this TIFF file is not stored correctly");
    }
  }
  std::vector<unsigned char> data;
  data.reserve(static_cast<std::size_t>(total));
  Ashgrove::PopulatePages(data.data(), data.capacity());
  data.resize(static_cast<std::size_t>(total));
  if (total != 0 && !ReadAt(input, info.stripOffsets.front(), data.data(), total))
    throw ImageException("Unable to read required number of bytes");
  return data;
}

}  // namespace

std::vector<unsigned char> ReadStripDataFromTIFFFormat(std::istream& input,
                                                       const TIFFFileInfo& info, bool decode) {
  const std::size_t strips = info.stripOffsets.size();
  if (strips == 0) return {};
  if (!decode || info.compression == 1) {
    if (const auto total = ContiguousStrips(info, StreamSize(input)))
      return ReadContiguous(input, info, decode, *total);
  }
  // Rows go out in strip order and are concatenated, so every strip is
  // decoded onto the end of the one vector that becomes the image.
  std::optional<StripDecoder> decoder;
  if (decode) decoder.emplace(info);
  const StripBytes stored(input, info, 0, strips);
  std::uint64_t room = stored.Stored();
  if (decode && info.compression != 1) {
    // Room for the whole image, but never more than the file could expand to.
    room = std::min(decoder->RowLength() * std::uint64_t{info.height}, stored.StreamBytes() * 1032);
    // Deflate decodes in place with a little room ahead of its output.
    if (info.compression == 8) room += Ashgrove::DeflateCompression::kOutputSlack;
  }
  std::vector<unsigned char> data;
  data.reserve(static_cast<std::size_t>(room));
  Ashgrove::PopulatePages(data.data(), data.capacity());
  for (std::size_t i = 0; i < strips; ++i) {
    const auto [bytes, count] = stored.Strip(i);
    if (decode) {
      decoder->Append(bytes, count, data);
    } else {
      data.insert(data.end(), bytes, bytes + count);
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
