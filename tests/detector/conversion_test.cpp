// ConvertToDirtyStatusResult: objects of the patches into the frame.
#include <climits>
#include <cstring>
#include <limits>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

using Boxes = std::vector<std::vector<float>>;
using Counts = std::vector<float>;
using Labels = std::vector<int>;
using Result = std::shared_ptr<DirtyStatusResultData>;

Line PatchLine(int patch, int count) {
  return Info("ConvertToDirtyStatusResult",
              "patch " + std::to_string(patch) + " 检测出目标数量为 " + std::to_string(count));
}

Object MakeObject(int label, const cv::Mat& mask = {}) {
  Object object;
  object.x = 10.0F;
  object.y = 20.0F;
  object.width = 30.0F;
  object.height = 40.0F;
  object.label = label;
  object.score = 0.5F;
  object.mask = mask;
  return object;
}

cv::Mat Mask(int rows, int cols, int value = 255) {
  return cv::Mat(rows, cols, CV_8UC1, cv::Scalar(value));
}

// A frame-sized canvas with one rectangle painted.
cv::Mat Canvas(const cv::Rect& painted, int value = 255) {
  cv::Mat canvas = cv::Mat::zeros(1080, 1920, CV_8UC1);
  canvas(painted).setTo(cv::Scalar(value));
  return canvas;
}

class Conversion : public DetectorTest {
 protected:
  Conversion() {
    detector.config_ = std::make_shared<DirtySegDetectorConfig>();
    detector.patches_ = {{0, 0, 640, 640}, {640, 100, 640, 640}};
  }

  Result Convert(const script::ObjectLists& lists) {
    auto record = std::make_shared<DirtySegDetectorResData>();
    record->patch_objects = lists;
    script::Reset();
    if (logits_answer != nullptr) script::GetScript().on_inference = Answer();
    return detector.ConvertToDirtyStatusResult(images, record);
  }

  // Makes a classifier whose n-th answer is the n-th character: 'y' or 'n'.
  void SetUpClassifier(const std::vector<int>& class_ids, const char* answers) {
    DirtySegDetectorConfig config = Config("{}");
    config.fece_enable = true;
    config.fece_class_ids = class_ids;
    config.fece_score_threshold = 0.5F;
    config.fece_area_threshold = 0.0F;
    const std::vector<cv::Rect> patches = detector.patches_;
    ASSERT_TRUE(detector.Init(config));
    detector.patches_ = patches;
    log.Clear();
    logits_answer = answers;
  }

  // Boxes that the classifier was asked about, from its log lines.
  std::vector<std::string> BoxesAsked() const {
    std::vector<std::string> boxes;
    const std::string start = "[FECE] bbox=";
    for (const Line& line : log.GetLines()) {
      if (line.text.compare(0, start.size(), start) != 0) continue;
      boxes.push_back(line.text.substr(start.size(), line.text.find(", crop") - start.size()));
    }
    return boxes;
  }

  ImageMap images = ColorOnly(ColorImage(1080, 1920));

 private:
  std::function<void(const std::string&, script::BufferMap&, script::BufferMap&)> Answer() const {
    return [next = logits_answer](auto&, auto&, script::BufferMap& outputs) mutable {
      const float logits[2] = {0.0F, *next++ == 'y' ? 9.0F : -9.0F};
      std::memcpy(outputs.at("output").data->data(), logits, sizeof(logits));
    };
  }

  const char* logits_answer = nullptr;
};

// --- The record ---

TEST_F(Conversion, NullRecordIsAFailedInference) {
  const Result result = detector.ConvertToDirtyStatusResult(images, nullptr);

  ASSERT_NE(result, nullptr);
  EXPECT_FALSE(result->success);
  EXPECT_EQ(result->message, "inference failed");
  EXPECT_TRUE(result->bboxes.empty());
  EXPECT_TRUE(result->scores.empty());
  EXPECT_TRUE(result->labels.empty());
  EXPECT_TRUE(result->mask_pixel_counts.empty());
  EXPECT_TRUE(result->label_masks.empty());
  EXPECT_EQ(log.GetLines(), Lines{});
}

