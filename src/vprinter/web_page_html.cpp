// The page itself, apart from the HTTP library, so that it is built (and
// tested) whether or not the program serves it.
#include <cstdio>

#include "vprinter/web_page.h"

namespace Corvane::VirtualPrinter {

namespace {

constexpr std::size_t kLabelsShown = 50;

std::string Escaped(const std::string& text) {
  std::string html;
  for (const char c : text) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      default:
        html.push_back(c);
    }
  }
  return html;
}

std::string Summary(const PrinterState& state, const PrintQueue& queue) {
  const Settings s = state.CurrentSettings();
  const auto shown = [](const std::string& text) { return text.empty() ? "unset" : text; };
  char code[8];
  std::snprintf(code, sizeof code, "%02u", state.StatusCode());
  return std::string("Status ") + code + " &middot; " + std::to_string(queue.Remaining()) +
         " waiting &middot; " + std::to_string(state.Printed()) +
         " printed<br>Fine adjustments: feed " + Millimetres(s.feedAdjustment) + " mm, cut/strip " +
         Millimetres(s.cutAdjustment) + " mm, back feed " + Millimetres(s.backfeedAdjustment) +
         " mm &middot; IPv4 " + Escaped(shown(s.address)) + ", mask " + Escaped(shown(s.netmask)) +
         ", gateway " + Escaped(shown(s.gateway)) + " &middot; raw port " +
         (s.rawPortOn ? std::to_string(s.rawPort) : std::string("off"));
}

}  // namespace

std::string WebPage::Page() const {
  std::string html =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
      "<meta http-equiv=\"refresh\" content=\"2\"><title>vellum-printer</title><style>"
      "body{font-family:sans-serif;margin:1em;background:#eee}"
      "section{background:#fff;margin:1em 0;padding:.5em 1em;border-radius:4px}"
      "img{border:1px solid #888;max-width:30em;image-rendering:pixelated;background:#fff}"
      "pre{font-size:80%;white-space:pre-wrap}</style></head><body>\n"
      "<h1>vellum-printer</h1>\n<p>" +
      Summary(state_, queue_) + "</p>\n";
  const std::vector<PrintedLabel> labels = queue_.Recent(kLabelsShown);
  if (labels.empty()) html += "<p>No label printed yet.</p>\n";
  for (const PrintedLabel& label : labels) {
    char name[32];
    std::snprintf(name, sizeof name, "label-%06llu", static_cast<unsigned long long>(label.number));
    html += std::string("<section id=\"") + name + "\"><h2>" + name + "</h2><p>" +
            Escaped(label.time) + " &middot; connection #" + std::to_string(label.connection) +
            " &middot; " + Escaped(label.description) + " &middot; files:";
    bool png = false;
    for (const std::string& file : label.files) {
      html += " <a href=\"/labels/" + Escaped(file) + "\">" + Escaped(file) + "</a>";
      png = png || file.ends_with(".png");
    }
    html += "</p>\n";
    if (png) html += std::string("<img src=\"/labels/") + name + ".png\" alt=\"" + name + "\">\n";
    html += "<pre>";
    if (label.log) {
      for (const std::string& line : *label.log) html += Escaped(line) + "\n";
    }
    html += "</pre></section>\n";
  }
  return html + "</body></html>\n";
}

}  // namespace Corvane::VirtualPrinter
