// A pseudo-terminal standing in for a printer's character device.
#pragma once

#include <string>

namespace Vellum::Testing {

// The slave side is set to raw mode, so bytes pass both ways unchanged, and
// held open so that the setting lasts while the code under test opens it by
// path. Constructing one ignores SIGHUP for the whole process: opening the
// slave without O_NOCTTY may make it the controlling terminal, whose hang-up
// when the master closes must not end the test.
class PseudoTerminal {
 public:
  PseudoTerminal();
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  // The slave's path, such as /dev/pts/3.
  const std::string& Path() const { return path_; }
  // Reads what was written to the slave, up to size bytes (stops early after
  // a second without data).
  std::string Read(std::size_t size);
  // Writes bytes that the slave's reader then receives.
  void Write(const std::string& bytes);

 private:
  int master_ = -1;
  int slave_ = -1;
  std::string path_;
};

}  // namespace Vellum::Testing
