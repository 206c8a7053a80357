// The compression library's exception tree, kept apart from the tool's and
// the graphics library's.
#pragma once

#include "core/message_exception.h"

namespace Ashgrove {

struct ExceptionTree;
using Exception = Corvane::MessageException<ExceptionTree>;

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
