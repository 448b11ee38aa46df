// Hands a frame's objects to who wants to keep them.
#pragma once

#include <vector>

#include "engine/yolov8_postprocess.h"

namespace nuvik::model {

/// To the calling thread's youngest DecodedObjects, if there is one.
void KeepObjects(const std::vector<std::vector<Object>>& objects);

}  // namespace nuvik::model
