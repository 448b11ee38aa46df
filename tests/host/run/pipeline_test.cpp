// Items through read, work and write.
#include "run/pipeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace dirty_seg {
namespace {

using testing::ElementsAre;

// Items that may be read before the first is written: those that wait and one in each step before.
constexpr int kMaxAhead = 2 * static_cast<int>(Pipeline<int>::kMaxWaiting) + 2;

enum Manner { kInTurn, kOverlapped };

class PipelineTest : public testing::TestWithParam<Manner> {
 protected:
  void Run() {
    Pipeline<int> pipeline(steps_, is_over_);
    GetParam() == kInTurn ? pipeline.RunInTurn() : pipeline.RunOverlapped();
  }

  std::optional<int> Next() {
    if (next_ == count_) return std::nullopt;
    return next_++;
  }

  int next_ = 0;
  int count_ = 0;
  std::vector<int> written_;
  std::atomic<bool> is_over_{false};
  PipelineSteps<int> steps_{[this] { return Next(); },
                            [](int& item) {
                              item *= 10;
                              return true;
                            },
                            [this](int& item) {
                              written_.push_back(item);
                              return true;
                            }};
};

std::string NameOf(const testing::TestParamInfo<Manner>& manner) {
  return manner.param == kInTurn ? "InTurn" : "Overlapped";
}

INSTANTIATE_TEST_SUITE_P(, PipelineTest, testing::Values(kInTurn, kOverlapped), NameOf);

TEST_P(PipelineTest, TakesEveryItemThroughTheStepsInOrder) {
  count_ = 1000;
  Run();
  ASSERT_EQ(written_.size(), 1000U);
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(written_[static_cast<std::size_t>(i)], 10 * i);
  EXPECT_FALSE(is_over_);
}

TEST_P(PipelineTest, EndsWithoutAnItem) {
  Run();
  EXPECT_TRUE(written_.empty());
}

TEST_P(PipelineTest, DropsWhatWorkDoesNotPassOn) {
  count_ = 5;
  steps_.work = [](int& item) { return item % 2 == 0; };
  Run();
  EXPECT_THAT(written_, ElementsAre(0, 2, 4));
}

TEST_P(PipelineTest, WritesNothingAfterWhatEndedIt) {
  count_ = 100;
  steps_.write = [this](int& item) {
    written_.push_back(item);
    return item < 30;
  };
  Run();
  EXPECT_THAT(written_, ElementsAre(0, 10, 20, 30));
  EXPECT_TRUE(is_over_);
  EXPECT_LE(next_, 4 + kMaxAhead);
}

TEST_P(PipelineTest, ThrowsWhatAStepThrewAndEnds) {
  for (int step = 0; step < 3; ++step) {
    next_ = 0;
    count_ = 100;
    written_.clear();
    is_over_ = false;
    PipelineSteps<int> steps = steps_;
    const auto fail_at = [step](int failing, int item) {
      if (step == failing && item == 3) throw std::length_error("step " + std::to_string(failing));
    };
    steps.read = [&] {
      fail_at(0, next_);
      return Next();
    };
    steps.work = [&](int& item) {
      fail_at(1, item);
      return true;
    };
    steps.write = [&](int& item) {
      fail_at(2, item);
      written_.push_back(item);
      return true;
    };
    Pipeline<int> pipeline(steps, is_over_);
    std::string cause;
    try {
      GetParam() == kInTurn ? pipeline.RunInTurn() : pipeline.RunOverlapped();
    } catch (const std::length_error& error) {
      cause = error.what();
    }
    EXPECT_EQ(cause, "step " + std::to_string(step));
    EXPECT_THAT(written_, ElementsAre(0, 1, 2)) << step;  // all that came before
  }
}

// Each step waits for another one to be busy with another item: in turn, that never comes.
TEST(OverlappedPipeline, WorksOnThreeItemsAtOnce) {
  std::promise<void> has_read_third;
  std::promise<void> has_written_first;
  int next = 0;
  const auto read = [&]() -> std::optional<int> {
    if (next == 3) return std::nullopt;
    if (next == 2) has_read_third.set_value();
    return next++;
  };
  const auto work = [&](int& item) {
    if (item == 1) has_written_first.get_future().wait();
    return true;
  };
  const auto write = [&](int& item) {
    if (item == 0) {
      has_read_third.get_future().wait();
      has_written_first.set_value();
    }
    return true;
  };
  std::atomic<bool> is_over{false};
  Pipeline<int>({read, work, write}, is_over).RunOverlapped();
  EXPECT_EQ(next, 3);
}

TEST(OverlappedPipeline, ReadsNoFurtherAheadThanItMay) {
  std::atomic<int> read{0};
  std::promise<void> go_on;
  std::shared_future<void> may_go_on = go_on.get_future().share();
  std::thread release([&] {
    constexpr int kMaxRead = kMaxAhead + 1;
    while (read < kMaxRead) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(read, kMaxRead);  // one in the hands of each step, the rest waiting
    go_on.set_value();
  });
  std::atomic<bool> is_over{false};
  const auto next = [&]() -> std::optional<int> {
    if (read == 100) return std::nullopt;
    return ++read;
  };
  const auto write = [&](int& /*item*/) {
    may_go_on.wait();
    return true;
  };
  Pipeline<int>({next, [](int&) { return true; }, write}, is_over).RunOverlapped();
  release.join();
  EXPECT_EQ(read, 100);
}

TEST(OverlappedPipeline, HasNothingElseThereBesideALargeItem) {
  std::atomic<int> there{0};
  std::atomic<int> most_beside{0};
  int next = 0;
  const auto read = [&]() -> std::optional<int> {
    if (next == 40) return std::nullopt;
    ++there;
    return next++;
  };
  const auto is_alone = [](int item) { return item % 10 == 5; };
  const auto look = [&](int& item) {
    if (is_alone(item)) most_beside = std::max(most_beside.load(), there - 1);
    return true;
  };
  std::vector<int> written;
  const auto write = [&](int& item) {
    look(item);
    written.push_back(item);
    --there;
    return true;
  };
  std::atomic<bool> is_over{false};
  Pipeline<int>({read, look, write, is_alone}, is_over).RunOverlapped();
  EXPECT_EQ(most_beside, 0);
  EXPECT_EQ(written.size(), 40U);
}

TEST(BoundedQueue, GivesWhatWasPushedBeforeItWasClosed) {
  BoundedQueue<int, 2> queue;
  queue.Push(7);
  queue.Push(8);
  queue.Close();
  EXPECT_EQ(queue.Pop(), 7);
  EXPECT_EQ(queue.Pop(), 8);
  EXPECT_EQ(queue.Pop(), std::nullopt);
  EXPECT_EQ(queue.Pop(), std::nullopt);
}

TEST(InTurnPipeline, WritesEachItemBeforeTheNextIsRead) {
  std::vector<std::string> steps;
  int next = 0;
  const auto note = [&steps](const std::string& step) {
    return [&steps, step](int& item) {
      steps.push_back(step + std::to_string(item));
      return true;
    };
  };
  const auto read = [&]() -> std::optional<int> {
    if (next == 2) return std::nullopt;
    steps.push_back("read" + std::to_string(next));
    return next++;
  };
  std::atomic<bool> is_over{false};
  Pipeline<int>({read, note("work"), note("write")}, is_over).RunInTurn();
  EXPECT_THAT(steps, ElementsAre("read0", "work0", "write0", "read1", "work1", "write1"));
}

}  // namespace
}  // namespace dirty_seg
