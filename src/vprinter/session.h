// One connection's conversation with the virtual printer: the protocol state
// machine. It reads the connection's bytes with the TPCL stream reader, acts
// on each command as a TEC printer does and returns the bytes to answer. It
// knows nothing of sockets, so it is driven the same way by the server and
// by tests.
//
// Commands it acts on (the rest are logged and skipped):
//   {D<pitch>,<width>,<length>[,<gap>]|}  label size: a new, white image buffer
//   {C|}                                  clears the image buffer
//   {SG...|}                              bitmap graphics, drawn as render draws them
//   {XS;I,<copies>,...|}                  issue: the image becomes <copies> labels
//   {T...|}                               feed: one blank label
//   {WS|}                                 status request: the 13-byte reply
//   {AX;<feed>,<cut>,<backfeed>|}         fine adjustments
//   {IP;2|3|4,<a>,<b>,<c>,<d>|}           IPv4 address, mask, gateway
//   {IS;<on>,<port>|}                     raw port
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "graphics/bitmap.h"
#include "tpcl/stream_reader.h"
#include "vprinter/event_log.h"
#include "vprinter/job_record.h"
#include "vprinter/print_queue.h"
#include "vprinter/printer_state.h"

namespace Corvane::VirtualPrinter {

struct SessionOptions {
  unsigned dotsPerMillimetre = 8;
  unsigned dotsPerInch = 203;
  // False: no pictures are drawn (previews off); labels are still issued.
  bool draw = true;
  // The largest image buffer, in bytes; a larger label size is refused.
  std::uint64_t maxLabelBytes = std::uint64_t{32} << 20;
  // Where the raw bytes of each job are written for its .prn files (see
  // job_record.h); empty: they are not kept.
  std::filesystem::path recordDirectory;
  // The largest job kept as raw bytes for its .prn file.
  std::uint64_t maxJobBytes = std::uint64_t{32} << 20;
  // Command and graphics data limits of the reader.
  TPCL::StreamLimits limits;
};

// The status-type byte of a reply to {WS|}.
constexpr char kStatusType = '0';

// The 13-byte status reply: SOH STX, the status code in two digits, the
// status-type byte, the remaining count in four digits (at most 9999), ETX
// EOT LF CR.
std::string StatusReply(unsigned statusCode, std::uint64_t remaining);

class Session {
 public:
  // What the server asks ReceiveSpace for at a time.
  static constexpr std::size_t kReadSize = 256 * 1024;

  Session(std::uint64_t connection, PrinterState& state, LabelSink& sink, EventLog& log,
          SessionOptions options);

  // Reads the next bytes of the connection and returns what to send back.
  std::string Receive(std::span<const unsigned char> bytes);
  // The same in two steps, without copying the bytes: room for up to `want`
  // bytes to be read into, then the number of bytes that were put there.
  // The room stays valid until Received is called.
  std::span<unsigned char> ReceiveSpace(std::size_t want);
  std::string Received(std::size_t count);
  // The connection has ended (the reason is logged): a frame cut short is
  // reported, and a job not yet issued is dropped.
  void Close(const std::string& reason);

  // Called before a status reply is made, to pick up a changed status code.
  void SetStatusSource(std::function<void()> refresh) { refreshStatus_ = std::move(refresh); }

 private:
  class Listener;
  friend class Listener;

  void Command(std::string_view body, std::uint64_t end);
  void Graphics(TPCL::GraphicsCommand& graphics);
  void Refuse(const std::string& command, const std::string& message);
  void FlushRepeats();
  // Both return the line as logged.
  std::string Log(const std::string& command, const std::string& message);

  void LabelSizeCommand(const std::string& shown, std::string_view body);
  void Issue(const std::string& shown, std::string_view body, std::uint64_t end);
  void Feed(const std::string& shown, std::string_view body);
  void FineAdjustments(const std::string& shown, std::string_view body);
  void IPv4(const std::string& shown, std::string_view body);
  void RawPort(const std::string& shown, std::string_view body);

  // The image buffer for the current label size (made when first needed).
  Brindle::Bitmap* Canvas();
  bool MakeCanvas(const std::string& shown, LabelSize size);
  // Hands the bytes of the current piece up to stream offset `upTo` to the
  // job being recorded.
  void Record(std::uint64_t upTo);
  // Ends the job being recorded at stream offset `end` and returns its
  // record; none if it was not kept.
  std::shared_ptr<const JobRecord> TakeRecord(std::uint64_t end);
  // A record of these bytes alone.
  std::shared_ptr<const JobRecord> OwnRecord(std::string_view bytes);

  std::uint64_t connection_;
  PrinterState& state_;
  LabelSink& sink_;
  EventLog& log_;
  SessionOptions options_;
  std::function<void()> refreshStatus_;
  TPCL::StreamReader reader_;

  std::optional<LabelSize> labelSize_;
  std::unique_ptr<Brindle::Bitmap> canvas_;
  bool jobPending_ = false;  // a drawing command since the last issue

  // The connection is read into buffer_, a piece at a time, and each piece
  // is parsed there (chunk_, starting at stream offset chunkStart_). The
  // bytes of the job in progress go on to its record file as they are
  // parsed, up to recordedTo_; a job over the size limit is not recorded
  // (recordDropped_) until the next one starts at recordStart_.
  std::vector<unsigned char> buffer_;
  std::span<const unsigned char> chunk_;
  std::uint64_t chunkStart_ = 0;
  std::unique_ptr<JobRecordWriter> records_;
  std::uint64_t recordedTo_ = 0;
  std::uint64_t recordStart_ = 0;
  bool recordDropped_ = false;
  std::vector<std::string> jobLog_;
  std::string lastRefusal_;  // the last refusal without a command, while it repeats
  std::uint64_t repeats_ = 0;
  std::string replies_;
};

}  // namespace Corvane::VirtualPrinter
