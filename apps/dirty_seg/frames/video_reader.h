// Frames of a video file and of a camera.
#pragma once

#include <memory>
#include <string>

#include "frames/frame_source.h"
#include "media/media.h"

namespace dirty_seg {

/// Has OpenCV and its decoders of videos print nothing, unless the user's variables ask for it.
/// Sets a variable of the process, once: before there are threads that read others. Opening does it
/// too.
void KeepVideoLibrariesQuiet();

/// Opens a video file for reading frames in order. The decoder prints nothing on standard error.
/// Throws InputError with the cause.
std::unique_ptr<VideoInput> OpenVideoInput(const std::string& path);

/// Opens a video file. One with fewer frames than its header says is read to its end, and then
/// reported as cut short. Throws InputError with the cause.
std::unique_ptr<FrameReader> OpenVideo(const std::string& path, int frame_step);

/// Opens the camera "/dev/video0" or "camera:0". Throws InputError with the cause.
std::unique_ptr<FrameReader> OpenCamera(const std::string& name, int frame_step);

}  // namespace dirty_seg
