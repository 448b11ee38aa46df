// Workers: every piece once, errors, threads.
#include "engine/workers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/process.h"

namespace nuvik::alg::common {
namespace {

using test::ThreadCount;
using testing::Each;
using testing::SizeIs;

TEST(Workers, TakeEveryPieceOnce) {
  for (const int count : {0, 1, 2, 7}) {
    Workers workers(count);
    for (const std::size_t pieces : {0U, 1U, 2U, 5U, 100U}) {
      std::vector<std::atomic<int>> taken(pieces);
      workers.ForEach(pieces, [&taken](std::size_t piece) { ++taken[piece]; });
      EXPECT_THAT(std::vector<int>(taken.begin(), taken.end()), Each(1))
          << count << " threads, " << pieces << " pieces";
    }
  }
}

TEST(Workers, TakePiecesAtTheSameTime) {
  Workers workers(2);
  std::mutex mutex;
  std::condition_variable all_here;
  std::set<std::thread::id> threads;
  workers.ForEach(3, [&](std::size_t) {  // none returns before all three have begun
    std::unique_lock<std::mutex> lock(mutex);
    threads.insert(std::this_thread::get_id());
    all_here.notify_all();
    all_here.wait(lock, [&threads] { return threads.size() == 3; });
  });
  EXPECT_THAT(threads, SizeIs(3));
}

TEST(Workers, ThrowWhatTheLowestFailingPieceThrew) {
  Workers workers(3);
  std::atomic<int> taken = 0;
  const auto fail = [&taken](std::size_t piece) {
    ++taken;
    if (piece == 2 || piece == 5 || piece == 7) throw std::runtime_error(std::to_string(piece));
  };
  for (int round = 0; round < 20; ++round) {
    try {
      workers.ForEach(8, fail);
      ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "2");
    }
  }
  EXPECT_EQ(taken, 160);
  workers.ForEach(2, [](std::size_t) {});  // as if nothing had happened
}

TEST(Workers, AreAsManyAsAskedForAndGoneWithTheObject) {
  const std::size_t before = ThreadCount();
  {
    const Workers workers(4);
    EXPECT_EQ(ThreadCount(), before + 4);
  }
  EXPECT_TRUE(test::ThreadCountBecomes(before));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// With room for a few of the stacks only.
void StartMoreThanFit() {
  if (!test::LeaveRoomFor(64)) std::_Exit(2);
  try {
    const Workers workers(1000);
  } catch (const std::runtime_error& error) {
    std::fputs(error.what(), stderr);
    std::_Exit(test::ThreadCountBecomes(1) ? 0 : 3);
  }
  std::_Exit(1);
}

TEST(WorkersDeathTest, ThatCannotBeStartedAreAnErrorAndLeaveNoneBehind) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(StartMoreThanFit(), testing::ExitedWithCode(0),
              "worker thread [0-9]+ of 1000 cannot be started: Resource temporarily unavailable");
}

#endif

}  // namespace
}  // namespace nuvik::alg::common