TEST_F(Conversion, RecordWithoutListsIsASuccess) {
  const Result result = Convert({});

  EXPECT_TRUE(result->success);
  EXPECT_EQ(result->message, "success");
  EXPECT_TRUE(result->bboxes.empty());
  EXPECT_TRUE(result->label_masks.empty());
  EXPECT_EQ(log.GetLines(), Lines{});
}

TEST_F(Conversion, EveryCallMakesANewRecord) { EXPECT_NE(Convert({}), Convert({})); }

TEST_F(Conversion, InputRecordIsLeftUnchanged) {
  auto record = std::make_shared<DirtySegDetectorResData>();
  record->patch_objects = {{}, {MakeObject(3, Mask(4, 4))}};

  detector.ConvertToDirtyStatusResult(images, record);

  EXPECT_EQ(record->patch_objects[1][0].x, 10.0F);
  EXPECT_EQ(record->patch_objects[1][0].label, 3);
  EXPECT_TRUE(SameImage(record->patch_objects[1][0].mask, Mask(4, 4)));
}

// --- Boxes, scores, labels ---

TEST_F(Conversion, BoxIsShiftedByItsPatch) {
  const Result result = Convert({{MakeObject(1)}, {MakeObject(1)}});

  EXPECT_EQ(result->bboxes, (Boxes{{10, 20, 40, 60}, {650, 120, 680, 160}}));
}

TEST_F(Conversion, OnlyTheOriginOfThePatchIsUsed) {
  detector.patches_ = {{5, 6, 0, -3}};

  EXPECT_EQ(Convert({{MakeObject(1)}})->bboxes, (Boxes{{15, 26, 45, 66}}));
}

TEST_F(Conversion, BoxIsNotClippedToTheFrame) {
  detector.patches_ = {{1900, 1000, 640, 640}};
  Object object = MakeObject(1);
  object.x = -2000.0F;
  object.width = 5000.0F;
  object.height = 600.0F;

  EXPECT_EQ(Convert({{object}})->bboxes, (Boxes{{-100, 1020, 4900, 1620}}));
}

TEST_F(Conversion, BoxesAndScoresAreListedWhateverTheirValues) {
  Object endless = MakeObject(1);
  endless.x = std::numeric_limits<float>::infinity();
  endless.score = 1.5F;
  Object hopeless = MakeObject(2, Mask(2, 2));
  hopeless.score = 0.0F;
  Object negative = MakeObject(3);
  negative.score = -5.0F;

  const Result result = Convert({{endless, hopeless, negative}});

  EXPECT_EQ(result->labels, (Labels{1, 2, 3}));
  EXPECT_EQ(result->bboxes[0][0], endless.x);
  EXPECT_EQ(result->scores, (std::vector<float>{1.5F, 0.0F, -5.0F}));
  EXPECT_EQ(result->mask_pixel_counts, Counts{4.0F});
}

TEST_F(Conversion, ThreeHundredObjectsAreListedAndPainted) {
  const Result result = Convert({std::vector<Object>(300, MakeObject(1, Mask(1, 1)))});

  EXPECT_EQ(result->labels, Labels(300, 1));
  EXPECT_EQ(result->mask_pixel_counts, Counts(300, 1.0F));
}

TEST_F(Conversion, FractionsAreKept) {
  Object object = MakeObject(1);
  object.x = 0.25F;
  object.y = 0.5F;
  object.width = 1.25F;
  object.height = 2.5F;

  EXPECT_EQ(Convert({{}, {object}})->bboxes, (Boxes{{640.25F, 100.5F, 641.5F, 103.0F}}));
}

TEST_F(Conversion, FarCornerAddsTheSizeBeforeTheOrigin) {
  // 2^24 + 1 rounds to 2^24 in float, each time; 2^24 + (1 + 1) would not.
  detector.patches_ = {{1, 1, 10, 10}};
  Object object;
  object.x = 16777216.0F;
  object.y = 16777216.0F;
  object.width = 1.0F;
  object.height = 1.0F;

  EXPECT_EQ(Convert({{object}})->bboxes,
            (Boxes{{16777216.0F, 16777216.0F, 16777216.0F, 16777216.0F}}));
}

