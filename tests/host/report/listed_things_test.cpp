// Things in the place of the detections that they are made of.
#include "report/listed_things.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

StoredThing Thing(float score, std::vector<std::size_t> members) {
  StoredThing thing;
  thing.detection = {{0, 0, 9, 9}, score, 19};
  thing.is_confirmed = true;
  thing.members = std::move(members);
  return thing;
}

TEST(ListThings, LeavesAFrameWithoutThemAlone) {
  Results results;
  results.frames.resize(1);
  results.frames[0].detections = {{{0, 0, 2, 2}, 0.5F, 3}};
  EXPECT_THAT(ListThings(results).frames[0].detections, SizeIs(1));
}

// The first thing has candidates 0 and 2, the second none, the third 3.
TEST(ListThings, PutsThemAndWhatDecidesInThePlaceOfDetections) {
  Results results;
  results.frames.resize(1);
  StoredFrame& frame = results.frames[0];
  frame.detections.resize(4);
  frame.confirmed = {false, false, true, false};
  frame.candidates = {{0, "rejected", 0.9}, {2, "confirmed", 0.6}, {3, "rejected", 0.1}};
  frame.things = {Thing(0.75F, {0, 2}), Thing(0.5F, {1}), Thing(0.25F, {3})};
  const StoredFrame listed = ListThings(results).frames[0];
  ASSERT_THAT(listed.detections, SizeIs(3));
  EXPECT_EQ(listed.detections[0].score, 0.75F);
  EXPECT_THAT(listed.confirmed, ElementsAre(true, true, true));
  ASSERT_THAT(listed.candidates, SizeIs(2));
  EXPECT_EQ(listed.candidates[0].detection, 0U);
  EXPECT_EQ(listed.candidates[0].verdict, "confirmed");
  EXPECT_EQ(listed.candidates[0].score, 0.6);
  EXPECT_EQ(listed.candidates[1].detection, 2U);
}

TEST(ListThings, SaysNothingOfConfirmationWhereTheLineDoesNot) {
  Results results;
  results.frames.resize(1);
  results.frames[0].things = {Thing(0.75F, {0})};
  results.frames[0].things->at(0).is_confirmed.reset();
  EXPECT_THAT(ListThings(results).frames[0].confirmed, IsEmpty());
}

}  // namespace
}  // namespace dirty_seg
