// The floor from end to end, beside what the same program found on x86-64.
//
// Where the results may part: ONNX Runtime multiplies matrices with other instructions on other
// processors, and so adds the same numbers in another order. Everything before and after it is the
// same to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>

#include "host/run_length.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg::test {
namespace {

using nlohmann::json;

// Measured between x86-64 and a Cortex-A53: 1.2e-7. The room above it is for other orders of sums.
constexpr double kScoreTolerance = 1e-5;
// These networks' boxes lie on cells of 4 network pixels: they agree, or they are others.
constexpr double kBoxTolerance = 0.01;
// Measured: no pixel differs. A pixel may, when its logit is at the threshold to the last bit.
constexpr double kLeastMaskOverlap = 0.999;

json Parsed(const std::string& line) { return json::parse(line, nullptr, false); }

json FindDirt() {
  const std::string folder = FLOOR_FOLDER "/";
  const ProgramResult run = RunProgram(
      {"detect", "--model", folder + "dirt-seg.onnx", "--config", folder + "floor.yaml",
       "--fece-model", folder + "fece-check.onnx", "--fece-class-ids", "3",
       "--fece-score-threshold", "0.5", "--fece-area-threshold", "400", folder + "floor.jpg"});
  EXPECT_EQ(run.status, 0) << run.errors;
  return Parsed(run.output);
}

cv::Mat MaskOf(const json& label_mask) {
  const json& rle = label_mask.at("rle");
  return DecodeRunLengths({rle.at("size")[0], rle.at("size")[1], rle.at("counts")});
}

double Overlap(const cv::Mat& a, const cv::Mat& b) {
  return static_cast<double>(cv::countNonZero(a & b)) / std::max(1, cv::countNonZero(a | b));
}

TEST(SameDetections, Floor) {
  const json expected = Parsed(ReadFile(EXPECTED_DETECTIONS));
  const json found = FindDirt();
  ASSERT_FALSE(expected.is_discarded() || found.is_discarded());

  ASSERT_EQ(found.at("labels"), expected.at("labels"));
  ASSERT_FALSE(expected.at("labels").empty());
  for (std::size_t i = 0; i < expected.at("labels").size(); ++i) {
    EXPECT_NEAR(found.at("scores")[i], expected.at("scores")[i], kScoreTolerance) << i;
    for (std::size_t edge = 0; edge < 4; ++edge) {
      EXPECT_NEAR(found.at("bboxes")[i][edge], expected.at("bboxes")[i][edge], kBoxTolerance) << i;
    }
  }

  ASSERT_EQ(found.at("label_masks").size(), expected.at("label_masks").size());
  for (const auto& [label, label_mask] : expected.at("label_masks").items()) {
    ASSERT_TRUE(found.at("label_masks").contains(label)) << label;
    EXPECT_GE(Overlap(MaskOf(found.at("label_masks").at(label)), MaskOf(label_mask)),
              kLeastMaskOverlap)
        << "label " << label;
  }
}

}  // namespace
}  // namespace dirty_seg::test
