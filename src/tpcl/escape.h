// Backslash escapes in text typed on the command line, decoded for the
// printer and encoded again for display and for PPD insertions.
//
// Escapes: "\0" NUL, "\\" backslash, "\"" double quote, "\a" BEL, "\b" BS,
// "\e" ESC, "\f" FF, "\n" LF, "\r" CR, "\t" TAB, "\v" VT, and "\x" with two
// hexadecimal digits (either case) for any byte.
#pragma once

#include <string>
#include <string_view>

namespace Corvane::TPCLCommands {

// Replaces every escape by its byte; other text is copied unchanged, and so
// is a "\x" without two hexadecimal digits after it. Throws
// UnknownEscapeException, whose message is the escape itself ("\q"), for a
// backslash followed by a character the table does not know.
std::string Unescape(std::string_view text);

// The reverse: every byte of the table becomes its escape, every byte from
// 0x80 to 0xFF becomes "\x" and two lower-case hexadecimal digits, all other
// bytes are copied. Unescape(Escape(bytes)) == bytes for every byte string.
std::string Escape(std::string_view bytes);

}  // namespace Corvane::TPCLCommands
