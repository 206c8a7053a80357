#include "core/exception.h"

#include <cstdio>

namespace Corvane::Vellum {
namespace {

std::string FormatFixed(double value) {
  char buffer[400];
  std::snprintf(buffer, sizeof buffer, "%f", value);
  return buffer;
}

std::string CountMessage(std::size_t given, std::size_t expected, std::size_t optional) {
  // "arguments" stays plural even for a count of one. Required: scripts
  // match this message word for word.
  std::string message = "Unexpected number of arguments given (" + std::to_string(given) +
                        "). Expected " + std::to_string(expected) + " arguments";
  if (optional > 0) message += " (with " + std::to_string(optional) + " optional arguments)";
  return message;
}

}  // namespace

InvalidArgumentException::InvalidArgumentException(const std::string& name,
                                                   const std::string& detail)
    : Exception("Invalid value for argument \"" + name + "\": " + detail) {}

InvalidNumberOfArgumentsException::InvalidNumberOfArgumentsException(std::size_t given,
                                                                     std::size_t expected,
                                                                     std::size_t optional)
    : Exception(CountMessage(given, expected, optional)) {}

ArgumentOutOfRangeException::ArgumentOutOfRangeException(const std::string& name, double value,
                                                         double minimum, double maximum)
    : Exception("Argument \"" + name + "\" out of range (" + FormatFixed(value) +
                "). Min = " + FormatFixed(minimum) + ", max = " + FormatFixed(maximum)) {}

namespace Commands {

InsertionTooLongException::InsertionTooLongException(std::size_t length, std::size_t maximum)
    : Exception("Insertion is too long (length is " + std::to_string(length) +
                ", maximum length is " + std::to_string(maximum) + ").") {}

InsertionNotSetException::InsertionNotSetException(const std::string& reason)
    : Exception("Insertion could not be set: " + reason) {}

}  // namespace Commands
}  // namespace Corvane::Vellum
