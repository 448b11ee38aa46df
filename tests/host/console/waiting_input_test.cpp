// Lines from a pipe, as they come and up to an interruption.
#include "console/waiting_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <istream>
#include <string>
#include <thread>

#include "console/interruption.h"

namespace dirty_seg {
namespace {

class WaitingInputTest : public testing::Test {
 protected:
  WaitingInputTest() { EXPECT_EQ(pipe(ends_), 0); }
  ~WaitingInputTest() override {
    close(ends_[0]);
    EndInput();
  }

  void Write(const std::string& text) const {
    EXPECT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  void EndInput() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }

  int ends_[2] = {-1, -1};
};

TEST_F(WaitingInputTest, GivesALineThatIsThereWithoutWaitingForMore) {
  WaitingInput input(ends_[0]);
  std::istream list(&input);
  std::string line;
  for (const char* text : {"first", "second"}) {
    Write(std::string(text) + "\n");
    ASSERT_TRUE(std::getline(list, line));
    EXPECT_EQ(line, text);
  }
}

TEST_F(WaitingInputTest, EndsWithItsWriter) {
  Write("last");
  EndInput();
  WaitingInput input(ends_[0]);
  std::istream list(&input);
  std::string line;
  ASSERT_TRUE(std::getline(list, line));
  EXPECT_EQ(line, "last");
  EXPECT_FALSE(std::getline(list, line));
}

TEST_F(WaitingInputTest, TakesALineLongerThanItsBuffer) {
  const std::string text = std::string(5000, 'a') + std::string(5000, 'b');
  Write(text + "\n");
  WaitingInput input(ends_[0]);
  std::istream list(&input);
  std::string line;
  ASSERT_TRUE(std::getline(list, line));
  EXPECT_EQ(line, text);
}

// The signal is gone by then: no wait is broken off by it.
TEST_F(WaitingInputTest, EndsWhenAnInterruptionCameBefore) {
  const Interruption interruption;
  std::raise(SIGINT);
  WaitingInput input(ends_[0]);
  std::istream list(&input);
  std::string line;
  EXPECT_FALSE(std::getline(list, line));
}

TEST_F(WaitingInputTest, EndsWhenItsReaderNeedsNoMore) {
  std::atomic<bool> is_over{false};
  std::thread reader([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    is_over = true;
  });
  WaitingInput input(ends_[0], [&] { return is_over.load(); });
  std::istream list(&input);
  std::string line;
  EXPECT_FALSE(std::getline(list, line));
  EXPECT_TRUE(is_over);
  reader.join();
}

TEST_F(WaitingInputTest, WaitsWhereReadingWouldNot) {
  ASSERT_EQ(fcntl(ends_[0], F_SETFL, O_NONBLOCK), 0);
  std::thread writer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Write("line\n");
  });
  WaitingInput input(ends_[0]);
  std::istream list(&input);
  std::string line;
  EXPECT_TRUE(std::getline(list, line));
  EXPECT_EQ(line, "line");
  writer.join();
}

TEST_F(WaitingInputTest, EndsWhereNothingCanBeRead) {
  for (const int descriptor : {1000, open("/", O_RDONLY | O_DIRECTORY)}) {
    WaitingInput input(descriptor);
    std::istream list(&input);
    std::string line;
    EXPECT_FALSE(std::getline(list, line));
    close(descriptor);
  }
}

}  // namespace
}  // namespace dirty_seg
