// Device URIs as CUPS stores them for a queue ("socket://printer:9100").
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Corvane {

// A parsed URI: scheme ":" ["//" [userinfo "@"] host [":" port]] path ["?" query] ["#" fragment].
//
// Delimiters are found on the raw text first and each component is
// percent-decoded afterwards, so an escaped delimiter ("%2F", "%3A") is data
// and never splits a component.
class URI {
 public:
  // The characters that separate URI components or introduce an escape; Encode
  // escapes them (and every byte that is not printable ASCII).
  static constexpr std::string_view kReserved = "!*'{};:@&=+$,/?#[]%";

  // Throws URIException "Invalid URI: " + text when the text has no scheme, the
  // authority is malformed or the port is not a decimal number, and
  // URIDecodeException when a "%" is not followed by two hexadecimal digits.
  static URI FromString(std::string_view text);

  const std::string& Scheme() const { return scheme_; }
  const std::string& UserInfo() const { return userInfo_; }
  // Without the brackets of an IP literal.
  const std::string& Host() const { return host_; }
  // Absent when the URI names no port (or an empty one, "host:").
  std::optional<long> Port() const { return port_; }
  const std::string& Path() const { return path_; }
  const std::string& Query() const { return query_; }
  const std::string& Fragment() const { return fragment_; }

  // Replaces every "%" and two hexadecimal digits by that byte. Throws
  // URIDecodeException "Invalid or incomplete escape sequence" otherwise.
  static std::string Decode(std::string_view text);
  // The reverse of Decode: reserved characters, blanks, control bytes and bytes
  // from 0x80 up become "%" and two upper-case hexadecimal digits.
  static std::string Encode(std::string_view text);

 private:
  std::string scheme_;
  std::string userInfo_;
  std::string host_;
  std::optional<long> port_;
  std::string path_;
  std::string query_;
  std::string fragment_;
};

}  // namespace Corvane
