// Run lengths there and back: a mask comes back as it was, and a text that is not a list of run
// lengths is refused in the documented way.
#include "results/run_length.h"

#include <cstring>
#include <stdexcept>

#include "input.h"

namespace {

using dirty_seg::DecodeRunLengths;
using dirty_seg::EncodeRunLengths;
using dirty_seg::RunLengths;
using fuzz::Input;
using fuzz::Require;

bool AreEqual(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() &&
         (a.empty() || cv::countNonZero(a != b) == 0);
}

// Where the mask lies in a wider image, and how much larger that is.
constexpr int kLeft = 2;
constexpr int kTop = 1;
const cv::Size kAround(3, 1);

// Runs of pixels, as real masks have them; the mask is a part of a wider image.
cv::Mat TakeMask(Input& input) {
  const cv::Size size{input.TakeFrom(0, 200), input.TakeFrom(0, 200)};
  cv::Mat image = cv::Mat::zeros(size + kAround, CV_8UC1);
  cv::Mat mask = image(cv::Rect(cv::Point(kLeft, kTop), size));
  for (int i = 0; i < size.area() && !input.IsEmpty();) {
    const auto value = input.Take<std::uint8_t>();
    for (int left = input.TakeFrom(0, 255); left >= 0 && i < size.area(); --left, ++i) {
      image.at<std::uint8_t>(kTop + i % size.height, kLeft + i / size.height) = value;
    }
  }
  return mask;
}

void ThereAndBack(const cv::Mat& mask) {
  const RunLengths coded = EncodeRunLengths(mask);
  Require(coded.width == mask.cols && coded.height == mask.rows, "the size is the mask's");
  cv::Mat set = mask.clone();
  if (!mask.empty()) cv::compare(mask, 0, set, cv::CMP_NE);
  Require(AreEqual(DecodeRunLengths(coded), set), "the mask comes back");
}

// As a part of a larger mask and as that mask.
void AsAPart(const cv::Mat& mask) {
  cv::Mat whole = cv::Mat::zeros(mask.size() + kAround, CV_8UC1);
  const cv::Point at(kLeft, kTop);
  if (!mask.empty()) mask.copyTo(whole(cv::Rect(at, mask.size())));
  Require(EncodeRunLengths(mask, at, whole.size()).counts == EncodeRunLengths(whole).counts,
          "a part is coded as the whole mask");
}

void BackAndThere(Input& input) {
  RunLengths coded{input.TakeFrom(-2, 300), input.TakeFrom(-2, 300), input.TakeRest()};
  cv::Mat mask;
  try {
    mask = DecodeRunLengths(coded);
  } catch (const std::invalid_argument&) {
    return;
  }
  Require(mask.cols == coded.width && mask.rows == coded.height, "the mask has the size");
  const RunLengths again = EncodeRunLengths(mask);
  Require(again.counts.size() <= coded.counts.size() || coded.counts.empty(),
          "the encoder writes the shortest form");
  Require(AreEqual(DecodeRunLengths(again), mask), "what was read is written alike");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.TakeBool()) {
    const cv::Mat mask = TakeMask(input);
    ThereAndBack(mask);
    AsAPart(mask);
  } else {
    BackAndThere(input);
  }
  return 0;
}
