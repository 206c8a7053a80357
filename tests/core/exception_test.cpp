#include <gtest/gtest.h>

#include <string>

#include "core/arguments.h"
#include "core/exception.h"

namespace Corvane::Vellum {
namespace {

TEST(ArgumentMessages, ComposedExactly) {
  struct Case {
    Exception exception;
    const char* expected;
  };
  const Case cases[] = {
      {InvalidNumberOfArgumentsException(1, 0, 0),
       "Unexpected number of arguments given (1). Expected 0 arguments"},
      {InvalidNumberOfArgumentsException(1, 2, 1),
       "Unexpected number of arguments given (1). Expected 2 arguments (with 1 optional "
       "arguments)"},
      {InvalidArgumentException("option", "bogus"), "Invalid value for argument \"option\": bogus"},
      {InvalidArgumentException("Printer is not a CUPS printer"), "Printer is not a CUPS printer"},
      {ArgumentOutOfRangeException("backfeed", 2.5, -1, 1),
       "Argument \"backfeed\" out of range (2.500000). Min = -1.000000, max = 1.000000"},
      {Commands::InsertionTooLongException(300, 255),
       "Insertion is too long (length is 300, maximum length is 255)."},
      {Commands::InsertionNotSetException("could not find existing insertion"),
       "Insertion could not be set: could not find existing insertion"},
  };
  for (const auto& c : cases) EXPECT_STREQ(c.exception.what(), c.expected);
}

TEST(ArgumentCount, AcceptsRequiredUpToOptional) {
  const Arguments two{"a", "b"};
  EXPECT_NO_THROW(CheckArgumentCount(two, 2, 1));
  EXPECT_NO_THROW(CheckArgumentCount(two, 1, 1));
  EXPECT_THROW(CheckArgumentCount(two, 0, 1), InvalidNumberOfArgumentsException);
  EXPECT_THROW(CheckArgumentCount(two, 3, 0), InvalidNumberOfArgumentsException);
  try {
    CheckArgumentCount(two, 0, 1);
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(),
                 "Unexpected number of arguments given (2). Expected 0 arguments (with 1 "
                 "optional arguments)");
  }
}

TEST(ExceptionTree, ResponseErrorsAreDistinguishable) {
  try {
    throw InvalidResponseException("bad reply");
  } catch (const ResponseException& e) {
    EXPECT_STREQ(e.what(), "bad reply");
  }
  EXPECT_THROW(throw EmptyTPCLPrinterStatusException("x"), TPCLPrinterStatusException);
}

}  // namespace
}  // namespace Corvane::Vellum
