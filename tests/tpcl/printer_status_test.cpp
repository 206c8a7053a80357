#include "tpcl/printer_status.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "core/exception.h"

namespace Corvane {
namespace {

std::span<const unsigned char> Bytes(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

// SOH STX, status "07", then 0 0 1 2 3, ETX EOT LF CR.
const std::string kReply("\x01\x02" "0700123" "\x03\x04\x0A\x0D", 13);

TEST(TPCLPrinterStatus, ParsesTheReplyFields) {
  struct Case {
    std::string reply;
    std::uint16_t statusCode;
    std::uint16_t remainingCount;
  };
  const Case cases[] = {
      {std::string("\x01\x02" "001234" "\x00\x00\x00\x00\x00", 13), 0, 1234},
      // The parse takes the count from bytes 4 to 7.
      {kReply, 7, 12},
      {std::string("\x01\x02" "99" "9999" "xxxxx", 13), 99, 9999},
      {std::string("\x01\x02" " 5" "  42" "xxxxx", 13), 5, 42},
      {std::string("\x01\x02" "3x" "7abc" "xxxxxextra", 18), 3, 7},
      {"", 0, 0},
  };
  for (const Case& c : cases) {
    const TPCLPrinterStatus status = TPCLPrinterStatus::FromResponse(Bytes(c.reply));
    EXPECT_EQ(status.StatusCode(), c.statusCode);
    EXPECT_EQ(status.RemainingCount(), c.remainingCount);
  }
}

TEST(TPCLPrinterStatus, RefusesShortOrForeignReplies) {
  const std::pair<std::string, const char*> cases[] = {
      {kReply.substr(0, 12), "Response from printer is too small"},
      {std::string("\x01", 1), "Response from printer is too small"},
      {std::string("\x02\x01") + kReply.substr(2), "Unexpected response from printer"},
      {std::string("\x01\x01") + kReply.substr(2), "Unexpected response from printer"},
  };
  for (const auto& [reply, message] : cases) {
    try {
      TPCLPrinterStatus::FromResponse(Bytes(reply));
      FAIL() << message;
    } catch (const TPCLPrinterStatusException& e) {
      EXPECT_STREQ(e.what(), message);
    }
  }
}

TEST(TPCLPrinterStatus, FieldWithoutDigitsIsAConversionError) {
  EXPECT_THROW(TPCLPrinterStatus::FromResponse(Bytes(std::string("\x01\x02" "AB1234xxxxx", 13))),
               std::invalid_argument);
}

// Reads a status from one end of a socket pair after writing the bytes into
// the other, which is closed afterwards when closePeer is set.
TPCLPrinterStatus ReadFromStream(const std::string& bytes, bool closePeer = false) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("socketpair");
  if (!bytes.empty() && write(ends[1], bytes.data(), bytes.size()) < 0)
    throw std::runtime_error("write");
  if (closePeer) close(ends[1]);
  struct Closer {
    int a, b;
    ~Closer() {
      close(a);
      if (b >= 0) close(b);
    }
  } closer{ends[0], closePeer ? -1 : ends[1]};
  return TPCLPrinterStatus::FromDescriptor(ends[0]);
}

TEST(TPCLPrinterStatusStream, ReadsAWaitingReply) {
  const TPCLPrinterStatus status = ReadFromStream(kReply);
  EXPECT_EQ(status.StatusCode(), 7);
  // The stream reader skips one byte before the count.
  EXPECT_EQ(status.RemainingCount(), 123);
}

TEST(TPCLPrinterStatusStream, ReportsMissingAndBrokenReplies) {
  EXPECT_THROW(ReadFromStream(""), EmptyTPCLPrinterStatusException);
  const std::string wrongStart = "\x02\x01" + kReply.substr(2);
  const std::string wrongEnd = kReply.substr(0, 12) + "\x0A";
  for (const std::string& reply : {wrongStart, wrongEnd}) {
    try {
      ReadFromStream(reply);
      FAIL();
    } catch (const InvalidTPCLPrinterStatusException& e) {
      EXPECT_STREQ(e.what(), "The response from the printer was invalid");
    }
  }
  try {
    ReadFromStream(kReply.substr(0, 6), true);
    FAIL();
  } catch (const TPCLPrinterStatusException& e) {
    EXPECT_STREQ(e.what(), "Unable to read the requested number of bytes from the printer");
  }
}

}  // namespace
}  // namespace Corvane
