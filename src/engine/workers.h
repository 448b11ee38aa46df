// Threads that share pieces of work with the caller's and sleep in between.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace nuvik::alg::common {

/// The system refuses a thread.
class WorkerError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Used by one thread at a time.
class Workers {
 public:
  /// Starts `count` threads. Throws WorkerError and std::bad_alloc.
  explicit Workers(int count);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  /// Calls `work` once with each number below `pieces`, on the caller's thread and on these, and
  /// returns when all calls have returned. Throws what the lowest of the failing pieces threw.
  void ForEach(std::size_t pieces, const std::function<void(std::size_t)>& work);

 private:
  void Start(int count);
  void Stop();
  void TakePieces();
  void TakeOne(std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;
  std::condition_variable begun_;
  std::condition_variable done_;
  const std::function<void(std::size_t)>* work_ = nullptr;
  std::size_t pieces_ = 0;
  std::size_t next_ = 0;  // the first piece that nobody has taken
  std::size_t open_ = 0;  // pieces that have not returned
  std::size_t faulty_piece_ = 0;
  std::exception_ptr fault_;
  bool is_ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace nuvik::alg::common
