// The labels waiting to be printed, and the thread that prints them: it writes
// each label's files, one label after another, taking the print time a label
// is set to take. The number still waiting is the remaining count of the
// printer's status reply.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vprinter/event_log.h"
#include "vprinter/label_files.h"
#include "vprinter/printer_state.h"

namespace Corvane::VirtualPrinter {

// Where a session hands the labels it issues.
class LabelSink {
 public:
  virtual ~LabelSink() = default;
  // Takes the label; never blocks.
  virtual void Submit(LabelJob job) = 0;
  // Labels handed over and not yet printed.
  [[nodiscard]] virtual std::uint64_t Remaining() const = 0;
};

// A printed label as the web page lists it.
struct PrintedLabel {
  std::uint64_t number = 0;
  std::uint64_t connection = 0;
  std::string time;
  std::string description;
  std::vector<std::string> files;
  std::shared_ptr<const std::vector<std::string>> log;
};

class PrintQueue : public LabelSink {
 public:
  // `maxQueuedBytes` bounds the pictures and job bytes held while waiting;
  // past it Full() is true and the server stops reading until `onSpace`
  // (called on the printing thread) says there is room again.
  PrintQueue(const LabelFiles& files, PrinterState& state, EventLog& log,
             std::chrono::milliseconds printTime, std::uint64_t maxQueuedBytes,
             std::function<void()> onSpace = {});
  ~PrintQueue() override;
  PrintQueue(const PrintQueue&) = delete;
  PrintQueue& operator=(const PrintQueue&) = delete;

  void Submit(LabelJob job) override;
  [[nodiscard]] std::uint64_t Remaining() const override;
  [[nodiscard]] bool Full() const;

  // Prints everything still waiting at once, without the print time, and
  // stops the thread. Idempotent.
  void Finish();
  // Blocks until nothing is waiting (for tests and benchmarks).
  void WaitUntilIdle();

  // The last `count` labels printed, newest first.
  [[nodiscard]] std::vector<PrintedLabel> Recent(std::size_t count) const;

 private:
  static std::uint64_t Weight(const LabelJob& job);
  void Run();
  void Print(const LabelJob& job);

  const LabelFiles& files_;
  PrinterState& state_;
  EventLog& log_;
  std::chrono::milliseconds printTime_;
  std::uint64_t maxQueuedBytes_;
  std::function<void()> onSpace_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<LabelJob> waiting_;
  std::uint64_t queuedBytes_ = 0;
  bool printing_ = false;  // a label taken off the queue is being written
  bool finishing_ = false;
  std::deque<PrintedLabel> recent_;
  std::thread thread_;
};

}  // namespace Corvane::VirtualPrinter
