// The virtual printer's web page: the labels printed, newest first, as PNG
// pictures with the log of the job that issued each, refreshing itself every
// two seconds; the label files themselves under /labels/.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "vprinter/print_queue.h"
#include "vprinter/printer_state.h"

namespace httplib {
class Server;
}

namespace Corvane::VirtualPrinter {

class WebPage {
 public:
  WebPage(const PrinterState& state, const PrintQueue& queue, std::filesystem::path directory);
  ~WebPage();
  WebPage(const WebPage&) = delete;
  WebPage& operator=(const WebPage&) = delete;

  // Binds host:port ("0": any free port), starts serving on threads of its
  // own and returns the port. Throws Corvane::IOException when the address
  // cannot be used, or when this program was built without the web page.
  std::uint16_t Start(const std::string& host, const std::string& port);
  void Stop();

  // The page's HTML.
  [[nodiscard]] std::string Page() const;

 private:
  const PrinterState& state_;
  const PrintQueue& queue_;
  std::filesystem::path directory_;
  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
};

}  // namespace Corvane::VirtualPrinter
