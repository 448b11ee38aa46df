#include "engine/workers.h"

#include <stdexcept>
#include <string>
#include <system_error>

namespace nuvik::alg::common {

Workers::Workers(int count) {
  try {
    Start(count);
  } catch (...) {
    Stop();
    throw;
  }
}

Workers::~Workers() { Stop(); }

void Workers::Start(int count) {
  threads_.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    try {
      threads_.emplace_back([this] { TakePieces(); });
    } catch (const std::system_error& error) {
      throw WorkerError("worker thread " + std::to_string(i + 1) + " of " + std::to_string(count) +
                        " cannot be started: " + error.code().message());
    }
  }
}

void Workers::Stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
  }
  begun_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void Workers::ForEach(std::size_t pieces, const std::function<void(std::size_t)>& work) {
  std::unique_lock<std::mutex> lock(mutex_);
  work_ = &work;
  pieces_ = pieces;
  next_ = 0;
  open_ = pieces;
  fault_ = nullptr;
  if (pieces > 1) begun_.notify_all();
  while (next_ < pieces_) TakeOne(lock);
  done_.wait(lock, [this] { return open_ == 0; });
  if (fault_) std::rethrow_exception(fault_);
}

void Workers::TakePieces() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    begun_.wait(lock, [this] { return is_ending_ || next_ < pieces_; });
    if (is_ending_) return;
    TakeOne(lock);
  }
}

void Workers::TakeOne(std::unique_lock<std::mutex>& lock) {
  const std::size_t piece = next_++;
  const std::function<void(std::size_t)>& work = *work_;
  lock.unlock();
  std::exception_ptr fault;
  try {
    work(piece);
  } catch (...) {
    fault = std::current_exception();
  }
  lock.lock();
  if (fault && (!fault_ || piece < faulty_piece_)) {
    fault_ = fault;
    faulty_piece_ = piece;
  }
  if (--open_ == 0) done_.notify_one();
}

}  // namespace nuvik::alg::common
