// Calls that work without the interpreter's lock.
#pragma once

#include <nanobind/nanobind.h>

#include <mutex>
#include <stdexcept>
#include <utility>

namespace dirty_seg::python {

/// Counts the calls that work. A thread that wants the interpreter's lock again while the
/// interpreter ends is ended by it, through our frames; so the interpreter waits for them first.
class CallCount {
 public:
  /// Only with the interpreter's lock. Throws std::runtime_error once the interpreter ends.
  void Enter() {
    if (is_over_) throw std::runtime_error("the interpreter is ending");
    ++count_;
  }
  void Leave() { --count_; }

  /// Only with the interpreter's lock, which is given away meanwhile.
  void WaitForAll();

 private:
  // Both are guarded by the interpreter's lock.
  int count_ = 0;
  bool is_over_ = false;
};

/// The module's. Never destroyed.
CallCount& Calls();

/// The result of `call`, which works without the interpreter's lock and with nothing of Python.
template <typename Call>
auto WithoutInterpreter(const Call& call) {
  struct Entered {
    Entered() { Calls().Enter(); }
    ~Entered() { Calls().Leave(); }
    Entered(const Entered&) = delete;
    Entered& operator=(const Entered&) = delete;
  };
  const Entered entered;
  const nanobind::gil_scoped_release release;
  return call();
}

}  // namespace dirty_seg::python
