#include "core/arguments.h"

#include "core/exception.h"

namespace Corvane::Vellum {

void CheckArgumentCount(const Arguments& arguments, std::size_t required, std::size_t optional) {
  const std::size_t given = arguments.size();
  if (given < required || given > required + optional)
    throw InvalidNumberOfArgumentsException(given, required, optional);
}

}  // namespace Corvane::Vellum
