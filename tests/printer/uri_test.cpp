#include "printer/uri.h"

#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane {
namespace {

// The device URIs CUPS hands over, split into what printer choice needs.
TEST(URI, SplitsDeviceURIs) {
  const struct {
    const char* text;
    const char* scheme;
    const char* host;
    std::optional<long> port;
    const char* path;
  } cases[] = {
      {"socket://printer.example", "socket", "printer.example", std::nullopt, ""},
      {"socket://printer:9101/?contimeout=30", "socket", "printer", 9101, "/"},
      {"socket://[fe80::1]:9100", "socket", "fe80::1", 9100, ""},
      {"socket://user@host%3A1:1", "socket", "host:1", 1, ""},
      {"ipp://printer.local:631/ipp/print", "ipp", "printer.local", 631, "/ipp/print"},
      {"usb://TEC%20Corp/B%2FEV4?serial=2K000123", "usb", "TEC Corp", std::nullopt, "/B/EV4"},
      {"file:/dev/null", "file", "", std::nullopt, "/dev/null"},
  };
  for (const auto& c : cases) {
    const URI uri = URI::FromString(c.text);
    EXPECT_EQ(uri.Scheme(), c.scheme) << c.text;
    EXPECT_EQ(uri.Host(), c.host) << c.text;
    EXPECT_EQ(uri.Port(), c.port) << c.text;
    EXPECT_EQ(uri.Path(), c.path) << c.text;
  }
}

TEST(URI, RefusesMalformedTextAndBrokenEscapes) {
  const std::string escape = "Invalid or incomplete escape sequence";
  const std::pair<std::string, std::string> cases[] = {
      {"", "Invalid URI: "},
      {"socket://h:91x", "Invalid URI: socket://h:91x"},
      {"socket://[::1", "Invalid URI: socket://[::1"},
      {"socket://h:12345678901", "Invalid URI: socket://h:12345678901"},
      {"socket://h%4:9100", escape},
      {"usb://TEC/%", escape},
  };
  for (const auto& [text, message] : cases) {
    try {
      URI::FromString(text);
      ADD_FAILURE() << text;
    } catch (const Exception& e) {
      EXPECT_EQ(e.what(), message);
    }
  }
}

}  // namespace
}  // namespace Corvane
