#include "tpcl/printer_status.h"

#include <gtest/gtest.h>

#include <string>

#include "core/exception.h"

namespace Corvane {
namespace {

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

}  // namespace
}  // namespace Corvane
