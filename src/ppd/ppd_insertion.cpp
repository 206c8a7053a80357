#include "ppd/ppd_insertion.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <regex>
#include <utility>

#include "core/exception.h"
#include "tpcl/escape.h"

namespace Corvane::Vellum::Commands {
namespace {

// The driver reads insertion lines into a 255-byte buffer; the test is
// "longer than 254" while the message names 255 as the limit. Both numbers
// are required as they are: scripts compare the message.
constexpr std::size_t kLongestLine = 254;
constexpr std::size_t kReportedMaximum = 255;

// The regular expression engine recurses once per character it matches, so
// a line of tens of thousands of characters would exhaust the stack. Lines
// that begin like an insertion are examined only up to this length, far
// beyond anything the driver can use.
constexpr std::size_t kLongestExaminedLine = 1024;

// Closes the descriptor, and so releases its lock, on every way out.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  int Get() const { return descriptor_; }
  // Closes now; false when the close reports an error (a delayed write
  // failure on some file systems).
  bool Close() { return close(std::exchange(descriptor_, -1)) == 0; }

 private:
  int descriptor_;
};

std::string TypeWord(const std::string& type) {
  if (type == "string") return "String";
  if (type == "file") return "File";
  throw InvalidArgumentException("Type must be \"file\" or \"string\"");
}

// Opens the file for reading and takes an exclusive lock that the caller
// holds until its rewrite is done. flock, not fcntl: its lock belongs to this
// open file and works on a descriptor opened only for reading.
FileDescriptor OpenLocked(const std::filesystem::path& path) {
  FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) throw IOException("Unable to read from " + path.string());
  while (flock(file.Get(), LOCK_EX) != 0)
    if (errno != EINTR) throw IOException("Unable to read from " + path.string());
  return file;
}

std::string ReadAll(const FileDescriptor& file, const std::filesystem::path& path) {
  std::string text;
  char block[65536];
  while (true) {
    const ssize_t count = read(file.Get(), block, sizeof block);
    if (count == 0) return text;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw IOException("Unable to read from " + path.string());
    text.append(block, static_cast<std::size_t>(count));
  }
}

