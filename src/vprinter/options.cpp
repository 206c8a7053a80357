#include "vprinter/options.h"

#include <functional>
#include <map>

namespace Corvane::VirtualPrinter {

namespace {

// A whole decimal number from `low` to `high`.
std::uint64_t Number(const std::string& option, const std::string& value, std::uint64_t low,
                     std::uint64_t high) {
  if (value.empty() || value.size() > 12 ||
      value.find_first_not_of("0123456789") != std::string::npos) {
    throw OptionException("The value of " + option + " must be a number: " + value);
  }
  const std::uint64_t number = std::stoull(value);
  if (number < low || number > high) {
    throw OptionException("The value of " + option + " must be from " + std::to_string(low) +
                          " to " + std::to_string(high) + ": " + value);
  }
  return number;
}

// "HOST:PORT", "[IPv6]:PORT", or ":PORT" / "PORT" for the default host.
void HostAndPort(const std::string& option, const std::string& value, std::string& host,
                 std::string& port) {
  std::string hostPart;
  std::string portPart = value;
  const std::size_t colon = value.rfind(':');
  if (colon != std::string::npos) {
    hostPart = value.substr(0, colon);
    portPart = value.substr(colon + 1);
    if (hostPart.size() >= 2 && hostPart.front() == '[' && hostPart.back() == ']') {
      hostPart = hostPart.substr(1, hostPart.size() - 2);
    }
  }
  Number(option, portPart, 0, 65535);
  if (!hostPart.empty()) host = hostPart;
  port = std::to_string(std::stoul(portPart));
}

}  // namespace

std::string Usage() {
  return R"(Usage: vellum-printer [options]

A virtual TEC label printer: serves TPCL over TCP and writes every label it
prints as label-NNNNNN.tif, .png and .prn (the job's bytes) in its directory.

  --listen HOST:PORT      where to listen for TPCL (default 127.0.0.1:9100;
                          port 0 picks a free one)
  --output DIR            where labels go (default: the current directory)
  --status CODE           the status code answered to {WS|} (0-99, default 00);
                          change it while running by writing DIR/status
  --resolution DPI        203, 300 or 600 dots per inch (default 203)
  --json                  log JSON lines instead of text
  --http [HOST:]PORT      serve a web page of the labels (loopback by default)
  --port-file FILE        write the TCP port (and the web page's) to FILE once
                          listening
  --no-png                TIFF pictures only
  --no-previews           no pictures: only the job bytes of each label
  --print-time MS         how long printing one label takes (default 0)
  --max-connections N     connections served at once (default 32)
  --max-label-mb N        largest image buffer, in MiB (default 32)
  --max-payload-mb N      largest graphic's data, in MiB (default 16)
  --help, --version
SIGINT or SIGTERM stops it after printing the labels already issued.
)";
}

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  CommandLine line;
  ServerOptions& o = line.server;
  using Setter = std::function<void(const std::string& option, const std::string& value)>;
  const std::map<std::string, Setter> withValue = {
      {"--listen", [&](auto& n, auto& v) { HostAndPort(n, v, o.host, o.port); }},
      {"--output",
       [&](auto& n, auto& v) {
         if (v.empty()) throw OptionException("The value of " + n + " must not be empty");
         o.output = v;
       }},
      {"--status",
       [&](auto& n, auto& v) { o.statusCode = static_cast<unsigned>(Number(n, v, 0, 99)); }},
      {"--resolution",
       [&](auto& n, auto& v) {
         if (v != "203" && v != "300" && v != "600") {
           throw OptionException("The value of " + n + " must be 203, 300 or 600: " + v);
         }
         o.dotsPerInch = static_cast<unsigned>(std::stoul(v));
       }},
      {"--http",
       [&](auto& n, auto& v) {
         o.http = true;
         HostAndPort(n, v, o.httpHost, o.httpPort);
       }},
      {"--port-file",
       [&](auto& n, auto& v) {
         if (v.empty()) throw OptionException("The value of " + n + " must not be empty");
         o.portFile = v;
       }},
      {"--print-time",
       [&](auto& n, auto& v) { o.printTime = std::chrono::milliseconds(Number(n, v, 0, 600000)); }},
      {"--max-connections", [&](auto& n, auto& v) { o.maxConnections = Number(n, v, 1, 10000); }},
      {"--max-label-mb", [&](auto& n, auto& v) { o.maxLabelBytes = Number(n, v, 1, 4096) << 20; }},
      {"--max-payload-mb",
       [&](auto& n, auto& v) { o.maxPayloadBytes = Number(n, v, 1, 4096) << 20; }},
  };
  const std::map<std::string, std::function<void()>> flags = {
      {"--json", [&] { o.json = true; }},
      {"--no-png", [&] { o.png = false; }},
      {"--no-previews", [&] { o.previews = false; }},
      {"--help", [&] { line.help = true; }},
      {"-h", [&] { line.help = true; }},
      {"--version", [&] { line.version = true; }},
  };
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string option = arguments[i];
    std::optional<std::string> value;
    if (const std::size_t equals = option.find('=');
        option.starts_with("--") && equals != std::string::npos) {
      value = option.substr(equals + 1);
      option.resize(equals);
    }
    if (const auto flag = flags.find(option); flag != flags.end() && !value) {
      flag->second();
    } else if (const auto setter = withValue.find(option); setter != withValue.end()) {
      if (!value) {
        if (i + 1 == arguments.size()) throw OptionException("Missing value after " + option);
        value = arguments[++i];
      }
      setter->second(option, *value);
    } else {
      throw OptionException("Unknown option: " + arguments[i]);
    }
  }
  return line;
}

}  // namespace Corvane::VirtualPrinter
