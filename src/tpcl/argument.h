// Typed values that fill the placeholders of a TPCL command template.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Corvane::TPCLCommands {

// One placeholder's value. The placeholder text handed to Format is the whole
// match: the optional "+" sign mark, the letter run and the optional suffix
// ("*" big-endian bytes, "$" upper-case hexadecimal, "/N" maximum length N).
// Field widths count that whole text.
class Argument {
 public:
  // Writes this value's rendering of the field. Returns false when the stream
  // has failed. Throws CommandException "Unsupported format" for a "/" suffix
  // on a numeric placeholder.
  virtual bool Format(std::ostream& output, std::string_view placeholder) const = 0;
  virtual ~Argument() = default;
};

using ArgumentList = std::vector<std::shared_ptr<Argument>>;

class IntegerArgument : public Argument {
 public:
  explicit IntegerArgument(std::int32_t value) : value_(value) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  std::int32_t value_;
};

class UIntegerArgument : public Argument {
 public:
  explicit UIntegerArgument(std::uint32_t value) : value_(value) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  std::uint32_t value_;
};

class ULargeIntegerArgument : public Argument {
 public:
  explicit ULargeIntegerArgument(std::uint64_t value) : value_(value) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  std::uint64_t value_;
};

// Renders its value as one character of that code (not as digits),
// zero-padded on the left to the field width; "*" gives the byte. The
// character is required: the field carries a raw byte.
class USmallIntegerArgument : public Argument {
 public:
  explicit USmallIntegerArgument(std::uint8_t value) : value_(value) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  std::uint8_t value_;
};

// Minus zero: a minus sign and zeros, for a signed field whose digits are all
// zero but whose sign matters.
class NegativeZeroArgument : public Argument {
 public:
  bool Format(std::ostream& output, std::string_view placeholder) const override;
};

// Its one character, whatever the placeholder.
class CharacterArgument : public Argument {
 public:
  explicit CharacterArgument(char value) : value_(value) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  char value_;
};

// The text cut to the field's maximum length ("/0" passes it whole); never padded.
class StringArgument : public Argument {
 public:
  explicit StringArgument(std::string value) : value_(std::move(value)) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  std::string value_;
};

// The bytes cut to the field's maximum length ("/0" passes them whole).
class BufferArgument : public Argument {
 public:
  explicit BufferArgument(std::vector<unsigned char> value) : value_(std::move(value)) {}
  bool Format(std::ostream& output, std::string_view placeholder) const override;

 private:
  std::vector<unsigned char> value_;
};

}  // namespace Corvane::TPCLCommands
