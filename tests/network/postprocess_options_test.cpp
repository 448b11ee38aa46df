// The keys of the `postprocess` mapping in words, and the order of what is wrong with them.
#include "network/postprocess_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <string>
#include <vector>

namespace nuvik::model {
namespace {

using testing::ElementsAre;

// What `init`, `check` and completion tell of each key.
TEST(PostprocessKeys, AreThoseOfTheMappingInWords) {
  const std::vector<PostprocessKey> expected{
      {"score_threshold", "a number from 0 to 1", "0.25",
       "keep a candidate when its best class score is greater"},
      {"iou_threshold", "a number from 0 to 1", "0.7",
       "drop a box that overlaps a better one of its class by more"},
      {"max_detections", "an integer from 1 to 100000", "300", "per patch, best first"},
      {"class_agnostic", "true or false", "false",
       "true: boxes suppress each other across classes"},
      {"mask_threshold", "a number from 0 to 1", "0.5",
       "a pixel is mask when its probability is greater"},
  };
  const std::vector<PostprocessKey>& keys = PostprocessKeys();
  ASSERT_EQ(keys.size(), expected.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(keys[i].name, expected[i].name);
    EXPECT_EQ(keys[i].expected, expected[i].expected);
    EXPECT_EQ(keys[i].fallback, expected[i].fallback);
    EXPECT_EQ(keys[i].meaning, expected[i].meaning);
  }
}

constexpr const char* kEverythingWrong =
    "postprocess: {unknown: 1, mask_threshold: 2, class_agnostic: 2, max_detections: 0, "
    "iou_threshold: 2, score_threshold: 2}";

TEST(PostprocessProblems, StandInTheOrderOfTheKeysUnknownOnesLast) {
  std::vector<PostprocessProblem> problems;
  ReadPostprocessOptions(YAML::Load(kEverythingWrong), problems);
  std::vector<std::string> keys;
  for (const PostprocessProblem& problem : problems) keys.push_back(problem.key);
  EXPECT_THAT(keys, ElementsAre("postprocess.score_threshold", "postprocess.iou_threshold",
                                "postprocess.max_detections", "postprocess.class_agnostic",
                                "postprocess.mask_threshold", "postprocess.unknown"));
}

}  // namespace
}  // namespace nuvik::model
