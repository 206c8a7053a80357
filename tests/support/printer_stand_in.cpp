#include "support/printer_stand_in.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

namespace Vellum::Testing {
namespace {

const std::string kStatusRequest = "{WS|}\n";

void WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

std::string StatusReply(std::string_view fields, std::string_view start) {
  return std::string(start) + std::string(fields) + "\x03\x04\x0A\x0D";
}

PrinterStandIn::PrinterStandIn(std::vector<std::string> pieces, bool hangUp)
    : pieces_(std::move(pieces)), hangUp_(hangUp) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(listener_, 4) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    throw std::runtime_error("printer stand-in: cannot listen on 127.0.0.1");
  networkName_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  thread_ = std::thread([this] {
    pollfd waiting{listener_, POLLIN, 0};
    if (poll(&waiting, 1, 30000) != 1) return;
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) Serve(connection);
  });
}

PrinterStandIn::~PrinterStandIn() {
  // Shutting the listener down ends the wait of a stand-in nobody called.
  shutdown(listener_, SHUT_RDWR);
  Received();
  close(listener_);
}

std::string PrinterStandIn::Received() {
  if (thread_.joinable()) thread_.join();
  return received_;
}

void PrinterStandIn::Serve(int connection) {
  std::size_t answered = 0;
  char buffer[4096];
  for (ssize_t count; (count = recv(connection, buffer, sizeof buffer, 0)) > 0;) {
    received_.append(buffer, static_cast<std::size_t>(count));
    // One answer per status request, however the request was split.
    std::size_t at = received_.find(kStatusRequest, answered);
    for (; at != std::string::npos; at = received_.find(kStatusRequest, answered)) {
      answered = at + kStatusRequest.size();
      for (std::size_t i = 0; i < pieces_.size(); ++i) {
        if (i > 0) std::this_thread::sleep_for(std::chrono::milliseconds(300));
        WriteAll(connection, pieces_[i]);
      }
    }
    if (hangUp_ && answered > 0) break;
  }
  close(connection);
}

}  // namespace Vellum::Testing