TEST_F(Conversion, FarCornerIsNotTheShiftedCornerAndTheSize) {
  // Floats beside 640 are 2^-14 apart: half of that is lost when it is added alone, twice half not.
  constexpr float kHalf = 0x1p-15F;
  detector.patches_ = {{640, 640, 10, 10}};
  Object object;
  object.x = kHalf;
  object.y = kHalf;
  object.width = kHalf;
  object.height = kHalf;

  EXPECT_EQ(Convert({{object}})->bboxes,
            (Boxes{{640.0F, 640.0F, 640.0F + 2 * kHalf, 640.0F + 2 * kHalf}}));
}

TEST_F(Conversion, ObjectsStandPatchByPatchInListOrder) {
  std::vector<Object> objects(4, MakeObject(0));
  for (int i = 0; i < 4; ++i) {
    objects[static_cast<std::size_t>(i)].label = 10 + i;
    objects[static_cast<std::size_t>(i)].score = 0.25F * static_cast<float>(i);
  }

  const Result result = Convert({{objects[2], objects[0]}, {objects[3], objects[1]}});

  EXPECT_EQ(result->labels, (Labels{12, 10, 13, 11}));
  EXPECT_EQ(result->scores, (std::vector<float>{0.5F, 0.0F, 0.75F, 0.25F}));
  EXPECT_EQ(result->bboxes.size(), 4U);
}

TEST_F(Conversion, ListsArePairedWithPatchesByPosition) {
  // The first patch lies outside of every image and took no slot; its list is the second patch's.
  detector.patches_ = {{5000, 5000, 10, 10}, {100, 200, 640, 640}};

  const Result result = Convert({{MakeObject(1, Mask(4, 4))}});

  EXPECT_EQ(result->bboxes, (Boxes{{5010, 5020, 5040, 5060}}));
  EXPECT_TRUE(result->mask_pixel_counts.empty());
}

TEST_F(Conversion, ListsBeyondThePatchesArePlacedAtTheOrigin) {
  detector.patches_ = {{100, 200, 10, 10}};

  const Result result = Convert({{MakeObject(1)}, {MakeObject(2, Mask(2, 3))}});

  EXPECT_EQ(result->bboxes, (Boxes{{110, 220, 140, 260}, {10, 20, 40, 60}}));
  EXPECT_TRUE(SameImage(result->label_masks.at(2), Canvas({0, 0, 3, 2})));
}

TEST_F(Conversion, WithoutPatchesEveryListIsPlacedAtTheOrigin) {
  detector.patches_.clear();

  EXPECT_EQ(Convert({{MakeObject(1)}})->bboxes, (Boxes{{10, 20, 40, 60}}));
}

TEST_F(Conversion, FewerListsThanPatchesAreFine) {
  EXPECT_EQ(Convert({{MakeObject(1)}})->bboxes.size(), 1U);
  EXPECT_EQ(log.GetLines(), Lines{PatchLine(0, 1)});
}

// --- The line of each patch ---

TEST_F(Conversion, EveryPatchLogsItsNumberOfObjects) {
  Convert({{}, {MakeObject(1), MakeObject(2), MakeObject(3, Mask(1, 1))}, {}});

  EXPECT_EQ(log.GetLines(), (Lines{PatchLine(0, 0), PatchLine(1, 3), PatchLine(2, 0)}));
}

// --- Masks ---

TEST_F(Conversion, MaskIsPaintedAtItsPatch) {
  const Result result = Convert({{}, {MakeObject(3, Mask(5, 7))}});

  ASSERT_EQ(result->label_masks.size(), 1U);
  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({640, 100, 7, 5})));
  EXPECT_EQ(result->mask_pixel_counts, Counts{35.0F});
}

