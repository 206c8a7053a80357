// The one object through which every printer command reaches a device.
#pragma once

#include <functional>
#include <istream>
#include <span>
#include <string>
#include <string_view>

namespace Corvane::Vellum {

// One printer: standard output ("-"), a character device, a TCP printer named
// "host:port", or a CUPS queue whose device is a raw TCP ("socket") printer.
//
// No factory opens a connection; the first send or read does, exactly once. A
// failed first attempt is remembered, and every later operation then fails
// with IOException "Unable to connect to device" without retrying. The
// Printer owns its descriptor: it is movable, not copyable, and its
// destruction runs the close action exactly once.
class Printer {
 public:
  using ConnectAction = std::function<int()>;
  using CloseAction = std::function<void(int)>;

  // "-" gives the printer "stdout" on descriptor 1; a text beginning with "/"
  // a character device opened read-write at first use (anything else there,
  // or a missing path, fails at first use); any other text is a CUPS queue
  // name, and the empty text means the first queue CUPS lists, whatever its
  // device. A CUPS queue must be a "socket" printer (a socket URI without a
  // port means 9100, as CUPS's socket backend does). Throws PrinterException
  // "Unknown printer: <name>", "No suitable printer found" or "Unsupported
  // printer connection type, only \"socket\" printers accepted", the URI
  // exceptions for a malformed device URI of a queue met on the way, and
  // whatever FromNetworkName throws.
  static Printer FromName(const std::string& name);

  // A TCP printer "host:port", resolved now and connected at first use.
  // Throws Network::AddressException for a text without ":" and
  // PrinterException "Unable to resolve \"<text>\"" when resolution fails
  // (after the resolver's own line on standard error).
  static Printer FromNetworkName(const std::string& text);

  // A printer with the given actions; the factories are built on it.
  Printer(std::string name, ConnectAction connect, CloseAction close);
  Printer(Printer&& other) noexcept;
  Printer& operator=(Printer&& other) noexcept;
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;
  ~Printer();

  const std::string& Name() const { return name_; }
  bool IsFromCUPS() const { return fromCUPS_; }

  // Writes all bytes with one write (a short write is an error, not retried).
  // Connects first, even for an empty buffer. Throws IOException "Invalid file
  // descriptor", "Unable to write to device" or "Unable to write all data to
  // device", and the connection failures.
  void Send(std::string_view bytes);
  void Send(std::span<const unsigned char> bytes);

  // Copies the stream to the printer in blocks of up to 4096 bytes until its
  // end. Throws IOException "Unexpected read error before end of input" when
  // the stream fails before its end, and whatever Send throws.
  void SendStream(std::istream& input);

  // Fills the whole buffer from the printer within timeoutMilliseconds in
  // total (the budget covers every wait, not each one). Throws IOException
  // "Timed out waiting for data from printer", "Unable to wait for data from
  // printer" or "Unable to read any data from printer" (end of stream).
  void TimedRead(std::span<unsigned char> buffer, int timeoutMilliseconds);

  // The open descriptor, connecting first if need be.
  int Descriptor();

 private:
  void EnsureConnected();
  void WriteAll(const void* data, std::size_t size);

  int descriptor_ = -1;
  bool fromCUPS_ = false;
  bool connectAttempted_ = false;
  std::string name_ = "unknown";
  ConnectAction connect_;
  CloseAction close_;
};

// One read that must fill the whole buffer. Throws
// InternalInconsistencyException "Cannot read this amount of data at once"
// for a buffer larger than a read can report, and TPCLPrinterStatusException
// "Unable to read any data from the printer" or "Unable to read the requested
// number of bytes from the printer".
void ReadExact(int descriptor, std::span<unsigned char> buffer);

}  // namespace Corvane::Vellum
