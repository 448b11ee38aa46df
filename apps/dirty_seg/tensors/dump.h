// Writes a frame's tensors as files, with what is needed to reproduce the input.
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
/// label found, and dump.json, which names them all and gives the place of each patch in the input
/// tensor. Characters of a tensor's name that a file name cannot have become '_'. Removes the files
/// of an earlier dump in the folder. Throws OutputError if a file cannot be written, also if
/// another process dumps into the folder.
void WriteDump(const std::string& folder, const DumpOrigin& origin, const DetectorOptions& options,
               const DetectorSetup& setup, const StagedFrame& frame);

}  // namespace dirty_seg
