// Reads a TPCL byte stream as a printer does: commands framed "{" ... "|}",
// with anything between frames (line ends, an ESC before a frame) optional.
// The data of a bitmap-graphics command is taken by its declared size, so no
// data byte is ever read as a frame. A broken frame is reported and reading
// starts again at the next "{".
//
// The reader is fed the stream in pieces of any size, as they arrive, and
// reports each frame as soon as its last byte is in. It holds at most one
// command body and one graphic's data at a time, both bounded by its limits.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Corvane::TPCL {

struct StreamLimits {
  // The longest body of an ordinary command.
  std::size_t maxCommandBytes = 64 * 1024;
  // The largest graphic's data kept; larger data is read past and reported.
  std::uint64_t maxPayloadBytes = 16 * 1024 * 1024;
  // False: graphics data is read past without being kept (payloadKept false).
  bool keepPayloads = true;
};

// A bitmap-graphics command, "{SG" or "{SG0" up to its closing "|}".
struct GraphicsCommand {
  bool longForm = false;
  std::string xField;
  std::string yField;
  std::uint64_t x = 0;  // the fields' numbers (see GraphicsNumber)
  std::uint64_t y = 0;
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  std::string typeField;  // the type as written (after an "M" modifier, the field after it)
  unsigned long type = 0;
  std::uint64_t size = 0;    // bytes of data the command declared
  bool payloadKept = false;  // false when the data was read past
  std::vector<unsigned char> payload;
};

// Receives what the reader finds. `end` is the offset in the whole stream
// just past the last byte that belongs to the report.
class StreamListener {
 public:
  virtual ~StreamListener() = default;
  // An ordinary command: the bytes between "{" and "|}".
  virtual void OnCommand(std::string_view body, std::uint64_t end) = 0;
  // A whole graphics command. The listener may take the payload.
  virtual void OnGraphics(GraphicsCommand& graphics, std::uint64_t end) = 0;
  // A frame that could not be read, data over the limit, bytes outside any
  // frame; one sentence, without a full stop.
  virtual void OnError(const std::string& message, std::uint64_t end) = 0;
};

class StreamReader {
 public:
  explicit StreamReader(StreamLimits limits = {});

  // Reads the next piece of the stream, reporting to the listener as it goes.
  void Feed(std::span<const unsigned char> bytes, StreamListener& listener);
  // The end of the stream: a frame still open is reported as cut short.
  void Finish(StreamListener& listener);

  // True while a frame has begun and not ended.
  [[nodiscard]] bool InFrame() const { return state_ != State::kOutside; }
  // Bytes fed so far.
  [[nodiscard]] std::uint64_t Offset() const { return offset_; }

 private:
  enum class State {
    kOutside,       // between frames, looking for "{"
    kBody,          // an ordinary command's body
    kGraphicsForm,  // after "{SG": "0" or ";"
    kSemicolon,     // after "{SG0": ";"
    kField,         // the comma-terminated fields
    kSize,          // the big-endian size bytes
    kPayload,       // the data
    kBar,           // "|" after the data
    kBrace,         // "}" after it
  };

  // Each step consumes bytes from the front of `bytes` and returns how many.
  std::size_t Outside(std::span<const unsigned char> bytes, StreamListener& listener);
  std::size_t Body(std::span<const unsigned char> bytes, StreamListener& listener);
  std::size_t Payload(std::span<const unsigned char> bytes);
  // One byte in any of the graphics header and trailer states; false when
  // the byte broke the command and is to be read again outside it.
  bool GraphicsByte(unsigned char byte, StreamListener& listener);
  void FieldDone(StreamListener& listener);
  void SizeDone(StreamListener& listener);
  void StartPayload();
  // Reports a broken frame and goes back to looking for "{".
  void Broken(const std::string& message, std::uint64_t end, StreamListener& listener);
  void ReportSkipped(std::uint64_t end, StreamListener& listener);

  StreamLimits limits_;
  State state_ = State::kOutside;
  std::uint64_t offset_ = 0;   // of the next byte to read
  std::uint64_t skipped_ = 0;  // printable bytes skipped outside frames
  std::string body_;
  GraphicsCommand graphics_;
  std::string field_;
  int fieldIndex_ = 0;
  bool modifierSeen_ = false;
  std::uint32_t sizeValue_ = 0;
  int sizeBytesLeft_ = 0;
  bool twoByteCount_ = false;  // the size being read is TOPIX's, not the long form's
  std::uint64_t payloadLeft_ = 0;
};

}  // namespace Corvane::TPCL
