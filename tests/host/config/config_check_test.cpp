// Findings of files written for one fault each.
#include "config/config_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The whole frame, on a network where that is neither short nor shrunk too much: 36 of 64 pixels.
constexpr const char* kWhole = "patch:\n  enable: true\n  patches: [[0, 0, 1920, 1080]]\n";

class Check : public testing::Test {
 protected:
  std::vector<std::string> Of(const std::string& yaml, int side = 640,
                              std::optional<int> batch = std::nullopt) {
    ConfigCheck check = CheckConfig(folder_.Write("c.yaml", yaml));
    CheckFit(side, batch, check);
    std::vector<std::string> texts;
    for (const FileProblem& finding : check.findings) {
      texts.push_back(std::to_string(finding.line) +
                      (finding.kind == FileProblem::Kind::kError ? " error " : " warning ") +
                      SentenceOf(finding));
    }
    return texts;
  }

  // Of a file whose patches are squares that cover a part of the frame, without the gap's line.
  std::vector<std::string> OfPatches(const std::string& patches, int side = 640) {
    std::vector<std::string> texts = Of("patch:\n  enable: true\n  patches:\n" + patches, side);
    if (!texts.empty() && texts[0].find("of the frame lie in no patch") != std::string::npos) {
      texts.erase(texts.begin());
    }
    return texts;
  }

  test::TemporaryFolder folder_;
};

TEST_F(Check, FindsNothingInAGoodFile) {
  std::string yaml = "patch:\n  enable: true\n  patches:\n";
  for (const char* y : {"0", "440"}) {
    for (const char* x : {"0", "640", "1280"}) {
      yaml += std::string("    - [") + x + ", " + y + ", 640, 640]\n";
    }
  }
  EXPECT_THAT(Of(yaml + "postprocess: {score_threshold: 0.25, max_detections: 300}\n"), IsEmpty());
  const std::string path = folder_ / "c.yaml";
  EXPECT_EQ(CheckText(path, CheckConfig(path)),
            path +
                ": 0 errors, 0 warnings; 6 patches cover 100.0 % of the frame, 18.5 % more than "
                "once\n");
}

TEST_F(Check, FindsEveryProblemInOneGo) {
  EXPECT_THAT(
      Of("patch:\n"
         "  enabel: true\n"
         "  patches:\n"
         "    - [0, 0, wide, 640]\n"
         "    - [1920, 0, 640, 640]\n"
         "postprocess:\n"
         "  scor_threshold: 0.5\n"
         "  iou_threshold: high\n"
         "  max_detections: 0\n"),
      ElementsAre(
          "2 error patch.enable is missing; expected true or false",
          "2 error patch.enabel is not a known key and has no effect; did you mean 'enable'?",
          "4 error patch 0 (counted from 0) '[0, 0, wide, 640]': width is 'wide'; expected a whole "
          "number of pixels",
          "5 error patch 1 (counted from 0) '[1920, 0, 640, 640]' lies outside the frame; expected "
          "x < 1920, y < 1080",
          "7 error postprocess.scor_threshold is not a known key and has no effect; did you mean "
          "'score_threshold'?",
          "8 error postprocess.iou_threshold is 'high'; expected a number from 0 to 1",
          "9 error postprocess.max_detections is '0'; expected an integer from 1 to 100000"));
}

TEST_F(Check, TakesARootKeyNearOursForASlipAndAnyOtherForSomebodyElses) {
  const std::vector<std::string> texts =
      Of("postproces: {}\ncamera: front\n" + std::string(kWhole), 1920);
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_EQ(texts[0],
            "1 error postproces is not a known key and has no effect; did you mean 'postprocess'?");
  EXPECT_EQ(texts[1],
            "2 warning camera is not a known key and has no effect; the detector reads patch and "
            "postprocess");
}

TEST_F(Check, FindsKeysThatStandTwice) {
  EXPECT_THAT(
      Of(std::string(kWhole) + "postprocess:\n  iou_threshold: 0.5\n  iou_threshold: 0.7\n"),
      testing::Contains("6 error postprocess.iou_threshold is also in line 5; expected "
                        "it once"));
}

