// Items on their way from one thread to another.
#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>

namespace dirty_seg {

/// A first-in, first-out queue of at most `kCapacity` items, which requests no memory: oneTBB's
/// requests a page for an item, and where it gets none, the end of the items is lost too.
/// `Item` is movable without an exception.
template <typename Item, std::size_t kCapacity>
class BoundedQueue {
 public:
  /// Waits while it is full.
  void Push(Item item) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return count_ < kCapacity; });
    items_[(first_ + count_) % kCapacity] = std::move(item);
    ++count_;
    changed_.notify_all();
  }

  /// No item comes after those that were pushed.
  void Close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
    changed_.notify_all();
  }

  /// Waits for an item; nothing after the last.
  std::optional<Item> Pop() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return count_ > 0 || is_closed_; });
    if (count_ == 0) return std::nullopt;
    std::optional<Item> item = std::exchange(items_[first_], std::nullopt);
    first_ = (first_ + 1) % kCapacity;
    --count_;
    changed_.notify_all();
    return item;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::array<std::optional<Item>, kCapacity> items_;
  std::size_t first_ = 0;
  std::size_t count_ = 0;
  bool is_closed_ = false;
};

}  // namespace dirty_seg
