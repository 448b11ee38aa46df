// The check of a configuration's patch list: what is taken, and the text of every rejection.
#include "config/patches.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr const char* kExample =
    "expected 'patch: {enable: true, patches: [[x, y, width, height], ...]}'";

class Patches : public testing::Test {
 protected:
  // Refused with the first finding.
  static std::vector<cv::Rect> ReadFile(const std::string& path) {
    std::vector<FileProblem> findings;
    std::vector<cv::Rect> patches;
    for (const ListedPatch& patch : ReadPatchList(LoadYaml(path), findings)) {
      patches.push_back(patch.rectangle);
    }
    if (!findings.empty()) RejectFile(path, findings.front());
    return patches;
  }

  std::vector<cv::Rect> Read(const std::string& text) {
    return ReadFile(folder_.Write("patches.yaml", text));
  }

  // The rejection, without the file's name that it begins with.
  std::string RejectionOf(const std::string& text) {
    const std::string message = test::RejectionOf<SetupError>([&] { Read(text); });
    const std::string file = "'" + folder_ / "patches.yaml" + "'";
    EXPECT_THAT(message, StartsWith(file));
    return message.substr(file.size());
  }

  std::string RejectionOfPatch(const std::string& patch) {
    return RejectionOf("patch:\n  enable: true\n  patches:\n    - [0, 0, 64, 64]\n    - " + patch +
                       "\n");
  }

  test::TemporaryFolder folder_;
};

TEST_F(Patches, AreReadInOrder) {
  EXPECT_THAT(Read("patch: {enable: true, patches: [[640, 0, 64, 32], [0, 440, 640, 640]]}"),
              ElementsAre(cv::Rect(640, 0, 64, 32), cv::Rect(0, 440, 640, 640)));
}

TEST_F(Patches, MayReachOverTheRightAndLowerEdge) {
  EXPECT_THAT(Read("patch: {enable: true, patches: [[1919, 1079, 640, 640]]}"),
              ElementsAre(cv::Rect(1919, 1079, 640, 640)));
}

TEST_F(Patches, MayCarryMoreThanFourNumbers) {
  EXPECT_THAT(Read("patch: {enable: yes, patches: [[1, 2, 3, 4, 5]]}"),
              ElementsAre(cv::Rect(1, 2, 3, 4)));
}

TEST_F(Patches, OfAMissingFileAreRefused) {
  const std::string path = folder_ / "missing.yaml";
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { ReadFile(path); }),
            "'" + path + "': cannot be opened: No such file or directory");
}

TEST_F(Patches, OfAFolderAreRefused) {
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { ReadFile(folder_.path()); }),
            "'" + folder_.path() + "': is a folder; expected a YAML file");
}

TEST_F(Patches, OfTextThatIsNoYamlAreRefusedWithTheLine) {
  EXPECT_EQ(RejectionOf("patch:\n  enable: true\n  patches: [[0, 0, 1, 1]\n"),
            " line 4: is not valid YAML: end of sequence flow not found");
}

TEST_F(Patches, AreMissingInAFileWithoutTheKey) {
  const std::string expected =
      std::string(": has no key 'patch', so there is nothing to look at; ") + kExample;
  EXPECT_EQ(RejectionOf(""), expected);
  EXPECT_EQ(RejectionOf("patches: [[0, 0, 1, 1]]"), expected);
  EXPECT_EQ(RejectionOf("- patch"), expected);
}

TEST_F(Patches, AreNotLookedForInAHostFile) {
  EXPECT_EQ(RejectionOf("model: seg.onnx"),
            ": has no key 'patch', so there is nothing to look at; with model it is a host file; "
            "expected --host before it");
}

TEST_F(Patches, NeedAMapping) {
  EXPECT_EQ(RejectionOf("\npatch: [0, 0, 1, 1]"),
            std::string(" line 2: patch is '[0, 0, 1, 1]'; ") + kExample);
  EXPECT_EQ(RejectionOf("patch:"), std::string(" line 1: patch is empty; ") + kExample);
}

