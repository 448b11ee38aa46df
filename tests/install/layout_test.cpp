// Pins where each member of the records that cross a library's border lies: hosts, the detector and
// a platform's engine are compiled apart from each other. The file only has to compile.
//
// x86-64 and aarch64 share one table: both have 8-byte pointers and longs and align alike, and
// libstdc++'s containers hold nothing else. A number that has to change here makes every host and
// every engine out there unusable; docs/RELEASING.md says what that takes.
#include <cstddef>

#include "dirty_seg_detector/dirty_seg_detector.h"
#include "engine/network_reader.h"
#include "engine/run_time.h"

#if (defined(__x86_64__) || defined(__aarch64__)) && defined(__LP64__) && defined(__GLIBCXX__)

// The records are not standard-layout types, for which offsetof is conditionally supported: GCC and
// Clang compute it, and warn.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace nuvik::alg::common {

static_assert(offsetof(AIBuff, data) == 0);
static_assert(offsetof(AIBuff, data_type) == 16);
static_assert(offsetof(AIBuff, memory_type) == 20);
static_assert(offsetof(AIBuff, device_id) == 24);
static_assert(offsetof(AIBuff, shape) == 32);
static_assert(offsetof(AIBuff, used_slots) == 56);
static_assert(sizeof(AIBuff) == 64);

static_assert(offsetof(AIEngineConfig, model_path) == 0);
static_assert(offsetof(AIEngineConfig, input_sizes) == 32);
static_assert(offsetof(AIEngineConfig, output_sizes) == 80);
static_assert(offsetof(AIEngineConfig, input_shapes) == 128);
static_assert(offsetof(AIEngineConfig, output_shapes) == 176);
static_assert(offsetof(AIEngineConfig, input_memory_types) == 224);
static_assert(offsetof(AIEngineConfig, output_memory_types) == 272);
static_assert(offsetof(AIEngineConfig, input_types) == 320);
static_assert(offsetof(AIEngineConfig, output_types) == 368);
static_assert(offsetof(AIEngineConfig, thread_count) == 416);
static_assert(offsetof(AIEngineConfig, device_id) == 420);
static_assert(sizeof(AIEngineConfig) == 424);

static_assert(sizeof(AIEngine) == 8);

static_assert(offsetof(OpenDimensions, batch) == 0);
static_assert(offsetof(OpenDimensions, height) == 8);
static_assert(offsetof(OpenDimensions, width) == 16);
static_assert(sizeof(OpenDimensions) == 24);

static_assert(offsetof(Network, config) == 0);
static_assert(offsetof(Network, class_names) == 424);
static_assert(offsetof(Network, takes_any_batch) == 472);
static_assert(sizeof(Network) == 480);

static_assert(offsetof(RunTime, runs) == 0);
static_assert(offsetof(RunTime, milliseconds) == 8);
static_assert(sizeof(RunTime) == 16);

}  // namespace nuvik::alg::common

namespace nuvik::model {

static_assert(offsetof(Object, x) == 0);
static_assert(offsetof(Object, y) == 4);
static_assert(offsetof(Object, width) == 8);
static_assert(offsetof(Object, height) == 12);
static_assert(offsetof(Object, label) == 16);
static_assert(offsetof(Object, score) == 20);
static_assert(offsetof(Object, mask) == 24);
static_assert(sizeof(Object) == 120);

static_assert(sizeof(Yolov8Postprocess) == 8);

}  // namespace nuvik::model

namespace nuvik::utils {

static_assert(sizeof(DataBase) == 56);
static_assert(offsetof(DataBase, timestamp_ns) == 40);
static_assert(offsetof(DataBase, sequence) == 48);

}  // namespace nuvik::utils

namespace nuvik::perception::dirty_seg_detector {

static_assert(offsetof(DirtySegDetectorConfig, dirty_seg_model_config) == 0);
static_assert(offsetof(DirtySegDetectorConfig, yaml_config_path) == 424);
static_assert(offsetof(DirtySegDetectorConfig, camera_intrinsics) == 456);
static_assert(offsetof(DirtySegDetectorConfig, class_names) == 504);
static_assert(offsetof(DirtySegDetectorConfig, enabled_cameras) == 560);
static_assert(offsetof(DirtySegDetectorConfig, class_score_thresholds) == 616);
static_assert(offsetof(DirtySegDetectorConfig, class_groups) == 672);
static_assert(offsetof(DirtySegDetectorConfig, parameters) == 728);
static_assert(offsetof(DirtySegDetectorConfig, frame_rate) == 784);
static_assert(offsetof(DirtySegDetectorConfig, robot_id) == 792);
static_assert(offsetof(DirtySegDetectorConfig, fece_enable) == 824);
static_assert(offsetof(DirtySegDetectorConfig, fece_class_ids) == 832);
static_assert(offsetof(DirtySegDetectorConfig, fece_score_threshold) == 856);
static_assert(offsetof(DirtySegDetectorConfig, fece_area_threshold) == 860);
static_assert(offsetof(DirtySegDetectorConfig, fece_model_config) == 864);
static_assert(sizeof(DirtySegDetectorConfig) == 1288);

static_assert(offsetof(CameraIntrinsics, fx) == 0);
static_assert(offsetof(CameraIntrinsics, fy) == 8);
static_assert(offsetof(CameraIntrinsics, cx) == 16);
static_assert(offsetof(CameraIntrinsics, cy) == 24);
static_assert(offsetof(CameraIntrinsics, k1) == 32);
static_assert(offsetof(CameraIntrinsics, k2) == 40);
static_assert(offsetof(CameraIntrinsics, p1) == 48);
static_assert(offsetof(CameraIntrinsics, p2) == 56);
static_assert(offsetof(CameraIntrinsics, k3) == 64);
static_assert(sizeof(CameraIntrinsics) == 72);

}  // namespace nuvik::perception::dirty_seg_detector

namespace nuvik::perception::dirty_seg_detector_data {

static_assert(offsetof(DirtySegDetectorResData, image_index) == 56);
static_assert(offsetof(DirtySegDetectorResData, patch_objects) == 104);
static_assert(offsetof(DirtySegDetectorResData, images) == 128);
static_assert(offsetof(DirtySegDetectorResData, named_mats) == 176);
static_assert(sizeof(DirtySegDetectorResData) == 224);

static_assert(offsetof(DirtyStatusResultData, success) == 0);
static_assert(offsetof(DirtyStatusResultData, message) == 8);
static_assert(offsetof(DirtyStatusResultData, bboxes) == 40);
static_assert(offsetof(DirtyStatusResultData, scores) == 64);
static_assert(offsetof(DirtyStatusResultData, labels) == 88);
static_assert(offsetof(DirtyStatusResultData, mask_pixel_counts) == 112);
static_assert(offsetof(DirtyStatusResultData, label_masks) == 136);
static_assert(sizeof(DirtyStatusResultData) == 184);

}  // namespace nuvik::perception::dirty_seg_detector_data

namespace nuvik::perception::dirty_seg_detector {

static_assert(sizeof(DirtySegDetector) == 328);

}  // namespace nuvik::perception::dirty_seg_detector

#endif
