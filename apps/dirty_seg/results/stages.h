// The names of a frame's stages in everything that tells their times.
#pragma once

#include <array>

namespace dirty_seg {

inline constexpr const char* kReadStage = "read";
inline constexpr const char* kPreprocessStage = "preprocess";
inline constexpr const char* kInferenceStage = "inference";
inline constexpr const char* kPostprocessStage = "postprocess";
/// The classifier's runs; only with a classifier.
inline constexpr const char* kClassifyStage = "classify";
inline constexpr const char* kConvertStage = "convert";
/// Those of `kDetectorStages` together.
inline constexpr const char* kTotalStage = "total";
inline constexpr const char* kWriteStage = "write";

/// All, in the order in which a frame passes them.
inline constexpr std::array<const char*, 8> kStages{
    kReadStage,     kPreprocessStage, kInferenceStage, kPostprocessStage,
    kClassifyStage, kConvertStage,    kTotalStage,     kWriteStage};

/// Those of the detector that its total is made of, in that order.
inline constexpr std::array<const char*, 5> kDetectorStages{
    kPreprocessStage, kInferenceStage, kPostprocessStage, kClassifyStage, kConvertStage};

}  // namespace dirty_seg
