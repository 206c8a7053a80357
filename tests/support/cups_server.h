// A private CUPS scheduler for tests, in a temporary directory of its own.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/process.h"

namespace Vellum::Testing {

// Fills a filter directory (ServerBin's filter/) with links to every filter
// Debian installed (cups-filters turns PNG and PDF into raster) and copies
// of `filters`, programs of this build such as rastertovellum.
void FillFilterDirectory(const std::string& directory, const std::vector<std::string>& filters);

// A queue's PPD file in /etc/cups/ppd/, the place where vellum's insertion
// commands edit it: the directory is made if missing, and the file (and the
// directory, if made here) removed with the object, however the test ends.
class SystemPPD {
 public:
  explicit SystemPPD(const std::string& queue);
  ~SystemPPD();
  SystemPPD(const SystemPPD&) = delete;
  SystemPPD& operator=(const SystemPPD&) = delete;
  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
  bool createdDirectory_;
};

// Starts cupsd in the foreground on a unix socket inside a fresh directory
// under /tmp (short, since a socket path must stay under 108 bytes) and waits
// until "lpstat -r" sees it running; the destructor stops it with SIGTERM,
// waits for it and removes the directory. By default nothing is ever printed:
// the backends socket, ipp and usb are stubs that only let cupsd accept
// queues. With SocketBackend::kDebian the socket backend is Debian's real one
// (package cups), so a job on a socket:// queue really goes to that address.
//
// Jobs that are not raw need filters: given `filters`, the scheduler's filter
// directory is filled as FillFilterDirectory fills it, and its directory is
// opened to the unprivileged user that cupsd runs filters as.
class CupsServer {
 public:
  enum class SocketBackend { kStub, kDebian };
  explicit CupsServer(SocketBackend socket = SocketBackend::kStub,
                      const std::vector<std::string>& filters = {});
  ~CupsServer();
  CupsServer(const CupsServer&) = delete;
  CupsServer& operator=(const CupsServer&) = delete;

  // Adds an enabled queue with "lpadmin -p name -v deviceURI [-P ppdFile] -E".
  // Throws std::runtime_error with lpadmin's message when it fails.
  void AddQueue(const std::string& name, const std::string& deviceURI,
                const std::string& ppdFile = "");
  // Where the scheduler keeps each queue's PPD file, as NAME.ppd.
  std::string PPDDirectory() const { return directory_ + "/ppd"; }
  // The scheduler's error log so far, to explain a failure.
  std::string ErrorLog() const;
  // CUPS_SERVER pointing at this server, the only way clients find it.
  Environment ClientEnvironment() const { return {{"CUPS_SERVER", directory_ + "/sock"}}; }

 private:
  std::string directory_;
  pid_t pid_ = -1;
};

}  // namespace Vellum::Testing
