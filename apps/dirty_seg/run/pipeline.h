// Three steps of work on each item, which overlap.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "run/bounded_queue.h"

namespace dirty_seg {

/// What is done with each item, in this order. No two items are in the same step at one time, and
/// all pass in the order in which they were read.
template <typename Item>
struct PipelineSteps {
  /// Returns nothing after the last item.
  std::function<std::optional<Item>()> read;
  /// Returns whether the item goes on to `write`; if not, it is dropped.
  std::function<bool(Item&)> work;
  /// Returns whether to go on; if not, what was read after the item is dropped.
  std::function<bool(Item&)> write;
  /// Whether no other item may be there beside this one, as it takes too much memory.
  std::function<bool(const Item&)> is_alone = [](const Item&) { return false; };
};

/// Takes items through the steps until `read` has no more, `write` ends it, or one of them throws.
/// Runs once.
template <typename Item>
class Pipeline {
 public:
  /// Items that may wait before a step: memory is bounded by them, whatever step is the slowest.
  static constexpr std::size_t kMaxWaiting = 2;

  /// Sets `is_over` when nothing more is needed, since `write` ended it or `work` or `write` threw:
  /// a `read` that waits for input looks at that.
  Pipeline(PipelineSteps<Item> steps, std::atomic<bool>& is_over)
      : steps_(std::move(steps)), is_over_(is_over) {}

  /// Takes each item through all steps before the next is read, on the caller's thread.
  void RunInTurn() {
    while (!is_over_) {
      std::optional<Item> item = steps_.read();
      if (!item) return;
      if (steps_.work(*item) && !steps_.write(*item)) is_over_ = true;
    }
  }

  /// Works on the caller's thread, reads ahead on a second and writes behind on a third; in turn
  /// where the system refuses a thread. Throws what a step threw, the first if several did, after
  /// all have ended; what came through the steps before that one is written.
  void RunOverlapped() {
    std::thread writer;
    std::thread reader;
    try {
      writer = std::thread(&Pipeline::Write, this);
      reader = std::thread(&Pipeline::Read, this);
    } catch (const std::system_error&) {
      worked_.Close();
      if (writer.joinable()) writer.join();
      RunInTurn();
      return;
    }
    Work();
    reader.join();
    writer.join();
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  using Queue = BoundedQueue<Item, kMaxWaiting>;

  // Each step closes its queue, and takes all from the one before it even when it is over: so none
  // waits for another for ever.

  void Read() {
    while (!is_over_ && Succeeds([this] { return ReadOne(); })) continue;
    read_.Close();
  }

  bool ReadOne() {
    std::optional<Item> item = steps_.read();
    if (!item) return false;
    const bool is_alone = steps_.is_alone(*item);
    if (is_alone) WaitForAll();
    read_.Push(*std::move(item));
    ++read_count_;
    if (is_alone) WaitForAll();
    return true;
  }

  void Work() {
    while (std::optional<Item> item = read_.Pop()) {
      bool goes_on = false;
      const auto work = [&] {
        goes_on = steps_.work(*item);
        return true;
      };
      if (!is_over_ && !Succeeds(work)) is_over_ = true;
      if (goes_on) {
        worked_.Push(*std::move(item));
      } else {
        item.reset();
        CountDone();
      }
    }
    worked_.Close();
  }

  // What was worked on is kept though a step before this one threw.
  void Write() {
    bool goes_on = true;
    while (std::optional<Item> item = worked_.Pop()) {
      goes_on = goes_on && Succeeds([&] { return steps_.write(*item); });
      if (!goes_on) is_over_ = true;
      item.reset();
      CountDone();
    }
  }

  void CountDone() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++done_count_;
    done_.notify_one();
  }

  // Until every item that was read is done with.
  void WaitForAll() {
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [this] { return done_count_ == read_count_; });
  }

  // What the step returns; false if it throws.
  template <typename Step>
  bool Succeeds(const Step& step) {
    try {
      return step();
    } catch (...) {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!thrown_) thrown_ = std::current_exception();
      return false;
    }
  }

  PipelineSteps<Item> steps_;
  Queue read_;
  Queue worked_;
  std::atomic<bool>& is_over_;
  std::mutex mutex_;
  std::condition_variable done_;
  std::size_t read_count_ = 0;  // by the reader alone
  std::size_t done_count_ = 0;
  std::exception_ptr thrown_;
};

}  // namespace dirty_seg
