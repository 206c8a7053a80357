#include "support/cups_server.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace Vellum::Testing {

SystemPPD::SystemPPD(const std::string& queue)
    : path_(std::filesystem::path("/etc/cups/ppd") / (queue + ".ppd")),
      createdDirectory_(std::filesystem::create_directories(path_.parent_path())) {}

SystemPPD::~SystemPPD() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
  if (createdDirectory_) std::filesystem::remove_all(path_.parent_path(), ignored);
}

void FillFilterDirectory(const std::string& directory, const std::vector<std::string>& filters) {
  std::filesystem::create_directories(directory);
  for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/cups/filter"))
    std::filesystem::create_symlink(entry.path(),
                                    directory + "/" + entry.path().filename().string());
  // Copied, not linked: cupsd runs only programs that root owns and no one
  // else may change, and a build directory is not necessarily such a place.
  for (const std::string& filter : filters) {
    const std::string copy = directory + "/" + std::filesystem::path(filter).filename().string();
    std::filesystem::copy_file(filter, copy, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::permissions(copy, std::filesystem::perms(0755));
  }
}

CupsServer::CupsServer(SocketBackend socket, const std::vector<std::string>& filters) {
  char pattern[] = "/tmp/vcupsXXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("cannot create a directory for cupsd");
  const std::string d = directory_ = pattern;
  for (const char* sub : {"/bin", "/bin/backend", "/bin/filter", "/cache", "/state", "/spool",
                          "/tmp", "/log", "/ppd"})
    std::filesystem::create_directory(d + sub);
  // cupsd refuses a queue whose backend is missing, and the Debian package
  // ships no socket or usb backend: stubs are enough, nothing is printed.
  for (const char* backend : {"socket", "ipp", "usb"}) {
    std::ofstream(d + "/bin/backend/" + backend) << "#!/bin/sh\nexit 0\n";
    std::filesystem::permissions(d + "/bin/backend/" + backend, std::filesystem::perms(0755));
  }
  if (!filters.empty()) {
    // Filters run as the user lp, who must reach the job's spool file and
    // the queue's PPD in here.
    std::filesystem::permissions(d, std::filesystem::perms(0755));
    FillFilterDirectory(d + "/bin/filter", filters);
  }
  if (socket == SocketBackend::kDebian || !filters.empty()) {
    // cupsd starts every filter and backend through its helper cups-exec in
    // ServerBin.
    std::filesystem::create_directory(d + "/bin/daemon");
    std::filesystem::create_symlink("/usr/lib/cups/daemon/cups-exec", d + "/bin/daemon/cups-exec");
  }
  if (socket == SocketBackend::kDebian) {
    // The package links it into backend/ when installed; backend-available/
    // holds it in any case.
    std::string real = "/usr/lib/cups/backend/socket";
    if (!std::filesystem::exists(real)) real = "/usr/lib/cups/backend-available/socket";
    if (!std::filesystem::exists(real)) {
      throw std::runtime_error("no CUPS socket backend: install the package cups");
    }
    const std::string copy = d + "/bin/backend/socket";
    std::filesystem::copy_file(real, copy, std::filesystem::copy_options::overwrite_existing);
    // Mode 0700 makes cupsd run it as root, who alone can read this spool.
    std::filesystem::permissions(copy, std::filesystem::perms(0700));
  }
  // Made before the fork: the child only calls exec.
  const std::string conf = d + "/cupsd.conf", files = d + "/cups-files.conf";
  std::ofstream(files) << "ServerRoot " << d << "\nStateDir " << d << "/state\nCacheDir " << d
                       << "/cache\nServerBin " << d << "/bin\nRequestRoot " << d
                       << "/spool\nTempDir " << d << "/tmp\nAccessLog " << d
                       << "/log/access_log\nErrorLog " << d << "/log/error_log\nPageLog " << d
                       << "/log/page_log\nPrintcap\nSystemGroup root\n";
  std::ofstream(conf) << "Listen " << d
                      << "/sock\nBrowsing Off\nWebInterface No\n<Policy default>\n"
                         "<Limit All>\nOrder Allow,Deny\n</Limit>\n</Policy>\n";
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("cannot fork cupsd");
  if (pid_ == 0) {
    execl("/usr/sbin/cupsd", "cupsd", "-f", "-c", conf.c_str(), "-s", files.c_str(), nullptr);
    _exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (
      RunProcess({"/usr/bin/lpstat", "-r"}, ClientEnvironment()).out.find("scheduler is running") ==
      std::string::npos) {
    if (std::chrono::steady_clock::now() > deadline || waitpid(pid_, nullptr, WNOHANG) != 0)
      throw std::runtime_error("cupsd did not start; see " + d + "/log/error_log");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

CupsServer::~CupsServer() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

std::string CupsServer::ErrorLog() const {
  std::ifstream in(directory_ + "/log/error_log");
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void CupsServer::AddQueue(const std::string& name, const std::string& deviceURI,
                          const std::string& ppdFile) {
  std::vector<std::string> command = {"/usr/sbin/lpadmin", "-p", name, "-v", deviceURI};
  if (!ppdFile.empty()) command.insert(command.end(), {"-P", ppdFile});
  command.push_back("-E");
  const ProcessResult result = RunProcess(command, ClientEnvironment());
  if (result.status != 0) throw std::runtime_error("lpadmin failed: " + result.err);
}

}  // namespace Vellum::Testing