TEST_F(Check, FindsWhatIsWrongWithThresholdsOfClasses) {
  EXPECT_THAT(Of(std::string(kWhole) + "postprocess:\n"
                                       "  score_thresholds:\n"
                                       "    0: 2\n"
                                       "    dirt: 0.5\n"
                                       "    1: 0.25\n"
                                       "    1: 0.5\n"
                                       "  classes: 1\n"),
              testing::IsSupersetOf(
                  {"6 error postprocess.score_thresholds.0 is '2'; expected a number from 0 "
                   "to 1",
                   "7 error postprocess.score_thresholds has the key 'dirt'; expected a "
                   "class id, an integer from 0",
                   "9 error postprocess.score_thresholds.1 is also in line 8; expected it "
                   "once",
                   "10 error postprocess.classes is '1'; expected a sequence of class ids, "
                   "as [0, 3]"}));
}

TEST_F(Check, WarnsOfClassesThatTheNetworkLacks) {
  const std::string path = folder_.Write(
      "c.yaml", std::string(kWhole) +
                    "postprocess:\n  score_thresholds: {1: 0.5, 2: 0.5}\n  classes: [0, 1, 80]\n");
  ConfigCheck check = CheckConfig(path);
  EXPECT_EQ(check.findings.size(), 0U);
  CheckClasses(2, check);
  ASSERT_EQ(check.findings.size(), 2U);
  EXPECT_EQ(
      FileProblemText("c", check.findings[0]),
      "'c' line 5: postprocess.score_thresholds names class 2: the network has no such class, "
      "so it has no effect; expected class ids from 0 to 1");
  EXPECT_EQ(FileProblemText("c", check.findings[1]),
            "'c' line 6: postprocess.classes[2] names class 80: the network has no such class, so "
            "it has no effect; expected class ids from 0 to 1");
  EXPECT_EQ(check.Count(FileProblem::Kind::kError), 0U);
}

TEST_F(Check, WarnsOfGaps) {
  EXPECT_THAT(Of("patch: {enable: true, patches: [[0, 0, 640, 640], [640, 0, 640, 640]]}"),
              ElementsAre("0 warning 60.5 % of the frame lie in no patch: [1280, 0, 640, 640], "
                          "[0, 640, 1920, 440]"));
}

TEST_F(Check, WarnsOfAPatchThatIsClipped) {
  EXPECT_THAT(OfPatches("    - [1280, 440, 640, 700]\n"),
              ElementsAre("4 warning patch 0 (counted from 0) [1280, 440, 640, 700] reaches over "
                          "the frame's edge and is clipped to 640 x 640"));
}

TEST_F(Check, WarnsOfASizeThatComesOutShortAndNamesTheNearest) {
  EXPECT_THAT(OfPatches("    - [0, 0, 640, 639]\n"),
              ElementsAre("4 warning patch 0 (counted from 0) [0, 0, 640, 639]: 640 x 639 is "
                          "scaled to 640 x 639 and padded to 640 x 639, short of the network's "
                          "640 x 640, which shears the picture; near it, these do not: 640 x 640, "
                          "640 x 638"));
}

TEST_F(Check, WarnsOfSizesThatWasteTheInput) {
  EXPECT_THAT(OfPatches("    - [0, 0, 640, 320]\n"),
              ElementsAre("4 warning patch 0 (counted from 0) [0, 0, 640, 320] leaves 50.0 % of "
                          "the network's input grey"));
  EXPECT_THAT(OfPatches("    - [0, 0, 1080, 1080]\n", 360),
              ElementsAre("4 warning patch 0 (counted from 0) [0, 0, 1080, 1080] is shrunk to one "
                          "pixel of 3.0"));
  EXPECT_THAT(OfPatches("    - [0, 0, 160, 160]\n"),
              ElementsAre("4 warning patch 0 (counted from 0) [0, 0, 160, 160] is enlarged 4.0 "
                          "times; a larger one costs no more"));
}

