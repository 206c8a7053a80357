#include "vprinter/web_page.h"

#include <httplib.h>

#include <fstream>
#include <sstream>

#include "core/exception.h"

namespace Corvane::VirtualPrinter {

WebPage::WebPage(const PrinterState& state, const PrintQueue& queue,
                 std::filesystem::path directory)
    : state_(state), queue_(queue), directory_(std::move(directory)) {}

WebPage::~WebPage() { Stop(); }

std::uint16_t WebPage::Start(const std::string& host, const std::string& port) {
  server_ = std::make_unique<httplib::Server>();
  server_->Get("/", [this](const httplib::Request&, httplib::Response& response) {
    response.set_header("Cache-Control", "no-store");
    response.set_content(Page(), "text/html; charset=utf-8");
  });
  // Only the label files, by their exact names: nothing else of the directory.
  server_->Get(R"(/labels/(label-\d+\.(png|tif|prn)))",
               [this](const httplib::Request& request, httplib::Response& response) {
                 std::ifstream in(directory_ / request.matches[1].str(), std::ios::binary);
                 if (!in) {
                   response.status = 404;
                   return;
                 }
                 std::ostringstream bytes;
                 bytes << in.rdbuf();
                 const std::string type = request.matches[2].str();
                 response.set_content(bytes.str(), type == "png"   ? "image/png"
                                                   : type == "tif" ? "image/tiff"
                                                                   : "application/octet-stream");
               });
  int bound = 0;
  if (port == "0") {
    bound = server_->bind_to_any_port(host);
  } else if (server_->bind_to_port(host, std::stoi(port))) {
    bound = std::stoi(port);
  }
  if (bound <= 0) throw IOException("Unable to serve the web page on " + host + ":" + port);
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  return static_cast<std::uint16_t>(bound);
}

void WebPage::Stop() {
  if (server_) server_->stop();
  if (thread_.joinable()) thread_.join();
}

}  // namespace Corvane::VirtualPrinter
