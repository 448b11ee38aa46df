// The README's host on a picture that is not 1920 x 1080.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

namespace {

TEST(ExampleHost, TellsBoxesInThePicturesOwnPixels) {
  const cv::Mat floor = cv::imread(FLOOR_FOLDER "/floor.jpg");
  cv::Mat half;
  cv::resize(floor, half, {960, 540}, 0, 0, cv::INTER_AREA);
  const std::string picture =
      (std::filesystem::temp_directory_path() / ("half_floor_" + std::to_string(getpid()) + ".png"))
          .string();
  ASSERT_TRUE(cv::imwrite(picture, half));

  const std::string command = "SPDLOG_STDOUT=false " EXAMPLE_HOST " " FLOOR_FOLDER
                              "/dirt-seg.onnx " FLOOR_FOLDER "/floor.yaml " +
                              picture;
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  int spills = 0;
  char line[200];
  while (std::fgets(line, sizeof(line), pipe) != nullptr) {
    int label = -1;
    float score = 0.0F;
    float box[4] = {};
    if (std::sscanf(line, "label %d score %f box %f %f %f %f", &label, &score, &box[0], &box[1],
                    &box[2], &box[3]) != 6 ||
        label != 0 || score < 0.5F) {
      continue;
    }
    ++spills;
    // Half of 760, 112 to 1200, 328; the network gives boxes in steps of 8 of the frame's pixels.
    EXPECT_NEAR(box[0], 380.0F, 4.0F);
    EXPECT_NEAR(box[1], 56.0F, 4.0F);
    EXPECT_NEAR(box[2], 600.0F, 4.0F);
    EXPECT_NEAR(box[3], 164.0F, 4.0F);
  }
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_EQ(spills, 1);
  std::filesystem::remove(picture);
}

}  // namespace
