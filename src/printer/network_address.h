// One resolved TCP endpoint, taken from a "host:port" text.
#pragma once

#include <sys/socket.h>

#include <string>
#include <vector>

namespace Corvane::Network {

// The two halves of a "host:port" text.
struct HostAndService {
  std::string host;
  // A port number or a service name, handed to the resolver as it is.
  std::string service;
};

// Splits the text at its first ":", so an IPv6 literal cannot be named this
// way; either half may be empty. Throws AddressException "Expected
// \"host:port\" format" when the text is empty or has no ":".
HostAndService SplitHostAndService(const std::string& text);

class Address {
 public:
  // The empty (invalid) address.
  Address() = default;

  // Splits the text as SplitHostAndService does (and throws as it does) and
  // resolves host and service for a TCP stream. A resolution failure is not
  // thrown: it writes "Unable to resolve <text>: <reason>" to standard error
  // and returns the empty address.
  static Address FromText(const std::string& text);

  // False for the empty address (resolution failed).
  bool IsValid() const { return length_ != 0; }
  int Family() const { return family_; }

  // Opens a TCP socket and connects it, blocking as long as the system lets a
  // connect take. Returns the connected socket, which the caller then owns.
  // Throws AddressException "Unable to create socket" or "Unable to connect".
  int Connect() const;

 private:
  std::vector<unsigned char> bytes_;
  socklen_t length_ = 0;
  int family_ = 0;
};

}  // namespace Corvane::Network
