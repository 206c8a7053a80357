// A TCP server on 127.0.0.1 that stands in for a TPCL printer.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace Vellum::Testing {

// Records every byte it receives, connection after connection, and answers
// each status request {WS|} the way it was told to.
class PrinterStandIn {
 public:
  enum class Behaviour {
    kAnswer,             // the whole reply at once
    kAnswerInTwoPieces,  // 6 bytes, a pause of 300 ms, the rest
    kSilent,             // never answers
    kCloseEarly,         // 4 bytes of the reply, then closes the connection
  };

  // A status reply: status code 00 and count 1234.
  static const std::string kDefaultReply;

  explicit PrinterStandIn(Behaviour behaviour = Behaviour::kAnswer,
                          std::string reply = kDefaultReply);
  ~PrinterStandIn();
  PrinterStandIn(const PrinterStandIn&) = delete;
  PrinterStandIn& operator=(const PrinterStandIn&) = delete;

  std::uint16_t Port() const { return port_; }
  // "127.0.0.1:<port>", as given to "vellum -n".
  std::string NetworkName() const;

  // Waits (up to 10 s) until the given number of connections has ended and
  // returns every byte received so far.
  std::string Received(int connections = 1);

 private:
  void Serve();
  void ServeConnection(int connection);

  Behaviour behaviour_;
  std::string reply_;
  int listener_ = -1;
  int stopPipe_[2] = {-1, -1};
  std::uint16_t port_ = 0;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::string received_;
  int endedConnections_ = 0;
  std::thread thread_;
};

}  // namespace Vellum::Testing
