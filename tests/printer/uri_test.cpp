#include "printer/uri.h"

#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane {
namespace {

// "scheme host port path" of a URI, or the message of the refusal.
std::string Parts(const std::string& text) {
  try {
    const URI uri = URI::FromString(text);
    const std::optional<long> port = uri.Port();
    return uri.Scheme() + " " + uri.Host() + " " + (port ? std::to_string(*port) : "-") + " " +
           uri.Path();
  } catch (const Exception& e) {
    return e.what();
  }
}

// The device URIs CUPS hands over, split into what printer choice needs.
TEST(URI, SplitsDeviceURIs) {
  const std::pair<std::string, std::string> cases[] = {
      {"socket://printer.example", "socket printer.example - "},
      {"socket://printer:9101/?contimeout=30", "socket printer 9101 /"},
      {"socket://[fe80::1]:9100", "socket fe80::1 9100 "},
      {"socket://user@host%3A1:1", "socket host:1 1 "},
      {"ipp://printer.local:631/ipp/print", "ipp printer.local 631 /ipp/print"},
      {"usb://TEC%20Corp/B%2FEV4?serial=2K000123", "usb TEC Corp - /B/EV4"},
      {"file:/dev/null", "file  - /dev/null"},
      {"", "Invalid URI: "},
      {"socket://h:91x", "Invalid URI: socket://h:91x"},
      {"socket://[::1", "Invalid URI: socket://[::1"},
      {"socket://h:12345678901", "Invalid URI: socket://h:12345678901"},
      {"socket://h%4:9100", "Invalid or incomplete escape sequence"},
      {"usb://TEC/%", "Invalid or incomplete escape sequence"},
  };
  for (const auto& [text, parts] : cases) EXPECT_EQ(Parts(text), parts) << text;
}

}  // namespace
}  // namespace Corvane
