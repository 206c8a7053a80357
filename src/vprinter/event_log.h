// The virtual printer's log: one line per event on an output stream, as text
// or as one JSON object per line. Written from several threads.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace Corvane::VirtualPrinter {

struct Event {
  Event(std::string kind, std::uint64_t connection, std::string command, std::string message,
        std::optional<std::uint64_t> label = {})
      : kind(std::move(kind)),
        connection(connection),
        command(std::move(command)),
        message(std::move(message)),
        label(label) {}

  // "server", "connection", "command", "refused" (a refusal or a broken
  // frame) or "label" (a label's files written).
  std::string kind;
  std::uint64_t connection = 0;  // 0: the server itself
  std::string command;           // the command as received, shortened for the eye
  std::string message;
  std::optional<std::uint64_t> label;  // the label a "label" or issue event is about
};

class EventLog {
 public:
  EventLog(std::ostream& output, bool json) : output_(output), json_(json) {}

  // Writes the event as one line, with the time, and flushes it. Returns the
  // line as text whatever the format, for the job's log on the web page.
  std::string Write(const Event& event);

 private:
  std::ostream& output_;
  bool json_;
  std::mutex mutex_;
};

// A command's bytes made readable: printable ASCII as it is, other bytes as
// \xNN, cut after `limit` bytes with "...".
std::string Printable(std::string_view bytes, std::size_t limit = 64);

// Text as a JSON string literal, quotes included.
std::string JSONString(std::string_view text);

}  // namespace Corvane::VirtualPrinter
