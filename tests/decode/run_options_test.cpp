// The `postprocess` mapping: defaults, permitted values, and the exact text of every rejection.
#include "decode/run_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <limits>
#include <string>
#include <vector>

#include "support/case_name.h"
#include "support/standard_error.h"

namespace nuvik::model {
namespace {

using test::RejectionOf;
using test::StandardErrorOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

PostprocessOptions Read(const std::string& text) { return ReadRunOptions(YAML::Load(text)); }

void ExpectDefaults(const PostprocessOptions& options) {
  EXPECT_EQ(options.score_threshold, 0.25F);
  EXPECT_EQ(options.iou_threshold, 0.7F);
  EXPECT_EQ(options.max_detections, 300);
  EXPECT_FALSE(options.class_agnostic);
  EXPECT_EQ(options.mask_threshold, 0.5F);
  EXPECT_THAT(options.score_thresholds, IsEmpty());
  EXPECT_THAT(options.classes, IsEmpty());
}

TEST(PostprocessDefaults, HoldForAFileWithoutTheMapping) {
  ExpectDefaults(Read("patch: {enable: false}"));
}

TEST(PostprocessDefaults, HoldForAnEmptyFile) { ExpectDefaults(Read("")); }

TEST(PostprocessDefaults, HoldForAnEmptyMapping) { ExpectDefaults(Read("postprocess: {}")); }

TEST(PostprocessDefaults, HoldForAKeyWithoutAValue) { ExpectDefaults(Read("postprocess:\n")); }

TEST(PostprocessDefaults, HoldForAnExplicitNull) { ExpectDefaults(Read("postprocess: ~")); }

TEST(PostprocessDefaults, HoldForARootThatIsNoMapping) {
  ExpectDefaults(Read("[postprocess, 1]"));
  ExpectDefaults(Read("postprocess"));
}

TEST(PostprocessValues, AreAllRead) {
  const PostprocessOptions options = Read(
      "postprocess:\n  score_threshold: 0.125\n  iou_threshold: 0.5\n  max_detections: 7\n"
      "  class_agnostic: true\n  mask_threshold: 0.75\n"
      "  score_thresholds: {3: 0.25, 0: 1}\n  classes: [3, 0]\n");
  EXPECT_EQ(options.score_threshold, 0.125F);
  EXPECT_EQ(options.iou_threshold, 0.5F);
  EXPECT_EQ(options.max_detections, 7);
  EXPECT_TRUE(options.class_agnostic);
  EXPECT_EQ(options.mask_threshold, 0.75F);
  EXPECT_THAT(options.score_thresholds, ElementsAre(Pair(0, 1.0F), Pair(3, 0.25F)));
  EXPECT_THAT(options.classes, ElementsAre(3, 0));
}

TEST(PostprocessValues, ThresholdsOfNoClassAreNone) {
  ExpectDefaults(Read("postprocess: {score_thresholds: {}}"));
}

TEST(PostprocessValues, OfARepeatedClassTheFirstCounts) {
  EXPECT_THAT(Read("postprocess: {score_thresholds: {1: 0.5, 1: 0.75}}").score_thresholds,
              ElementsAre(Pair(1, 0.5F)));
}

TEST(ClassThresholdsOf, TakeTheClassesOwnAndInfinityForThoseNotLookedFor) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  EXPECT_THAT(ClassThresholds({}, 3), ElementsAre(0.25F, 0.25F, 0.25F));
  EXPECT_THAT(ClassThresholds(Read("postprocess: {score_thresholds: {1: 0.5, 3: 1}}"), 3),
              ElementsAre(0.25F, 0.5F, 0.25F));
  EXPECT_THAT(ClassThresholds(Read("postprocess: {classes: [2, 7]}"), 3),
              ElementsAre(kInfinity, kInfinity, 0.25F));
  EXPECT_THAT(
      ClassThresholds(Read("postprocess: {score_thresholds: {0: 0, 1: 1}, classes: [1]}"), 2),
      ElementsAre(kInfinity, 1.0F));
}

TEST(PostprocessValues, OneKeyLeavesTheOthersAtTheirDefaults) {
  PostprocessOptions options = Read("postprocess: {max_detections: 12}");
  EXPECT_EQ(options.max_detections, 12);
  options.max_detections = 300;
  ExpectDefaults(options);
}

TEST(PostprocessValues, ThresholdsMayBeExactlyZero) {
  const PostprocessOptions options =
      Read("postprocess: {score_threshold: 0, iou_threshold: 0.0, mask_threshold: 0}");
  EXPECT_EQ(options.score_threshold, 0.0F);
  EXPECT_EQ(options.iou_threshold, 0.0F);
  EXPECT_EQ(options.mask_threshold, 0.0F);
}

TEST(PostprocessValues, ThresholdsMayBeExactlyOne) {
  const PostprocessOptions options =
      Read("postprocess: {score_threshold: 1, iou_threshold: 1.0, mask_threshold: 1}");
  EXPECT_EQ(options.score_threshold, 1.0F);
  EXPECT_EQ(options.iou_threshold, 1.0F);
  EXPECT_EQ(options.mask_threshold, 1.0F);
}

TEST(PostprocessValues, DetectionsMayBeOneOrAHundredThousand) {
  EXPECT_EQ(Read("postprocess: {max_detections: 1}").max_detections, 1);
  EXPECT_EQ(Read("postprocess: {max_detections: 100000}").max_detections, 100000);
}

TEST(PostprocessValues, ClassAgnosticMayBeFalseOutright) {
  EXPECT_FALSE(Read("postprocess: {class_agnostic: false}").class_agnostic);
}

TEST(PostprocessValues, SayNothingOnStandardErrorWhenTheyAreFine) {
  EXPECT_THAT(StandardErrorOf([] {
                Read(
                    "postprocess: {score_threshold: 0.3, iou_threshold: 0.6, max_detections: 5, "
                    "class_agnostic: true, mask_threshold: 0.4}");
              }),
              IsEmpty());
}

struct Rejection {
  const char* name;
  const char* yaml;
  const char* message;
};

void PrintTo(const Rejection& rejection, std::ostream* out) { *out << rejection.yaml; }

class PostprocessRejection : public testing::TestWithParam<Rejection> {};

TEST_P(PostprocessRejection, NamesKeyLineValueAndRange) {
  EXPECT_EQ(RejectionOf([] { Read(GetParam().yaml); }), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    ScoreThreshold, PostprocessRejection,
    testing::Values(
        Rejection{"AboveOne", "postprocess:\n  score_threshold: 1.001\n",
                  "postprocess.score_threshold in line 2 is '1.001'; expected a number from 0 to "
                  "1"},
        Rejection{"Negative", "postprocess:\n  score_threshold: -0.001\n",
                  "postprocess.score_threshold in line 2 is '-0.001'; expected a number from 0 to "
                  "1"},
        Rejection{"NotANumber", "postprocess:\n\n\n  score_threshold: .nan\n",
                  "postprocess.score_threshold in line 4 is '.nan'; expected a number from 0 to 1"},
        Rejection{"Infinite", "postprocess: {score_threshold: .inf}",
                  "postprocess.score_threshold in line 1 is '.inf'; expected a number from 0 to 1"},
        Rejection{"Word", "postprocess: {score_threshold: high}",
                  "postprocess.score_threshold in line 1 is 'high'; expected a number from 0 to 1"},
        Rejection{"NumberWithATail", "postprocess: {score_threshold: 0.25x}",
                  "postprocess.score_threshold in line 1 is '0.25x'; expected a number from 0 to "
                  "1"},
        Rejection{"EmptyText", "postprocess: {score_threshold: \"\"}",
                  "postprocess.score_threshold in line 1 is ''; expected a number from 0 to 1"},
        Rejection{"Sequence", "postprocess:\n  score_threshold: [0.25]\n",
                  "postprocess.score_threshold in line 2 is a sequence; expected a number from 0 "
                  "to 1"},
        Rejection{"Mapping", "postprocess:\n  score_threshold: {value: 0.25}\n",
                  "postprocess.score_threshold in line 2 is a mapping; expected a number from 0 to "
                  "1"},
        Rejection{"Null", "postprocess:\n  score_threshold: ~\n",
                  "postprocess.score_threshold in line 2 is nothing; expected a number from 0 to "
                  "1"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    IouThreshold, PostprocessRejection,
    testing::Values(
        Rejection{"AboveOne", "postprocess:\n  iou_threshold: 2\n",
                  "postprocess.iou_threshold in line 2 is '2'; expected a number from 0 to 1"},
        Rejection{"Negative", "postprocess:\n  iou_threshold: -1\n",
                  "postprocess.iou_threshold in line 2 is '-1'; expected a number from 0 to 1"},
        Rejection{"NotANumber", "postprocess: {iou_threshold: .nan}",
                  "postprocess.iou_threshold in line 1 is '.nan'; expected a number from 0 to 1"},
        Rejection{"Word", "postprocess: {iou_threshold: true}",
                  "postprocess.iou_threshold in line 1 is 'true'; expected a number from 0 to 1"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    MaskThreshold, PostprocessRejection,
    testing::Values(
        Rejection{"AboveOne", "postprocess:\n  mask_threshold: 1.5\n",
                  "postprocess.mask_threshold in line 2 is '1.5'; expected a number from 0 to 1"},
        Rejection{"Negative", "postprocess:\n  mask_threshold: -0.5\n",
                  "postprocess.mask_threshold in line 2 is '-0.5'; expected a number from 0 to 1"},
        Rejection{"NotANumber", "postprocess: {mask_threshold: .NaN}",
                  "postprocess.mask_threshold in line 1 is '.NaN'; expected a number from 0 to 1"},
        Rejection{"Word", "postprocess: {mask_threshold: half}",
                  "postprocess.mask_threshold in line 1 is 'half'; expected a number from 0 to 1"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    MaxDetections, PostprocessRejection,
    testing::Values(
        Rejection{"Zero", "postprocess:\n  max_detections: 0\n",
                  "postprocess.max_detections in line 2 is '0'; expected an integer from 1 to "
                  "100000"},
        Rejection{"Negative", "postprocess:\n  max_detections: -3\n",
                  "postprocess.max_detections in line 2 is '-3'; expected an integer from 1 to "
                  "100000"},
        Rejection{"TooMany", "postprocess:\n  max_detections: 100001\n",
                  "postprocess.max_detections in line 2 is '100001'; expected an integer from 1 to "
                  "100000"},
        Rejection{"BeyondAnyInteger", "postprocess: {max_detections: 99999999999}",
                  "postprocess.max_detections in line 1 is '99999999999'; expected an integer from "
                  "1 to 100000"},
        Rejection{"Fraction", "postprocess: {max_detections: 3.5}",
                  "postprocess.max_detections in line 1 is '3.5'; expected an integer from 1 to "
                  "100000"},
        Rejection{"NotANumber", "postprocess: {max_detections: .nan}",
                  "postprocess.max_detections in line 1 is '.nan'; expected an integer from 1 to "
                  "100000"},
        Rejection{"Word", "postprocess: {max_detections: all}",
                  "postprocess.max_detections in line 1 is 'all'; expected an integer from 1 to "
                  "100000"},
        Rejection{"Sequence", "postprocess: {max_detections: [1, 2]}",
                  "postprocess.max_detections in line 1 is a sequence; expected an integer from 1 "
                  "to 100000"},
        Rejection{"Null", "postprocess: {max_detections: }",
                  "postprocess.max_detections in line 1 is nothing; expected an integer from 1 to "
                  "100000"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    ClassAgnostic, PostprocessRejection,
    testing::Values(
        Rejection{"Number", "postprocess:\n  class_agnostic: 1\n",
                  "postprocess.class_agnostic in line 2 is '1'; expected true or false"},
        Rejection{"Word", "postprocess:\n  class_agnostic: maybe\n",
                  "postprocess.class_agnostic in line 2 is 'maybe'; expected true or false"},
        Rejection{"Mapping", "postprocess:\n  class_agnostic: {a: true}\n",
                  "postprocess.class_agnostic in line 2 is a mapping; expected true or false"},
        Rejection{"Null", "postprocess:\n  class_agnostic: null\n",
                  "postprocess.class_agnostic in line 2 is nothing; expected true or false"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    ScoreThresholds, PostprocessRejection,
    testing::Values(
        Rejection{
            "Number", "postprocess:\n  score_thresholds: 0.4\n",
            "postprocess.score_thresholds in line 2 is '0.4'; expected a mapping of class ids "
            "to numbers from 0 to 1, as {3: 0.4}"},
        Rejection{"Sequence", "postprocess: {score_thresholds: [0.4]}",
                  "postprocess.score_thresholds in line 1 is a sequence; expected a mapping of "
                  "class ids to numbers from 0 to 1, as {3: 0.4}"},
        Rejection{"Null", "postprocess: {score_thresholds: }",
                  "postprocess.score_thresholds in line 1 is nothing; expected a mapping of class "
                  "ids to numbers from 0 to 1, as {3: 0.4}"},
        Rejection{"Name", "postprocess:\n  score_thresholds:\n    person: 0.4\n",
                  "postprocess.score_thresholds in line 3 has the key 'person'; expected a class "
                  "id, an integer from 0"},
        Rejection{"NegativeId", "postprocess: {score_thresholds: {-1: 0.4}}",
                  "postprocess.score_thresholds in line 1 has the key '-1'; expected a class id, "
                  "an integer from 0"},
        Rejection{"FractionOfAnId", "postprocess: {score_thresholds: {1.5: 0.4}}",
                  "postprocess.score_thresholds in line 1 has the key '1.5'; expected a class id, "
                  "an integer from 0"},
        Rejection{"SequenceForAnId", "postprocess: {score_thresholds: {[0, 1]: 0.4}}",
                  "postprocess.score_thresholds in line 1 has the key a sequence; expected a class "
                  "id, an integer from 0"},
        Rejection{"AboveOne", "postprocess:\n  score_thresholds:\n    0: 0.5\n    3: 1.5\n",
                  "postprocess.score_thresholds.3 in line 4 is '1.5'; expected a number from 0 to "
                  "1"},
        Rejection{"Negative", "postprocess: {score_thresholds: {3: -0.1}}",
                  "postprocess.score_thresholds.3 in line 1 is '-0.1'; expected a number from 0 to "
                  "1"},
        Rejection{"NotANumber", "postprocess: {score_thresholds: {3: .nan}}",
                  "postprocess.score_thresholds.3 in line 1 is '.nan'; expected a number from 0 to "
                  "1"},
        Rejection{
            "NothingForAClass", "postprocess: {score_thresholds: {3: }}",
            "postprocess.score_thresholds.3 in line 1 is nothing; expected a number from 0 to "
            "1"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Classes, PostprocessRejection,
    testing::Values(
        Rejection{"Number", "postprocess:\n  classes: 3\n",
                  "postprocess.classes in line 2 is '3'; expected a sequence of class ids, as [0, "
                  "3]"},
        Rejection{
            "None", "postprocess: {classes: []}",
            "postprocess.classes in line 1 is an empty sequence; expected a sequence of class "
            "ids, as [0, 3]"},
        Rejection{
            "Mapping", "postprocess: {classes: {0: 1}}",
            "postprocess.classes in line 1 is a mapping; expected a sequence of class ids, as "
            "[0, 3]"},
        Rejection{"Name", "postprocess:\n  classes:\n    - 0\n    - person\n",
                  "postprocess.classes[1] in line 4 is 'person'; expected a class id, an integer "
                  "from 0"},
        Rejection{"Negative", "postprocess: {classes: [-1]}",
                  "postprocess.classes[0] in line 1 is '-1'; expected a class id, an integer from "
                  "0"},
        Rejection{"Sequence", "postprocess: {classes: [[0]]}",
                  "postprocess.classes[0] in line 1 is a sequence; expected a class id, an integer "
                  "from 0"}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Mapping, PostprocessRejection,
    testing::Values(Rejection{"Scalar", "patch: 1\npostprocess: fast\n",
                              "postprocess in line 2 is 'fast'; expected a mapping"},
                    Rejection{"Sequence", "postprocess: [0.25, 0.7]\n",
                              "postprocess in line 1 is a sequence; expected a mapping"}),
    test::CaseName());

constexpr const char* kEverythingWrong =
    "postprocess: {unknown: 1, mask_threshold: 2, class_agnostic: 2, max_detections: 0, "
    "iou_threshold: 2, score_threshold: 2}";

TEST(PostprocessProblems, OnlyTheFirstIsToldWhenAValueIsNotPermitted) {
  EXPECT_THAT(StandardErrorOf([] {
                EXPECT_EQ(RejectionOf([] { Read(kEverythingWrong); }),
                          "postprocess.score_threshold in line 1 is '2'; expected a number from 0 "
                          "to 1");
              }),
              IsEmpty());
}

TEST(PostprocessUnknownKeys, AreToldInOneLineEachAndHaveNoEffect) {
  PostprocessOptions options;
  EXPECT_THAT(
      StandardErrorOf([&options] {
        options = Read(
            "postprocess:\n  conf: 0.9\n  iou_threshold: 0.5\n  nms: {top: 3}\n"
            "  Score_threshold: 0.1\n");
      }),
      ElementsAre("libtessmar_ai_engine: postprocess.conf in line 2 is not a known key and "
                  "has no effect",
                  "libtessmar_ai_engine: postprocess.nms in line 4 is not a known key and has "
                  "no effect",
                  "libtessmar_ai_engine: postprocess.Score_threshold in line 5 is not a known "
                  "key and has no effect"));
  EXPECT_EQ(options.iou_threshold, 0.5F);
  options.iou_threshold = 0.7F;
  ExpectDefaults(options);
}

TEST(PostprocessUnknownKeys, MayBeOtherThanText) {
  EXPECT_THAT(
      StandardErrorOf([] { Read("postprocess: {[a, b]: 1}"); }),
      ElementsAre("libtessmar_ai_engine: postprocess.? in line 1 is not a known key and has "
                  "no effect"));
}

TEST(PostprocessUnknownKeys, OutsideTheMappingAreNobodysConcern) {
  EXPECT_THAT(StandardErrorOf([] { Read("score_threshold: 9\npostprocess: {}\n"); }), IsEmpty());
}

TEST(PostprocessOptions, AreReadFromNodesBuiltInMemoryToo) {
  YAML::Node root;
  root["postprocess"]["score_threshold"] = 3;
  EXPECT_EQ(RejectionOf([&root] { ReadRunOptions(root); }),
            "postprocess.score_threshold is '3'; expected a number from 0 to 1");
}

}  // namespace
}  // namespace nuvik::model
