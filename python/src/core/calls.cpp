#include "calls.h"

#include <chrono>
#include <thread>

namespace dirty_seg::python {

void CallCount::WaitForAll() {
  is_over_ = true;
  while (count_ > 0) {
    const nanobind::gil_scoped_release release;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

CallCount& Calls() {
  static auto* const calls = new CallCount;
  return *calls;
}

}  // namespace dirty_seg::python
