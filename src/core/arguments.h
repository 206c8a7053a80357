// Argument-count checking shared by every command handler.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Corvane::Vellum {

// The read-only list of a command's own arguments (everything after its name).
using Arguments = std::vector<std::string>;

// Accepts required <= arguments.size() <= required + optional; otherwise throws
// InvalidNumberOfArgumentsException(size, required, optional). Handlers call it
// before they parse anything or touch a printer or a file.
void CheckArgumentCount(const Arguments& arguments, std::size_t required, std::size_t optional);

}  // namespace Corvane::Vellum
