// The text of TPCL: the template formatter, the escapes users type and the
// status reply.
#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>

#include <sstream>

#include "core/exception.h"
#include "support/process.h"
#include "tpcl/command.h"
#include "tpcl/escape.h"
#include "tpcl/printer_status.h"

namespace Corvane::TPCLCommands {
namespace {

std::shared_ptr<Argument> I(std::int32_t value) { return std::make_shared<IntegerArgument>(value); }
std::shared_ptr<Argument> U(std::uint32_t value) {
  return std::make_shared<UIntegerArgument>(value);
}
std::shared_ptr<Argument> T(std::string value) {
  return std::make_shared<StringArgument>(std::move(value));
}
std::shared_ptr<Argument> B(std::string value) {
  return std::make_shared<BufferArgument>(std::vector<unsigned char>(value.begin(), value.end()));
}
std::shared_ptr<Argument> Minus0() { return std::make_shared<NegativeZeroArgument>(); }

TEST(FormatTPCLCommand, FieldRules) {
  const struct {
    const char* commandTemplate;
    ArgumentList arguments;
    std::string expected;
  } cases[] = {
      {"+bbb,+ff,a,+ddd", {Minus0(), Minus0(), Minus0(), I(0)}, "-000,-00,-,+000"},
      {"bbb", {I(-5)}, "0-5"},
      // A value wider than its field keeps its leading characters.
      {"bbb,+bbb", {I(12345), I(-12345)}, "123,-123"},
      {"aaa$,aaa$,aaaa$", {I(255), I(-1), U(0xABCD)}, "0FF,FFF,ABCD"},
      // "*": the lowest bytes, most significant first.
      {"aaa*aaaa*", {I(0x1234), I(-2)}, std::string("\x00\x12\x34\xFF\xFF\xFF\xFE", 7)},
      // Text and bytes: cut to the field, "/N" sets the maximum, "/0" none.
      {"c,cccc,d/0,d/3", {T("Dx"), T("ab"), T("a long text"), T("abcdef")}, "D,ab,a long text,abc"},
      {"a;d/2;e", {B(std::string("\x00\x01", 2)), B("bytes"), B("")}, std::string("\x00;by;", 5)},
  };
  for (const auto& c : cases) {
    std::ostringstream output;
    FormatTPCLCommand(output, c.commandTemplate, c.arguments);
    EXPECT_EQ(output.str(), c.expected) << c.commandTemplate;
  }
}

TEST(Escapes, TypedTextToBytesAndBack) {
  const std::pair<const char*, std::string> cases[] = {
      {"\\x41\\x0d\\x4a", "A\rJ"},
      {"\\xZ1 \\x4 end\\x", "\\xZ1 \\x4 end\\x"},
      {"\\0\\\\x41\\\"", std::string("\0\\x41\"", 6)},
      {"\\a\\b\\e\\f\\n\\r\\t\\v", "\a\b\x1B\f\n\r\t\v"},
      {"{PC001;0100,0200|}\\n", "{PC001;0100,0200|}\n"},
  };
  for (const auto& [typed, bytes] : cases) EXPECT_EQ(Unescape(typed), bytes) << typed;
  for (const char* typed : {"\\q", "ab\\zcd", "\\x4\\?", "\\X41"}) {
    try {
      Unescape(typed);
      ADD_FAILURE() << typed;
    } catch (const UnknownEscapeException& e) {
      EXPECT_EQ(std::string(e.what()),
                std::string(typed).substr(std::string(typed).rfind('\\'), 2));
    }
  }
  EXPECT_EQ(Escape("\x01\x1B\x80\xE9\\\""), "\x01\\e\\x80\\xe9\\\\\\\"");
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(Unescape(Escape(all + "\\x41\\q")), all + "\\x41\\q");
}

// SOH STX, status "07", then 0 0 1 2 3, ETX EOT LF CR.
const std::string kStart = "\x01\x02", kReply = kStart + "0700123\x03\x04\x0A\x0D";

// "status/count", or the message of the refusal.
std::string Parse(const std::string& reply) {
  try {
    const auto status = TPCLPrinterStatus::FromResponse(
        {reinterpret_cast<const unsigned char*>(reply.data()), reply.size()});
    return std::to_string(status.StatusCode()) + "/" + std::to_string(status.RemainingCount());
  } catch (const Exception& e) {
    return e.what();
  }
}

TEST(TPCLPrinterStatus, ParsesTheReplyOfGetstatus) {
  const std::pair<std::string, std::string> cases[] = {
      // The count is taken from bytes 4 to 7, the last field byte left out.
      {kReply, "7/12"},
      {kStart + " 5  42xxxxxextra", "5/42"},
      {"", "0/0"},
      {kReply.substr(0, 12), "Response from printer is too small"},
      {"\x02\x01" + kReply.substr(2), "Unexpected response from printer"},
  };
  for (const auto& [reply, parsed] : cases) EXPECT_EQ(Parse(reply), parsed) << reply;
  EXPECT_THROW(Parse(kStart + "AB1234xxxxx"), std::invalid_argument);
}

// The stream reader asks whether a reply is waiting; a descriptor numbered
// beyond what select can watch (a process with many files open) must work.
TEST(TPCLPrinterStatus, ReadsAReplyOnADescriptorBeyondTheSelectLimit) {
  if (!::Vellum::Testing::AllowDescriptorsUpTo(FD_SETSIZE + 64))
    GTEST_SKIP() << "descriptor limit too low";
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string reply = kStart + "07Z1234\x03\x04\n\r";
  ASSERT_EQ(write(ends[1], reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
  const int high = dup2(ends[0], FD_SETSIZE + 32);
  ASSERT_EQ(high, FD_SETSIZE + 32);
  const TPCLPrinterStatus status = TPCLPrinterStatus::FromDescriptor(high);
  EXPECT_EQ(status.StatusCode(), 7);
  EXPECT_EQ(status.RemainingCount(), 1234);
  for (int descriptor : {ends[0], ends[1], high}) close(descriptor);
}

}  // namespace
}  // namespace Corvane::TPCLCommands