// 694 x 582 is the smallest whole size of a grid of 3x2 that shares 80, and 694 / 320 is 2.17.
TEST_F(Check, WarnsOfNoShrinkingThatTheBatchLeavesNoChoiceOf) {
  std::string yaml = "patch:\n  enable: true\n  patches:\n";
  for (const char* y : {"0", "498"}) {
    for (const char* x : {"0", "613", "1226"}) {
      yaml += std::string("    - [") + x + ", " + y + ", 694, 582]\n";
    }
  }
  EXPECT_THAT(Of(yaml, 320, 6), IsEmpty());
  EXPECT_EQ(Of(yaml, 320).size(), 6U);      // of a batch that could be larger
  EXPECT_EQ(Of(yaml, 320, 12).size(), 6U);  // and of one that is
  EXPECT_EQ(Of(yaml.substr(0, yaml.rfind("    - ")), 320, 6).size(), 6U);  // five, and a gap
  EXPECT_THAT(Of(kWhole, 640, 1), IsEmpty());
  EXPECT_EQ(Of(kWhole, 640, 2).size(), 2U);  // one pixel of 3.0, and 43.8 % grey
}

TEST_F(Check, RefusesAPatchOfWhichNothingIsLeft) {
  EXPECT_THAT(OfPatches("    - [0, 0, 1920, 2]\n"),
              ElementsAre("4 error patch 0 (counted from 0) [0, 0, 1920, 2] is too thin: scaled to "
                          "a side of 640, nothing of it is left, and every frame fails"));
}

TEST_F(Check, WarnsOfPatchesThatShareMoreThanHalf) {
  EXPECT_THAT(OfPatches("    - [0, 0, 640, 640]\n    - [0, 160, 640, 640]\n"),
              ElementsAre("5 warning patch 1 (counted from 0) and patch 0 (counted from 0) share "
                          "75.0 % of the smaller one; what lies there is found twice"));
  EXPECT_THAT(OfPatches("    - [0, 0, 640, 640]\n    - [0, 320, 640, 640]\n"), IsEmpty());
}

TEST_F(Check, NamesFileAndLineInItsText) {
  const std::string path = folder_.Write("bad.yaml", "patch: {enable: perhaps}\n");
  EXPECT_EQ(CheckText(path, CheckConfig(path)),
            path + ":1: error: patch.enable is 'perhaps'; expected true or false\n" + path +
                ":1: error: patch.patches has no entry, so there is nothing to look at; expected "
                "'patch: {enable: true, patches: [[x, y, width, height], ...]}'\n" +
                path + ": 2 errors, 0 warnings\n");
}

TEST_F(Check, IsRefusedAFileThatIsNoYaml) {
  const std::string path = folder_.Write("bad.yaml", "patch: [\n");
  EXPECT_THAT(test::RejectionOf<SetupError>([&] { CheckConfig(path); }),
              HasSubstr("is not valid YAML"));
}

TEST_F(Check, RefusesItsErrorsForARun) {
  const std::string path = folder_.Write("bad.yaml", std::string(kWhole) + "postproces: {}\n");
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { RefuseErrors(path, CheckConfig(path)); }),
            "'" + path +
                "' line 4: postproces is not a known key and has no effect; did you mean "
                "'postprocess'?");
  folder_.Write("bad.yaml", std::string(kWhole) + "camera: front\n");
  RefuseErrors(path, CheckConfig(path));  // a warning
}

TEST_F(Check, TellsEachOfSeveralErrorsToARun) {
  const std::string path =
      folder_.Write("bad.yaml", "patch:\n  patches: [[0, 0, 64, 64], [0, 0, 0, 64]]\n");
  testing::internal::CaptureStderr();
  const std::string last =
      test::RejectionOf<SetupError>([&] { RefuseErrors(path, CheckConfig(path)); });
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "dirty_seg: error: '" + path +
                "' line 2: patch.enable is missing; expected true or "
                "false\ndirty_seg: error: '" +
                path +
                "' line 2: patch 1 (counted from 0) '[0, 0, 0, "
                "64]' has no area; expected width, height > 0\n");
  EXPECT_EQ(last, "'" + path + "' has these 2 errors; 'dirty_seg check' shows them with warnings");
}

}  // namespace
}  // namespace dirty_seg
