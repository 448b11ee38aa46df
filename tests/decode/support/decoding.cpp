#include "support/decoding.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace nuvik::model {

using test::HeadLayout;
using test::SegmentationOutputs;

HeadLayout Batch(int batch) {
  HeadLayout layout;
  layout.batch = batch;
  return layout;
}

SegmentationOutputs Outputs(const HeadLayout& layout) {
  SegmentationOutputs outputs(layout);
  for (int slot = 0; slot < layout.batch; ++slot) outputs.FillPrototype(slot, 0, 4.0F);
  return outputs;
}

SegmentationOutputs Overlapping() {
  SegmentationOutputs outputs = Outputs(Batch(1));
  outputs.Put(0, 5, {20, 20, 10, 10, 0, 0.9F});
  outputs.Put(0, 3, {22, 20, 10, 10, 0, 0.8F});
  outputs.Put(0, 1, {20, 20, 10, 10, 1, 0.7F});
  return outputs;
}

std::vector<cv::Size> Sizes(const std::vector<cv::Rect>& patches) {
  std::vector<cv::Size> sizes;
  for (const cv::Rect& patch : patches) sizes.push_back(patch.size());
  return sizes;
}

YAML::Node Root(const std::vector<cv::Rect>& patches, const std::string& postprocess) {
  YAML::Node root = YAML::Load("postprocess: " + postprocess);
  root["patch"]["enable"] = true;
  for (const cv::Rect& patch : patches) {
    root["patch"]["patches"].push_back(
        std::vector<int>{patch.x, patch.y, patch.width, patch.height});
  }
  return root;
}

Lists Decode(const SegmentationOutputs& outputs, const std::vector<cv::Rect>& patches,
             const std::string& postprocess) {
  Yolov8Postprocess decoder(Root(patches, postprocess), outputs.Config(), Sizes(patches));
  BufferMap buffers = outputs.Buffers();
  Lists objects;
  EXPECT_EQ(decoder.PostProcess(buffers, objects), kPostProcessOk);
  return objects;
}

std::vector<Object> DecodeOne(const SegmentationOutputs& outputs, const std::string& postprocess) {
  const Lists objects = Decode(outputs, {{0, 0, 64, 64}}, postprocess);
  EXPECT_EQ(objects.size(), 1U);
  return objects.empty() ? std::vector<Object>() : objects[0];
}

void ExpectBox(const Object& object, float x, float y, float width, float height) {
  EXPECT_EQ(object.x, x);
  EXPECT_EQ(object.y, y);
  EXPECT_EQ(object.width, width);
  EXPECT_EQ(object.height, height);
}

cv::Rect FilledRectangle(const cv::Mat& mask) {
  cv::Rect bounds;
  for (int y = 0; y < mask.rows; ++y) {
    for (int x = 0; x < mask.cols; ++x) {
      const int value = mask.at<std::uint8_t>(y, x);
      EXPECT_TRUE(value == 0 || value == 255) << value;
      if (value == 255) bounds |= cv::Rect(x, y, 1, 1);
    }
  }
  EXPECT_EQ(cv::countNonZero(mask), bounds.area());
  return bounds;
}

std::vector<std::pair<int, float>> LabelsAndScores(const std::vector<Object>& objects) {
  std::vector<std::pair<int, float>> result;
  for (const Object& object : objects) result.emplace_back(object.label, object.score);
  return result;
}

void ExpectSameObjects(const std::vector<Object>& a, const std::vector<Object>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    ExpectBox(a[i], b[i].x, b[i].y, b[i].width, b[i].height);
    EXPECT_EQ(a[i].label, b[i].label);
    EXPECT_EQ(a[i].score, b[i].score);
    ASSERT_EQ(a[i].mask.size(), b[i].mask.size());
    EXPECT_EQ(cv::countNonZero(a[i].mask != b[i].mask), 0);
  }
}

SegmentationOutputs OneBoxASlot(const HeadLayout& layout) {
  SegmentationOutputs outputs(layout);
  for (int slot = 0; slot < layout.batch; ++slot) {
    const auto number = static_cast<float>(slot);
    outputs.FillPrototype(slot, 0, slot % 2 == 0 ? 4.0F : -4.0F);
    outputs.Put(slot, slot, {32, 32, 8, 8 + 2 * number, slot % 2, 0.5F + 0.0625F * number});
  }
  return outputs;
}

}  // namespace nuvik::model
