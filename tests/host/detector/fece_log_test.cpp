// Candidates read from the log and the detections beside it. Boxes, numbers and lines as the
// library writes them.
#include "detector/fece_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dirty_seg {

void PrintTo(const FeceCandidate& candidate, std::ostream* stream) {
  *stream << candidate.detection << ": verdict " << static_cast<int>(candidate.verdict)
          << ", score " << testing::PrintToString(candidate.score);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr FeceVerdict kConfirmed = FeceVerdict::kConfirmed;
constexpr FeceVerdict kRejected = FeceVerdict::kRejected;
constexpr FeceVerdict kNotChecked = FeceVerdict::kNotChecked;
constexpr FeceVerdict kFailed = FeceVerdict::kFailed;

MATCHER_P3(Is, detection, verdict, score, "") {
  return arg.detection == static_cast<std::size_t>(detection) && arg.verdict == verdict &&
         arg.score == score;
}
constexpr std::nullopt_t kNoScore = std::nullopt;

class FeceLog : public testing::Test {
 protected:
  FeceLog() {
    rules_.class_ids = {3, 5};
    rules_.score_threshold = 0.5F;
    rules_.area_threshold = 400.0F;
  }

  void Found(int label, const std::vector<float>& box) {
    result_.labels.push_back(label);
    result_.bboxes.push_back(box);
  }

  void Looked(const std::string& box) { Line("INFO", "[FECE] bbox=[" + box + "], crop=1x1"); }

  void Answered(const std::string& p0, const std::string& p1, int class_id) {
    Line("INFO", "[FECE] logits=[-1.5, 2], prob=[" + p0 + ", " + p1 +
                     "], class_id=" + std::to_string(class_id) + ", score=" + p1);
  }

  void Line(const std::string& tag, const std::string& message) {
    lines_.push_back("  1 [" + tag + "] " + message);
  }

  std::optional<std::vector<FeceCandidate>> Read() {
    return ReadFeceCandidates(ReadFrameLog(lines_), rules_, {1920, 1080}, result_);
  }

  FeceRules rules_;
  DirtyStatusResultData result_;
  std::vector<std::string> lines_;
};

TEST_F(FeceLog, GivesEachCandidateItsAnswer) {
  Found(0, {0, 0, 100, 100});  // no candidate
  Found(19, {10.5, 20.25, 39.5, 60});
  Found(5, {100, 100, 130, 130});
  Looked("10, 20, 40, 60");
  Answered("0.39999998", "0.6", 1);
  Looked("100, 100, 130, 130");
  Answered("0.75", "0.25", 0);
  EXPECT_THAT(Read().value(), ElementsAre(Is(1, kConfirmed, 0.6F), Is(2, kRejected, 0.25F)));
}

TEST_F(FeceLog, TakesAProbabilityAtTheThresholdAsRejected) {
  rules_.score_threshold = 0.625F;
  Found(3, {0, 0, 30, 30});
  Looked("0, 0, 30, 30");
  Answered("0.375", "0.625", 1);
  EXPECT_THAT(Read().value(), ElementsAre(Is(0, kRejected, 0.625F)));
}

// 20 x 20 pixels are the threshold; such a box is reported only at debug level.
TEST_F(FeceLog, KnowsTheBoxesThatAreTooSmall) {
  Found(3, {0, 0, 20, 20});
  Found(5, {0, 0, 20, 20.5});  // touches 21 rows
  Found(3, {1, 1, 2, 2});
  Looked("0, 0, 20, 21");
  Answered("0.75", "0.25", 0);
  const auto expected = ElementsAre(Is(0, kNotChecked, kNoScore), Is(1, kRejected, 0.25F),
                                    Is(2, kNotChecked, kNoScore));
  EXPECT_THAT(Read().value(), expected);
  lines_.insert(lines_.begin(),
                "  1 [DEBUG] [FECE] bbox area too small: 400, threshold: 400, directly classify as "
                "class 0");
  EXPECT_THAT(Read().value(), expected);
}

TEST_F(FeceLog, TellsWhereTheClassifierFailed) {
  Found(3, {0, 0, 30, 30});
  Found(3, {-100, 0, -50, 100});  // left of the picture
  Found(3, {40, 0, 70, 30});
  Looked("0, 0, 30, 30");
  Line("ERROR", "fece inference status is 5");
  Line("ERROR", "[FECE] Invalid bbox: [-100, 0, -50, 100]");
  Looked("40, 0, 70, 30");
  Answered("nan", "nan", 0);
  EXPECT_THAT(Read().value(), ElementsAre(Is(0, kFailed, kNoScore), Is(1, kFailed, kNoScore),
                                          Is(2, kFailed, kNoScore)));
}

TEST_F(FeceLog, CountsAnswersThatAreNoNumber) {
  Looked("0, 0, 30, 30");
  Answered("nan", "nan", 0);
  Looked("40, 0, 70, 30");
  Answered("0.25", "0.75", 1);
  Looked("80, 0, 110, 30");
  Answered("-nan", "-nan", 0);
  EXPECT_EQ(CountNotANumberAnswers(ReadFrameLog(lines_)), 2U);
}

TEST_F(FeceLog, TakesTheNetworksOwnClass19ForNoCandidate) {
  Found(19, {0, 0, 50, 50});
  Found(19, {60, 0, 90, 30});  // was of class 3
  Found(19, {1, 1, 2, 2});
  Looked("60, 0, 90, 30");
  Answered("0.25", "0.75", 1);
  EXPECT_THAT(Read().value(), ElementsAre(Is(1, kConfirmed, 0.75F)));
}

TEST_F(FeceLog, TellsClass19FromARejectedCandidateOfTheSamePixels) {
  Found(19, {0, 0, 50, 50});
  Found(3, {0, 0, 50, 50});
  Looked("0, 0, 50, 50");
  Answered("0.75", "0.25", 0);
  EXPECT_THAT(Read().value(), ElementsAre(Is(1, kRejected, 0.25F)));
}

TEST_F(FeceLog, TakesTheVerdictFromTheLogWhereClass19IsItselfACandidate) {
  rules_.class_ids = {19};
  Found(19, {0, 0, 50, 50});
  Found(19, {0, 0, 60, 60});
  Looked("0, 0, 50, 50");
  Answered("0.75", "0.25", 0);
  Looked("0, 0, 60, 60");
  Answered("0.25", "0.75", 1);
  EXPECT_THAT(Read().value(), ElementsAre(Is(0, kRejected, 0.25F), Is(1, kConfirmed, 0.75F)));
}

TEST_F(FeceLog, HasNoCandidateInAFrameWithoutOne) {
  EXPECT_THAT(Read().value(), IsEmpty());
  Found(19, {0, 0, 50, 50});  // the network's own class
  EXPECT_THAT(Read().value(), IsEmpty());
}

TEST_F(FeceLog, TellsNothingWhereItDoesNotFit) {
  Looked("0, 0, 50, 50");
  Answered("0.75", "0.25", 0);
  EXPECT_FALSE(Read());  // of no detection
  Found(3, {0, 0, 50, 51});
  EXPECT_FALSE(Read());  // of another
}

TEST(VerdictOf, ReadsEveryVerdictsText) {
  EXPECT_STREQ(VerdictText(kConfirmed), "confirmed");
  EXPECT_STREQ(VerdictText(kFailed), "failed");
  EXPECT_EQ(VerdictOf("confirmed"), kConfirmed);
  EXPECT_EQ(VerdictOf("rejected"), kRejected);
  EXPECT_EQ(VerdictOf("not_checked"), kNotChecked);
  EXPECT_EQ(VerdictOf("failed"), kFailed);
  EXPECT_EQ(VerdictOf("Failed"), std::nullopt);
  EXPECT_EQ(VerdictOf(""), std::nullopt);
}

TEST(VerdictTexts, ListsThemInOrder) {
  EXPECT_EQ(VerdictTexts(), "confirmed, rejected, not_checked or failed");
}

}  // namespace
}  // namespace dirty_seg
