#include "vprinter/printer_state.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "core/atomic_file.h"
#include "core/exception.h"

namespace Corvane::VirtualPrinter {

namespace {

// Reads "+1.5" back into tenths; nullopt for anything else.
std::optional<int> ParseMillimetres(const std::string& text) {
  int whole = 0, tenth = 0;
  char sign = 0, end = 0;
  if (std::sscanf(text.c_str(), "%c%d.%1d%c", &sign, &whole, &tenth, &end) != 3) return {};
  if (sign != '+' && sign != '-') return {};
  const int tenths = whole * 10 + tenth;
  return sign == '-' ? -tenths : tenths;
}

}  // namespace

std::string Millimetres(int tenths) {
  const int magnitude = tenths < 0 ? -tenths : tenths;
  return (tenths < 0 ? "-" : "+") + std::to_string(magnitude / 10) + "." +
         std::to_string(magnitude % 10);
}

PrinterState::PrinterState(std::filesystem::path directory, unsigned statusCode)
    : directory_(std::move(directory)), statusCode_(statusCode) {}

void PrinterState::LoadSettings() {
  std::ifstream in(StateFile());
  std::map<std::string, std::string> values;
  for (std::string line; std::getline(in, line);) {
    const std::size_t colon = line.find(": ");
    if (colon != std::string::npos) values[line.substr(0, colon)] = line.substr(colon + 2);
  }
  std::lock_guard lock(mutex_);
  const auto take = [&](const char* key, int& tenths) {
    const auto value = ParseMillimetres(values[key].substr(0, values[key].find(' ')));
    if (value) tenths = *value;
  };
  take("feed-adjustment", settings_.feedAdjustment);
  take("cut-adjustment", settings_.cutAdjustment);
  take("backfeed-adjustment", settings_.backfeedAdjustment);
  const auto keep = [&](const char* key, std::string& text) {
    if (values[key] != "unset") text = values[key];
  };
  keep("ip-address", settings_.address);
  keep("subnet-mask", settings_.netmask);
  keep("gateway", settings_.gateway);
  const std::string port = values["raw-port"];
  if (port == "off") {
    settings_.rawPortOn = false;
  } else if (!port.empty() && port.find_first_not_of("0123456789") == std::string::npos &&
             port.size() <= 5) {
    settings_.rawPortOn = true;
    settings_.rawPort = static_cast<unsigned>(std::stoul(port));
  }
}

void PrinterState::WriteStateFile() const {
  std::lock_guard lock(mutex_);
  WriteStateFileLocked();
}

void PrinterState::WriteStateFileLocked() const {
  const auto shown = [](const std::string& text) { return text.empty() ? "unset" : text; };
  char code[8];
  std::snprintf(code, sizeof code, "%02u", statusCode_);
  std::ostringstream text;
  text << "status-code: " << code << "\n"
       << "labels-printed: " << printed_ << "\n"
       << "feed-adjustment: " << Millimetres(settings_.feedAdjustment) << " mm\n"
       << "cut-adjustment: " << Millimetres(settings_.cutAdjustment) << " mm\n"
       << "backfeed-adjustment: " << Millimetres(settings_.backfeedAdjustment) << " mm\n"
       << "ip-address: " << shown(settings_.address) << "\n"
       << "subnet-mask: " << shown(settings_.netmask) << "\n"
       << "gateway: " << shown(settings_.gateway) << "\n"
       << "raw-port: " << (settings_.rawPortOn ? std::to_string(settings_.rawPort) : "off") << "\n";
  WriteFileAtomically(StateFile(), text.str(), Durability::kUnsynced);
}

unsigned PrinterState::StatusCode() const {
  std::lock_guard lock(mutex_);
  return statusCode_;
}

void PrinterState::SetStatusCode(unsigned code) {
  std::lock_guard lock(mutex_);
  statusCode_ = code;
}

Settings PrinterState::CurrentSettings() const {
  std::lock_guard lock(mutex_);
  return settings_;
}

void PrinterState::ChangeSettings(const Settings& settings) {
  std::lock_guard lock(mutex_);
  settings_ = settings;
  WriteStateFileLocked();
}

std::optional<LabelSize> PrinterState::LastLabelSize() const {
  std::lock_guard lock(mutex_);
  return lastLabelSize_;
}

void PrinterState::SetLastLabelSize(LabelSize size) {
  std::lock_guard lock(mutex_);
  lastLabelSize_ = size;
}

void PrinterState::SetNextLabelNumber(std::uint64_t number) {
  std::lock_guard lock(mutex_);
  nextLabel_ = number;
}

std::uint64_t PrinterState::TakeLabelNumber() {
  std::lock_guard lock(mutex_);
  return nextLabel_++;
}

void PrinterState::CountPrinted() {
  std::lock_guard lock(mutex_);
  ++printed_;
}

std::uint64_t PrinterState::Printed() const {
  std::lock_guard lock(mutex_);
  return printed_;
}

}  // namespace Corvane::VirtualPrinter
