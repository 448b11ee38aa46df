// From frames to results, beside what the same program found on x86-64.
//
// Where the results may part: ONNX Runtime multiplies matrices with other instructions on other
// processors, and so adds the same numbers in another order. Everything before and after it is the
// same to the bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "results/run_length.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg::test {

struct Scene {
  std::string name;
  std::string folder;
  std::string config;
  std::string faeces_class;
  std::string frames;    // in the folder
  std::string expected;  // the records, a line per frame
};

// GoogleTest names the scene when a test fails.
void PrintTo(const Scene& scene, std::ostream* stream) { *stream << scene.name; }

namespace {

using nlohmann::json;

// Measured between x86-64 and emulated Arm processors, on the floor and on the demo: scores 8.4e-7,
// boxes 1.3e-4, masks the same. The room above is for other orders of sums; a mask's pixel may also
// differ when its logit is at the threshold to the last bit.
constexpr double kScoreTolerance = 1e-5;
constexpr double kBoxTolerance = 0.01;
constexpr double kMinMaskOverlap = 0.999;

std::vector<json> Records(const std::string& text) {
  std::vector<json> records;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) records.push_back(json::parse(line));
  return records;
}

std::vector<json> FindDirt(const Scene& scene) {
  const std::string folder = scene.folder + "/";
  const ProgramResult run = RunProgram(
      {"detect", "--model", folder + "dirt-seg.onnx", "--config", folder + scene.config,
       "--fece-model", folder + "fece-check.onnx", "--fece-class-ids", scene.faeces_class,
       "--fece-score-threshold", "0.5", "--fece-area-threshold", "400", folder + scene.frames});
  EXPECT_EQ(run.status, 0) << run.errors;
  return Records(run.output);
}

cv::Mat MaskOf(const json& label_mask) {
  const json& rle = label_mask.at("rle");
  return DecodeRunLengths({rle.at("size")[0], rle.at("size")[1], rle.at("counts")});
}

double Overlap(const cv::Mat& a, const cv::Mat& b) {
  return static_cast<double>(cv::countNonZero(a & b)) / std::max(1, cv::countNonZero(a | b));
}

void ExpectSameBoxes(const json& found, const json& expected) {
  ASSERT_EQ(found.at("labels"), expected.at("labels"));
  ASSERT_FALSE(expected.at("labels").empty());
  for (std::size_t i = 0; i < expected.at("labels").size(); ++i) {
    EXPECT_NEAR(found.at("scores")[i], expected.at("scores")[i], kScoreTolerance) << i;
    for (std::size_t edge = 0; edge < 4; ++edge) {
      EXPECT_NEAR(found.at("bboxes")[i][edge], expected.at("bboxes")[i][edge], kBoxTolerance) << i;
    }
  }
}

void ExpectSameMasks(const json& found, const json& expected) {
  ASSERT_EQ(found.at("label_masks").size(), expected.at("label_masks").size());
  for (const auto& [label, label_mask] : expected.at("label_masks").items()) {
    ASSERT_TRUE(found.at("label_masks").contains(label)) << label;
    EXPECT_GE(Overlap(MaskOf(found.at("label_masks").at(label)), MaskOf(label_mask)),
              kMinMaskOverlap)
        << "label " << label;
  }
}

class SameDetections : public testing::TestWithParam<Scene> {};

TEST_P(SameDetections, AreFound) {
  const std::vector<json> expected = Records(ReadFile(GetParam().expected));
  const std::vector<json> found = FindDirt(GetParam());
  ASSERT_FALSE(expected.empty());
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t frame = 0; frame < expected.size(); ++frame) {
    SCOPED_TRACE(expected[frame].at("source"));
    ExpectSameBoxes(found[frame], expected[frame]);
    ExpectSameMasks(found[frame], expected[frame]);
  }
}

INSTANTIATE_TEST_SUITE_P(, SameDetections,
                         testing::Values(Scene{"Floor", FLOOR_FOLDER, "floor.yaml", "3",
                                               "floor.jpg",
                                               EXPECTED_FOLDER "/floor_on_x86_64.jsonl"},
                                         Scene{"Demo", DEMO_FOLDER, "demo.yaml", "5", "frames",
                                               EXPECTED_FOLDER "/demo_on_x86_64.jsonl"}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace dirty_seg::test
