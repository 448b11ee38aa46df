// DecodedObjects: what it keeps of which call, and whose.
#include "engine/decoded_objects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine/yolov8_postprocess.h"
#include "support/segmentation_outputs.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using alg::common::AIBuff;
using test::SegmentationOutputs;
using testing::IsEmpty;
using testing::SizeIs;

using Lists = std::vector<std::vector<Object>>;

// One 64 x 64 patch, whose pixels are the network's, with an object of label 0 or 1 at each place.
class DecodedObjectsTest : public testing::Test {
 protected:
  DecodedObjectsTest() : outputs_(test::HeadLayout{}) {
    outputs_.FillPrototype(0, 0, 4.0F);
    outputs_.Put(0, 5, {16, 16, 8, 8, 0, 0.5F});
    outputs_.Put(0, 40, {40, 32, 16, 8, 1, 0.75F});
  }

  Lists Decode() {
    std::map<std::string, AIBuff> buffers = outputs_.Buffers();
    Lists objects;
    EXPECT_EQ(decoder().PostProcess(buffers, objects), kPostProcessOk);
    return objects;
  }

  Yolov8Postprocess& decoder() {
    if (decoder_ == nullptr) {
      decoder_ = std::make_unique<Yolov8Postprocess>(
          YAML::Load("patch: {enable: true, patches: [[0, 0, 64, 64]]}"), outputs_.Config(),
          std::vector<cv::Size>{{64, 64}});
    }
    return *decoder_;
  }

  SegmentationOutputs outputs_;
  std::unique_ptr<Yolov8Postprocess> decoder_;
};

TEST_F(DecodedObjectsTest, AreThoseThatTheCallerGot) {
  DecodedObjects decoded;
  const Lists lists = Decode();
  const Lists kept = decoded.Take();
  ASSERT_THAT(lists, SizeIs(1));
  ASSERT_THAT(lists[0], SizeIs(2));
  ASSERT_THAT(kept, SizeIs(1));
  ASSERT_THAT(kept[0], SizeIs(2));
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(kept[0][i].label, lists[0][i].label);
    EXPECT_EQ(kept[0][i].x, lists[0][i].x);
    EXPECT_EQ(kept[0][i].mask.data, lists[0][i].mask.data);
  }
  EXPECT_EQ(kept[0][0].score, 0.75F);
}

TEST_F(DecodedObjectsTest, AreHandedOutOnce) {
  DecodedObjects decoded;
  Decode();
  EXPECT_THAT(decoded.Take(), SizeIs(1));
  EXPECT_THAT(decoded.Take(), IsEmpty());
}

TEST_F(DecodedObjectsTest, OfACallBeforeItAreNotKept) {
  Decode();
  EXPECT_THAT(DecodedObjects().Take(), IsEmpty());
}

TEST_F(DecodedObjectsTest, OfAFailedCallAreNone) {
  DecodedObjects decoded;
  Decode();
  std::map<std::string, AIBuff> none;
  Lists objects;
  test::StandardErrorOf(
      [&] { EXPECT_EQ(decoder().PostProcess(none, objects), kPostProcessMissingOutput); });
  EXPECT_THAT(decoded.Take(), IsEmpty());
}

TEST_F(DecodedObjectsTest, OfAnotherThreadAreNotKept) {
  DecodedObjects decoded;
  std::thread([this] { Decode(); }).join();
  EXPECT_THAT(decoded.Take(), IsEmpty());
}

TEST_F(DecodedObjectsTest, GoToTheYoungestThatLives) {
  DecodedObjects outer;
  {
    DecodedObjects inner;
    Decode();
    EXPECT_THAT(inner.Take(), SizeIs(1));
  }
  EXPECT_THAT(outer.Take(), IsEmpty());
  Decode();
  EXPECT_THAT(outer.Take(), SizeIs(1));
}

}  // namespace
}  // namespace nuvik::model
