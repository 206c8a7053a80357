// The raster graphics library's own exception tree, kept apart from the
// tool's: the front end does not catch these, so callers that want a reported
// failure catch them themselves.
#pragma once

#include "core/message_exception.h"

namespace Brindle {

struct ExceptionTree;
using Exception = Corvane::MessageException<ExceptionTree>;

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
