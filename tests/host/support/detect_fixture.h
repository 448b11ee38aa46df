// The built program's `detect` on small files.
//
// Two patches of 64 x 64 pixels on seg-b2-64, which finds one box in each (frame_detector_test.cpp
// has the numbers).
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg::test {

using Arguments = std::vector<std::string>;

inline constexpr const char* kPatches =
    "patch:\n  enable: true\n  patches:\n    - [0, 0, 64, 64]\n    - [640, 440, 64, 64]\n";

inline Arguments operator+(Arguments first, const Arguments& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

inline std::vector<nlohmann::json> ParseLines(const std::string& text) {
  std::vector<nlohmann::json> rows;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) rows.push_back(nlohmann::json::parse(line));
  return rows;
}

class DetectFixture : public testing::Test {
 protected:
  Arguments Command(const std::string& model = CommonNetwork("seg-b2-64"),
                    const std::string& yaml = kPatches) {
    return {"detect", "--model", model, "--config", folder_.Write("config.yaml", yaml)};
  }

  static Arguments Classifier(const std::string& model, const std::string& class_ids = "0") {
    return {"--fece-model", model, "--fece-class-ids", class_ids};
  }

  std::string Picture(const std::string& name, const cv::Scalar& colour,
                      const cv::Size& size = kFrame) {
    return WritePicture(folder_ / name, Plain(size, colour));
  }

  // Standard error of a run that is refused.
  std::string RefusalOf(const Arguments& arguments) {
    const ProgramResult result = RunProgram(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    return result.errors;
  }

  TemporaryFolder folder_;
};

}  // namespace dirty_seg::test
