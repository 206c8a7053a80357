#include "vprinter/server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "core/atomic_file.h"
#include "core/exception.h"
#include "vprinter/web_page.h"

namespace Corvane::VirtualPrinter {

namespace {

// epoll tags; connections are tagged with their number plus kFirstConnection.
constexpr std::uint64_t kListenerTag = 1;
constexpr std::uint64_t kWakeTag = 2;
constexpr std::uint64_t kSignalTag = 3;
constexpr std::uint64_t kFirstConnection = 16;

// A client that lets this many reply bytes pile up is not reading them.
constexpr std::size_t kMaxUnsent = 1 << 20;

std::string SystemError(const std::string& what) { return what + ": " + std::strerror(errno); }

std::string PeerName(int fd) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  char host[NI_MAXHOST], service[NI_MAXSERV];
  if (getpeername(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
      getnameinfo(reinterpret_cast<sockaddr*>(&address), length, host, sizeof host, service,
                  sizeof service, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "an unknown address";
  }
  return std::string(host) + ":" + service;
}

// Binds a listening TCP socket to host:port; returns it and the bound port.
int Listen(const std::string& host, const std::string& port, std::uint16_t& bound) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (const int error =
          getaddrinfo(host.empty() ? nullptr : host.c_str(), port.c_str(), &hints, &found)) {
    throw IOException("Unable to listen on " + host + ":" + port + ": " + gai_strerror(error));
  }
  std::string reason = "no address";
  for (addrinfo* a = found; a != nullptr; a = a->ai_next) {
    const int fd =
        socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
    if (fd < 0) continue;
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(fd, a->ai_addr, a->ai_addrlen) == 0 && listen(fd, 128) == 0) {
      sockaddr_storage address{};
      socklen_t length = sizeof address;
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
      bound =
          ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&address)->sin6_port
                                              : reinterpret_cast<sockaddr_in*>(&address)->sin_port);
      freeaddrinfo(found);
      return fd;
    }
    reason = std::strerror(errno);
    close(fd);
  }
  freeaddrinfo(found);
  throw IOException("Unable to listen on " + host + ":" + port + ": " + reason);
}

void Control(int epoll, int operation, int fd, std::uint32_t events, std::uint64_t tag) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = tag;
  epoll_ctl(epoll, operation, fd, &event);
}

}  // namespace

Server::Server(ServerOptions options, std::ostream& log)
    : options_(std::move(options)),
      log_(log, options_.json),
      state_(options_.output, options_.statusCode),
      files_({options_.output, options_.dotsPerInch, options_.previews,
              options_.previews && options_.png}) {
  sessionOptions_.dotsPerInch = options_.dotsPerInch;
  sessionOptions_.dotsPerMillimetre = options_.dotsPerInch == 600   ? 24
                                      : options_.dotsPerInch == 300 ? 12
                                                                    : 8;
  sessionOptions_.draw = options_.previews;
  sessionOptions_.maxLabelBytes = options_.maxLabelBytes;
  sessionOptions_.maxJobBytes = options_.maxJobBytes;
  sessionOptions_.recordDirectory = options_.output;
  sessionOptions_.limits.maxPayloadBytes = options_.maxPayloadBytes;
  wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  queue_ = std::make_unique<PrintQueue>(files_, state_, log_, options_.printTime,
                                        options_.maxQueuedBytes, [this] {
                                          const std::uint64_t one = 1;
                                          (void)!write(wake_, &one, sizeof one);
                                        });
}

Server::~Server() {
  queue_->Finish();
  if (web_) web_->Stop();
  for (auto& [id, connection] : connections_) close(connection.fd);
  for (const int fd : {listener_, wake_, signals_, epoll_}) {
    if (fd >= 0) close(fd);
  }
}

void Server::Log(const std::string& message) { log_.Write({"server", 0, "", message}); }

