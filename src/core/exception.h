// The tool's exception tree. Every failure below the entry point travels as
// one of these; the entry point is the only place that reports them.
//
// Each exception is a type and one message, composed completely when it is
// constructed. what() returns that message and never allocates.
#pragma once

#include <cstddef>
#include <string>

#include "core/message_exception.h"

namespace Corvane {

// The root of the tool's tree.
struct ExceptionTree;
using Exception = MessageException<ExceptionTree>;

// Declares a subclass that stores its message unchanged.
#define CORVANE_MESSAGE_EXCEPTION(Name, Base) \
  class Name : public Base {                  \
   public:                                    \
    using Base::Base;                         \
  }

// The printer's status reply could not be read or parsed.
CORVANE_MESSAGE_EXCEPTION(TPCLPrinterStatusException, Exception);
// Nothing was waiting to be read as a status.
CORVANE_MESSAGE_EXCEPTION(EmptyTPCLPrinterStatusException, TPCLPrinterStatusException);
// A status reply began or ended with the wrong bytes.
CORVANE_MESSAGE_EXCEPTION(InvalidTPCLPrinterStatusException, TPCLPrinterStatusException);
// A TPCL template could not be formatted with its arguments.
CORVANE_MESSAGE_EXCEPTION(CommandException, Exception);
// A backslash escape that is not in the escape table; the message is the escape.
CORVANE_MESSAGE_EXCEPTION(UnknownEscapeException, Exception);
CORVANE_MESSAGE_EXCEPTION(IOException, Exception);
CORVANE_MESSAGE_EXCEPTION(UnimplementedException, Exception);
CORVANE_MESSAGE_EXCEPTION(InvalidFormatException, Exception);
CORVANE_MESSAGE_EXCEPTION(InternalInconsistencyException, Exception);
CORVANE_MESSAGE_EXCEPTION(URIException, Exception);
CORVANE_MESSAGE_EXCEPTION(URIDecodeException, Exception);

namespace Network {
CORVANE_MESSAGE_EXCEPTION(AddressException, Exception);
}  // namespace Network

namespace Vellum {

// A reply from the printer could not be used. Reported with exit status 2.
CORVANE_MESSAGE_EXCEPTION(ResponseException, Exception);
CORVANE_MESSAGE_EXCEPTION(InvalidResponseException, ResponseException);
// The printer could not be found or is of a kind the tool cannot drive.
CORVANE_MESSAGE_EXCEPTION(PrinterException, Exception);

// A command-line value that cannot be used.
class InvalidArgumentException : public Exception {
 public:
  // Stores the message unchanged ("Printer is not a CUPS printer").
  explicit InvalidArgumentException(std::string message) : Exception(std::move(message)) {}
  // Invalid value for argument "name": detail
  InvalidArgumentException(const std::string& name, const std::string& detail);
};

// A command was given fewer or more arguments than it takes.
class InvalidNumberOfArgumentsException : public Exception {
 public:
  // Unexpected number of arguments given (given). Expected expected arguments
  // [ (with optional optional arguments)]. The plural stays for a count of one.
  InvalidNumberOfArgumentsException(std::size_t given, std::size_t expected, std::size_t optional);
};

// A parsed value lies outside its inclusive bounds.
class ArgumentOutOfRangeException : public Exception {
 public:
  // Argument "name" out of range (value). Min = minimum, max = maximum
  // with every number in printf's "%f" form.
  ArgumentOutOfRangeException(const std::string& name, double value, double minimum,
                              double maximum);
};

namespace Commands {

// A PPD insertion line would be longer than the driver accepts.
class InsertionTooLongException : public Exception {
 public:
  InsertionTooLongException(std::size_t length, std::size_t maximum);
};

// A PPD insertion could not be written.
class InsertionNotSetException : public Exception {
 public:
  // Insertion could not be set: reason
  explicit InsertionNotSetException(const std::string& reason);
};

}  // namespace Commands
}  // namespace Vellum
}  // namespace Corvane
