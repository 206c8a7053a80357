#include "printer/network_address.h"

#include <netdb.h>
#include <unistd.h>

#include <cstring>
#include <iostream>

#include "core/exception.h"

namespace Corvane::Network {

HostAndService SplitHostAndService(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) throw AddressException("Expected \"host:port\" format");
  return {text.substr(0, colon), text.substr(colon + 1)};
}

Address Address::FromText(const std::string& text) {
  const auto [host, service] = SplitHostAndService(text);

  addrinfo hints{};
  hints.ai_flags = 0;
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = 0;
  addrinfo* results = nullptr;
  const int code = getaddrinfo(host.c_str(), service.c_str(), &hints, &results);
  if (code != 0) {
    const char* reason = gai_strerror(code);
    if (reason != nullptr)
      std::cerr << "Unable to resolve " << text << ": " << reason << std::endl;
    else
      std::cerr.setstate(std::ios::badbit);
    return Address();
  }

  // Only the first result is kept, with no fallback to the resolver's further
  // addresses. Required: a name always reaches the same printer, and a failed
  // connect is reported rather than tried again somewhere else.
  Address address;
  const auto* bytes = reinterpret_cast<const unsigned char*>(results->ai_addr);
  address.bytes_.assign(bytes, bytes + results->ai_addrlen);
  address.length_ = results->ai_addrlen;
  address.family_ = results->ai_family;
  freeaddrinfo(results);
  return address;
}

int Address::Connect() const {
  const int descriptor = socket(family_, SOCK_STREAM, 0);
  if (descriptor < 0) throw AddressException("Unable to create socket");
  sockaddr_storage storage{};
  std::memcpy(&storage, bytes_.data(), std::min(bytes_.size(), sizeof storage));
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&storage), length_) != 0) {
    close(descriptor);
    throw AddressException("Unable to connect");
  }
  return descriptor;
}

}  // namespace Corvane::Network
