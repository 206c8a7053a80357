#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "core/exception.h"
#include "tpcl/command.h"

namespace Corvane::TPCLCommands {
namespace {

std::shared_ptr<Argument> I(std::int32_t value) { return std::make_shared<IntegerArgument>(value); }
std::shared_ptr<Argument> U(std::uint32_t value) { return std::make_shared<UIntegerArgument>(value); }
std::shared_ptr<Argument> L(std::uint64_t value) {
  return std::make_shared<ULargeIntegerArgument>(value);
}
std::shared_ptr<Argument> S(std::uint8_t value) {
  return std::make_shared<USmallIntegerArgument>(value);
}
std::shared_ptr<Argument> T(std::string value) {
  return std::make_shared<StringArgument>(std::move(value));
}
std::shared_ptr<Argument> B(std::string value) {
  return std::make_shared<BufferArgument>(std::vector<unsigned char>(value.begin(), value.end()));
}
std::shared_ptr<Argument> C(char value) { return std::make_shared<CharacterArgument>(value); }
std::shared_ptr<Argument> NegativeZero() { return std::make_shared<NegativeZeroArgument>(); }

std::string Format(std::string_view commandTemplate, const ArgumentList& arguments) {
  std::ostringstream output;
  FormatTPCLCommand(output, commandTemplate, arguments);
  return output.str();
}

TEST(FormatTPCLCommand, RendersEveryArgumentKind) {
  struct Case {
    const char* commandTemplate;
    ArgumentList arguments;
    std::string expected;
  };
  const Case cases[] = {
      {"T;abcde", {I(2), I(1), T("C"), I(3), I(0)}, "T;21C30"},
      {"WS", {}, "WS"},
      {"IS;a,bbbbb", {I(1), I(9100)}, "IS;1,09100"},
      {"AX;+bbb,+ddd,+ff", {I(15), I(-20), I(3)}, "AX;+015,-020,+03"},
      // Worked examples of the field rules.
      {"bbb", {I(5)}, "005"},
      {"+bbb", {I(12)}, "+012"},
      {"+ff", {I(-7)}, "-07"},
      {"+ddd", {I(0)}, "+000"},
      {"+bbb", {I(-1)}, "-001"},
      {"+bbb", {NegativeZero()}, "-000"},
      // Field width rules: "+ff" is three characters wide, like "-07".
      {"+ff", {NegativeZero()}, "-00"},
      {"a,+b,aa", {NegativeZero(), NegativeZero(), NegativeZero()}, "-,-0,-0"},
      {"aaa$", {NegativeZero()}, "-00"},
      {"aaa$", {I(255)}, "0FF"},
      {"aaa$", {I(-1)}, "FFF"},
      {"aaaa$", {U(0xABCD)}, "ABCD"},
      {"a", {I(1)}, "1"},
      {"bbb", {I(-5)}, "0-5"},
      // A value wider than its field keeps its leading characters.
      {"bbb", {I(12345)}, "123"},
      {"+bbb", {I(-12345)}, "-123"},
      {"aaa", {U(4294967295u)}, "429"},
      {"aaaaaaaaaaaaaaaaaaaa", {L(18446744073709551615ull)}, "18446744073709551615"},
      // "*": the lowest bytes, most significant first.
      {"aaa*", {I(0x1234)}, std::string("\x00\x12\x34", 3)},
      {"aa*", {U(0x1234)}, "\x12\x34"},
      {"a*", {U(0x41)}, "A"},
      {"aaaa*", {I(-2)}, "\xFF\xFF\xFF\xFE"},
      {"aaaaaaaa*", {L(0x0102030405060708ull)}, "\x01\x02\x03\x04\x05\x06\x07\x08"},
      // The small integer is written as the character of its code.
      {"a", {S('A')}, "A"},
      {"aaa", {S('A')}, "00A"},
      {"aa$", {S('B')}, "0B"},
      {"a*", {S('C')}, "C"},
      // Text and bytes: cut to the field, "/N" sets the maximum, "/0" none.
      {"c", {T("D")}, "D"},
      {"c", {T("Dx")}, "D"},
      {"cccc", {T("ab")}, "ab"},
      {"d/0", {T("a long text")}, "a long text"},
      {"d/3", {T("abcdef")}, "abc"},
      {"a;d/2;e", {B(std::string("\x00\x01", 2)), B("bytes"), B("")}, std::string("\x00;by;", 5)},
      {"d/20", {B("bytes")}, "bytes"},
      {"e/0", {B("whole")}, "whole"},
      {"[a]", {C('Q')}, "[Q]"},
      {"#a/5", {C('Q')}, "#Q"},
      // Upper-case letters, digits and punctuation are literal.
      {"XY;12,+", {}, "XY;12,+"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Format(c.commandTemplate, c.arguments), c.expected) << c.commandTemplate;
}

TEST(FormatTPCLCommand, WrongArgumentCountIsRefusedBeforeWriting) {
  std::ostringstream output;
  try {
    FormatTPCLCommand(output, "T;abcde", {I(2), I(1), T("C"), I(3)});
    FAIL() << "expected CommandException";
  } catch (const CommandException& e) {
    EXPECT_STREQ(e.what(), "Wrong number of arguments for command: T;abcde");
  }
  EXPECT_EQ(output.str(), "");
  EXPECT_THROW(Format("WS", {I(1)}), CommandException);
}

TEST(FormatTPCLCommand, NumericFieldsRejectMaximumLength) {
  for (const auto& argument : {I(1), U(1), L(1), S(1)}) {
    try {
      Format("a/4", {argument});
      FAIL() << "expected CommandException";
    } catch (const CommandException& e) {
      EXPECT_STREQ(e.what(), "Unsupported format");
    }
  }
}

TEST(FormatTPCLCommand, ByteFieldWiderThanTheValueIsAProgrammingError) {
  EXPECT_THROW(Format("aaaaa*", {I(1)}), std::out_of_range);
  EXPECT_THROW(Format("aa*", {S(1)}), std::out_of_range);
}

TEST(FormatTPCLCommand, AFailedStreamStopsTheWalk) {
  std::ostringstream output;
  output.setstate(std::ios::badbit);
  EXPECT_NO_THROW(FormatTPCLCommand(output, "a;b", {I(1), std::shared_ptr<Argument>()}));
}

TEST(FrameTPCLCommand, WrapsTheBodyInBracesAndBar) {
  EXPECT_EQ(FrameTPCLCommand("T;abcde", {I(2), I(1), T("C"), I(3), I(0)}), "{T;21C30|}\n");
  EXPECT_EQ(FrameTPCLCommand("WS", {}), "{WS|}\n");
}

}  // namespace
}  // namespace Corvane::TPCLCommands
