#include "vprinter/print_queue.h"

#include <pthread.h>

#include <exception>

namespace Corvane::VirtualPrinter {

namespace {

constexpr std::size_t kRecentLabels = 200;

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

}  // namespace

PrintQueue::PrintQueue(const LabelFiles& files, PrinterState& state, EventLog& log,
                       std::chrono::milliseconds printTime, std::uint64_t maxQueuedBytes,
                       std::function<void()> onSpace)
    : files_(files),
      state_(state),
      log_(log),
      printTime_(printTime),
      maxQueuedBytes_(maxQueuedBytes),
      onSpace_(std::move(onSpace)),
      thread_([this] { Run(); }) {}

PrintQueue::~PrintQueue() { Finish(); }

std::uint64_t PrintQueue::Weight(const LabelJob& job) {
  return (job.image ? job.image->DataSize() : 0) + (job.record ? job.record->Size() : 0) + 256;
}

void PrintQueue::Submit(LabelJob job) {
  std::lock_guard lock(mutex_);
  queuedBytes_ += Weight(job);
  waiting_.push_back(std::move(job));
  changed_.notify_all();
}

std::uint64_t PrintQueue::Remaining() const {
  std::lock_guard lock(mutex_);
  return waiting_.size() + (printing_ ? 1 : 0);
}

bool PrintQueue::Full() const {
  std::lock_guard lock(mutex_);
  return queuedBytes_ > maxQueuedBytes_;
}

void PrintQueue::Finish() {
  {
    std::lock_guard lock(mutex_);
    finishing_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

void PrintQueue::WaitUntilIdle() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return waiting_.empty() && !printing_; });
}

std::vector<PrintedLabel> PrintQueue::Recent(std::size_t count) const {
  std::lock_guard lock(mutex_);
  std::vector<PrintedLabel> labels;
  for (auto it = recent_.rbegin(); it != recent_.rend() && labels.size() < count; ++it) {
    labels.push_back(*it);
  }
  return labels;
}

void PrintQueue::Run() {
  pthread_setname_np(pthread_self(), "print-queue");
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return finishing_ || !waiting_.empty(); });
    if (waiting_.empty()) return;  // finishing, and nothing left
    LabelJob job = std::move(waiting_.front());
    waiting_.pop_front();
    printing_ = true;
    // A label takes its print time unless the printer is shutting down, when
    // everything accepted is printed at once.
    changed_.wait_for(lock, printTime_, [this] { return finishing_; });
    lock.unlock();
    Print(job);
    lock.lock();
    const bool wasFull = queuedBytes_ > maxQueuedBytes_;
    queuedBytes_ -= Weight(job);
    printing_ = false;
    changed_.notify_all();
    if (wasFull && queuedBytes_ <= maxQueuedBytes_ && onSpace_) onSpace_();
  }
}

void PrintQueue::Print(const LabelJob& job) {
  Event event{"label", job.connection, "", "", job.number};
  PrintedLabel printed{job.number, job.connection, "", job.description, {}, job.log};
  try {
    printed.files = files_.Write(job);
    state_.CountPrinted();
    event.message = LabelFiles::BaseName(job.number) + " printed (" + job.description +
                    "): " + (printed.files.empty() ? "no files" : Joined(printed.files));
  } catch (const std::exception& e) {
    event.kind = "refused";
    event.message = LabelFiles::BaseName(job.number) + " not written: " + e.what();
  }
  const std::string line = log_.Write(event);
  printed.time = line.substr(0, line.find(' '));
  std::lock_guard lock(mutex_);
  recent_.push_back(std::move(printed));
  if (recent_.size() > kRecentLabels) recent_.pop_front();
}

}  // namespace Corvane::VirtualPrinter
