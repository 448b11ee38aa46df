// The lines that people quote.
#include "run/speed_line.h"

#include <gtest/gtest.h>

#include <optional>

namespace dirty_seg {
namespace {

const Labels kLabels({{0, "spill"}, {1, "stain"}}, true);

FrameRecord MakeRecord(const std::vector<int>& labels) {
  FrameRecord record;
  record.fit.picture = {1920, 1080};
  record.outcome.result.labels = labels;
  record.outcome.total_ms = 36.44;
  return record;
}

Frame MakeFrame(InputKind kind) {
  Frame frame;
  frame.source = "a/clip.avi";
  frame.kind = kind;
  frame.index = 8;
  frame.ordinal = 4;
  return frame;
}

TEST(FrameLine, CountsDetectionsByLabel) {
  EXPECT_EQ(FrameLine(MakeFrame(InputKind::kPicture), 2, 1, MakeRecord({19, 1, 7, 1, 1}), kLabels),
            "image 1/2 a/clip.avi: 1920x1080 3 stain, 1 class 7, 1 faeces, 36.4ms");
}

TEST(FrameLine, CountsTheNetworksOwnClass19BesideWhatWasConfirmed) {
  FrameRecord record = MakeRecord({19, 19, 19});
  record.outcome.fece_candidates = {{0, FeceVerdict::kConfirmed, 0.75F},
                                    {2, FeceVerdict::kConfirmed, 0.75F}};
  EXPECT_EQ(FrameLine(MakeFrame(InputKind::kPicture), 2, 1, record, Labels({{19, "cow"}}, true)),
            "image 1/2 a/clip.avi: 1920x1080 1 cow, 2 faeces, 36.4ms");
}

TEST(FrameLine, SaysThatNothingWasFound) {
  EXPECT_EQ(FrameLine(MakeFrame(InputKind::kPicture), std::nullopt, 1, MakeRecord({}), kLabels),
            "image 1 a/clip.avi: 1920x1080 (no detections), 36.4ms");
}

TEST(FrameLine, CountsTheFramesThatAreTaken) {
  EXPECT_EQ(FrameLine(MakeFrame(InputKind::kVideo), 1, 300, MakeRecord({0}), kLabels),
            "video 1/1 (frame 5/300) a/clip.avi: 1920x1080 1 spill, 36.4ms");
  EXPECT_EQ(FrameLine(MakeFrame(InputKind::kCamera), 1, std::nullopt, MakeRecord({0}), kLabels),
            "camera 1/1 (frame 5) a/clip.avi: 1920x1080 1 spill, 36.4ms");
}

TEST(SpeedLine, TellsMeans) {
  Summary summary({});
  FrameRecord record = MakeRecord({});
  record.outcome.stages = {30.0, 1.0, std::nullopt, 0.5};
  record.outcome.total_ms = 33.6;  // 2.1 before the network
  summary.AddFrame(record);
  record.outcome.stages = {40.0, 2.0, std::nullopt, 0.7};
  record.outcome.total_ms = 47.0;  // 4.3
  summary.AddFrame(record);
  EXPECT_EQ(
      SpeedLine(summary),
      "Speed: 3.2ms preprocess, 35.0ms inference, 1.5ms postprocess, 0.6ms convert per frame");
}

TEST(SpeedLine, TellsTheClassifiersTimeWhereThereIsOne) {
  Summary summary({});
  FrameRecord record = MakeRecord({});
  record.outcome.stages = {30.0, 1.0, 0.3, 0.5};
  record.outcome.total_ms = 33.9;
  summary.AddFrame(record);
  EXPECT_EQ(SpeedLine(summary),
            "Speed: 2.1ms preprocess, 30.0ms inference, 1.0ms postprocess, 0.3ms classify, "
            "0.5ms convert per frame");
}

TEST(SpeedLine, IsEmptyWithoutTimes) {
  Summary summary({});
  summary.AddFrame(MakeRecord({}));
  EXPECT_EQ(SpeedLine(summary), "");
}

}  // namespace
}  // namespace dirty_seg
