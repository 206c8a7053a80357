#include "support/pseudo_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>

namespace Vellum::Testing {

PseudoTerminal::PseudoTerminal() {
  signal(SIGHUP, SIG_IGN);
  master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
    throw std::runtime_error("cannot open a pseudo-terminal");
  path_ = ptsname(master_);
  slave_ = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings{};
  if (slave_ < 0 || tcgetattr(slave_, &settings) != 0)
    throw std::runtime_error("cannot open " + path_);
  cfmakeraw(&settings);
  tcsetattr(slave_, TCSANOW, &settings);
}

PseudoTerminal::~PseudoTerminal() {
  close(slave_);
  close(master_);
}

std::string PseudoTerminal::Read(std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) {
    pollfd fd{master_, POLLIN, 0};
    if (poll(&fd, 1, 1000) != 1) break;
    char buffer[256];
    const ssize_t count = read(master_, buffer, std::min(sizeof buffer, size - bytes.size()));
    if (count <= 0) break;
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
  return bytes;
}

void PseudoTerminal::Write(const std::string& bytes) {
  if (write(master_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("cannot write to the pseudo-terminal");
}

}  // namespace Vellum::Testing
