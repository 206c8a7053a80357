#include "support/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace Vellum::Testing {
namespace {

// The child's streams are unlinked temporary files rather than pipes: no
// reading loop is needed, and a child that writes much before reading its
// input cannot block on a full pipe.
int TemporaryFile(const std::string& contents = "") {
  char path[] = "/tmp/vellum-processXXXXXX";
  const int fd = mkostemp(path, O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("cannot create a temporary file");
  unlink(path);
  if (write(fd, contents.data(), contents.size()) != static_cast<ssize_t>(contents.size()))
    throw std::runtime_error("cannot write a temporary file");
  lseek(fd, 0, SEEK_SET);
  return fd;
}

std::string ReadAndClose(int fd) {
  std::string text;
  char buffer[4096];
  lseek(fd, 0, SEEK_SET);
  for (ssize_t count; (count = read(fd, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(count));
  close(fd);
  return text;
}

}  // namespace

std::vector<std::string> BuiltCommandLine(const std::string& binary,
                                          const std::vector<std::string>& arguments,
                                          std::vector<std::string> prefix) {
  if (const char* emulator = std::getenv("VELLUM_EMULATOR")) {
    std::istringstream words(emulator);
    for (std::string word; words >> word;) prefix.push_back(word);
  }
  prefix.push_back(binary);
  prefix.insert(prefix.end(), arguments.begin(), arguments.end());
  return prefix;
}

ProcessResult RunProcess(const std::vector<std::string>& argv, const Environment& environment,
                         const std::string& input) {
  const int in = TemporaryFile(input), out = TemporaryFile(), err = TemporaryFile();
  std::vector<char*> arguments;
  for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(in);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return {ReadAndClose(out), ReadAndClose(err),
          WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

bool AllowDescriptorsUpTo(int highest) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  const auto wanted = static_cast<rlim_t>(highest) + 1;
  if (limit.rlim_cur >= wanted) return true;
  if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < wanted) return false;
  limit.rlim_cur = wanted;
  return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

}  // namespace Vellum::Testing
