// The compression library's exception tree, kept apart from the tool's and
// the graphics library's.
#pragma once

#include <exception>
#include <string>

namespace Ashgrove {

class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

// The input ran out where a bit reader needed more.
class IOException : public Exception {
 public:
  using Exception::Exception;
};

class CompressionException : public Exception {
 public:
  using Exception::Exception;
};

class DecompressionException : public Exception {
 public:
  using Exception::Exception;
};

// A back-reference that the output window cannot serve.
class RollingOutputBufferException : public Exception {
 public:
  using Exception::Exception;
};

class UnimplementedException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Ashgrove
