// vellum-printer's command line: accepted spellings and the messages of the
// refused ones.
#include "vprinter/options.h"

#include <gtest/gtest.h>

namespace Corvane::VirtualPrinter {
namespace {

// The options that matter for each row, as one line, or the refusal.
std::string Outcome(const std::vector<std::string>& arguments) {
  try {
    const ServerOptions o = ParseCommandLine(arguments).server;
    return o.host + ":" + o.port + " " + o.output.string() + " status " +
           std::to_string(o.statusCode) + " " + std::to_string(o.dotsPerInch) + "dpi" +
           (o.http ? " http " + o.httpHost + ":" + o.httpPort : "") + (o.json ? " json" : "") +
           (o.previews ? "" : " no-previews") + (o.png ? "" : " no-png") + " " +
           std::to_string(o.maxConnections) + " " + std::to_string(o.maxLabelBytes >> 20) + " " +
           std::to_string(o.maxPayloadBytes >> 20) + " " + std::to_string(o.printTime.count());
  } catch (const OptionException& e) {
    return e.what();
  }
}

TEST(PrinterCommandLine, SpellingsAndRefusals) {
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{}, "127.0.0.1:9100 . status 0 203dpi 32 32 16 0"},
      {{"--listen", "0.0.0.0:9101", "--output=/tmp/x", "--status", "6", "--resolution", "600"},
       "0.0.0.0:9101 /tmp/x status 6 600dpi 32 32 16 0"},
      {{"--listen", ":0", "--http", "8080", "--json", "--no-png"},
       "127.0.0.1:0 . status 0 203dpi http 127.0.0.1:8080 json no-png 32 32 16 0"},
      {{"--listen=[::1]:9100", "--http=0.0.0.0:0", "--no-previews", "--max-connections", "2",
        "--max-label-mb", "1", "--max-payload-mb", "3", "--print-time", "250"},
       "::1:9100 . status 0 203dpi http 0.0.0.0:0 no-previews 2 1 3 250"},
      {{"--listen", "127.0.0.1:70000"}, "The value of --listen must be from 0 to 65535: 70000"},
      {{"--listen", "127.0.0.1:x"}, "The value of --listen must be a number: x"},
      {{"--status", "100"}, "The value of --status must be from 0 to 99: 100"},
      {{"--resolution", "203dpi"}, "The value of --resolution must be 203, 300 or 600: 203dpi"},
      {{"--max-connections", "0"}, "The value of --max-connections must be from 1 to 10000: 0"},
      {{"--output", ""}, "The value of --output must not be empty"},
      {{"--output"}, "Missing value after --output"},
      {{"--json=1"}, "Unknown option: --json=1"},
      {{"9100"}, "Unknown option: 9100"},
  };
  for (const auto& [arguments, expected] : rows) {
    EXPECT_EQ(Outcome(arguments), expected) << ::testing::PrintToString(arguments);
  }
  EXPECT_TRUE(ParseCommandLine({"--help"}).help);
  EXPECT_TRUE(ParseCommandLine({"--version"}).version);
}

}  // namespace
}  // namespace Corvane::VirtualPrinter
