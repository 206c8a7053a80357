// The raw bytes of a job, as received. They are written to a file in the
// output directory while the job arrives, straight from the buffer the
// connection is read into, and that file becomes the .prn file of every label
// the job issues. So a job is held in memory only a read at a time, however
// large it is and however many labels wait to be printed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

namespace Corvane::VirtualPrinter {

// A finished record: a complete file that no one writes any more. The file
// is removed when the record is destroyed, so the last label holding it
// (a job of several copies shares one) takes it away.
class JobRecord {
 public:
  JobRecord(std::filesystem::path file, std::uint64_t size);
  ~JobRecord();
  JobRecord(const JobRecord&) = delete;
  JobRecord& operator=(const JobRecord&) = delete;

  [[nodiscard]] std::uint64_t Size() const { return size_; }
  // The bytes, read back from the file. Throws Corvane::IOException.
  [[nodiscard]] std::string Read() const;
  // Makes `target` a complete copy of the record: a second name for the file
  // when the file system allows it, else a copy; either is made under a
  // temporary name and renamed, so `target` never appears half written.
  // Throws Corvane::IOException.
  void PublishAs(const std::filesystem::path& target) const;

 private:
  std::filesystem::path file_;
  std::uint64_t size_;
};

// Writes the bytes of the job now arriving on one connection. Files are
// named ".job-<tag>-<n>.part" in the directory, which a restarted printer
// clears away as it clears any other temporary file.
class JobRecordWriter {
 public:
  JobRecordWriter(std::filesystem::path directory, std::string tag);
  // Removes the file of a job that was never finished.
  ~JobRecordWriter();
  JobRecordWriter(const JobRecordWriter&) = delete;
  JobRecordWriter& operator=(const JobRecordWriter&) = delete;

  // Adds bytes to the current job, opening its file at the first ones.
  // Throws Corvane::IOException when the file cannot be made or written; the
  // job's bytes so far are then thrown away.
  void Append(std::span<const unsigned char> bytes);
  // Bytes in the current job.
  [[nodiscard]] std::uint64_t Size() const { return size_; }
  // The current job's record (none if it has no bytes); the next Append
  // starts a new job.
  [[nodiscard]] std::shared_ptr<const JobRecord> Finish();
  // Throws the current job's bytes away.
  void Discard();

 private:
  void Open();

  std::filesystem::path directory_;
  std::string tag_;
  std::uint64_t sequence_ = 0;
  std::filesystem::path file_;
  int fd_ = -1;
  std::uint64_t size_ = 0;
};

}  // namespace Corvane::VirtualPrinter
