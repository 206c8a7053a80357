#include "vprinter/event_log.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace Corvane::VirtualPrinter {

namespace {

// UTC with milliseconds: 2025-01-31T12:00:00.123Z.
std::string Now() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(millis));
  return text;
}

}  // namespace

std::string Printable(std::string_view bytes, std::size_t limit) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == limit) return text + "...";
    const unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x20 && c < 0x7f && c != '\\') {
      text.push_back(static_cast<char>(c));
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", c);
      text += escape;
    }
  }
  return text;
}

std::string JSONString(std::string_view text) {
  std::string json = "\"";
  for (const char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      json.push_back('\\');
      json.push_back(ch);
    } else if (c < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      json += escape;
    } else {
      json.push_back(ch);
    }
  }
  return json + "\"";
}

std::string EventLog::Write(const Event& event) {
  const std::string time = Now();
  std::string text = time + " ";
  text += event.connection == 0 ? "server" : "#" + std::to_string(event.connection);
  if (!event.command.empty()) text += " " + event.command;
  text += (event.kind == "refused" ? ": refused: " : ": ") + event.message;

  std::string line;
  if (json_) {
    line = "{\"time\":" + JSONString(time) + ",\"kind\":" + JSONString(event.kind);
    if (event.connection != 0) line += ",\"connection\":" + std::to_string(event.connection);
    if (!event.command.empty()) line += ",\"command\":" + JSONString(event.command);
    if (event.label) line += ",\"label\":" + std::to_string(*event.label);
    line += ",\"message\":" + JSONString(event.message) + "}";
  } else {
    line = text;
  }
  std::lock_guard lock(mutex_);
  output_ << line << std::endl;
  return text;
}

}  // namespace Corvane::VirtualPrinter
