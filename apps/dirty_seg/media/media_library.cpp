// The media library: the one source that includes OpenCV's headers for pictures and videos in
// files.
#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>
#include <string_view>

#include "media/media.h"
#include "media/media_entry.h"

namespace dirty_seg {
namespace {

class CvVideoInput : public VideoInput {
 public:
  bool OpenFile(const std::string& path) {
    return capture_.open(path, cv::CAP_FFMPEG) || capture_.open(path, cv::CAP_OPENCV_MJPEG);
  }

  bool OpenCamera(int number) { return capture_.open(number, cv::CAP_V4L2); }

  double FrameCount() const override { return capture_.get(cv::CAP_PROP_FRAME_COUNT); }
  double Rate() const override { return capture_.get(cv::CAP_PROP_FPS); }
  bool Grab() override { return capture_.grab(); }

  cv::Mat Retrieve() override {
    cv::Mat frame;
    capture_.retrieve(frame);
    return frame;
  }

  bool Seek(std::int64_t frame) override {
    return capture_.set(cv::CAP_PROP_POS_FRAMES, static_cast<double>(frame));
  }

 private:
  cv::VideoCapture capture_;
};

class CvVideoOutput : public VideoOutput {
 public:
  bool Open(const std::string& path, double rate, const cv::Size& size) {
    return IsMp4(path) ? OpenMp4(path, rate, size) : OpenAvi(path, rate, size);
  }

  void Write(const cv::Mat& frame) override { writer_.write(frame); }

 private:
  static bool IsMp4(std::string_view path) {
    constexpr std::string_view kMp4 = ".mp4";
    return path.size() > kMp4.size() && path.substr(path.size() - kMp4.size()) == kMp4;
  }

  // MPEG-4 part 2: H.264, which browsers show too, takes ten times the processor time.
  bool OpenMp4(const std::string& path, double rate, const cv::Size& size) {
    const int codec = cv::VideoWriter::fourcc('m', 'p', '4', 'v');
    return writer_.open(path, cv::CAP_FFMPEG, codec, rate, size);
  }

  // OpenCV's own writer is the fallback for builds without FFmpeg; it rounds the rate.
  bool OpenAvi(const std::string& path, double rate, const cv::Size& size) {
    const int codec = cv::VideoWriter::fourcc('M', 'J', 'P', 'G');
    return writer_.open(path, cv::CAP_FFMPEG, codec, rate, size) ||
           writer_.open(path, cv::CAP_OPENCV_MJPEG, codec, rate, size);
  }

  cv::VideoWriter writer_;  // its destructor writes the end of the file
};

class CvMedia : public Media {
 public:
  cv::Mat ReadPicture(const std::string& path) const override {
    return cv::imread(path, cv::IMREAD_COLOR);
  }

  bool CanWrite(const std::string& path) const override { return cv::haveImageWriter(path); }

  std::vector<unsigned char> Encode(const std::string& extension, const cv::Mat& picture,
                                    int jpeg_quality) const override {
    std::vector<unsigned char> bytes;
    cv::imencode(extension, picture, bytes, {cv::IMWRITE_JPEG_QUALITY, jpeg_quality});
    return bytes;
  }

  std::unique_ptr<VideoInput> OpenVideo(const std::string& path) const override {
    auto video = std::make_unique<CvVideoInput>();
    if (!video->OpenFile(path)) return nullptr;
    return video;
  }

  std::unique_ptr<VideoInput> OpenCamera(int number) const override {
    auto camera = std::make_unique<CvVideoInput>();
    if (!camera->OpenCamera(number)) return nullptr;
    return camera;
  }

  std::unique_ptr<VideoOutput> CreateVideo(const std::string& path, double rate,
                                           const cv::Size& size) const override {
    auto video = std::make_unique<CvVideoOutput>();
    if (!video->Open(path, rate, size)) return nullptr;
    return video;
  }
};

}  // namespace
}  // namespace dirty_seg

extern "C" __attribute__((visibility("default"))) dirty_seg::MediaEntry DirtySegMedia;

const dirty_seg::Media* DirtySegMedia(const char* version) {
  static const dirty_seg::CvMedia media;
  return std::string_view(version) == DIRTY_SEG_VERSION ? &media : nullptr;
}