TEST_F(Conversion, EmptyMaskIsListedButPaintsNothing) {
  const Result result = Convert({{MakeObject(3), MakeObject(4, Mask(2, 2))}});

  EXPECT_EQ(result->labels, (Labels{3, 4}));
  EXPECT_EQ(result->bboxes.size(), 2U);
  EXPECT_EQ(result->scores.size(), 2U);
  EXPECT_EQ(result->mask_pixel_counts, Counts{4.0F});
  EXPECT_EQ(result->label_masks.count(3), 0U);
}

TEST_F(Conversion, MaskIsClippedAtTheRightEdge) {
  detector.patches_ = {{1900, 0, 640, 640}};

  const Result result = Convert({{MakeObject(3, Mask(2, 64))}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({1900, 0, 20, 2})));
  EXPECT_EQ(result->mask_pixel_counts, Counts{40.0F});
}

TEST_F(Conversion, MaskIsClippedAtTheLowerEdge) {
  detector.patches_ = {{0, 1070, 640, 640}};

  const Result result = Convert({{MakeObject(3, Mask(64, 3))}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({0, 1070, 3, 10})));
  EXPECT_EQ(result->mask_pixel_counts, Counts{30.0F});
}

TEST_F(Conversion, OnlyPixelsInsideTheFrameAreCounted) {
  detector.patches_ = {{1918, 1079, 640, 640}};
  cv::Mat mask = Mask(3, 3, 0);
  mask.at<std::uint8_t>(0, 1) = 255;
  mask.at<std::uint8_t>(0, 2) = 255;
  mask.at<std::uint8_t>(1, 0) = 255;

  EXPECT_EQ(Convert({{MakeObject(3, mask)}})->mask_pixel_counts, Counts{1.0F});
}

TEST_F(Conversion, MaskIsClippedToTheFrameNotToTheImage) {
  images = ColorOnly(ColorImage(480, 640));
  detector.patches_ = {{600, 470, 640, 640}};

  const Result result = Convert({{MakeObject(3, Mask(50, 70))}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({600, 470, 70, 50})));
  EXPECT_EQ(result->mask_pixel_counts, Counts{3500.0F});
}

TEST_F(Conversion, MaskIsClippedNeitherToItsPatchNorToItsBox) {
  detector.patches_ = {{5, 6, 2, 2}};
  Object object = MakeObject(3, Mask(4, 3));
  object.width = 0.0F;
  object.height = -1.0F;

  const Result result = Convert({{object}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({5, 6, 3, 4})));
  EXPECT_EQ(result->mask_pixel_counts, Counts{12.0F});
}

TEST_F(Conversion, MaskIsReadAtItsRowStep) {
  // One pixel of 3 x 2, cut from a matrix that is set all around.
  cv::Mat mask = Mask(4, 10)(cv::Rect(5, 1, 3, 2));
  mask.setTo(cv::Scalar(0));
  mask.row(1).col(2).setTo(cv::Scalar(255));

  const Result result = Convert({{MakeObject(3, mask)}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({2, 1, 1, 1})));
  EXPECT_EQ(result->mask_pixel_counts, Counts{1.0F});
}

TEST_F(Conversion, MaskOutsideTheFrameIsSkipped) {
  for (const cv::Point& origin : {cv::Point(1920, 0), cv::Point(0, 1080), cv::Point(3000, 3000),
                                  cv::Point(INT_MAX, 0), cv::Point(0, INT_MAX)}) {
    detector.patches_ = {{origin, cv::Size(640, 640)}};

    const Result result = Convert({{MakeObject(3, Mask(4, 4))}});

    EXPECT_EQ(result->labels, Labels{3}) << origin;
    EXPECT_TRUE(result->mask_pixel_counts.empty()) << origin;
    EXPECT_TRUE(result->label_masks.empty()) << origin;
  }
}

TEST_F(Conversion, LastPixelOfTheFrameIsInside) {
  detector.patches_ = {{1919, 1079, 640, 640}};

  const Result result = Convert({{MakeObject(3, Mask(4, 4))}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({1919, 1079, 1, 1})));
}

TEST_F(Conversion, NegativeOriginIsLeftToOpenCv) {
  detector.patches_ = {{-1, 0, 640, 640}};

  EXPECT_THROW(Convert({{MakeObject(3, Mask(4, 4))}}), cv::Exception);
}

