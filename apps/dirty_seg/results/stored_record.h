// From a line of results back to the record that it was written from.
#pragma once

#include <string>

#include "results/frame_record.h"
#include "results/stored_frame.h"

namespace dirty_seg {

/// The record of a line that this version wrote, without masks and names of files: times are those
/// of the line, rounded. Throws SetupError for a line without `fit`.
FrameRecord RecordOf(const StoredFrame& frame);

/// Adds the masks of labels and things to a record that was made of `frame`. Throws SetupError for
/// run lengths that are not valid.
void AddMasks(const StoredFrame& frame, FrameRecord& record);

}  // namespace dirty_seg
