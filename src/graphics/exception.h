// The raster graphics library's own exception tree, kept apart from the
// tool's: the front end does not catch these, so callers that want a reported
// failure catch them themselves.
#pragma once

#include <exception>
#include <string>

namespace Brindle {

class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

// Failures of Image operations and of TIFF reading and writing.
class ImageException : public Exception {
 public:
  using Exception::Exception;
};

// Failures of Bitmap operations and of the TOPIX codec.
class BitmapException : public Exception {
 public:
  using Exception::Exception;
};

// A halftoner was asked for something it cannot do.
class HalftoningException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Brindle