TEST_F(Conversion, MaskOfAnotherTypeIsRefusedByOpenCvItself) {
  // OpenCV takes one pixel of another type for a number, and then has nowhere to put the result.
  for (const cv::Size& size : {cv::Size(4, 4), cv::Size(1, 1)}) {
    for (const int type : {CV_8SC1, CV_8UC3, CV_16UC1, CV_32FC1, CV_64FC1}) {
      const cv::Mat mask(size, type, cv::Scalar::all(1));
      try {
        Convert({{MakeObject(3, mask)}});
        ADD_FAILURE() << type << " was taken";
      } catch (const cv::Exception& error) {
        EXPECT_EQ(error.file.find("dirty_seg_detector"), std::string::npos) << error.what();
      }
    }
  }
}

TEST_F(Conversion, MaskOfAnotherTypeOutsideTheFrameIsSkipped) {
  detector.patches_ = {{1920, 0, 640, 640}};
  const cv::Mat mask(4, 4, CV_8UC3, cv::Scalar::all(1));

  EXPECT_TRUE(Convert({{MakeObject(3, mask)}})->label_masks.empty());
}

// It has neither columns nor rows to reach into the frame with.
TEST_F(Conversion, MaskOfThreeDimensionsIsListedButPaintsNothing) {
  const int sizes[] = {4, 4, 4};

  const Result result = Convert({{MakeObject(3, cv::Mat(3, sizes, CV_8UC1, cv::Scalar(255)))}});

  EXPECT_EQ(result->labels, Labels{3});
  EXPECT_TRUE(result->mask_pixel_counts.empty());
  EXPECT_TRUE(result->label_masks.empty());
}

TEST_F(Conversion, CanvasHasTheFramesSizeWhateverTheImages) {
  images = ColorOnly(ColorImage(480, 640));

  const cv::Mat canvas = Convert({{MakeObject(3, Mask(1, 1))}})->label_masks.at(3);

  EXPECT_EQ(canvas.size(), cv::Size(1920, 1080));
  EXPECT_EQ(canvas.type(), CV_8UC1);
}

TEST_F(Conversion, OverlappingMasksOfOneLabelAreUnitedAndCountedInFull) {
  cv::Mat left = Mask(4, 8, 0);
  left(cv::Rect(0, 0, 5, 4)).setTo(cv::Scalar(255));
  cv::Mat right = Mask(4, 8, 0);
  right(cv::Rect(3, 0, 5, 4)).setTo(cv::Scalar(255));

  const Result result = Convert({{MakeObject(3, left), MakeObject(3, right)}});

  ASSERT_EQ(result->label_masks.size(), 1U);
  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({0, 0, 8, 4})));
  EXPECT_EQ(result->mask_pixel_counts, (Counts{20.0F, 20.0F}));
}

TEST_F(Conversion, MasksOfOneLabelUniteAcrossPatches) {
  const Result result = Convert({{MakeObject(3, Mask(2, 2))}, {MakeObject(3, Mask(2, 2))}});

  cv::Mat expected = Canvas({0, 0, 2, 2});
  expected(cv::Rect(640, 100, 2, 2)).setTo(cv::Scalar(255));
  EXPECT_TRUE(SameImage(result->label_masks.at(3), expected));
}

TEST_F(Conversion, MasksAreUnitedBitByBit) {
  const Result result = Convert({{MakeObject(3, Mask(1, 1, 1)), MakeObject(3, Mask(1, 1, 6))}});

  EXPECT_EQ(result->label_masks.at(3).at<std::uint8_t>(0, 0), 7);
  EXPECT_EQ(result->mask_pixel_counts, (Counts{1.0F, 1.0F}));
}

TEST_F(Conversion, EveryLabelHasItsOwnCanvas) {
  const Result result = Convert({{MakeObject(3, Mask(1, 1)), MakeObject(-4, Mask(2, 2))}});

  ASSERT_EQ(result->label_masks.size(), 2U);
  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({0, 0, 1, 1})));
  EXPECT_TRUE(SameImage(result->label_masks.at(-4), Canvas({0, 0, 2, 2})));
}

