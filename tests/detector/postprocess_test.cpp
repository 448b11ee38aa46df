// PostProcess: object lists and images into the intermediate record.
#include <stdexcept>

#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {
namespace {

namespace script = scripted_engine;

using Index = std::map<std::string, int>;

class PostProcess : public DetectorTest {
 protected:
  PostProcess() : record(std::make_shared<DirtySegDetectorResData>()) {
    EXPECT_TRUE(detector.Init(Config("{}")));
    script::Reset();
    log.Clear();
    Object object;
    object.label = 5;
    script::GetScript().objects = {{object}, {}};
  }

  bool Run(const ImageMap& images) {
    return detector.PostProcess(images, detector.dirty_seg_outputs_, record);
  }

  std::shared_ptr<DirtySegDetectorResData> record;
};

TEST_F(PostProcess, GivesTheOutputsToThePostprocessor) {
  std::map<std::string, AIBuff> outputs{{"mine", Buffer(3)}};

  EXPECT_TRUE(detector.PostProcess({}, outputs, record));

  const std::vector<script::Call> calls = script::CallsOf(script::kPostProcess);
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].outputs, &outputs);
  EXPECT_EQ(calls[0].model_path, "segmentation.model");
}

TEST_F(PostProcess, FillsTheObjectListsOfTheRecord) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(1, 1))));

  ASSERT_EQ(record->patch_objects.size(), 2U);
  ASSERT_EQ(record->patch_objects[0].size(), 1U);
  EXPECT_EQ(record->patch_objects[0][0].label, 5);
  EXPECT_TRUE(record->patch_objects[1].empty());
}

TEST_F(PostProcess, HandsTheListsOverAsTheyAre) {
  record->patch_objects.resize(7);
  std::size_t lists_on_entry = 0;
  const void* given = nullptr;
  script::GetScript().on_post_process = [&](auto&, script::ObjectLists& objects) {
    lists_on_entry = objects.size();
    given = &objects;
  };

  EXPECT_TRUE(Run({}));

  EXPECT_EQ(lists_on_entry, 7U);
  EXPECT_EQ(given, &record->patch_objects);
}

TEST_F(PostProcess, ObjectsAreNotFilteredOrReordered) {
  Object low;
  low.score = -1.0F;
  low.width = -5.0F;
  Object high;
  high.score = 9.0F;
  script::GetScript().objects = {{low, high, low}};

  EXPECT_TRUE(Run({}));

  ASSERT_EQ(record->patch_objects[0].size(), 3U);
  EXPECT_EQ(record->patch_objects[0][0].score, -1.0F);
  EXPECT_EQ(record->patch_objects[0][0].width, -5.0F);
  EXPECT_EQ(record->patch_objects[0][1].score, 9.0F);
  EXPECT_EQ(record->patch_objects[0][2].score, -1.0F);
}

TEST_F(PostProcess, StatusOfThePostprocessorIsNotExamined) {
  for (int status : {-1, 0, 1}) {
    script::GetScript().post_process_status = status;
    EXPECT_TRUE(Run(ColorOnly(ColorImage(1, 1)))) << status;
    EXPECT_EQ(record->images.size(), 1U);
  }
}

TEST_F(PostProcess, WithoutImagesOnlyTheObjectsAreFilled) {
  EXPECT_TRUE(Run({}));

  EXPECT_TRUE(record->image_index.empty());
  EXPECT_TRUE(record->images.empty());
  EXPECT_EQ(record->patch_objects.size(), 2U);
}

TEST_F(PostProcess, ImagesAreNumberedInKeyOrder) {
  ImageMap images;
  images["depth"] = ColorImage(1, 1);
  images["color"] = ColorImage(1, 1);

  EXPECT_TRUE(Run(images));

  EXPECT_EQ(record->image_index, (Index{{"color", 0}, {"depth", 1}}));
}

TEST_F(PostProcess, ImagesAreSharedNotCopied) {
  const auto image = ColorImage(1, 1);

  EXPECT_TRUE(Run({{"color", image}}));

  EXPECT_EQ(record->images.at("color"), image);
  EXPECT_EQ(image.use_count(), 2);
}

TEST_F(PostProcess, NullImageIsRecordedAsItIs) {
  EXPECT_TRUE(Run({{"color", nullptr}, {"depth", ColorImage(1, 1)}}));

  EXPECT_EQ(record->images.at("color"), nullptr);
  EXPECT_EQ(record->image_index, (Index{{"color", 0}, {"depth", 1}}));
}

TEST_F(PostProcess, SecondCallOverwritesAndKeepsTheOtherKeys) {
  const auto first = ColorImage(1, 1);
  const auto second = ColorImage(1, 1);
  EXPECT_TRUE(Run({{"a", first}, {"color", first}}));

  EXPECT_TRUE(Run({{"color", second}, {"depth", second}}));

  EXPECT_EQ(record->image_index, (Index{{"a", 0}, {"color", 0}, {"depth", 1}}));
  EXPECT_EQ(record->images.at("a"), first);
  EXPECT_EQ(record->images.at("color"), second);
  EXPECT_EQ(record->images.at("depth"), second);
}

TEST_F(PostProcess, NamedMatsAreNotWritten) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(1, 1))));

  EXPECT_TRUE(record->named_mats.empty());
}

TEST_F(PostProcess, ExceptionPassesBeforeAnyImageIsRecorded) {
  script::GetScript().on_post_process = [](auto&, auto&) { throw std::runtime_error("decoder"); };

  EXPECT_THROW(Run(ColorOnly(ColorImage(1, 1))), std::runtime_error);

  EXPECT_TRUE(record->image_index.empty());
  EXPECT_TRUE(record->images.empty());
}

TEST_F(PostProcess, LogsNothing) {
  EXPECT_TRUE(Run(ColorOnly(ColorImage(1, 1))));

  EXPECT_EQ(log.GetLines(), Lines{});
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
