// Starts the vellum-printer binary as a child process on a free loopback port
// and stops it, for tests that want a printer to talk to.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Vellum::Testing {

// The printer listens on 127.0.0.1, port 0 (a free port), writes its labels
// to `output` and its log to `output`.log beside it, and is ready once its
// port file has appeared (the constructor waits for it, up to 30 s, and
// throws std::runtime_error if the program ends or never gets there).
// The destructor stops it with SIGTERM if it still runs.
class VirtualPrinter {
 public:
  VirtualPrinter(const std::string& binary, const std::filesystem::path& output,
                 const std::vector<std::string>& extraArguments = {});
  ~VirtualPrinter();
  VirtualPrinter(const VirtualPrinter&) = delete;
  VirtualPrinter& operator=(const VirtualPrinter&) = delete;

  [[nodiscard]] std::uint16_t Port() const { return port_; }
  // The web page's port, with --http 0 among the arguments.
  [[nodiscard]] std::uint16_t HttpPort() const { return httpPort_; }
  // "127.0.0.1:<port>", as given to "vellum -n".
  [[nodiscard]] std::string NetworkName() const { return "127.0.0.1:" + std::to_string(port_); }
  [[nodiscard]] std::string Log() const;

  // Sends the signal and waits for the exit: the exit status, or 128 + the
  // signal that ended it.
  int Stop(int signal);

  // Waits until label-NNNNNN.prn of `count` labels exist (the .prn is written
  // last), up to `seconds`; false if they did not come.
  bool WaitForLabels(std::size_t count, int seconds = 60) const;
  // Waits until the log holds `text` `count` times, up to `seconds`.
  bool WaitForLog(const std::string& text, std::size_t count = 1, int seconds = 60) const;

 private:
  std::filesystem::path output_;
  std::filesystem::path logFile_;
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
  std::uint16_t httpPort_ = 0;
};

// Sends bytes to 127.0.0.1:port over a new connection and closes it; with
// `reset`, the close is an abortive one (RST) straight after the bytes.
void SendTo(std::uint16_t port, const std::string& bytes, bool reset = false);

// Counts the files in `directory` whose names end in `suffix`.
std::size_t CountFiles(const std::filesystem::path& directory, const std::string& suffix);

}  // namespace Vellum::Testing
