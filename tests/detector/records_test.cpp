// Records that cross the interfaces: their types, declaration orders, defaults and lifetimes.
#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/data_base.h"
#include "support/detector_test.h"

namespace nuvik::perception::dirty_seg_detector {

extern const std::string kTemporaryFolder;

namespace {

template <typename A, typename B>
bool IsBefore(const A& a, const B& b) {
  return reinterpret_cast<std::uintptr_t>(&a) < reinterpret_cast<std::uintptr_t>(&b);
}

// Whether the members stand in memory, and so in the declaration, in the order given.
template <typename A, typename B, typename... Rest>
bool AreInOrder(const A& a, const B& b, const Rest&... rest) {
  if constexpr (sizeof...(Rest) == 0) {
    return IsBefore(a, b);
  } else {
    return IsBefore(a, b) && AreInOrder(b, rest...);
  }
}

template <typename A, typename B>
constexpr bool kSame = std::is_same_v<A, B>;

// Slot of a virtual function in its class's table, from 0. A pointer to such a member is the
// table's offset with a mark: one more on most processors, the lowest bit of the second word on
// Arm.
template <typename Function>
std::ptrdiff_t SlotOf(Function function) {
  std::ptrdiff_t words[2];
  static_assert(sizeof(words) == sizeof(function));
  std::memcpy(words, &function, sizeof(words));
#if defined(__aarch64__) || defined(__arm__)
  EXPECT_EQ(words[1] & 1, 1) << "not virtual";
  const std::ptrdiff_t offset = words[0];
#else
  EXPECT_EQ(words[0] & 1, 1) << "not virtual";
  const std::ptrdiff_t offset = words[0] - 1;
#endif
  return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

// A class whose one new virtual function comes after all of Base's.
template <typename Base>
struct OneMore : Base {
  using Base::Base;
  virtual void Next() {}
};

// --- Engine records ---

TEST(AIBuff, DefaultHasEmptyStorageThatIsNotNull) {
  const AIBuff buffer;

  ASSERT_NE(buffer.data, nullptr);
  EXPECT_EQ(buffer.data->size(), 0U);
  EXPECT_TRUE(buffer.shape.empty());
}

TEST(AIBuff, DefaultTypeCodeIsTwo) { EXPECT_EQ(AIBuff().data_type, 2U); }

TEST(AIBuff, EveryBufferHasItsOwnStorage) {
  const AIBuff a;
  const AIBuff b;
  EXPECT_NE(a.data, b.data);
}

TEST(AIBuff, CopiesAndMovesCarryEveryField) {
  AIBuff buffer = Buffer(12, 7);
  buffer.data_type = 5;
  buffer.memory_type = 3;
  buffer.device_id = 4;
  buffer.shape = {1, 2};
  buffer.used_slots = 9;

  AIBuff moved = std::move(buffer);
  const AIBuff copy = moved;

  EXPECT_EQ(copy.data, moved.data);
  EXPECT_EQ(copy.data->size(), 12U);
  EXPECT_EQ(copy.data_type, 5U);
  EXPECT_EQ(copy.memory_type, 3);
  EXPECT_EQ(copy.device_id, 4);
  EXPECT_EQ(copy.shape, (std::vector<std::int64_t>{1, 2}));
  EXPECT_EQ(copy.used_slots, 9);
}

TEST(AIBuff, FieldsStandInTheDeclaredOrder) {
  const AIBuff b;
  EXPECT_TRUE(AreInOrder(b.data, b.data_type, b.memory_type, b.device_id, b.shape, b.used_slots));
  EXPECT_TRUE((kSame<decltype(b.data), std::shared_ptr<std::vector<std::uint8_t>>>));
  EXPECT_TRUE((kSame<decltype(b.data_type), std::uint32_t>));
  EXPECT_TRUE((kSame<decltype(b.shape), std::vector<std::int64_t>>));
}

TEST(AIEngineConfig, FieldsStandInTheDeclaredOrder) {
  const AIEngineConfig c;
  EXPECT_TRUE(AreInOrder(c.model_path, c.input_sizes, c.output_sizes, c.input_shapes,
                         c.output_shapes, c.input_memory_types, c.output_memory_types,
                         c.input_types, c.output_types, c.thread_count, c.device_id));
  using Shapes = std::map<std::string, std::vector<std::int64_t>>;
  EXPECT_TRUE((kSame<decltype(c.model_path), std::string>));
  EXPECT_TRUE((kSame<decltype(c.input_sizes), std::map<std::string, std::int32_t>>));
  EXPECT_TRUE((kSame<decltype(c.output_sizes), std::map<std::string, std::int32_t>>));
  EXPECT_TRUE((kSame<decltype(c.input_shapes), Shapes>));
  EXPECT_TRUE((kSame<decltype(c.output_shapes), Shapes>));
  EXPECT_TRUE((kSame<decltype(c.output_types), std::map<std::string, std::uint32_t>>));
  EXPECT_TRUE((kSame<decltype(c.thread_count), std::int32_t>));
  EXPECT_TRUE((kSame<decltype(c.device_id), std::int32_t>));
  EXPECT_TRUE(std::is_copy_constructible_v<AIEngineConfig>);
}

TEST(Object, FieldsStandInTheDeclaredOrder) {
  const Object o;
  EXPECT_TRUE(AreInOrder(o.x, o.y, o.width, o.height, o.label, o.score, o.mask));
  EXPECT_TRUE((kSame<decltype(o.x), float>));
  EXPECT_TRUE((kSame<decltype(o.label), std::int32_t>));
  EXPECT_TRUE((kSame<decltype(o.score), float>));
  EXPECT_TRUE((kSame<decltype(o.mask), cv::Mat>));
}

TEST(DataBase, HasTheNameGivenAndZeroFields) {
  const utils::DataBase record("some_record");

  EXPECT_EQ(record.name(), "some_record");
  EXPECT_EQ(record.timestamp_ns, 0);
  EXPECT_EQ(record.sequence, 0);
}

TEST(DataBase, IsAPolymorphicBase) {
  EXPECT_TRUE(std::has_virtual_destructor_v<utils::DataBase>);
  struct Renamed : utils::DataBase {
    Renamed() : DataBase("base"), other("other") {}
    const std::string& name() const override { return other; }
    std::string other;
  };
  const Renamed renamed;
  const utils::DataBase& base = renamed;
  EXPECT_EQ(base.name(), "other");
}

// The destructor takes two slots, one to destroy and one to destroy and free.
TEST(DataBase, VirtualFunctionsAreTheDestructorThenTheName) {
  EXPECT_EQ(SlotOf(&utils::DataBase::name), 2);
  EXPECT_EQ(SlotOf(&OneMore<utils::DataBase>::Next), 3);
}

TEST(DataBase, IsMadeFromANameAlone) {
  EXPECT_TRUE((std::is_constructible_v<utils::DataBase, const std::string&>));
  EXPECT_FALSE((std::is_convertible_v<std::string, utils::DataBase>));
  EXPECT_FALSE(std::is_default_constructible_v<utils::DataBase>);
  EXPECT_FALSE((std::is_constructible_v<utils::DataBase, std::string, std::int64_t>));
}

TEST(EngineRecords, AreMadeFromNothing) {
  EXPECT_TRUE(std::is_default_constructible_v<AIBuff>);
  EXPECT_TRUE(std::is_default_constructible_v<AIEngineConfig>);
  EXPECT_TRUE(std::is_default_constructible_v<AIEngine>);
  EXPECT_TRUE(std::is_default_constructible_v<Object>);
  EXPECT_FALSE((std::is_constructible_v<AIBuff, std::shared_ptr<std::vector<std::uint8_t>>>));
  EXPECT_FALSE((std::is_constructible_v<AIEngineConfig, std::string>));
  EXPECT_FALSE((std::is_constructible_v<AIEngine, AIEngineConfig>));
  EXPECT_FALSE((std::is_constructible_v<Object, float>));
}

TEST(EngineRecords, PostProcessorIsMadeFromAllItReads) {
  using P = Yolov8Postprocess;
  using Sizes = std::vector<cv::Size>;
  EXPECT_TRUE((std::is_constructible_v<P, const YAML::Node&, const AIEngineConfig&, const Sizes&>));
  EXPECT_FALSE((std::is_constructible_v<P, const YAML::Node&, const AIEngineConfig&>));
  EXPECT_FALSE(std::is_default_constructible_v<P>);
}

// --- Configuration ---

TEST(DirtySegDetectorConfig, MembersStandInTheDeclaredOrder) {
  const DirtySegDetectorConfig c;
  EXPECT_TRUE(AreInOrder(c.dirty_seg_model_config, c.yaml_config_path, c.camera_intrinsics,
                         c.class_names, c.enabled_cameras, c.class_score_thresholds, c.class_groups,
                         c.parameters, c.frame_rate, c.robot_id, c.fece_enable, c.fece_class_ids,
                         c.fece_score_threshold, c.fece_area_threshold, c.fece_model_config));
}

TEST(DirtySegDetectorConfig, MembersHaveTheDeclaredTypes) {
  using C = DirtySegDetectorConfig;
  EXPECT_TRUE((kSame<decltype(C::dirty_seg_model_config), AIEngineConfig>));
  EXPECT_TRUE((kSame<decltype(C::yaml_config_path), std::string>));
  EXPECT_TRUE((kSame<decltype(C::fece_enable), bool>));
  EXPECT_TRUE((kSame<decltype(C::fece_class_ids), std::vector<int>>));
  EXPECT_TRUE((kSame<decltype(C::fece_score_threshold), float>));
  EXPECT_TRUE((kSame<decltype(C::fece_area_threshold), float>));
  EXPECT_TRUE((kSame<decltype(C::fece_model_config), AIEngineConfig>));
}

TEST(DirtySegDetectorConfig, CarriedMembersHaveTheDeclaredKinds) {
  using C = DirtySegDetectorConfig;
  EXPECT_TRUE((kSame<decltype(C::camera_intrinsics)::key_type, std::string>));
  EXPECT_TRUE((kSame<decltype(C::camera_intrinsics), std::map<std::string, CameraIntrinsics>>));
  EXPECT_TRUE((kSame<decltype(C::class_names)::key_type, std::int32_t>));
  EXPECT_TRUE((kSame<decltype(C::enabled_cameras), std::unordered_set<std::string>>));
  EXPECT_TRUE((kSame<decltype(C::class_score_thresholds)::key_type, std::int32_t>));
  EXPECT_FALSE((kSame<decltype(C::class_score_thresholds), decltype(C::class_names)>));
  EXPECT_TRUE((kSame<decltype(C::class_groups), decltype(C::class_names)>));
  EXPECT_TRUE((kSame<decltype(C::parameters), std::unordered_map<std::string, double>>));
  EXPECT_EQ(sizeof(C::frame_rate), 8U);
  EXPECT_TRUE((kSame<decltype(C::robot_id), std::string>));
}

TEST(DirtySegDetectorConfig, StartsEmptyAndWithTheClassifierOff) {
  const DirtySegDetectorConfig c;
  EXPECT_EQ(c.frame_rate, 0.0);
  EXPECT_FALSE(c.fece_enable);
  EXPECT_TRUE(c.fece_class_ids.empty());
  EXPECT_EQ(c.fece_score_threshold, 0.0F);
  EXPECT_EQ(c.fece_area_threshold, 0.0F);
}

TEST(CameraIntrinsics, StartAtZero) {
  const CameraIntrinsics c;
  for (const double number : {c.fx, c.fy, c.cx, c.cy, c.k1, c.k2, c.p1, c.p2, c.k3}) {
    EXPECT_EQ(number, 0.0);
  }
}

TEST(DirtySegDetectorConfig, IsCopyable) {
  EXPECT_TRUE(std::is_copy_constructible_v<DirtySegDetectorConfig>);
  EXPECT_TRUE(std::is_copy_assignable_v<DirtySegDetectorConfig>);
}

// --- Detector ---

TEST(DirtySegDetectorObject, HasNoVirtualFunctionsAndImplicitConstruction) {
  EXPECT_FALSE(std::is_polymorphic_v<DirtySegDetector>);
  EXPECT_TRUE(std::is_nothrow_default_constructible_v<DirtySegDetector>);
  EXPECT_TRUE(std::is_copy_constructible_v<DirtySegDetector>);
}

TEST(DirtySegDetectorObject, MembersStandInTheDeclaredOrder) {
  const DirtySegDetector d;
  EXPECT_TRUE(AreInOrder(d.config_, d.dirty_seg_engine_, d.dirty_seg_inputs_, d.dirty_seg_outputs_,
                         d.crop_images_, d.yolov8_postprocess_, d.patches_, d.fece_engine_,
                         d.fece_inputs_, d.fece_outputs_));
}

TEST(DirtySegDetectorObject, MembersHaveTheDeclaredTypes) {
  using D = DirtySegDetector;
  using Buffers = std::map<std::string, AIBuff>;
  EXPECT_TRUE((kSame<decltype(D::config_), std::shared_ptr<DirtySegDetectorConfig>>));
  EXPECT_TRUE((kSame<decltype(D::dirty_seg_engine_), std::shared_ptr<AIEngine>>));
  EXPECT_TRUE((kSame<decltype(D::dirty_seg_inputs_), Buffers>));
  EXPECT_TRUE((kSame<decltype(D::dirty_seg_outputs_), Buffers>));
  EXPECT_TRUE((kSame<decltype(D::crop_images_), std::map<std::string, cv::Mat>>));
  EXPECT_TRUE((kSame<decltype(D::yolov8_postprocess_), std::shared_ptr<Yolov8Postprocess>>));
  EXPECT_TRUE((kSame<decltype(D::patches_), std::vector<cv::Rect>>));
  EXPECT_TRUE((kSame<decltype(D::fece_engine_), std::shared_ptr<AIEngine>>));
  EXPECT_TRUE((kSame<decltype(D::fece_inputs_), Buffers>));
  EXPECT_TRUE((kSame<decltype(D::fece_outputs_), Buffers>));
}

TEST(DirtySegDetectorObject, OperationsHaveTheDeclaredSignatures) {
  using D = DirtySegDetector;
  using Result = std::shared_ptr<DirtyStatusResultData>;
  using Intermediate = std::shared_ptr<DirtySegDetectorResData>;
  using Buffers = std::map<std::string, AIBuff>;
  using Images = std::map<std::string, std::shared_ptr<cv::Mat>>;
  EXPECT_TRUE((kSame<decltype(&D::Init), bool (D::*)(const DirtySegDetectorConfig&)>));
  EXPECT_TRUE((kSame<decltype(&D::DoInference), bool (D::*)(const Images&, Result&)>));
  EXPECT_TRUE(
      (kSame<decltype(&D::PreProcess), bool (D::*)(const Images&, AIBuff&, const cv::Size&)>));
  EXPECT_TRUE((kSame<decltype(&D::PopulateData), std::size_t (D::*)(const cv::Mat&, float*)>));
  EXPECT_TRUE((kSame<decltype(&D::PreProcessFromSingleImageCrop),
                     bool (D::*)(const Images&, AIBuff&, const cv::Size&)>));
  EXPECT_TRUE(
      (kSame<decltype(&D::PostProcess), bool (D::*)(const Images&, Buffers&, Intermediate&)>));
  EXPECT_TRUE((kSame<decltype(&D::ConvertToDirtyStatusResult),
                     Result (D::*)(const Images&, const Intermediate&)>));
  EXPECT_TRUE(
      (kSame<decltype(&D::judge_fece), bool (D::*)(const Images&, const std::vector<float>&)>));
  EXPECT_TRUE((kSame<decltype(&D::PreProcessFece), bool (D::*)(const cv::Mat&, AIBuff&)>));
  EXPECT_TRUE((kSame<decltype(&D::MakeSquare), cv::Mat (D::*)(const cv::Mat&)>));
}

TEST(DirtySegDetectorObject, NewOneIsNullAndEmpty) {
  const DirtySegDetector d;

  EXPECT_EQ(d.config_, nullptr);
  EXPECT_EQ(d.dirty_seg_engine_, nullptr);
  EXPECT_EQ(d.yolov8_postprocess_, nullptr);
  EXPECT_EQ(d.fece_engine_, nullptr);
  EXPECT_TRUE(d.dirty_seg_inputs_.empty());
  EXPECT_TRUE(d.dirty_seg_outputs_.empty());
  EXPECT_TRUE(d.fece_inputs_.empty());
  EXPECT_TRUE(d.fece_outputs_.empty());
  EXPECT_TRUE(d.crop_images_.empty());
  EXPECT_TRUE(d.patches_.empty());
}

TEST(DirtySegDetectorObject, WorkingFolderIsThere) { EXPECT_EQ(kTemporaryFolder, "/root/ws/tmp/"); }

class DetectorLifetime : public DetectorTest {
 protected:
  std::unique_ptr<DirtySegDetector> MakeInitialised() {
    DirtySegDetectorConfig config = Config("{}");
    config.fece_enable = true;
    auto made = std::make_unique<DirtySegDetector>();
    EXPECT_TRUE(made->Init(config));
    scripted_engine::Reset();
    return made;
  }
};

TEST_F(DetectorLifetime, MembersAreReleasedInReverseOrder) {
  MakeInitialised().reset();

  const std::vector<scripted_engine::Call>& calls = scripted_engine::Calls();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].operation, scripted_engine::kDropEngine);
  EXPECT_EQ(calls[0].model_path, "fece.model");
  EXPECT_EQ(calls[1].operation, scripted_engine::kDropPostprocess);
  EXPECT_EQ(calls[2].operation, scripted_engine::kDropEngine);
  EXPECT_EQ(calls[2].model_path, "segmentation.model");
}

TEST_F(DetectorLifetime, EngineLivesAsLongAsItsLastOwner) {
  auto made = MakeInitialised();
  std::shared_ptr<AIEngine> owner = made->dirty_seg_engine_;

  made.reset();
  const std::vector<scripted_engine::Call> dropped =
      scripted_engine::CallsOf(scripted_engine::kDropEngine);
  ASSERT_EQ(dropped.size(), 1U);
  EXPECT_EQ(dropped[0].model_path, "fece.model");

  owner.reset();
  EXPECT_EQ(scripted_engine::CallsOf(scripted_engine::kDropEngine).size(), 2U);
}

TEST_F(DetectorLifetime, ConfigurationCopyIsReleasedWithTheDetector) {
  auto made = MakeInitialised();
  const std::weak_ptr<DirtySegDetectorConfig> config = made->config_;

  made.reset();

  EXPECT_TRUE(config.expired());
}

// --- Intermediate record ---

class IntermediateRecord : public ::testing::Test {
 protected:
  IntermediateRecord() { scripted_engine::Reset(); }
};

TEST_F(IntermediateRecord, IsNamedZeroedAndEmpty) {
  const auto record = std::make_shared<DirtySegDetectorResData>();

  EXPECT_EQ(record->name(), "dirty_seg_detector_res_data");
  EXPECT_EQ(record->timestamp_ns, 0);
  EXPECT_EQ(record->sequence, 0);
  EXPECT_TRUE(record->image_index.empty());
  EXPECT_TRUE(record->patch_objects.empty());
  EXPECT_TRUE(record->images.empty());
  EXPECT_TRUE(record->named_mats.empty());
}

TEST_F(IntermediateRecord, FieldsStandInTheDeclaredOrder) {
  const DirtySegDetectorResData r;
  EXPECT_TRUE(AreInOrder(static_cast<const utils::DataBase&>(r), r.image_index, r.patch_objects,
                         r.images, r.named_mats));
  EXPECT_TRUE((std::is_base_of_v<utils::DataBase, DirtySegDetectorResData>));
  EXPECT_TRUE((kSame<decltype(r.image_index), std::map<std::string, int>>));
  EXPECT_TRUE((kSame<decltype(r.patch_objects), std::vector<std::vector<Object>>>));
  EXPECT_TRUE((kSame<decltype(r.images), std::map<std::string, std::shared_ptr<cv::Mat>>>));
  EXPECT_TRUE((kSame<decltype(r.named_mats), std::map<std::string, cv::Mat>>));
}

TEST_F(IntermediateRecord, IsMadeFromNothing) {
  using R = DirtySegDetectorResData;
  EXPECT_TRUE(std::is_default_constructible_v<R>);
  EXPECT_FALSE((std::is_constructible_v<R, std::string>));
  EXPECT_FALSE((std::is_constructible_v<R, const char*>));
  EXPECT_FALSE((std::is_constructible_v<R, utils::DataBase>));
  EXPECT_FALSE((std::is_constructible_v<R, std::map<std::string, int>>));
}

TEST_F(IntermediateRecord, HasTheVirtualFunctionsOfItsBaseAlone) {
  using R = DirtySegDetectorResData;
  EXPECT_TRUE((kSame<decltype(&R::name), const std::string& (utils::DataBase::*)() const>));
  EXPECT_EQ(SlotOf(&R::name), 2);
  EXPECT_EQ(SlotOf(&OneMore<R>::Next), 3);
}

TEST_F(IntermediateRecord, DestroyingItLeavesTheCallersImages) {
  const std::shared_ptr<cv::Mat> image = ColorImage(2, 2, {1, 2, 3});
  auto record = std::make_shared<DirtySegDetectorResData>();
  record->images["color"] = image;

  record.reset();

  EXPECT_EQ(image.use_count(), 1);
  EXPECT_EQ(image->at<cv::Vec3b>(1, 1), cv::Vec3b(1, 2, 3));
}

TEST_F(IntermediateRecord, DestructionThroughTheBaseReleasesTheFields) {
  const std::shared_ptr<cv::Mat> image = ColorImage(2, 2);
  auto record = std::make_unique<DirtySegDetectorResData>();
  record->images["color"] = image;
  std::unique_ptr<utils::DataBase> base = std::move(record);

  base.reset();

  EXPECT_EQ(image.use_count(), 1);
}

TEST_F(IntermediateRecord, ReleasesNamedMatsThenImagesThenObjectsThenTheBase) {
  const cv::Mat named(1, 1, CV_8UC1);
  const cv::Mat mask(1, 1, CV_8UC1);
  auto record = std::make_shared<DirtySegDetectorResData>();
  record->named_mats["named"] = named;
  record->patch_objects.resize(1);
  record->patch_objects[0].emplace_back();
  record->patch_objects[0][0].mask = mask;
  bool image_released = false;
  record->images["color"] = std::shared_ptr<cv::Mat>(new cv::Mat, [&](cv::Mat* image) {
    EXPECT_EQ(named.u->refcount, 1) << "named_mats not yet released";
    EXPECT_EQ(mask.u->refcount, 2) << "patch_objects already released";
    EXPECT_TRUE(scripted_engine::CallsOf(scripted_engine::kDropRecord).empty());
    image_released = true;
    delete image;
  });

  record.reset();

  EXPECT_TRUE(image_released);
  EXPECT_EQ(mask.u->refcount, 1);
  EXPECT_EQ(scripted_engine::CallsOf(scripted_engine::kDropRecord).size(), 1U);
}

// --- Result record ---

TEST(ResultRecord, FreshOneIsOkAndEmpty) {
  const auto record = std::make_shared<DirtyStatusResultData>();

  EXPECT_TRUE(record->success);
  EXPECT_EQ(record->message, "ok");
  EXPECT_TRUE(record->bboxes.empty());
  EXPECT_TRUE(record->scores.empty());
  EXPECT_TRUE(record->labels.empty());
  EXPECT_TRUE(record->mask_pixel_counts.empty());
  EXPECT_TRUE(record->label_masks.empty());
}

TEST(ResultRecord, IsMadeFromNothing) {
  using R = DirtyStatusResultData;
  EXPECT_TRUE(std::is_default_constructible_v<R>);
  EXPECT_FALSE((std::is_constructible_v<R, bool>));
  EXPECT_FALSE((std::is_constructible_v<R, bool, std::string>));
  EXPECT_FALSE((std::is_constructible_v<R, std::string>));
  EXPECT_TRUE(std::is_aggregate_v<R>) << "it has constructors or a base class";
}

TEST(ResultRecord, FieldsStandInTheDeclaredOrder) {
  const DirtyStatusResultData r;
  EXPECT_FALSE(std::is_polymorphic_v<DirtyStatusResultData>);
  EXPECT_TRUE(AreInOrder(r.success, r.message, r.bboxes, r.scores, r.labels, r.mask_pixel_counts,
                         r.label_masks));
  EXPECT_TRUE((kSame<decltype(r.success), bool>));
  EXPECT_TRUE((kSame<decltype(r.message), std::string>));
  EXPECT_TRUE((kSame<decltype(r.bboxes), std::vector<std::vector<float>>>));
  EXPECT_TRUE((kSame<decltype(r.scores), std::vector<float>>));
  EXPECT_TRUE((kSame<decltype(r.labels), std::vector<int>>));
  EXPECT_TRUE((kSame<decltype(r.mask_pixel_counts), std::vector<float>>));
  EXPECT_TRUE((kSame<decltype(r.label_masks), std::map<int, cv::Mat>>));
}

}  // namespace
}  // namespace nuvik::perception::dirty_seg_detector