TEST_F(Conversion, MaskOfZerosMakesACanvasAndCountsNothing) {
  const Result result = Convert({{MakeObject(3, Mask(2, 2, 0))}});

  EXPECT_TRUE(SameImage(result->label_masks.at(3), cv::Mat::zeros(1080, 1920, CV_8UC1)));
  EXPECT_EQ(result->mask_pixel_counts, Counts{0.0F});
}

TEST_F(Conversion, CountsAreOutOfStepWithBoxesOnceAMaskIsMissing) {
  const Result result =
      Convert({{MakeObject(1, Mask(1, 1)), MakeObject(2), MakeObject(3, Mask(1, 3))}});

  EXPECT_EQ(result->bboxes.size(), 3U);
  EXPECT_EQ(result->mask_pixel_counts, (Counts{1.0F, 3.0F}));
}

TEST_F(Conversion, MasksAreNotWritten) {
  const cv::Mat first = Mask(1, 1, 1);
  const cv::Mat second = Mask(1, 1, 6);

  Convert({{MakeObject(3, first), MakeObject(3, second)}});

  EXPECT_EQ(first.at<std::uint8_t>(0, 0), 1);
  EXPECT_EQ(second.at<std::uint8_t>(0, 0), 6);
}

// --- Candidates ---

TEST_F(Conversion, ConfirmedCandidateGetsLabel19) {
  SetUpClassifier({3}, "y");

  const Result result = Convert({{MakeObject(3, Mask(2, 2))}});

  EXPECT_EQ(result->labels, Labels{19});
  EXPECT_EQ(result->label_masks.count(3), 0U);
  EXPECT_TRUE(SameImage(result->label_masks.at(19), Canvas({0, 0, 2, 2})));
}

TEST_F(Conversion, RejectedCandidateKeepsLabelAndCanvas) {
  SetUpClassifier({3}, "n");

  const Result result = Convert({{MakeObject(3, Mask(2, 2))}});

  EXPECT_EQ(result->labels, Labels{3});
  EXPECT_EQ(result->label_masks.count(19), 0U);
  EXPECT_EQ(result->label_masks.count(3), 1U);
}

TEST_F(Conversion, OneClassCanSplitBetweenItsOwnCanvasAnd19) {
  SetUpClassifier({3}, "yn");

  const Result result = Convert({{MakeObject(3, Mask(1, 1)), MakeObject(3, Mask(2, 2))}});

  EXPECT_EQ(result->labels, (Labels{19, 3}));
  EXPECT_TRUE(SameImage(result->label_masks.at(19), Canvas({0, 0, 1, 1})));
  EXPECT_TRUE(SameImage(result->label_masks.at(3), Canvas({0, 0, 2, 2})));
}

TEST_F(Conversion, ConfirmedCandidatesOfAllClassesShareTheCanvasOf19) {
  SetUpClassifier({3, 4}, "yy");

  const Result result = Convert({{MakeObject(3, Mask(1, 3)), MakeObject(4, Mask(3, 1))}});

  cv::Mat expected = Canvas({0, 0, 3, 1});
  expected(cv::Rect(0, 0, 1, 3)).setTo(cv::Scalar(255));
  ASSERT_EQ(result->label_masks.size(), 1U);
  EXPECT_TRUE(SameImage(result->label_masks.at(19), expected));
}

TEST_F(Conversion, VerdictChangesNeitherBoxNorScoreNorCount) {
  SetUpClassifier({3}, "y");

  const Result result = Convert({{MakeObject(3, Mask(2, 2))}});

  EXPECT_EQ(result->bboxes, (Boxes{{10, 20, 40, 60}}));
  EXPECT_EQ(result->scores, std::vector<float>{0.5F});
  EXPECT_EQ(result->mask_pixel_counts, Counts{4.0F});
}

