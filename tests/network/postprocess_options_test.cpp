// The keys of the `postprocess` mapping in words, and the order of what is wrong with them.
#include "network/postprocess_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace nuvik::model {
namespace {

using testing::ElementsAre;

// What `init`, `check` and completion say of each key.
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
      {"score_thresholds", "a mapping of class ids to numbers from 0 to 1, as {3: 0.4}", "",
       "over score_threshold, for candidates of these classes"},
      {"classes", "a sequence of class ids, as [0, 3]", "",
       "keep candidates of these classes only"},
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

template <typename Value>
double Number(Value value) {
  return static_cast<double>(value);
}
double Number(const std::map<int, float>& of_one) {
  return of_one.begin()->first + static_cast<double>(of_one.begin()->second);
}
double Number(const std::vector<int>& of_one) { return of_one.at(0); }

TEST(PostprocessKeys, LeadToTheirMembers) {
  PostprocessOptions options;
  options.score_threshold = 0.5F;
  options.iou_threshold = 0.125F;
  options.max_detections = 7;
  options.class_agnostic = true;
  options.mask_threshold = 0.0F;
  options.score_thresholds = {{3, 0.75F}};
  options.classes = {9};
  std::vector<double> values;
  for (const PostprocessKey& key : PostprocessKeys()) {
    std::visit([&](const auto member) { values.push_back(Number(options.*member)); }, key.member);
  }
  EXPECT_THAT(values, ElementsAre(0.5, 0.125, 7.0, 1.0, 0.0, 3.75, 9.0));
}

constexpr const char* kEverythingWrong =
    "postprocess: {unknown: 1, mask_threshold: 2, class_agnostic: 2, max_detections: 0, "
    "iou_threshold: 2, score_threshold: 2}";

TEST(PostprocessProblems, OfOneKeyAreAllToldAndItKeepsItsDefault) {
  std::vector<PostprocessProblem> problems;
  const PostprocessOptions options = ReadPostprocessOptions(
      YAML::Load("postprocess: {score_thresholds: {0: 0.5, a: 1, 2: 3}, classes: [1, b, -2]}"),
      problems);
  std::vector<std::string> keys;
  for (const PostprocessProblem& problem : problems) keys.push_back(problem.key);
  EXPECT_THAT(keys, ElementsAre("postprocess.score_thresholds", "postprocess.score_thresholds.2",
                                "postprocess.classes[1]", "postprocess.classes[2]"));
  EXPECT_TRUE(options.score_thresholds.empty());
  EXPECT_TRUE(options.classes.empty());
}

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
