#include "support/printer_stand_in.h"

#include <arpa/inet.h>
#include <fcntl.h>
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

const std::string PrinterStandIn::kDefaultReply("\x01\x02" "001234" "0\x03\x04\x0A\x0D" "", 13);

PrinterStandIn::PrinterStandIn(Behaviour behaviour, std::string reply)
    : behaviour_(behaviour), reply_(std::move(reply)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(listener_, 4) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
      pipe2(stopPipe_, O_CLOEXEC) != 0)
    throw std::runtime_error("printer stand-in: cannot listen on 127.0.0.1");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Serve(); });
}

PrinterStandIn::~PrinterStandIn() {
  (void)!write(stopPipe_[1], "x", 1);
  thread_.join();
  close(listener_);
  close(stopPipe_[0]);
  close(stopPipe_[1]);
}

std::string PrinterStandIn::NetworkName() const { return "127.0.0.1:" + std::to_string(port_); }

std::string PrinterStandIn::Received(int connections) {
  std::unique_lock lock(mutex_);
  ended_.wait_for(lock, std::chrono::seconds(10),
                  [&] { return endedConnections_ >= connections; });
  return received_;
}

void PrinterStandIn::Serve() {
  while (true) {
    pollfd fds[2] = {{listener_, POLLIN, 0}, {stopPipe_[0], POLLIN, 0}};
    if (poll(fds, 2, -1) < 0) continue;
    if (fds[1].revents != 0) return;
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    ServeConnection(connection);
  }
}

void PrinterStandIn::ServeConnection(int connection) {
  std::string bytes;
  std::size_t answered = 0;
  bool open = true;
  while (open) {
    pollfd fds[2] = {{connection, POLLIN, 0}, {stopPipe_[0], POLLIN, 0}};
    if (poll(fds, 2, -1) < 0) continue;
    if (fds[1].revents != 0) break;
    char buffer[4096];
    const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) break;
    bytes.append(buffer, static_cast<std::size_t>(count));
    {
      std::lock_guard lock(mutex_);
      received_.append(buffer, static_cast<std::size_t>(count));
    }
    // One answer per status request, however the request was split.
    for (std::size_t at; (at = bytes.find(kStatusRequest, answered)) != std::string::npos;) {
      answered = at + kStatusRequest.size();
      switch (behaviour_) {
        case Behaviour::kAnswer:
          WriteAll(connection, reply_);
          break;
        case Behaviour::kAnswerInTwoPieces:
          WriteAll(connection, std::string_view(reply_).substr(0, 6));
          std::this_thread::sleep_for(std::chrono::milliseconds(300));
          WriteAll(connection, std::string_view(reply_).substr(6));
          break;
        case Behaviour::kSilent:
          break;
        case Behaviour::kCloseEarly:
          WriteAll(connection, std::string_view(reply_).substr(0, 4));
          open = false;
          break;
      }
    }
  }
  close(connection);
  std::lock_guard lock(mutex_);
  ++endedConnections_;
  ended_.notify_all();
}

}  // namespace Vellum::Testing
