// A TCP server on 127.0.0.1 that stands in for a TPCL printer.
#pragma once

#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Vellum::Testing {

// A 13-byte status reply: the start bytes (SOH STX unless told otherwise),
// the seven characters given, then ETX EOT LF CR.
std::string StatusReply(std::string_view fields, std::string_view start = "\x01\x02");

// Serves one connection: records every byte it receives and answers each
// status request {WS|} with the pieces of its reply, 300 ms apart (none: a
// silent printer), then hangs up if told to. A client must have closed the
// connection before Received() or the destructor can return.
class PrinterStandIn {
 public:
  // The default reply holds status code 00 and count 1234.
  explicit PrinterStandIn(std::vector<std::string> pieces = {StatusReply("0012340")},
                          bool hangUp = false);
  ~PrinterStandIn();
  PrinterStandIn(const PrinterStandIn&) = delete;
  PrinterStandIn& operator=(const PrinterStandIn&) = delete;

  // "127.0.0.1:<port>", as given to "vellum -n".
  const std::string& NetworkName() const { return networkName_; }
  // Waits until the connection has ended (or none came within 30 s) and
  // returns every byte received.
  std::string Received();

 private:
  void Serve(int connection);

  std::vector<std::string> pieces_;
  bool hangUp_;
  int listener_ = -1;
  std::string networkName_;
  std::string received_;
  std::thread thread_;
};

}  // namespace Vellum::Testing