TEST_F(Conversion, ClassifierIsAskedWithTheBoxInTheFrame) {
  SetUpClassifier({3}, "nn");

  Convert({{MakeObject(3)}, {MakeObject(3)}});

  EXPECT_EQ(BoxesAsked(), (std::vector<std::string>{"[10, 20, 40, 60]", "[650, 120, 680, 160]"}));
}

TEST_F(Conversion, ClassifierIsAskedWithTheBoxUnclipped) {
  SetUpClassifier({3}, "y");
  Object object = MakeObject(3);
  object.x = -50.0F;

  Convert({{object}});

  EXPECT_EQ(log.GetLines().front(), Error("judge_fece", "[FECE] Invalid bbox: [-50, 20, -20, 60]"));
}

TEST_F(Conversion, OnlyListedClassesAreAsked) {
  SetUpClassifier({7, 3, 9}, "nnn");

  Convert({{MakeObject(9), MakeObject(1), MakeObject(3), MakeObject(7), MakeObject(19)}});

  EXPECT_EQ(BoxesAsked().size(), 3U);
}

TEST_F(Conversion, ListedClassesMayBeNegativeRepeatedOr19) {
  for (const int label : {-4, 3, 19}) {
    SetUpClassifier({3, -4, 19, 3}, "y");

    EXPECT_EQ(Convert({{MakeObject(label)}})->labels, Labels{19}) << label;

    EXPECT_EQ(BoxesAsked().size(), 1U) << label;
  }
}

TEST_F(Conversion, WithoutListedClassesNobodyIsAsked) {
  SetUpClassifier({}, "y");

  EXPECT_EQ(Convert({{MakeObject(3)}})->labels, Labels{3});

  EXPECT_TRUE(BoxesAsked().empty());
}

TEST_F(Conversion, ClassifierIsAskedWhateverTheScoreAndTheMask) {
  SetUpClassifier({3}, "yy");
  Object hopeless = MakeObject(3);
  hopeless.score = -5.0F;
  Object certain = MakeObject(3, Mask(1, 1));
  certain.score = 1.0F;

  EXPECT_EQ(Convert({{hopeless, certain}})->labels, (Labels{19, 19}));
}

TEST_F(Conversion, WithTheSwitchOffNobodyIsAsked) {
  SetUpClassifier({3}, "y");
  detector.config_->fece_enable = false;

  EXPECT_EQ(Convert({{MakeObject(3)}})->labels, Labels{3});

  EXPECT_TRUE(script::CallsOf(script::kInfer).empty());
  EXPECT_EQ(log.GetLines(), Lines{PatchLine(0, 1)});
}

TEST_F(Conversion, SegmentationMayEmit19Itself) {
  const Result result = Convert({{MakeObject(19, Mask(1, 1))}});

  EXPECT_EQ(result->labels, Labels{19});
  EXPECT_EQ(result->label_masks.count(19), 1U);
}

TEST_F(Conversion, FailureOfTheClassifierKeepsTheLabel) {
  SetUpClassifier({3}, "y");
  images.clear();

  EXPECT_EQ(Convert({{MakeObject(3)}})->labels, Labels{3});

  EXPECT_EQ(log.GetLines(),
            (Lines{Error("judge_fece", "[FECE] Invalid color image"), PatchLine(0, 1)}));
}

TEST_F(Conversion, ExceptionOfTheClassifierPassesThrough) {
  // OpenCV cannot resize 32-bit integers.
  SetUpClassifier({3}, "y");
  images = ColorOnly(std::make_shared<cv::Mat>(1080, 1920, CV_32SC3, cv::Scalar::all(0)));

  EXPECT_THROW(Convert({{MakeObject(3)}}), cv::Exception);
}

TEST_F(Conversion, LineOfThePatchComesBehindItsCandidates) {
  SetUpClassifier({3}, "y");

  Convert({{MakeObject(3)}, {}});

  const Lines& lines = log.GetLines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0].function, "judge_fece");
  EXPECT_EQ(lines[1].function, "judge_fece");
  EXPECT_EQ(lines[2], PatchLine(0, 1));
  EXPECT_EQ(lines[3], PatchLine(1, 0));
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
