#include "engine/run_clock.h"

#include <cstdint>
#include <utility>

#include "engine/run_time.h"

namespace nuvik::alg::common {
namespace {

struct Runs {
  std::int64_t count = 0;
  std::chrono::steady_clock::duration time{};
};

Runs& RunsOfThisThread() {
  thread_local Runs runs;
  return runs;
}

}  // namespace

RunClock::~RunClock() {
  Runs& runs = RunsOfThisThread();
  ++runs.count;
  runs.time += std::chrono::steady_clock::now() - start_;
}

RunTime TakeRunTime() noexcept {
  const Runs runs = std::exchange(RunsOfThisThread(), {});
  return {runs.count, std::chrono::duration<double, std::milli>(runs.time).count()};
}

}  // namespace nuvik::alg::common
