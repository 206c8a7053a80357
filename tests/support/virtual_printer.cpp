#include "support/virtual_printer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "support/process.h"

namespace Vellum::Testing {

using Clock = std::chrono::steady_clock;

VirtualPrinter::VirtualPrinter(const std::string& binary, const std::filesystem::path& output,
                               const std::vector<std::string>& extraArguments)
    : output_(output), logFile_(output.parent_path() / (output.filename().string() + ".log")) {
  const std::filesystem::path portFile =
      output.parent_path() / (output.filename().string() + ".port");
  std::filesystem::remove(portFile);
  std::vector<std::string> arguments = {"--listen",      "127.0.0.1:0", "--output",
                                        output.string(), "--port-file", portFile.string()};
  arguments.insert(arguments.end(), extraArguments.begin(), extraArguments.end());
  std::vector<std::string> argv = BuiltCommandLine(binary, arguments);
  std::vector<char*> pointers;
  for (std::string& argument : argv) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const std::string log = logFile_.string();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("cannot fork vellum-printer");
  if (pid_ == 0) {
    const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(fd, STDOUT_FILENO);
    dup2(fd, STDERR_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  const auto deadline = Clock::now() + std::chrono::seconds(30);
  for (;;) {
    std::ifstream in(portFile);
    unsigned port = 0, httpPort = 0;
    if (in >> port) {
      in >> httpPort;
      port_ = static_cast<std::uint16_t>(port);
      httpPort_ = static_cast<std::uint16_t>(httpPort);
      return;
    }
    if (waitpid(pid_, nullptr, WNOHANG) != 0 || Clock::now() > deadline) {
      pid_ = -1;
      throw std::runtime_error("vellum-printer did not start: " + Log());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

VirtualPrinter::~VirtualPrinter() {
  if (pid_ > 0) Stop(SIGTERM);
}

std::string VirtualPrinter::Log() const {
  std::ifstream in(logFile_);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

int VirtualPrinter::Stop(int signal) {
  if (pid_ <= 0) return -1;
  kill(pid_, signal);
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool VirtualPrinter::WaitForLabels(std::size_t count, int seconds) const {
  const auto deadline = Clock::now() + std::chrono::seconds(seconds);
  while (CountFiles(output_, ".prn") < count) {
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool VirtualPrinter::WaitForLog(const std::string& text, std::size_t count, int seconds) const {
  const auto deadline = Clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    const std::string log = Log();
    std::size_t found = 0;
    for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
      ++found;
    if (found >= count) return true;
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void SendTo(std::uint16_t port, const std::string& bytes, bool reset) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    throw std::runtime_error("cannot connect to the virtual printer");
  }
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const ssize_t n = send(fd, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (n <= 0) break;
    rest.remove_prefix(static_cast<std::size_t>(n));
  }
  if (reset) {
    const linger abortive{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
  }
  close(fd);
}

std::size_t CountFiles(const std::filesystem::path& directory, const std::string& suffix) {
  std::size_t count = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with("label-") && name.ends_with(suffix)) ++count;
  }
  return count;
}

}  // namespace Vellum::Testing