void WriteInPlace(const std::filesystem::path& path, std::string_view text) {
  FileDescriptor file(open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (file.Get() < 0) throw IOException("Unable to open " + path.string() + " for writing");
  const auto failed = [&] {
    return IOException("Unable to write to " + path.string() +
                       ". WARNING: Re-install printer to avoid using a possibly corrupt PPD");
  };
  while (!text.empty()) {
    const ssize_t count = write(file.Get(), text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) throw failed();
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  if (!file.Close()) throw failed();
}

// Recognises the lines that hold one insertion: the keyword, one or more
// blanks, either type word (a new value may change it), a colon and some value.
class InsertionLines {
 public:
  explicit InsertionLines(const std::string& keyword)
      : start_("*TEC" + keyword + "Insertion"),
        pattern_("^\\*TEC" + keyword + "Insertion\\s+(String|File):.+$") {}

  // Whether `line`, the PPD's line `number`, is one of them.
  bool Holds(std::string_view line, std::size_t number) const {
    // Only a line that begins with the keyword can match, so no other line
    // needs the engine.
    if (!line.starts_with(start_)) return false;
    if (line.size() > kLongestExaminedLine)
      throw InsertionNotSetException("line " + std::to_string(number) +
                                     " is too long to be read (length is " +
                                     std::to_string(line.size()) + ")");
    return std::regex_match(line.begin(), line.end(), pattern_);
  }

 private:
  std::string start_;
  std::regex pattern_;
};

// Takes the next line, without its line feed, off the front of `text`.
std::string_view NextLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

void CommandHandler(const char* keyword, Printer& printer, const Arguments& arguments) {
  CheckArgumentCount(arguments, 2, 0);
  SetInsertion(printer, keyword, arguments[0], arguments[1]);
}

}  // namespace

Insertion MakeInsertion(const std::string& keyword, const std::string& type,
                        const std::string& value) {
  const std::string typeWord = TypeWord(type);
  // Decoding then encoding again stores every value in one canonical form, so
  // "\x1b" and "\e" are written the same way.
  Insertion insertion;
  insertion.escapedValue = TPCLCommands::Escape(TPCLCommands::Unescape(value));
  insertion.line =
      "*TEC" + keyword + "Insertion " + typeWord + ": \"" + insertion.escapedValue + "\"";
  if (insertion.line.size() > kLongestLine)
    throw InsertionTooLongException(insertion.line.size(), kReportedMaximum);
  return insertion;
}

std::string ReplaceInsertion(std::string_view ppd, const std::string& keyword,
                             const std::string& line) {
  const InsertionLines lines(keyword);
  std::string output;
  output.reserve(ppd.size() + line.size());
  bool replaced = false;
  std::size_t number = 0;
  while (!ppd.empty()) {
    const std::string_view current = NextLine(ppd);
    const bool matches = lines.Holds(current, ++number);
    replaced |= matches;
    // Every line ends with a line feed in the rewritten file, the last one too.
    output.append(matches ? std::string_view(line) : current);
    output += '\n';
  }
  if (!replaced) throw InsertionNotSetException("could not find existing insertion");
  return output;
}

std::optional<StoredInsertion> FindInsertion(std::string_view ppd, const std::string& keyword) {
  const InsertionLines lines(keyword);
  for (std::size_t number = 1; !ppd.empty(); ++number) {
    const std::string_view current = NextLine(ppd);
    if (!lines.Holds(current, number)) continue;
    const std::size_t colon = current.find(':');
    const std::size_t open = current.find('"', colon);
    const std::size_t close = current.rfind('"');
    if (open == std::string_view::npos || close == open) {
      throw InvalidFormatException("The *TEC" + keyword + "Insertion line (line " +
                                   std::to_string(number) + ") holds no quoted value");
    }
    StoredInsertion insertion;
    insertion.isFile = current.substr(0, colon).ends_with("File");
    insertion.escapedValue = std::string(current.substr(open + 1, close - open - 1));
    return insertion;
  }
  return std::nullopt;
}

std::string SetInsertion(const std::filesystem::path& directory, const std::string& queue,
                         const std::string& keyword, const std::string& type,
                         const std::string& value) {
  const Insertion insertion = MakeInsertion(keyword, type, value);
  const std::filesystem::path path = directory / (queue + ".ppd");
  // The lock is held until this function returns, past the end of the write.
  const FileDescriptor locked = OpenLocked(path);
  const std::string text = ReplaceInsertion(ReadAll(locked, path), keyword, insertion.line);
  // Truncating the existing file, rather than replacing it, keeps the mode and
  // owner that CUPS gave it. The price is required and known: a run that dies
  // while it writes leaves a cut PPD, which is what the warning tells.
  WriteInPlace(path, text);
  return insertion.escapedValue;
}

void SetInsertion(const Printer& printer, const std::string& keyword, const std::string& type,
                  const std::string& value) {
  if (!printer.IsFromCUPS()) throw InvalidArgumentException("Printer is not a CUPS printer");
  std::cout << SetInsertion(kPPDDirectory, printer.Name(), keyword, type, value) << std::endl;
}

void SetPreJob(Printer& printer, const Arguments& arguments) {
  CommandHandler("PreJob", printer, arguments);
}
void SetPostJob(Printer& printer, const Arguments& arguments) {
  CommandHandler("PostJob", printer, arguments);
}
void SetPreLabel(Printer& printer, const Arguments& arguments) {
  CommandHandler("PreLabel", printer, arguments);
}
void SetPostLabel(Printer& printer, const Arguments& arguments) {
  CommandHandler("PostLabel", printer, arguments);
}

}  // namespace Corvane::Vellum::Commands
