// COCO's compressed run lengths, against texts worked out by hand.
#include "results/run_length.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/rejection.h"

namespace dirty_seg {
namespace {

// A mask written row by row, '#' set.
cv::Mat Mask(const std::vector<std::string>& rows) {
  cv::Mat mask(static_cast<int>(rows.size()), static_cast<int>(rows.at(0).size()), CV_8UC1);
  for (int y = 0; y < mask.rows; ++y) {
    for (int x = 0; x < mask.cols; ++x) {
      const char c = rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
      mask.at<std::uint8_t>(y, x) = c == '#' ? 255 : 0;
    }
  }
  return mask;
}

// A mask of one column with runs of these lengths, zeros first.
cv::Mat Column(std::initializer_list<int> runs) {
  cv::Mat mask;
  int value = 0;
  for (const int run : runs) {
    mask.push_back(cv::Mat(run, 1, CV_8UC1, cv::Scalar(value)));
    value = 255 - value;
  }
  return mask;
}

void ExpectEqual(const cv::Mat& actual, const cv::Mat& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  EXPECT_EQ(cv::countNonZero(actual != expected), 0);
}

TEST(EncodeRunLengths, AnEmptyMaskIsOneRunOfZeros) {
  EXPECT_EQ(EncodeRunLengths(Mask({"..", ".."})).counts, "4");
}

TEST(EncodeRunLengths, AFullMaskBeginsWithARunOfNoZeros) {
  EXPECT_EQ(EncodeRunLengths(Mask({"##", "##"})).counts, "04");
}

// Runs across eight pixels and columns, values beside 255, and a frame of zeros: of the 60 pixels
// of three columns, 20 + 1 come before the first set one, 17 are set, 2 + 20 come after.
TEST(EncodeRunLengths, CountsLongRunsOfAnyValueWithinAFrameOfZeros) {
  cv::Mat mask = cv::Mat::zeros(20, 3, CV_8UC1);
  for (int y = 1; y < 18; ++y) mask.at<std::uint8_t>(y, 1) = y < 12 ? 255 : 1;
  EXPECT_EQ(EncodeRunLengths(mask).counts, "e0a0f0");
  mask.at<std::uint8_t>(19, 2) = 7;  // 21, 17, 21, 1
  EXPECT_EQ(EncodeRunLengths(mask).counts, "e0a0e0@");
}

// A part that begins at an odd address: 0, 1 set, 1 not, 1 set, 9 not; the last two are told as
// differences, 1 - 1 and 9 - 1.
TEST(EncodeRunLengths, FindsEveryPixelOfANarrowPart) {
  cv::Mat wider = cv::Mat::zeros(2, 15, CV_8UC1);
  cv::Mat mask = wider(cv::Rect(2, 1, 12, 1));
  mask.at<std::uint8_t>(0, 0) = 7;
  mask.at<std::uint8_t>(0, 2) = 209;
  EXPECT_EQ(EncodeRunLengths(mask).counts, "01108");
}

TEST(EncodeRunLengths, TellsHeightBeforeWidth) {
  const RunLengths lengths = EncodeRunLengths(Mask({"...", "..."}));
  EXPECT_EQ(lengths.height, 2);
  EXPECT_EQ(lengths.width, 3);
}

TEST(EncodeRunLengths, CountsDownTheColumns) {
  // Down the columns: zeros 7, one 1, zeros 4.
  EXPECT_EQ(EncodeRunLengths(Mask({"....", "..#.", "...."})).counts, "714");
}

TEST(EncodeRunLengths, StoresDifferencesFromTheFourthRunOn) {
  // Six runs of 1: the last three equal the ones two before them.
  EXPECT_EQ(EncodeRunLengths(Mask({"...", "###"})).counts, "111000");
  // Runs 0, 1, 1, 1, 1.
  EXPECT_EQ(EncodeRunLengths(Mask({"##", ".."})).counts, "01100");
}

TEST(EncodeRunLengths, WritesANegativeDifferenceInTwosComplement) {
  // 3 - 6 is -3, binary ...11101: 29 + 48 is 'M'.
  EXPECT_EQ(EncodeRunLengths(Column({5, 6, 2, 3})).counts, "562M");
}

TEST(EncodeRunLengths, UsesASecondGroupWhenBitFourWouldReadAsASign) {
  EXPECT_EQ(EncodeRunLengths(Column({15})).counts, "?");   // 15 + 48
  EXPECT_EQ(EncodeRunLengths(Column({16})).counts, "`0");  // 16 + 32 + 48, then 0
}

TEST(EncodeRunLengths, AnEmptyFrameTakesFiveCharacters) {
  // 2073600 is 1 11111 01001 00000 00000 in groups of five bits.
  EXPECT_EQ(EncodeRunLengths(cv::Mat::zeros(1080, 1920, CV_8UC1)).counts, "PPYo1");
}

TEST(EncodeRunLengths, TakesEveryValueButZeroAsSet) {
  cv::Mat mask = Mask({"##", "##"});
  mask.at<std::uint8_t>(0, 1) = 1;
  EXPECT_EQ(EncodeRunLengths(mask).counts, "04");
}

TEST(EncodeRunLengths, ReadsAPartOfALargerMask) {
  const cv::Mat mask = Mask({"####", "#..#", "#.##", "####"});
  EXPECT_EQ(EncodeRunLengths(mask(cv::Rect(1, 1, 2, 2))).counts, "31");
}

TEST(DecodeRunLengths, ReadsWhatIsWrittenByHand) {
  ExpectEqual(DecodeRunLengths({2, 2, "4"}), Mask({"..", ".."}));
  ExpectEqual(DecodeRunLengths({2, 2, "04"}), Mask({"##", "##"}));
  ExpectEqual(DecodeRunLengths({3, 4, "714"}), Mask({"....", "..#.", "...."}));
  ExpectEqual(DecodeRunLengths({2, 3, "111000"}), Mask({"...", "###"}));
  ExpectEqual(DecodeRunLengths({16, 1, "562M"}), Column({5, 6, 2, 3}));
  ExpectEqual(DecodeRunLengths({16, 1, "`0"}), Column({16}));
}

TEST(EncodeRunLengths, OfAPartAreThoseOfTheWholeMask) {
  const cv::Mat part = Mask({".#.", "##."});
  for (const cv::Point& at : {cv::Point(0, 0), cv::Point(2, 1), cv::Point(4, 3)}) {
    cv::Mat whole = cv::Mat::zeros(5, 7, CV_8UC1);
    part.copyTo(whole(cv::Rect(at, part.size())));
    const RunLengths lengths = EncodeRunLengths(part, at, whole.size());
    EXPECT_EQ(lengths.counts, EncodeRunLengths(whole).counts) << at;
    EXPECT_EQ(cv::Size(lengths.width, lengths.height), whole.size());
  }
}

TEST(EncodeRunLengths, OfAPartWithoutPixelsAreOneRunOfZeros) {
  EXPECT_EQ(EncodeRunLengths(cv::Mat(), {0, 0}, {3, 2}).counts, "6");
}

TEST(DecodeRunLengths, GivesBackWhatWasEncoded) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < 200; ++i) {
    const int height = std::uniform_int_distribution<>(1, 70)(random);
    const int width = std::uniform_int_distribution<>(1, 70)(random);
    const double fill = std::uniform_real_distribution<>(0.0, 1.0)(random);
    std::bernoulli_distribution is_set(i % 2 == 0 ? fill : fill / 50.0);  // every other one sparse
    cv::Mat mask(height, width, CV_8UC1);
    for (auto& pixel : cv::Mat_<std::uint8_t>(mask)) pixel = is_set(random) ? 255 : 0;
    const RunLengths lengths = EncodeRunLengths(mask);
    SCOPED_TRACE(lengths.counts);
    ExpectEqual(DecodeRunLengths(lengths), mask);
  }
}

