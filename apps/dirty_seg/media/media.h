// Pictures and videos in files. What reads and writes them brings more than two hundred shared
// libraries, so it is a library of its own (media_library.cpp), loaded when it is first needed.
#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dirty_seg {

/// A video file or a camera, read frame after frame.
class VideoInput {
 public:
  VideoInput() = default;
  virtual ~VideoInput() = default;
  VideoInput(const VideoInput&) = delete;
  VideoInput& operator=(const VideoInput&) = delete;

  /// As the container says: not positive, or impossibly large, where it does not.
  virtual double FrameCount() const = 0;

  /// Frames a second; not positive or not finite where it is not known.
  virtual double Rate() const = 0;

  /// Takes the next frame. Returns whether there is one.
  virtual bool Grab() = 0;

  /// The frame that was grabbed, in memory that the next one may reuse; empty if it cannot be
  /// decoded.
  virtual cv::Mat Retrieve() = 0;

  /// Makes `frame`, counted from 0, the next to be grabbed. Returns whether the format can.
  virtual bool Seek(std::int64_t frame) = 0;
};

/// A video file that is written. It is whole once the object is destroyed.
class VideoOutput {
 public:
  VideoOutput() = default;
  virtual ~VideoOutput() = default;
  VideoOutput(const VideoOutput&) = delete;
  VideoOutput& operator=(const VideoOutput&) = delete;

  /// `frame` is a colour picture of the video's size. Does not report a full disk.
  virtual void Write(const cv::Mat& frame) = 0;
};

/// What the library does; all of it may be called from several threads at once.
class Media {
 public:
  Media() = default;
  virtual ~Media() = default;
  Media(const Media&) = delete;
  Media& operator=(const Media&) = delete;

  /// [height, width] of type CV_8UC3; empty if the file cannot be read as a picture. Decoders
  /// complain on standard error. Throws cv::Exception.
  virtual cv::Mat ReadPicture(const std::string& path) const = 0;

  /// Whether pictures can be encoded in the format of the extension of `path`.
  virtual bool CanWrite(const std::string& path) const = 0;

  /// The bytes of a file in the format of `extension`, as ".png"; `jpeg_quality`, 0 to 100, is for
  /// JPEG alone. Throws cv::Exception for a picture that the format cannot hold.
  virtual std::vector<unsigned char> Encode(const std::string& extension, const cv::Mat& picture,
                                            int jpeg_quality) const = 0;

  /// Nothing for a file that is no video.
  virtual std::unique_ptr<VideoInput> OpenVideo(const std::string& path) const = 0;

  /// The camera /dev/video`number`; nothing if it gives no pictures.
  virtual std::unique_ptr<VideoInput> OpenCamera(int number) const = 0;

  /// A video at `rate` frames a second, by the extension: .mp4 of MPEG-4, .avi of Motion JPEG.
  /// Nothing if it cannot be begun, as where the codec is missing.
  virtual std::unique_ptr<VideoOutput> CreateVideo(const std::string& path, double rate,
                                                   const cv::Size& size) const = 0;
};

/// The library, loaded by the first call; any thread may make it. It stays until the process ends.
/// Throws SetupError where it is missing or another version's.
const Media& LoadMedia();

/// Loads it on a thread of its own; the destructor of what is returned waits for the end. Libraries
/// read the environment while they are loaded: nothing may set a variable meanwhile. Whoever starts
/// a thread or loads a library meanwhile waits for the end, too: the C library has one lock for it.
std::future<void> LoadMediaAhead();

}  // namespace dirty_seg
