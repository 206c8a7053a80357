#include "printer/uri.h"

#include <cups/cups.h>
#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane {
namespace {

// "scheme host port" of a URI, or the message of the refusal.
std::string Parts(const std::string& text) {
  try {
    const URI uri = URI::FromString(text);
    const std::optional<long> port = uri.Port();
    return uri.Scheme() + " " + uri.Host() + " " + (port ? std::to_string(*port) : "-");
  } catch (const Exception& e) {
    return e.what();
  }
}

// The device URIs CUPS hands over, split into what printer choice needs.
TEST(URI, SplitsDeviceURIs) {
  const std::pair<std::string, std::string> cases[] = {
      {"socket://printer.example", "socket printer.example -"},
      {"socket://printer:9101/?contimeout=30", "socket printer 9101"},
      {"socket://[fe80::1]:9100", "socket fe80::1 9100"},
      {"socket://[::1]x", "socket ::1 -"},
      {"socket://user@host%3A1:1", "socket host:1 1"},
      {"ipp://printer.local:631/ipp/print", "ipp printer.local 631"},
      {"usb://TEC%20Corp/B%2FEV4?serial=2K000123", "usb TEC Corp -"},
      {"file:/dev/null", "file  -"},
      // Ports as CUPS reads them: leading zeros do not count, and a number
      // too large for any port is kept as the largest value.
      {"socket://127.0.0.1:0000000009100", "socket 127.0.0.1 9100"},
      {"socket://h:12345678901", "socket h 12345678901"},
      {"socket://h:99999999999999999999999", "socket h 9223372036854775807"},
      {"", "Invalid URI: "},
      {"socket://h:91x", "Invalid URI: socket://h:91x"},
      {"socket://h:-1", "Invalid URI: socket://h:-1"},
      {"socket://[::1", "Invalid URI: socket://[::1"},
      {"socket://h%4:9100", "Invalid or incomplete escape sequence"},
      {"usb://TEC/%", "Invalid or incomplete escape sequence"},
      {"usb://TEC/?a#%zz", "Invalid or incomplete escape sequence"},
  };
  for (const auto& [text, parts] : cases) EXPECT_EQ(Parts(text), parts) << text;
}

// Every device URI that CUPS's own parser accepts, and so can be a queue's,
// is read to the same host and port (CUPS fills in 9100 for "socket").
TEST(URI, AcceptsWhatCupsAccepts) {
  const char* const uris[] = {
      "socket://127.0.0.1:0000000009100",
      "socket://h:65535",
      "socket://[::1]x",
      "socket://[fe80::1]:9100/",
      "socket://u:p@h:1",
      "socket://h",
      "socket:/x",
      "socket:x",
      "socket://h%41:1",
      "socket://h/a%20b?x=1",
      "socket://h:00001/",
      "socket://[::1]",
  };
  for (const char* text : uris) {
    char scheme[256], user[256], host[256], resource[1024];
    int port = 0;
    ASSERT_GE(httpSeparateURI(HTTP_URI_CODING_ALL, text, scheme, sizeof scheme, user, sizeof user,
                              host, sizeof host, &port, resource, sizeof resource),
              HTTP_URI_STATUS_OK)
        << text;
    const URI uri = URI::FromString(text);
    EXPECT_EQ(uri.Scheme(), scheme) << text;
    EXPECT_EQ(uri.Host(), host) << text;
    EXPECT_EQ(uri.Port().value_or(9100), port) << text;
  }
}

}  // namespace
}  // namespace Corvane
