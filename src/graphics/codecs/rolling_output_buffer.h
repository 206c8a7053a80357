// The Deflate window in front of the output stream: the last 32768 bytes
// produced, which back-references copy from.
#pragma once

#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

#include "graphics/codecs/byte_block.h"
#include "graphics/codecs/byte_sink.h"

namespace Ashgrove {

// Repeats `length` bytes from `distance` bytes back, byte by byte in effect,
// so that a length beyond the distance repeats the newest bytes. Writes
// the larger of 32 bytes and `length` + 15 bytes at most: the room a
// buffer's Reserve() keeps for the longest match holds either.
[[gnu::always_inline]] inline void CopyBackReference(unsigned char* to, std::uint32_t distance,
                                                     std::uint32_t length) {
  const unsigned char* from = to - distance;
  if (distance >= 16) {
    // Sixteen bytes at a time: each piece read lies wholly before the one
    // being written, so overlapping copies repeat as Deflate asks. Most
    // matches are short, so the first two pieces go unconditionally.
    unsigned char first[16];
    std::memcpy(first, from, 16);
    std::memcpy(to, first, 16);
    std::memcpy(first, from + 16, 16);
    std::memcpy(to + 16, first, 16);
    for (std::uint32_t done = 32; done < length; done += 16) {
      unsigned char piece[16];
      std::memcpy(piece, from + done, 16);
      std::memcpy(to + done, piece, 16);
    }
  } else if (distance >= 8) {
    // The same eight bytes at a time; most matches are short, so the first
    // two words go unconditionally.
    std::uint64_t word;
    std::memcpy(&word, from, 8);
    std::memcpy(to, &word, 8);
    std::memcpy(&word, from + 8, 8);
    std::memcpy(to + 8, &word, 8);
    for (std::uint32_t done = 16; done < length; done += 8) {
      std::memcpy(&word, from + done, 8);
      std::memcpy(to + done, &word, 8);
    }
  } else if (distance == 1) {
    const std::uint64_t word = *from * 0x0101010101010101ULL;
    for (std::uint32_t done = 0; done < length; done += 16) {
      std::memcpy(to + done, &word, 8);
      std::memcpy(to + done + 8, &word, 8);
    }
  } else {
    for (std::uint32_t i = 0; i < length; ++i) to[i] = from[i];
  }
}

// Bytes are produced into one linear buffer that keeps at least the window
// in front of the newest byte; whole blocks go to the sink, and the window
// moves back to the front when the buffer fills. The sink's target must
// outlive the buffer. Flush() hands over everything produced so far; the
// destructor writes nothing.
class RollingOutputBuffer {
 public:
  static constexpr std::size_t kCapacity = 32768;
  // The longest single production between two Reserve() calls.
  static constexpr std::size_t kMaxRun = 258;
  static constexpr std::size_t kSlack = 16;

  // The storage a buffer works in: at least this many bytes.
  static constexpr std::size_t kStorageSize = kCapacity + (std::size_t{1} << 18) + kMaxRun + kSlack;

  explicit RollingOutputBuffer(std::ostream& output);
  // Works in `storage` (kStorageSize bytes, its contents not used), which a
  // decoder keeps from one call to the next so that small inputs do not pay
  // for a fresh buffer each time; it must outlive this buffer.
  RollingOutputBuffer(ByteSink output, ByteBlock& storage);
  // Works in `output`'s own storage, after what it already holds: the bytes
  // are produced where they stay, and the window is simply what lies before
  // them, so nothing is copied or moved. The vector grows ahead of the
  // output in steps (within its capacity where that suffices; a caller that
  // reserves the expected size plus kDirectSlack spares it reallocations)
  // and is cut back to what was produced by Flush().
  explicit RollingOutputBuffer(std::vector<unsigned char>& output);
  static constexpr std::size_t kDirectSlack = kMaxRun + kSlack;

  // Makes room for at least kMaxRun more bytes (plus slack).
  void Reserve() {
    if (position_ + kMaxRun + kSlack > end_) MakeRoom(kMaxRun + kSlack);
  }

  void Append(unsigned char byte) { buffer_[position_++] = byte; }
  void Append(const unsigned char* bytes, std::size_t count);

  // Throws RollingOutputBufferException "Backwards distance exceeds
  // available bytes" when the window does not yet hold `distance` bytes.
  void Copy(std::uint32_t distance, std::uint32_t length) {
    if (distance > Held()) CopyTooFar();
    CopyBackReference(buffer_ + position_, distance, length);
    position_ += length;
  }

  // For a decoding loop that writes directly: the buffer's start, the next
  // free byte, and the last position from which kMaxRun + kSlack bytes fit.
  // Before the first rotation everything produced is in front of the next
  // byte; after it the whole window is, so a distance is valid exactly when
  // it does not reach before Begin().
  unsigned char* Begin() { return buffer_; }
  unsigned char* Next() { return buffer_ + position_; }
  unsigned char* Limit() { return buffer_ + end_ - kMaxRun - kSlack; }
  void SetNext(unsigned char* next) { position_ = static_cast<std::size_t>(next - buffer_); }

  void Flush();

 private:
  std::size_t Held() const { return position_ < kCapacity ? position_ : kCapacity; }
  [[noreturn]] static void CopyTooFar();
  // Room for `count` more bytes: the buffer rotated, or the vector grown.
  void MakeRoom(std::size_t count);
  void Rotate();

  ByteSink output_;
  ByteBlock owned_;
  std::vector<unsigned char>* direct_ = nullptr;  // the vector written in place, if so
  std::size_t base_ = 0;                          // where this output starts in it
  unsigned char* buffer_;                         // the first byte of this output's storage
  std::size_t end_;                               // bytes usable from buffer_
  std::size_t position_ = 0;                      // where the next byte goes
  std::size_t flushed_ = 0;                       // bytes before this have reached the stream
};

}  // namespace Ashgrove
