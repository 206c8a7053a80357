// The queues that the CUPS server lists, asked over IPP.
#pragma once

#include <string>
#include <vector>

namespace Corvane::Vellum {

struct CUPSQueue {
  std::string name;
  std::string deviceURI;
};

// Sends CUPS-Get-Printers to the server that libcups's client configuration
// names (CUPS_SERVER, client.conf, or the local default) and returns one entry
// per printer in the order of the reply, which CUPS sorts by name ignoring
// case. No reply, or a reply without printers, gives an empty list: the
// caller decides what a missing queue means. Never throws for CUPS failures.
std::vector<CUPSQueue> ListCUPSQueues();

}  // namespace Corvane::Vellum
