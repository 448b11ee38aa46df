// A frame's tensors as files, with what it takes to make the first of them again.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "detector/detector_setup.h"
#include "detector/labels.h"
#include "frames/frame_fit.h"
#include "tensors/staged_frame.h"

namespace dirty_seg {

/// Where a dump comes from.
struct DumpOrigin {
  std::string program;
  std::string source;
  /// Number of the frame in a video; 0 for a picture.
  std::int64_t frame = 0;
  FrameFit fit;
};

/// Writes input_NAME.npy, output_NAME.npy for each tensor of the network, mask_LABEL.npy for each
/// label found, and dump.json, which names them all and tells the place of each patch in the input
/// tensor. What a file's name cannot hold of a tensor's is replaced by '_'. What an earlier
/// dump in the folder names is removed. Throws OutputError when a file cannot be written, also
/// where another process dumps into the folder.
void WriteDump(const std::string& folder, const DumpOrigin& origin, const DetectorOptions& options,
               const DetectorSetup& setup, const StagedFrame& frame);

}  // namespace dirty_seg
