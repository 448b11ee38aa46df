// Lack of memory in the engine's workers: request after request of their start fails.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <vector>

#include "engine/workers.h"
#include "failing_memory.h"
#include "support/process.h"

namespace faults {
namespace {

using nuvik::alg::common::Workers;
using nuvik::test::ThreadCount;
using nuvik::test::ThreadCountBecomes;

TEST(WorkersWithoutMemory, EndTheThreadsThatWereStarted) {
  { const Workers first(2); }  // what the libraries keep
  const std::size_t threads = ThreadCount();
  std::size_t n = 1;
  for (bool has_failed = true; has_failed; ++n) {
    const long before = LiveBlocks();
    {
      const FailingMemory failing(n, false);
      try {
        const Workers workers(3);
      } catch (const std::bad_alloc&) {
      }
      has_failed = FailingMemory::HasFailed();
    }
    EXPECT_EQ(LiveBlocks(), before) << "request " << n;
    EXPECT_TRUE(ThreadCountBecomes(threads)) << "request " << n;
  }
  EXPECT_GT(n, 3U);  // the list of threads, and each thread's own
}

TEST(WorkersWithoutMemory, ShareWorkWithoutARequest) {
  Workers workers(2);
  std::vector<int> taken(100, 0);
  const std::function<void(std::size_t)> take = [&taken](std::size_t piece) { ++taken[piece]; };
  bool has_failed = false;
  {
    const FailingMemory failing(1, true);
    workers.ForEach(taken.size(), take);
    has_failed = FailingMemory::HasFailed();
  }
  EXPECT_FALSE(has_failed);
  EXPECT_EQ(taken, std::vector<int>(100, 1));
}

}  // namespace
}  // namespace faults
