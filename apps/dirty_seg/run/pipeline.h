// Three steps of work on each item, which overlap.
#pragma once

#include <oneapi/tbb/concurrent_queue.h>

#include <atomic>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "base/errors.h"

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
};

/// Takes items through the steps until `read` has no more, `write` ends it, or one of them throws.
/// Runs once.
template <typename Item>
class Pipeline {
 public:
  /// Items that may wait before a step: memory is bounded by them, whatever step is the slowest.
  static constexpr std::ptrdiff_t kMaxWaiting = 2;

  /// Sets `is_over` when `write` ends it or a step throws: a `read` that waits for input looks at
  /// that.
  Pipeline(PipelineSteps<Item> steps, std::atomic<bool>& is_over)
      : steps_(std::move(steps)), is_over_(is_over) {
    read_.set_capacity(kMaxWaiting);
    worked_.set_capacity(kMaxWaiting);
  }

  /// Takes each item through all steps before the next is read, on the caller's thread.
  void RunInTurn() {
    while (!is_over_) {
      std::optional<Item> item = steps_.read();
      if (!item) return;
      if (steps_.work(*item) && !steps_.write(*item)) is_over_ = true;
    }
  }

  /// Works on the caller's thread, reads ahead on a second and writes behind on a third. Throws
  /// what a step threw, the first if several did, after all have ended; SetupError if a thread
  /// cannot be started.
  void RunOverlapped() {
    std::thread writer = Start(&Pipeline::Write);
    std::thread reader;
    try {
      reader = Start(&Pipeline::Read);
    } catch (const SetupError&) {
      worked_.push(std::nullopt);
      writer.join();
      throw;
    }
    Work();
    reader.join();
    writer.join();
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  using Queue = tbb::concurrent_bounded_queue<std::optional<Item>>;

  std::thread Start(void (Pipeline::*run)()) try {
    return std::thread(run, this);
  } catch (const std::system_error& error) {
    throw SetupError("a thread cannot be started: " + error.code().message());
  }

  // Each step ends its queue with nothing, and takes all from the one before it even when it is
  // over: so none waits for another for ever.

  void Read() {
    const auto pass_next = [this] {
      std::optional<Item> item = steps_.read();
      const bool is_item = item.has_value();
      if (is_item) read_.push(std::move(item));
      return is_item;
    };
    while (!is_over_ && Succeeds(pass_next)) continue;
    read_.push(std::nullopt);
  }

  void Work() {
    std::optional<Item> item;
    const auto work = [this, &item] {
      if (steps_.work(*item)) worked_.push(std::move(item));
      return true;
    };
    while (Take(read_, item)) {
      if (!is_over_) Succeeds(work);
    }
    worked_.push(std::nullopt);
  }

  void Write() {
    std::optional<Item> item;
    const auto write = [this, &item] { return steps_.write(*item); };
    while (Take(worked_, item)) {
      if (!is_over_ && !Succeeds(write)) is_over_ = true;
    }
  }

  static bool Take(Queue& queue, std::optional<Item>& item) {
    queue.pop(item);
    return item.has_value();
  }

  // What the step returns; false, and all is over, if it throws.
  template <typename Step>
  bool Succeeds(const Step& step) {
    try {
      return step();
    } catch (...) {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!thrown_) thrown_ = std::current_exception();
      is_over_ = true;
      return false;
    }
  }

  PipelineSteps<Item> steps_;
  Queue read_;
  Queue worked_;
  std::atomic<bool>& is_over_;
  std::mutex mutex_;
  std::exception_ptr thrown_;
};

}  // namespace dirty_seg
