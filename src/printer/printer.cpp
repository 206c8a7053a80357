#include "printer/printer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>

#include "core/exception.h"
#include "printer/cups_queues.h"
#include "printer/network_address.h"
#include "printer/uri.h"

namespace Corvane::Vellum {
namespace {

// CUPS's own socket backend talks to this port when the URI names none.
constexpr long kDefaultSocketPort = 9100;

int OpenCharacterDevice(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDWR);
  struct stat status {};
  if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode))
    return descriptor;
  // Also reached when the open failed: close(-1) is harmless.
  close(descriptor);
  return -1;
}

Printer FromDevicePath(const std::string& path) {
  return Printer(
      "unknown", [path] { return OpenCharacterDevice(path); },
      [](int descriptor) {
        if (descriptor >= 0) close(descriptor);
      });
}

std::string NetworkNameFromURI(const URI& uri) {
  char port[32];
  std::snprintf(port, sizeof port, "%ld", uri.Port().value_or(kDefaultSocketPort));
  return uri.Host() + ":" + port;
}

}  // namespace

Printer::Printer(std::string name, ConnectAction connect, CloseAction close)
    : name_(std::move(name)), connect_(std::move(connect)), close_(std::move(close)) {}

Printer::Printer(Printer&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      fromCUPS_(other.fromCUPS_),
      connectAttempted_(other.connectAttempted_),
      name_(std::move(other.name_)),
      connect_(std::exchange(other.connect_, nullptr)),
      close_(std::exchange(other.close_, nullptr)) {}

Printer& Printer::operator=(Printer&& other) noexcept {
  if (this != &other) {
    if (close_) close_(descriptor_);
    descriptor_ = std::exchange(other.descriptor_, -1);
    fromCUPS_ = other.fromCUPS_;
    connectAttempted_ = other.connectAttempted_;
    name_ = std::move(other.name_);
    connect_ = std::exchange(other.connect_, nullptr);
    close_ = std::exchange(other.close_, nullptr);
  }
  return *this;
}

Printer::~Printer() {
  if (close_) close_(descriptor_);
}

Printer Printer::FromName(const std::string& name) {
  if (name == "-")
    return Printer(
        "stdout", [] { return STDOUT_FILENO; }, [](int) {});
  if (name.starts_with('/')) return FromDevicePath(name);

  // Each queue's device URI is parsed as the walk reaches it, so a malformed
  // URI of an earlier queue ends the look-up. Without a name the very first
  // queue is taken whatever its device, even if a later one would do. Both
  // are required: "the first queue" must always mean the queue CUPS lists
  // first, so that a run without -p never drives some other printer.
  for (const CUPSQueue& queue : ListCUPSQueues()) {
    const URI uri = URI::FromString(queue.deviceURI);
    if (!name.empty() && queue.name != name) continue;
    if (uri.Scheme() != "socket")
      throw PrinterException(
          "Unsupported printer connection type, only \"socket\" printers accepted");
    Printer printer = FromNetworkName(NetworkNameFromURI(uri));
    printer.name_ = queue.name;
    printer.fromCUPS_ = true;
    return printer;
  }
  if (name.empty()) throw PrinterException("No suitable printer found");
  throw PrinterException("Unknown printer: " + name);
}

Printer Printer::FromNetworkName(const std::string& text) {
  const Network::Address address = Network::Address::FromText(text);
  if (!address.IsValid()) throw PrinterException("Unable to resolve \"" + text + "\"");
  return Printer(
      text, [address] { return address.Connect(); }, [](int descriptor) { close(descriptor); });
}

void Printer::EnsureConnected() {
  if (descriptor_ != -1) return;
  if (connectAttempted_) throw IOException("Unable to connect to device");
  if (!connect_) throw IOException("No method to connect to device");
  connectAttempted_ = true;
  descriptor_ = connect_();
  if (descriptor_ == -1) throw IOException("Unable to connect to device");
}

int Printer::Descriptor() {
  EnsureConnected();
  return descriptor_;
}

void Printer::WriteAll(const void* data, std::size_t size) {
  if (size == 0) return;
  if (descriptor_ < 0) throw IOException("Invalid file descriptor");
  // One write only: a printer that takes part of a command has a problem no
  // second write would solve, so a short write is reported instead.
  const ssize_t written = write(descriptor_, data, size);
  if (written < 0) throw IOException("Unable to write to device");
  if (static_cast<std::size_t>(written) != size)
    throw IOException("Unable to write all data to device");
}

void Printer::Send(std::string_view bytes) {
  EnsureConnected();
  WriteAll(bytes.data(), bytes.size());
}

void Printer::Send(std::span<const unsigned char> bytes) {
  EnsureConnected();
  WriteAll(bytes.data(), bytes.size());
}

void Printer::SendStream(std::istream& input) {
  EnsureConnected();
  std::array<char, 4096> block{};
  while (true) {
    if (!input) {
      if (input.eof()) return;
      break;
    }
    input.read(block.data(), block.size());
    const std::streamsize count = input.gcount();
    if (count < 1) {
      if (input.eof()) return;
      break;
    }
    WriteAll(block.data(), static_cast<std::size_t>(count));
  }
  throw IOException("Unexpected read error before end of input");
}

void Printer::TimedRead(std::span<unsigned char> buffer, int timeoutMilliseconds) {
  using Clock = std::chrono::steady_clock;
  EnsureConnected();
  if (buffer.empty()) return;
  // One budget for the whole read, not for each wait: every wait gets what
  // is left of it. poll rather than select, which cannot watch a descriptor
  // numbered FD_SETSIZE or above.
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMilliseconds);
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd ready{descriptor_, POLLIN, 0};
    const int result = poll(&ready, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    if (result < 0) throw IOException("Unable to wait for data from printer");
    if (result == 0) throw IOException("Timed out waiting for data from printer");
    const ssize_t count = read(descriptor_, buffer.data() + filled, buffer.size() - filled);
    if (count < 1) throw IOException("Unable to read any data from printer");
    filled += static_cast<std::size_t>(count);
  }
}

void ReadExact(int descriptor, std::span<unsigned char> buffer) {
  if (buffer.size() > static_cast<std::size_t>(std::numeric_limits<ssize_t>::max()))
    throw InternalInconsistencyException("Cannot read this amount of data at once");
  const ssize_t count = read(descriptor, buffer.data(), buffer.size());
  if (count < 0) throw TPCLPrinterStatusException("Unable to read any data from the printer");
  if (static_cast<std::size_t>(count) < buffer.size())
    throw TPCLPrinterStatusException(
        "Unable to read the requested number of bytes from the printer");
}

}  // namespace Corvane::Vellum
