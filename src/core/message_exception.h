// The one shape of the three exception roots: the tool's (Corvane), the
// graphics library's (Brindle) and the codecs' (Ashgrove).
//
// Header only, so that the graphics and codec libraries can share it without
// linking the tool's own code.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace Corvane {

// The root of one exception tree: a type and one message, composed completely
// by the code that throws. what() returns that message and never allocates.
//
// Each tree instantiates the template with a tag type of its own, so every
// root derives directly from std::exception and the trees stay apart: a
// handler for one tree never catches another tree's exceptions.
template <typename Tree>
class MessageException : public std::exception {
 public:
  explicit MessageException(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace Corvane
