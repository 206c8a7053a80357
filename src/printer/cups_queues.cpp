#include "printer/cups_queues.h"

#include <cups/cups.h>

#include <cstring>

namespace Corvane::Vellum {
namespace {

constexpr ipp_op_t kCUPSGetPrinters = static_cast<ipp_op_t>(0x4002);

bool IsStringTag(ipp_tag_t tag) {
  switch (tag) {
    case IPP_TAG_TEXT:
    case IPP_TAG_NAME:
    case IPP_TAG_RESERVED_STRING:
    case IPP_TAG_KEYWORD:
    case IPP_TAG_URI:
    case IPP_TAG_URISCHEME:
    case IPP_TAG_CHARSET:
    case IPP_TAG_LANGUAGE:
    case IPP_TAG_MIMETYPE:
    case IPP_TAG_TEXTLANG:
    case IPP_TAG_NAMELANG:
      return true;
    default:
      return false;
  }
}

// Collects the printer-name and device-uri of one printer group.
struct GroupCollector {
  std::vector<CUPSQueue>& queues;
  bool open = false;
  bool hasName = false;
  CUPSQueue current;

  void Begin(ipp_tag_t group) {
    Finish();
    open = group == IPP_TAG_PRINTER;
  }
  void Take(ipp_attribute_t* attribute) {
    const char* name = ippGetName(attribute);
    if (!open || name == nullptr || !IsStringTag(ippGetValueTag(attribute))) return;
    const char* value = ippGetString(attribute, 0, nullptr);
    if (value == nullptr) return;
    if (!hasName && std::strcmp(name, "printer-name") == 0) {
      current.name = value;
      hasName = true;
    } else if (current.deviceURI.empty() && std::strcmp(name, "device-uri") == 0) {
      current.deviceURI = value;
    }
  }
  void Finish() {
    if (open && hasName) queues.push_back(current);
    open = hasName = false;
    current = CUPSQueue();
  }
};

}  // namespace

std::vector<CUPSQueue> ListCUPSQueues() {
  ipp_t* request = ippNewRequest(kCUPSGetPrinters);
  static const char* const kRequested[] = {"printer-name", "device-uri"};
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 2, nullptr,
                kRequested);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr,
               cupsUser());
  // cupsDoRequest frees the request whatever happens.
  ipp_t* reply = cupsDoRequest(CUPS_HTTP_DEFAULT, request, "/");

  std::vector<CUPSQueue> queues;
  if (reply == nullptr) return queues;
  GroupCollector collector{queues, false, false, {}};
  ipp_tag_t group = IPP_TAG_ZERO;
  for (ipp_attribute_t* attribute = ippFirstAttribute(reply); attribute != nullptr;
       attribute = ippNextAttribute(reply)) {
    // Consecutive printers are told apart by the change of group tag: libcups
    // keeps a separator (group tag zero) between two printer groups.
    if (ippGetGroupTag(attribute) != group) {
      group = ippGetGroupTag(attribute);
      collector.Begin(group);
    }
    collector.Take(attribute);
  }
  collector.Finish();
  ippDelete(reply);
  return queues;
}

}  // namespace Corvane::Vellum
