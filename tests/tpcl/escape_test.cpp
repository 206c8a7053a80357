#include "tpcl/escape.h"

#include <gtest/gtest.h>

#include "core/exception.h"

namespace Corvane::TPCLCommands {
namespace {

TEST(Unescape, DecodesTheEscapeTable) {
  struct Case {
    const char* typed;
    std::string bytes;
  };
  const Case cases[] = {
      {"\\x41\\x0d", "A\r"},
      {"\\x4a\\x4A", "JJ"},
      {"\\xZ1", "\\xZ1"},
      {"\\x4", "\\x4"},
      {"end\\x", "end\\x"},
      {"\\0", std::string(1, '\0')},
      {"\\\\", "\\"},
      {"\\\\x41", "\\x41"},
      {"\\\"", "\""},
      {"\\a\\b\\e\\f\\n\\r\\t\\v", "\a\b\x1B\f\n\r\t\v"},
      {"{WS|}", "{WS|}"},
      {"{PC001;0100,0200|}\\n", "{PC001;0100,0200|}\n"},
      {"", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(Unescape(c.typed), c.bytes) << c.typed;
}

TEST(Unescape, UnknownEscapeIsReportedAsTyped) {
  const std::pair<const char*, const char*> cases[] = {
      {"\\q", "\\q"}, {"ab\\zcd", "\\z"}, {"\\x4\\?", "\\?"}, {"\\X41", "\\X"}};
  for (const auto& [typed, escape] : cases) {
    try {
      Unescape(typed);
      FAIL() << typed;
    } catch (const UnknownEscapeException& e) {
      EXPECT_STREQ(e.what(), escape);
    }
  }
}

TEST(Escape, EncodesTableBytesAndHighBytes) {
  EXPECT_EQ(Escape(std::string("a\0b", 3)), "a\\0b");
  EXPECT_EQ(Escape("\\\"\a\b\x1B\f\n\r\t\v"), "\\\\\\\"\\a\\b\\e\\f\\n\\r\\t\\v");
  EXPECT_EQ(Escape("\x80\xFF\xC3\xA9"), "\\x80\\xff\\xc3\\xa9");
  EXPECT_EQ(Escape("\x01{WS|}\x7F"), "\x01{WS|}\x7F");
}

TEST(Escape, EveryByteSurvivesARoundTrip) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  all += "\\x41\\q";
  EXPECT_EQ(Unescape(Escape(all)), all);
}

}  // namespace
}  // namespace Corvane::TPCLCommands