std::string RejectionOf(const RunLengths& lengths) {
  return test::RejectionOf<std::invalid_argument>([&] { DecodeRunLengths(lengths); });
}

TEST(EncodeRunLengths, OfAMaskWithoutPixelsAreOneEmptyRun) {
  EXPECT_EQ(EncodeRunLengths(cv::Mat(0, 5, CV_8UC1)).counts, "0");
  EXPECT_EQ(EncodeRunLengths(cv::Mat(5, 0, CV_8UC1)).counts, "0");
}

TEST(DecodeRunLengths, GivesBackAMaskWithoutPixels) {
  EXPECT_EQ(DecodeRunLengths({0, 5, "0"}).size(), cv::Size(5, 0));
  EXPECT_EQ(DecodeRunLengths({5, 0, ""}).size(), cv::Size(0, 5));
}

TEST(DecodeRunLengths, RefusesANegativeSide) {
  EXPECT_EQ(RejectionOf({-1, 5, "0"}), "run lengths of -1 x 5 pixels; expected no side below 0");
  EXPECT_EQ(RejectionOf({5, -1, "0"}), "run lengths of 5 x -1 pixels; expected no side below 0");
}

TEST(DecodeRunLengths, RefusesACharacterOutsideItsAlphabet) {
  EXPECT_EQ(RejectionOf({2, 2, "1/"}), "run lengths, character 1: expected one of '0' to 'o'");
  EXPECT_EQ(RejectionOf({2, 2, "p"}), "run lengths, character 0: expected one of '0' to 'o'");
}

TEST(DecodeRunLengths, RefusesATextThatEndsWithinANumber) {
  EXPECT_EQ(RejectionOf({2, 2, "`"}), "run lengths, character 1: the text ends within a number");
}

TEST(DecodeRunLengths, RefusesANumberOfMoreThan64Bits) {
  EXPECT_EQ(RejectionOf({2, 2, "PPPPPPPPPPPPP1"}),
            "run lengths, character 12: the number is too long");
}

TEST(DecodeRunLengths, RefusesTooManyAndTooFewPixels) {
  EXPECT_EQ(RejectionOf({2, 2, "5"}),
            "run lengths, character 1: a run of 5 pixels where 4 are left");
  EXPECT_EQ(RejectionOf({2, 2, "12"}), "run lengths, character 2: ends 1 pixels early");
}

TEST(DecodeRunLengths, RefusesANegativeRun) {
  // 'O' is -1.
  EXPECT_EQ(RejectionOf({2, 2, "O"}),
            "run lengths, character 1: a run of -1 pixels where 4 are left");
}

TEST(RunLengthsToJson, HasTheHeightFirst) {
  EXPECT_EQ(RunLengthsToJson({2, 3, "06"}).dump(), R"({"size":[2,3],"counts":"06"})");
}

}  // namespace
}  // namespace dirty_seg