void Server::Start() {
  // The address first: a printer that cannot listen leaves no files behind.
  listener_ = Listen(options_.host, options_.port, port_);
  std::uint64_t next = 0;
  try {
    next = files_.Prepare();
  } catch (const std::filesystem::filesystem_error& e) {
    throw IOException("Unable to use the output directory " + options_.output.string() + ": " +
                      e.code().message());
  }
  state_.SetNextLabelNumber(next);
  state_.LoadSettings();
  state_.WriteStateFile();
  char code[8];
  std::snprintf(code, sizeof code, "%02u\n", options_.statusCode);
  statusFileText_ = code;
  WriteFileAtomically(options_.output / "status", statusFileText_, Durability::kUnsynced);

  epoll_ = epoll_create1(EPOLL_CLOEXEC);
  Control(epoll_, EPOLL_CTL_ADD, listener_, EPOLLIN, kListenerTag);
  Control(epoll_, EPOLL_CTL_ADD, wake_, EPOLLIN, kWakeTag);
  if (options_.handleSignals) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    signals_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    Control(epoll_, EPOLL_CTL_ADD, signals_, EPOLLIN, kSignalTag);
  }
  Log("listening for TPCL on " + options_.host + ":" + std::to_string(port_) +
      ", writing labels to " + options_.output.string() + " at " +
      std::to_string(options_.dotsPerInch) + " dpi, status " + statusFileText_.substr(0, 2));
  if (options_.http) {
    web_ = std::make_unique<WebPage>(state_, *queue_, options_.output);
    httpPort_ = web_->Start(options_.httpHost, options_.httpPort);
    Log("web page on http://" + options_.httpHost + ":" + std::to_string(httpPort_) + "/");
  }
  WritePortFile();
}

void Server::WritePortFile() const {
  if (options_.portFile.empty()) return;
  std::string text = std::to_string(port_) + "\n";
  if (options_.http) text += std::to_string(httpPort_) + "\n";
  WriteFileAtomically(options_.portFile, text, Durability::kUnsynced);
}

void Server::Stop() {
  stopRequested_ = true;
  const std::uint64_t one = 1;
  (void)!write(wake_, &one, sizeof one);
}

void Server::Run() {
  std::string reason = "stopped";
  epoll_event events[64];
  while (!stopRequested_) {
    const int count = epoll_wait(epoll_, events, 64, -1);
    if (count < 0) {
      if (errno == EINTR) continue;
      reason = SystemError("epoll_wait failed");
      break;
    }
    for (int i = 0; i < count && !stopRequested_; ++i) {
      const std::uint64_t tag = events[i].data.u64;
      if (tag == kListenerTag) {
        Accept();
      } else if (tag == kWakeTag) {
        std::uint64_t value;
        (void)!read(wake_, &value, sizeof value);
        ResumeReading();
      } else if (tag == kSignalTag) {
        signalfd_siginfo info{};
        if (read(signals_, &info, sizeof info) == sizeof info) {
          reason = std::string("stopped by ") + (info.ssi_signo == SIGINT ? "SIGINT" : "SIGTERM");
          stopRequested_ = true;
        }
      } else {
        const std::uint64_t id = tag - kFirstConnection;
        auto it = connections_.find(id);
        if (it == connections_.end()) continue;
        if (events[i].events & EPOLLOUT) Send(id, it->second, "");
        it = connections_.find(id);
        if (it != connections_.end() && (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR))) {
          Read(id, it->second);
        }
      }
    }
  }
  Log(reason + "; finishing the labels already issued");
  close(listener_);
  listener_ = -1;
  while (!connections_.empty())
    Drop(connections_.begin()->first, "connection closed: the printer is stopping");
  queue_->Finish();
  if (web_) web_->Stop();
  state_.WriteStateFile();
  const std::uint64_t printed = state_.Printed();
  Log("stopped after printing " + std::to_string(printed) + (printed == 1 ? " label" : " labels"));
}

void Server::Accept() {
  while (connections_.size() < options_.maxConnections) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR && errno != ECONNABORTED) {
        Log(SystemError("accepting a connection failed"));
      }
      return;
    }
    const std::uint64_t id = nextConnection_++;
    Connection& connection = connections_[id];
    connection.fd = fd;
    connection.session = std::make_unique<Session>(id, state_, *queue_, log_, sessionOptions_);
    connection.session->SetStatusSource([this] { RefreshStatus(); });
    log_.Write({"connection", id, "", "connection from " + PeerName(fd)});
    Watch(id, connection);
  }
  if (accepting_) {
    // Further clients wait in the listen queue until a connection ends.
    accepting_ = false;
    Control(epoll_, EPOLL_CTL_MOD, listener_, 0, kListenerTag);
    log_.Write({"refused", 0, "",
                std::to_string(options_.maxConnections) +
                    " connections at once, the limit: new ones wait"});
  }
}

