#include "tpcl/printer_status.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "core/exception.h"

namespace Corvane {
namespace {

// SOH STX, status "07", then 0 0 1 2 3, ETX EOT LF CR.
const std::string kReply =
    "\x01\x02"
    "0700123\x03\x04\x0A\x0D";

// "status/count", or the message of the refusal.
template <typename Read>
std::string Outcome(Read read) {
  try {
    const TPCLPrinterStatus status = read();
    return std::to_string(status.StatusCode()) + "/" + std::to_string(status.RemainingCount());
  } catch (const Exception& e) {
    return e.what();
  }
}

std::string Parse(const std::string& reply) {
  return Outcome([&] {
    return TPCLPrinterStatus::FromResponse(
        {reinterpret_cast<const unsigned char*>(reply.data()), reply.size()});
  });
}

TEST(TPCLPrinterStatus, ParsesTheReplyOfGetstatus) {
  const std::pair<std::string, std::string> cases[] = {
      // The count is taken from bytes 4 to 7, one earlier than the stream reader.
      {kReply, "7/12"},
      {"\x01\x02"
       " 5  42xxxxxextra",
       "5/42"},
      {"", "0/0"},
      {kReply.substr(0, 12), "Response from printer is too small"},
      {"\x02\x01" + kReply.substr(2), "Unexpected response from printer"},
  };
  for (const auto& [reply, parsed] : cases) EXPECT_EQ(Parse(reply), parsed) << reply;
  EXPECT_THROW(Parse("\x01\x02"
                     "AB1234xxxxx"),
               std::invalid_argument);
}

TEST(TPCLPrinterStatus, ReadsAWaitingReplyFromADescriptor) {
  const std::pair<std::string, std::string> cases[] = {
      {kReply, "7/123"},
      {"", "There was no printer status to read"},
      {"\x02\x01" + kReply.substr(2), "The response from the printer was invalid"},
      {kReply.substr(0, 12) + "\n", "The response from the printer was invalid"},
      {kReply.substr(0, 6), "Unable to read the requested number of bytes from the printer"},
  };
  for (const auto& [reply, read] : cases) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], reply.data(), reply.size()), static_cast<ssize_t>(reply.size()));
    EXPECT_EQ(Outcome([&] { return TPCLPrinterStatus::FromDescriptor(ends[0]); }), read);
    close(ends[0]);
    close(ends[1]);
  }
}

}  // namespace
}  // namespace Corvane
