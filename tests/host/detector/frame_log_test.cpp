// What is read from the detector library's log.
#include "detector/frame_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ReadFrameLog, FindsTheThreeStageTimes) {
  const FrameLog log = ReadFrameLog({
      "  1 [INFO] Using predefined patches, count: 6",
      "  3 [INFO] dirty seg detection inference cost time is 12.345678 ms.",
      " 99 [INFO] Dirty seg detection postprocess cost time is 0.500000 ms.",
      "  0 [INFO] patch 0 检测出目标数量为 3",
      "127 [INFO] dirty seg detection convert result cost time is 7.000000 ms.",
  });
  EXPECT_EQ(log.times.inference, 12.345678);
  EXPECT_EQ(log.times.postprocess, 0.5);
  EXPECT_EQ(log.times.convert, 7.0);
  EXPECT_THAT(log.errors, IsEmpty());
}

TEST(ReadFrameLog, LeavesOutTheTimesThatAreNotThere) {
  const FrameLog log = ReadFrameLog({"  1 [INFO] Total crops: 6"});
  EXPECT_FALSE(log.times.inference);
  EXPECT_FALSE(log.times.postprocess);
  EXPECT_FALSE(log.times.convert);
}

TEST(ReadFrameLog, CollectsErrorMessagesInOrder) {
  const FrameLog log = ReadFrameLog({
      "  1 [ERROR] Invalid input image",
      "  2 [INFO] Total crops: 0",
      "  3 [ERROR] PreProcess error",
  });
  EXPECT_THAT(log.errors, ElementsAre("Invalid input image", "PreProcess error"));
}

TEST(ReadFrameLog, PassesOverLinesOfAnotherForm) {
  const FrameLog log = ReadFrameLog({
      "",
      "environment variable SPDLOG_LEVEL is invalid, and set default level",
      "dirty seg detection inference cost time is 1.000000 ms.",
      "  1 [INFO] dirty seg detection inference cost time is soon ms.",
      "  1 [INFO] dirty seg detection inference cost time is 1.000000 s",
      "  1 [ERROR",
      "[ERROR] without a number",
  });
  EXPECT_FALSE(log.times.inference);
  EXPECT_THAT(log.errors, IsEmpty());
}

}  // namespace
}  // namespace dirty_seg
