// The virtual printer's TCP server: one thread that accepts connections and
// reads them all (epoll), a Session per connection, the print queue's thread
// that writes the labels, and optionally the web page's threads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "vprinter/event_log.h"
#include "vprinter/label_files.h"
#include "vprinter/print_queue.h"
#include "vprinter/printer_state.h"
#include "vprinter/session.h"

namespace Corvane::VirtualPrinter {

class WebPage;

struct ServerOptions {
  std::string host = "127.0.0.1";
  std::string port = "9100";  // "0": any free port
  std::filesystem::path output = ".";
  unsigned statusCode = 0;
  unsigned dotsPerInch = 203;  // 203, 300 or 600
  bool json = false;
  bool previews = true;  // TIFF and PNG pictures of each label
  bool png = true;
  bool http = false;
  std::string httpHost = "127.0.0.1";
  std::string httpPort = "0";
  std::filesystem::path portFile;  // empty: none
  std::size_t maxConnections = 32;
  std::uint64_t maxLabelBytes = std::uint64_t{32} << 20;
  std::uint64_t maxPayloadBytes = std::uint64_t{16} << 20;
  std::uint64_t maxJobBytes = std::uint64_t{32} << 20;
  std::uint64_t maxQueuedBytes = std::uint64_t{256} << 20;
  std::chrono::milliseconds printTime{0};
  // SIGINT and SIGTERM end Run(). They must be blocked in every thread before
  // the server is made (the program does this); they are then read here.
  bool handleSignals = false;
};

class Server {
 public:
  Server(ServerOptions options, std::ostream& log);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Prepares the output directory, binds the TCP port (and the web page's),
  // writes the port file and logs where it listens. Throws Corvane::IOException
  // with the reason when an address or the directory cannot be used.
  void Start();
  [[nodiscard]] std::uint16_t Port() const { return port_; }
  [[nodiscard]] std::uint16_t HttpPort() const { return httpPort_; }

  // Serves until Stop() or a handled signal; then drops the connections (a job
  // not yet issued is lost with its connection), prints every label already
  // issued, writes the state file and returns.
  void Run();
  // Ends Run() from any thread.
  void Stop();

  [[nodiscard]] PrintQueue& Queue() { return *queue_; }
  [[nodiscard]] PrinterState& State() { return state_; }

 private:
  struct Connection {
    int fd = -1;
    std::unique_ptr<Session> session;
    std::string unsent;   // replies the socket did not take yet
    bool paused = false;  // not read while the print queue is full
  };

  void Accept();
  void Read(std::uint64_t id, Connection& connection);
  void Send(std::uint64_t id, Connection& connection, const std::string& bytes);
  void Drop(std::uint64_t id, const std::string& reason);
  void Watch(std::uint64_t id, const Connection& connection);
  void ResumeReading();
  void RefreshStatus();
  void WritePortFile() const;
  void Log(const std::string& message);

  ServerOptions options_;
  EventLog log_;
  PrinterState state_;
  LabelFiles files_;
  std::unique_ptr<PrintQueue> queue_;
  std::unique_ptr<WebPage> web_;
  SessionOptions sessionOptions_;

  int epoll_ = -1;
  int listener_ = -1;
  int wake_ = -1;     // eventfd: Stop() and room in the print queue
  int signals_ = -1;  // signalfd
  std::uint16_t port_ = 0;
  std::uint16_t httpPort_ = 0;
  bool accepting_ = true;
  std::atomic<bool> stopRequested_{false};
  std::uint64_t nextConnection_ = 1;
  std::map<std::uint64_t, Connection> connections_;
  std::string statusFileText_;
};

}  // namespace Corvane::VirtualPrinter
