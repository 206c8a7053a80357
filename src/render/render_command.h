// The render command: a TPCL print job becomes a one-bit TIFF picture of the label.
#pragma once

#include "core/arguments.h"

namespace Corvane::Vellum::Commands {

// Arguments (after the word "render"), in any order: "-o" NAME for the output
// file (standard output otherwise), "-r" VALUE for the resolution (200/203,
// 300/305 or 600/609, optionally followed by "dpi"; 203 dpi when absent), and
// the job file (standard input otherwise). Reads the label size and every raw
// or TOPIX bitmap graphic of the job, draws them on a canvas of the label's
// size and writes it as an uncompressed TIFF.
//
// Throws Corvane::Vellum::InvalidArgumentException for bad arguments,
// Corvane::IOException when a file cannot be opened or the job ends early,
// Corvane::InvalidFormatException / UnimplementedException for a malformed or
// unsupported job. A field that is not a number ends in std::invalid_argument,
// and malformed TOPIX data in std::out_of_range or Brindle::BitmapException,
// as the job format's decoders have always reported them. Nothing is written
// to the output on failure (a named output file has already been truncated).
// A failed write of the picture is Corvane::IOException "Unable to write to
// output".
void Render(const Arguments& arguments);

}  // namespace Corvane::Vellum::Commands
