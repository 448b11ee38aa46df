// Frames of a video file and of a camera.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "console/progress.h"
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
/// reported as cut short. Throws InputError with the cause, also for one whose rate is not known if
/// frames are to be taken by the second.
std::unique_ptr<FrameReader> OpenVideo(const std::string& path, const Sampling& sampling);

/// Opens the camera "/dev/video0" or "camera:0". Throws InputError with the cause.
std::unique_ptr<FrameReader> OpenCamera(const std::string& name, const Sampling& sampling);

/// The frames of an open camera. `clock` gives seconds since any fixed moment; a frame that comes
/// late does not put off those after it.
std::unique_ptr<FrameReader> ReadCamera(std::unique_ptr<VideoInput> camera,
                                        const Sampling& sampling,
                                        std::function<double()> clock = SteadySeconds);

}  // namespace dirty_seg