void Server::Watch(std::uint64_t id, const Connection& connection) {
  std::uint32_t events = connection.paused ? 0u : static_cast<std::uint32_t>(EPOLLIN);
  if (!connection.unsent.empty()) events |= EPOLLOUT;
  epoll_event event{};
  event.events = events;
  event.data.u64 = id + kFirstConnection;
  // A paused connection leaves the set altogether: epoll reports a hang-up
  // even when no event is asked for, and that would wake the loop in vain.
  if (events == 0) {
    epoll_ctl(epoll_, EPOLL_CTL_DEL, connection.fd, nullptr);
  } else if (epoll_ctl(epoll_, EPOLL_CTL_MOD, connection.fd, &event) != 0) {
    epoll_ctl(epoll_, EPOLL_CTL_ADD, connection.fd, &event);
  }
}

void Server::Read(std::uint64_t id, Connection& connection) {
  if (queue_->Full()) {
    // Reading waits for the print queue; TCP holds the client back meanwhile.
    connection.paused = true;
    Watch(id, connection);
    return;
  }
  // Straight into the job's record: the bytes are copied once, by the kernel.
  const std::span<unsigned char> space = connection.session->ReceiveSpace(Session::kReadSize);
  const ssize_t n = recv(connection.fd, space.data(), space.size(), 0);
  const std::string replies = connection.session->Received(n > 0 ? static_cast<std::size_t>(n) : 0);
  if (n > 0) {
    if (!replies.empty()) Send(id, connection, replies);
  } else if (n == 0) {
    Drop(id, "connection closed by the client");
  } else if (errno == ECONNRESET) {
    Drop(id, "connection reset by the client");
  } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
    Drop(id, SystemError("connection failed"));
  }
}

void Server::Send(std::uint64_t id, Connection& connection, const std::string& bytes) {
  connection.unsent += bytes;
  while (!connection.unsent.empty()) {
    const ssize_t n = send(connection.fd, connection.unsent.data(), connection.unsent.size(),
                           MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) break;
      Drop(id, SystemError("reply not sent"));
      return;
    }
    connection.unsent.erase(0, static_cast<std::size_t>(n));
  }
  if (connection.unsent.size() > kMaxUnsent) {
    Drop(id, "the client does not read its replies");
    return;
  }
  Watch(id, connection);
}

void Server::Drop(std::uint64_t id, const std::string& reason) {
  auto it = connections_.find(id);
  if (it == connections_.end()) return;
  it->second.session->Close(reason);
  epoll_ctl(epoll_, EPOLL_CTL_DEL, it->second.fd, nullptr);
  close(it->second.fd);
  connections_.erase(it);
  if (!accepting_ && listener_ >= 0) {
    accepting_ = true;
    Control(epoll_, EPOLL_CTL_MOD, listener_, EPOLLIN, kListenerTag);
  }
}

void Server::ResumeReading() {
  if (queue_->Full()) return;
  for (auto& [id, connection] : connections_) {
    if (connection.paused) {
      connection.paused = false;
      Watch(id, connection);
    }
  }
}

void Server::RefreshStatus() {
  std::ifstream in(options_.output / "status");
  std::stringstream text;
  text << in.rdbuf();
  const std::string content = text.str();
  if (content == statusFileText_) return;
  statusFileText_ = content;
  std::istringstream words(content);
  std::string word, extra;
  words >> word >> extra;
  if (word.empty() || word.size() > 2 ||
      word.find_first_not_of("0123456789") != std::string::npos || !extra.empty()) {
    log_.Write({"refused", 0, "",
                "the status file holds no status code of one or two digits; status kept"});
    return;
  }
  state_.SetStatusCode(static_cast<unsigned>(std::stoul(word)));
  state_.WriteStateFile();
  Log("status code is now " + std::string(word.size() == 1 ? "0" : "") + word +
      " (from the status file)");
}

}  // namespace Corvane::VirtualPrinter
