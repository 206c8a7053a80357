#include "vprinter/job_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "core/atomic_file.h"
#include "core/exception.h"
#include "vprinter/printer_state.h"

namespace Corvane::VirtualPrinter {

namespace {

std::string Reason() { return std::strerror(errno); }

}  // namespace

JobRecord::JobRecord(std::filesystem::path file, std::uint64_t size)
    : file_(std::move(file)), size_(size) {}

JobRecord::~JobRecord() {
  std::error_code ignored;
  std::filesystem::remove(file_, ignored);
}

std::string JobRecord::Read() const {
  std::ifstream in(file_, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (!in) throw IOException("Unable to read " + file_.string());
  return bytes.str();
}

void JobRecord::PublishAs(const std::filesystem::path& target) const {
  const std::filesystem::path temporary =
      target.parent_path() / ("." + target.filename().string() + ".part");
  std::error_code error;
  std::filesystem::remove(temporary, error);
  if (link(file_.c_str(), temporary.c_str()) == 0) {
    std::filesystem::rename(temporary, target, error);
    if (error) {
      std::filesystem::remove(temporary, error);
      throw IOException("Unable to write " + target.string() + ": " + error.message());
    }
    return;
  }
  // No second names here (some file systems have none): a copy.
  WriteFileAtomically(target, Read(), Durability::kUnsynced);
}

JobRecordWriter::JobRecordWriter(std::filesystem::path directory, std::string tag)
    : directory_(std::move(directory)), tag_(std::move(tag)) {}

JobRecordWriter::~JobRecordWriter() { Discard(); }

void JobRecordWriter::Open() {
  for (;;) {
    file_ = directory_ / (".job-" + tag_ + "-" + std::to_string(++sequence_) + ".part");
    fd_ = open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd_ >= 0) return;
    if (errno != EEXIST) {
      const std::string reason = Reason();
      file_.clear();
      throw IOException("Unable to keep the job's bytes in " + directory_.string() + ": " + reason);
    }
  }
}

void JobRecordWriter::Append(std::span<const unsigned char> bytes) {
  if (bytes.empty()) return;
  if (fd_ < 0) Open();
  while (!bytes.empty()) {
    const ssize_t n = write(fd_, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const std::string reason = n < 0 ? Reason() : "nothing written";
      const std::string file = file_.string();
      Discard();
      throw IOException("Unable to write " + file + ": " + reason);
    }
    bytes = bytes.subspan(static_cast<std::size_t>(n));
    size_ += static_cast<std::uint64_t>(n);
  }
}

std::shared_ptr<const JobRecord> JobRecordWriter::Finish() {
  if (fd_ < 0) return nullptr;
  const bool closed = close(fd_) == 0;
  fd_ = -1;
  if (!closed) {
    const std::string reason = Reason();
    const std::string file = file_.string();
    Discard();
    throw IOException("Unable to write " + file + ": " + reason);
  }
  auto record = std::make_shared<const JobRecord>(std::move(file_), size_);
  file_.clear();
  size_ = 0;
  return record;
}

void JobRecordWriter::Discard() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  if (!file_.empty()) {
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
  }
  file_.clear();
  size_ = 0;
}

}  // namespace Corvane::VirtualPrinter