TEST_F(Patches, NeedTheSwitch) {
  EXPECT_EQ(RejectionOf("patch:\n  patches: [[0, 0, 1, 1]]"),
            " line 2: patch.enable is missing; expected true or false");
  EXPECT_EQ(RejectionOf("patch:\n  patches: [[0, 0, 1, 1]]\n  enable: 2"),
            " line 3: patch.enable is '2'; expected true or false");
}

TEST_F(Patches, ThatAreDisabledAreRefused) {
  EXPECT_EQ(RejectionOf("patch:\n  enable: false\n  patches: [[0, 0, 1, 1]]"),
            " line 2: patches are disabled, so there is nothing to look at; expected patch.enable "
            "true");
}

TEST_F(Patches, NeedAListWithAnEntry) {
  const std::string expected =
      std::string(" line 2: patch.patches has no entry, so there is nothing to look at; ") +
      kExample;
  EXPECT_EQ(RejectionOf("patch:\n  enable: true"), expected);
  EXPECT_EQ(RejectionOf("patch:\n  enable: true\n  patches:"), expected);
  EXPECT_EQ(RejectionOf("patch:\n  enable: true\n  patches: []"), expected);
  EXPECT_EQ(RejectionOf("patch:\n  enable: true\n  patches: all"),
            std::string(" line 3: patch.patches is 'all'; ") + kExample);
}

TEST_F(Patches, NeedFourNumbers) {
  EXPECT_EQ(RejectionOfPatch("[0, 0, 640]"),
            " line 5: patch 1 (counted from 0) is '[0, 0, 640]'; expected [x, y, width, height]");
  EXPECT_EQ(RejectionOfPatch("640"),
            " line 5: patch 1 (counted from 0) is '640'; expected [x, y, width, height]");
}

TEST_F(Patches, NeedWholeNumbers) {
  EXPECT_EQ(RejectionOfPatch("[0, 0, 640.5, 640]"),
            " line 5: patch 1 (counted from 0) '[0, 0, 640.5, 640]': width is '640.5'; expected a "
            "whole number of pixels");
  EXPECT_EQ(
      RejectionOfPatch("[left, 0, 640, 640]"),
      " line 5: patch 1 (counted from 0) '[left, 0, 640, 640]': x is 'left'; expected a whole "
      "number of pixels");
  EXPECT_EQ(RejectionOfPatch("[0, 3000000000, 640, 640]"),
            " line 5: patch 1 (counted from 0) '[0, 3000000000, 640, 640]': y is '3000000000'; "
            "expected a whole number of pixels");
}

TEST_F(Patches, MustNotBeginBeforeTheFrame) {
  EXPECT_EQ(RejectionOfPatch("[-1, 0, 640, 640]"),
            " line 5: patch 1 (counted from 0) '[-1, 0, 640, 640]' begins left of or above the "
            "frame; expected x, y >= 0");
  EXPECT_EQ(RejectionOfPatch("[0, -5, 640, 640]"),
            " line 5: patch 1 (counted from 0) '[0, -5, 640, 640]' begins left of or above the "
            "frame; expected x, y >= 0");
}

TEST_F(Patches, NeedAnArea) {
  for (const std::string patch : {"[0, 0, 0, 640]", "[0, 0, 640, -1]"}) {
    EXPECT_EQ(RejectionOfPatch(patch), " line 5: patch 1 (counted from 0) '" + patch +
                                           "' has no area; expected width, height > 0");
  }
}

TEST_F(Patches, MustReachIntoTheFrame) {
  for (const std::string patch : {"[1920, 0, 640, 640]", "[0, 1080, 640, 640]"}) {
    EXPECT_EQ(RejectionOfPatch(patch), " line 5: patch 1 (counted from 0) '" + patch +
                                           "' lies outside the frame; expected x < 1920, y < 1080");
  }
}

}  // namespace
}  // namespace dirty_seg
