#include "support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace Vellum::Testing {
namespace {

void MakePipe(int fds[2]) {
  if (pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
}

}  // namespace

ProcessResult RunProcess(const std::vector<std::string>& argv, const Environment& environment,
                         const std::string& input) {
  int in[2], out[2], err[2];
  MakePipe(in);
  MakePipe(out);
  MakePipe(err);
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);

  ProcessResult result;
  std::size_t written = 0;
  int inFd = in[1];
  if (input.empty()) {
    close(inFd);
    inFd = -1;
  }
  pollfd fds[3] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {inFd, POLLOUT, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  while (fds[0].fd >= 0 || fds[1].fd >= 0) {
    if (poll(fds, 3, -1) < 0) {
      if (errno == EINTR) continue;
      throw std::runtime_error("poll failed");
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t count = read(fds[i].fd, buffer, sizeof buffer);
      if (count > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(count));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
      }
    }
    if (fds[2].fd >= 0 && fds[2].revents != 0) {
      const ssize_t count = write(fds[2].fd, input.data() + written, input.size() - written);
      if (count > 0) written += static_cast<std::size_t>(count);
      if (count <= 0 || written == input.size()) {
        close(fds[2].fd);
        fds[2].fd = -1;
      }
    }
  }
  if (fds[2].fd >= 0) close(fds[2].fd);

  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace Vellum::Testing
