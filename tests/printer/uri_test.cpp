#include "printer/uri.h"

#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane {
namespace {

TEST(URI, SplitsDeviceURIs) {
  struct Case {
    const char* text;
    const char* scheme;
    const char* host;
    std::optional<long> port;
    const char* path;
  };
  const Case cases[] = {
      {"socket://192.168.1.20:9100", "socket", "192.168.1.20", 9100, ""},
      {"socket://printer.example", "socket", "printer.example", std::nullopt, ""},
      {"socket://printer:", "socket", "printer", std::nullopt, ""},
      {"socket://printer:9101/?contimeout=30", "socket", "printer", 9101, "/"},
      {"socket://[fe80::1]:9100", "socket", "fe80::1", 9100, ""},
      {"socket://user@host:1", "socket", "host", 1, ""},
      {"ipp://printer.local:631/ipp/print", "ipp", "printer.local", 631, "/ipp/print"},
      {"usb://TEC/B-EV4-T?serial=2K000123", "usb", "TEC", std::nullopt, "/B-EV4-T"},
      {"usb://TEC%20Corp/B%2FEV4", "usb", "TEC Corp", std::nullopt, "/B/EV4"},
      {"socket://host%3A1:9100", "socket", "host:1", 9100, ""},
      {"file:/dev/null", "file", "", std::nullopt, "/dev/null"},
      {"lpd://queue.host/q#top", "lpd", "queue.host", std::nullopt, "/q"},
  };
  for (const Case& c : cases) {
    const URI uri = URI::FromString(c.text);
    EXPECT_EQ(uri.Scheme(), c.scheme) << c.text;
    EXPECT_EQ(uri.Host(), c.host) << c.text;
    EXPECT_EQ(uri.Port(), c.port) << c.text;
    EXPECT_EQ(uri.Path(), c.path) << c.text;
  }
  const URI full = URI::FromString("ipp://me%40home@h:1/p?q%3D1#f%23");
  EXPECT_EQ(full.UserInfo(), "me@home");
  EXPECT_EQ(full.Query(), "q=1");
  EXPECT_EQ(full.Fragment(), "f#");
}

TEST(URI, RefusesMalformedText) {
  for (const char* text : {"", "socket", ":9100", "9socket://h", "so cket://h", "socket://h:91x",
                           "socket://h:-1", "socket://[::1", "socket://[::1]x",
                           "socket://h:12345678901"}) {
    try {
      URI::FromString(text);
      ADD_FAILURE() << text;
    } catch (const URIException& e) {
      EXPECT_EQ(std::string(e.what()), std::string("Invalid URI: ") + text);
    }
  }
}

TEST(URI, RefusesBrokenEscapes) {
  for (const char* text : {"socket://h%4:9100", "socket://h%zz", "usb://TEC/%", "ipp://h/p?%2"}) {
    try {
      URI::FromString(text);
      ADD_FAILURE() << text;
    } catch (const URIDecodeException& e) {
      EXPECT_STREQ(e.what(), "Invalid or incomplete escape sequence");
    }
  }
}

TEST(URI, EncodeAndDecodeAreInverse) {
  EXPECT_EQ(URI::Encode("a b/c%d"), "a%20b%2Fc%25d");
  EXPECT_EQ(URI::Decode("%41%62c%2f"), "Abc/");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const std::string encoded = URI::Encode(all);
  for (char reserved : URI::kReserved)
    if (reserved != '%') {
      EXPECT_EQ(encoded.find(reserved), std::string::npos) << reserved;
    }
  EXPECT_EQ(URI::Decode(encoded), all);
}

}  // namespace
}  // namespace Corvane
