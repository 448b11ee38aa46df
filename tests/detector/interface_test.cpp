// What a host may call: compiled, unlike the other tests, without a way to private members. The
// file only has to compile.
#include <type_traits>

#include "dirty_seg_detector/dirty_seg_detector.h"

namespace {

using nuvik::perception::dirty_seg_detector::DirtySegDetector;

template <typename... Operations>
constexpr bool AreOperations(Operations... /*operations*/) {
  return (std::is_member_function_pointer_v<Operations> && ...);
}

static_assert(AreOperations(&DirtySegDetector::Init, &DirtySegDetector::DoInference,
                            &DirtySegDetector::PreProcess, &DirtySegDetector::PopulateData,
                            &DirtySegDetector::PreProcessFromSingleImageCrop,
                            &DirtySegDetector::PostProcess,
                            &DirtySegDetector::ConvertToDirtyStatusResult,
                            &DirtySegDetector::judge_fece, &DirtySegDetector::PreProcessFece,
                            &DirtySegDetector::MakeSquare));

}  // namespace
