// What the virtual printer remembers across jobs and connections: its status
// code, the settings that vellum's printer commands change, the last label
// size and the label count. Shared by every connection, the print queue and
// the web page, so every member is guarded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

namespace Corvane::VirtualPrinter {

struct Settings {
  // Fine adjustments in tenths of a millimetre, as {AX;...|} sets them.
  int feedAdjustment = 0;
  int cutAdjustment = 0;
  int backfeedAdjustment = 0;
  // IPv4 settings as {IP;2|3|4,...|} sets them, dotted; empty until set.
  std::string address;
  std::string netmask;
  std::string gateway;
  // The raw port as {IS;...|} sets it.
  bool rawPortOn = true;
  unsigned rawPort = 9100;
};

// A label size in tenths of a millimetre.
struct LabelSize {
  std::uint64_t pitch = 0;
  std::uint64_t width = 0;
};

class PrinterState {
 public:
  // The state file is written into `directory` whenever a setting changes.
  PrinterState(std::filesystem::path directory, unsigned statusCode);

  // Takes the settings of a state file left by an earlier run, if any, so a
  // restarted printer keeps them as a real one does. Unreadable lines are
  // left at their defaults.
  void LoadSettings();
  // Writes the state file (printer-state.txt) under a temporary name first.
  void WriteStateFile() const;

  [[nodiscard]] unsigned StatusCode() const;
  void SetStatusCode(unsigned code);
  [[nodiscard]] Settings CurrentSettings() const;
  void ChangeSettings(const Settings& settings);  // and writes the state file
  [[nodiscard]] std::optional<LabelSize> LastLabelSize() const;
  void SetLastLabelSize(LabelSize size);

  // Label numbers, one after another across connections and restarts.
  void SetNextLabelNumber(std::uint64_t number);
  std::uint64_t TakeLabelNumber();
  void CountPrinted();
  [[nodiscard]] std::uint64_t Printed() const;

  [[nodiscard]] const std::filesystem::path& Directory() const { return directory_; }
  [[nodiscard]] std::filesystem::path StateFile() const { return directory_ / "printer-state.txt"; }

 private:
  void WriteStateFileLocked() const;

  std::filesystem::path directory_;
  mutable std::mutex mutex_;
  unsigned statusCode_;
  Settings settings_;
  std::optional<LabelSize> lastLabelSize_;
  std::uint64_t nextLabel_ = 1;
  std::uint64_t printed_ = 0;
};

// Tenths of a millimetre as "+1.5": a sign, the millimetres and one decimal.
std::string Millimetres(int tenths);

}  // namespace Corvane::VirtualPrinter
