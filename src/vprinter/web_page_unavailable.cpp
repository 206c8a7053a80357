// The web page's server when the HTTP library was not found at build time
// (as in a cross build without it): the option is refused with a reason.
#include "core/exception.h"
#include "vprinter/web_page.h"

// Never made here; complete only so that the page's pointer can be destroyed.
namespace httplib {
class Server {};
}  // namespace httplib

namespace Corvane::VirtualPrinter {

WebPage::WebPage(const PrinterState& state, const PrintQueue& queue,
                 std::filesystem::path directory)
    : state_(state), queue_(queue), directory_(std::move(directory)) {}

WebPage::~WebPage() = default;

std::uint16_t WebPage::Start(const std::string&, const std::string&) {
  throw IOException("This vellum-printer was built without its web page (--http)");
}

void WebPage::Stop() {}

}  // namespace Corvane::VirtualPrinter
