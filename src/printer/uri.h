// Device URIs as CUPS stores them for a queue ("socket://printer:9100").
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Corvane {

// A parsed URI: scheme ":" ["//" [userinfo "@"] host [":" port]] path ["?" query] ["#" fragment].
// Printer choice needs the scheme, the host and the port; the other
// components are checked (their escapes must be complete) and dropped.
//
// Delimiters are found on the raw text first and each component is
// percent-decoded afterwards, so an escaped delimiter ("%2F", "%3A") is data
// and never splits a component.
class URI {
 public:
  // Throws URIException "Invalid URI: " + text when the text has no scheme, the
  // authority is malformed or the port holds anything but decimal digits, and
  // URIDecodeException when a "%" is not followed by two hexadecimal digits.
  // A port may have any number of leading zeros, as CUPS allows.
  static URI FromString(std::string_view text);

  const std::string& Scheme() const { return scheme_; }
  // Without the brackets of an IP literal.
  const std::string& Host() const { return host_; }
  // Absent when the URI names no port (or an empty one, "host:"). A number
  // too large for a long is held as the largest long: no TCP port is that
  // large, so connecting to it fails all the same.
  std::optional<long> Port() const { return port_; }

  // Replaces every "%" and two hexadecimal digits by that byte. Throws
  // URIDecodeException "Invalid or incomplete escape sequence" otherwise.
  static std::string Decode(std::string_view text);

 private:
  std::string scheme_;
  std::string host_;
  std::optional<long> port_;
};

}  // namespace Corvane
